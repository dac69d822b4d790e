#include "pattern/color/contrast_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {
double ContrastChannel(double c, double k) {
  const double e = (c - 0.5) * k + 0.5;
  return 0.0 > e ? 0.0 : e;  // raised to 0; no upper clamp; NaN stays
}
}  // namespace

ColorA ContrastEffect(const ColorA& c, double contrast) {
  const double k = contrast + 1.0;
  // Alpha ignores the port: at most 1 becomes 1, above 1 becomes 2A - 1.
  const double w = (c.a - 1.0) + (c.a - 1.0) + 1.0;
  return {ContrastChannel(c.r, k), ContrastChannel(c.g, k), ContrastChannel(c.b, k), 1.0 > w ? 1.0 : w};
}

namespace {

enum Access { kColor, kContrast, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) { return ContrastEffect(c, ports.In<double>(kContrast)); }

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"contrast", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kContrast, "contrast"}, {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},
    {kMaskGreen, "maskgreen"}, {kMaskBlue, "maskblue"}, {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kContrastId, "source/pattern/color/contrast_node", true, kPorts, kMicro};

}  // namespace

Result RegisterContrastNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
