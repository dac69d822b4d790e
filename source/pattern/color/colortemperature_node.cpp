#include "pattern/color/colortemperature_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA ColorTemperatureEffect(const ColorA& c, double temperature, double tint) {
  const double t = temperature * 0.1;
  return {c.r + t, c.g - (tint * 0.1), c.b - t, c.a};
}

namespace {

enum Access { kColor, kTemperature, kTint, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  return ColorTemperatureEffect(c, ports.In<double>(kTemperature), ports.In<double>(kTint));
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"temperature", PortDir::kIn, &kFloat64Type},
    {"tint", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kTemperature, "temperature"}, {kTint, "tint"},
    {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},         {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},   {kMaskAlpha, "maskalpha"},     {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, false>}};
constexpr CoreNodeDecl kNode{kColorTemperatureId, "source/pattern/color/colortemperature_node", true, kPorts, kMicro};

}  // namespace

Result RegisterColorTemperatureNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
