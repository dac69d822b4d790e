#include "pattern/color/unpremultiply_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA UnpremultiplyEffect(const ColorA& c) {
  // At alpha 0 the colour is kept as it is.
  if (c.a == 0.0) return c;
  const double q = 1.0 / c.a;
  return {q * c.r, q * c.g, q * c.b, c.a};
}

namespace {

enum Access { kColor, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess&) { return UnpremultiplyEffect(c); }

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
constexpr CoreNodeDecl kNode{kUnpremultiplyId, "source/pattern/color/unpremultiply_node", true, kPorts, kMicro};

}  // namespace

Result RegisterUnpremultiplyNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
