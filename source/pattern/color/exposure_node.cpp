#include "pattern/color/exposure_node.h"

#include <cmath>

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA ExposureEffect(const ColorA& c, double exposure, double offset, double gamma) {
  const double e = std::pow(2.0, exposure);
  double v[3] = {c.r * e + offset, c.g * e + offset, c.b * e + offset};
  // Gamma 1 and gamma 0 skip the step (no division by zero); a NaN gamma is
  // neither, so it applies.
  if (gamma != 1.0 && gamma != 0.0) {
    const double p = 1.0 / gamma;
    for (double& x : v) x = std::pow(x > 0.0 ? x : 0.0, p);
  }
  // Masked alpha is raised by exactly one; the ports do not touch it.
  return {v[0], v[1], v[2], c.a + 1.0};
}

namespace {

enum Access { kColor, kExposure, kOffset, kGamma, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  return ExposureEffect(c, ports.In<double>(kExposure), ports.In<double>(kOffset), ports.In<double>(kGamma));
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"exposure", PortDir::kIn, &kFloat64Type},
    {"offset", PortDir::kIn, &kFloat64Type},
    {"gamma", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kExposure, "exposure"}, {kOffset, "offset"},       {kGamma, "gamma"},
    {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},   {kMaskGreen, "maskgreen"}, {kMaskBlue, "maskblue"},
    {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kExposureId, "source/pattern/color/exposure_node", true, kPorts, kMicro};

}  // namespace

Result RegisterExposureNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
