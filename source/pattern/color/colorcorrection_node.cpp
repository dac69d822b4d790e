#include "pattern/color/colorcorrection_node.h"

#include <algorithm>
#include <cmath>

#include "pattern/color/color_math.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

double WrapHue(double u) {
  double h = u - std::trunc(u);
  if (h < 0.0) h = h + 1.0;
  return h;
}

ColorA ColorHslEffect(const ColorA& c, double hue, double saturation, double value, bool colorize) {
  ColorA w{c.r < 0.0 ? 0.0 : c.r, c.g < 0.0 ? 0.0 : c.g, c.b < 0.0 ? 0.0 : c.b, c.a < 1.0 ? 1.0 : c.a};
  const double hs = hue / 6.283185307179586;
  if (colorize) {
    // The colour's own hue is dropped; saturation + 1 is not clamped, so a
    // positive saturation can give negative channels.
    const Color rgb = HsvToRgb(std::fabs(hs), saturation + 1.0, HsvValue(w.r, w.g, w.b));
    w.r = rgb.r;
    w.g = rgb.g;
    w.b = rgb.b;
  } else if (saturation == 0.0 && value == 0.0 && hs == 0.0) {
    return w;
  } else {
    const Hsv hsv = RgbToHsv(w.r, w.g, w.b);
    const double h = WrapHue(hs + hsv.h);
    const double s = std::clamp(saturation + hsv.s, 0.0, 1.0);
    const Color rgb = HsvToRgb(h, s, hsv.v);
    w.r = rgb.r;
    w.g = rgb.g;
    w.b = rgb.b;
  }
  w.r = ApplyValueShift(w.r, value);
  w.g = ApplyValueShift(w.g, value);
  w.b = ApplyValueShift(w.b, value);
  return w;
}

namespace {

enum Access {
  kColor,
  kHue,
  kSaturation,
  kValue,
  kColorize,
  kMaskBlend,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kResult
};

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  return ColorHslEffect(c, ports.In<double>(kHue), ports.In<double>(kSaturation), ports.In<double>(kValue),
                        ReadBool(ports, kColorize));
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"hue", PortDir::kIn, &kFloat64Type},
    {"saturation", PortDir::kIn, &kFloat64Type},
    {"value", PortDir::kIn, &kFloat64Type},
    {"colorize", PortDir::kIn, &kBoolType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},           {kHue, "hue"},
    {kSaturation, "saturation"}, {kValue, "value"},
    {kColorize, "colorize"},     {kMaskBlend, "maskblend"},
    {kMaskRed, "maskred"},       {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},     {kMaskAlpha, "maskalpha"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kColorHslId, "source/pattern/color/colorcorrection_node", true, kPorts, kMicro};

}  // namespace

Result RegisterColorHslNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
