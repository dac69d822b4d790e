#include "pattern/color/premultiply_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA PremultiplyEffect(const ColorA& c) { return {c.r * c.a, c.g * c.a, c.b * c.a, c.a}; }

namespace {

enum Access { kColor, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess&) { return PremultiplyEffect(c); }

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
// No alpha effect: maskalpha is declared but not read.
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, false>}};
constexpr CoreNodeDecl kNode{kPremultiplyId, "source/pattern/color/premultiply_node", true, kPorts, kMicro};

}  // namespace

Result RegisterPremultiplyNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
