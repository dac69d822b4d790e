#include "pattern/color/bias_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {

// Bias then gain on one channel, with the coefficients already derived.
double BiasGainChannel(double c, double kb, double kg) {
  const double v = c / ((1.0 - c) * kb + 1.0);
  double x, t;
  if (0.0 > v) {
    x = 0.0;
    t = 1.0;
  } else if (v > 1.0) {
    x = 1.0;
    t = -1.0;
  } else {  // NaN lands here
    x = v;
    t = 1.0 - (v + v);
  }
  const double k = t * kg;
  const double y = 0.5 > x ? x / (k + 1.0) : (k - x) / (k - 1.0);
  if (0.0 > y) return 0.0;
  return y > 1.0 ? 1.0 : y;  // a NaN y stays NaN
}

// The limits are the 32-bit floats nearest to 0.001 and 0.0001, widened.
double BiasCoefficient(double bias) {
  if (0.0010000000474974513 > bias) return 997.999952502551;
  return 1.0 / bias - 2.0;
}

double GainCoefficient(double gain) {
  if (9.999999747378752e-05 > gain) return 9998.000252621256;
  if (gain > 0.9999) return -0.999899989999;
  return 1.0 / gain - 2.0;
}

}  // namespace

ColorA BiasGainEffect(const ColorA& c, double bias, double gain) {
  const double kb = BiasCoefficient(bias);
  const double kg = GainCoefficient(gain);
  // Alpha takes bias 1 and gain 1 whatever the ports say; A = 0 gives 0/0 = NaN,
  // which is what the effect yields.
  return {BiasGainChannel(c.r, kb, kg), BiasGainChannel(c.g, kb, kg), BiasGainChannel(c.b, kb, kg),
          BiasGainChannel(c.a, -1.0, -0.999899989999)};
}

namespace {

enum Access { kColor, kBias, kGain, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  return BiasGainEffect(c, ports.In<double>(kBias), ports.In<double>(kGain));
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"bias", PortDir::kIn, &kFloat64Type},
    {"gain", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kBias, "bias"},           {kGain, "gain"},
    {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},     {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},   {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kBiasGainId, "source/pattern/color/bias_node", true, kPorts, kMicro};

}  // namespace

Result RegisterBiasGainNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
