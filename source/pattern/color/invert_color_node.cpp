#include "pattern/color/invert_color_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA InvertColorEffect(const ColorA& c) { return {1.0 - c.r, 1.0 - c.g, 1.0 - c.b, 1.0 - c.a}; }

namespace {

enum Access { kColor, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess&) { return InvertColorEffect(c); }

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},       {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"}, {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"}, {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kInvertColorId, "source/pattern/color/invert_color_node", true, kPorts, kMicro};

}  // namespace

Result RegisterInvertColorNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
