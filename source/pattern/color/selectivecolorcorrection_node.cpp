#include "pattern/color/selectivecolorcorrection_node.h"

#include <algorithm>
#include <cmath>

#include "pattern/color/color_math.h"
#include "pattern/color/colorcorrection_node.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

double BandWeight(const ColorBand& band, double h, double s) {
  double k = std::cos((h - band.centre) * 3.141592653589793);
  if (band.absoluteCosine) k = std::fabs(k);
  double m = std::pow(k, band.exponent);
  // Low saturation fades the weight out, so a correction never tints grey.
  const double z = std::pow(s, 0.05);
  if (0.0 > z) {
    m = 0.0;
  } else if (!(z > 1.0)) {
    m = m * z;
  }
  if (m <= 0.0) return 0.0;
  if (m >= 1.0) return 1.0;
  return (3.0 - (m + m)) * (m * m);
}

namespace {
double Luminance(double c, double l) { return l >= 0.0 ? (1.0 - c) * l + c : c - l * (0.0 - c); }
}  // namespace

ColorA ColorCorrectionEffect(const ColorA& c, const BandShift (&bands)[kColorBandCount]) {
  double w[3] = {c.r < 0.0 ? 0.0 : c.r, c.g < 0.0 ? 0.0 : c.g, c.b < 0.0 ? 0.0 : c.b};
  for (int i = 0; i < kColorBandCount; ++i) {
    const BandShift& band = bands[i];
    if (band.hue == 0.0 && band.saturation == 0.0 && band.luminance == 0.0) continue;
    // Re-derived per band: a band sees the hue the bands before it left.
    const Hsv hsv = RgbToHsv(w[0], w[1], w[2]);
    const double h = WrapHue(band.hue / 6.283185307179586 + hsv.h);
    const double s = std::clamp(band.saturation + hsv.s, 0.0, 1.0);
    const Color a = HsvToRgb(h, s, hsv.v);
    const double shifted[3] = {Luminance(a.r, band.luminance), Luminance(a.g, band.luminance),
                               Luminance(a.b, band.luminance)};
    const double weight = BandWeight(kColorBands[i], hsv.h, hsv.s);
    for (int ch = 0; ch < 3; ++ch) w[ch] = (shifted[ch] - w[ch]) * weight + w[ch];
  }
  for (double& x : w)
    if (x < 0.0) x = 0.0;
  return {w[0], w[1], w[2], c.a};
}

namespace {

enum Access {
  kColor,
  kHueFirst = 1,
  kSaturationFirst = kHueFirst + kColorBandCount,
  kLuminanceFirst = kSaturationFirst + kColorBandCount,
  kMaskBlend = kLuminanceFirst + kColorBandCount,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kResult
};
static_assert(kMaskBlend == 25 && kResult == 30);

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  BandShift bands[kColorBandCount];
  for (int i = 0; i < kColorBandCount; ++i)
    bands[i] = {ports.In<double>(kHueFirst + i), ports.In<double>(kSaturationFirst + i),
                ports.In<double>(kLuminanceFirst + i)};
  return ColorCorrectionEffect(c, bands);
}

#define TESSAROC_BAND_PORTS(group)                                                                   \
  {#group "Red", PortDir::kIn, &kFloat64Type}, {#group "Orange", PortDir::kIn, &kFloat64Type},       \
      {#group "Yellow", PortDir::kIn, &kFloat64Type}, {#group "Green", PortDir::kIn, &kFloat64Type}, \
      {#group "Aqua", PortDir::kIn, &kFloat64Type}, {#group "Blue", PortDir::kIn, &kFloat64Type},    \
      {#group "Purple", PortDir::kIn, &kFloat64Type}, {                                              \
#group "Magenta", PortDir::kIn, &kFloat64Type                                                    \
  }

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    TESSAROC_BAND_PORTS(hue),
    TESSAROC_BAND_PORTS(saturation),
    TESSAROC_BAND_PORTS(luminance),
    {"result", PortDir::kOut, &kColorAType},
};

#define TESSAROC_BAND_ACCESS(first, group)                                                                            \
  {first + 0, #group "Red"}, {first + 1, #group "Orange"}, {first + 2, #group "Yellow"}, {first + 3, #group "Green"}, \
      {first + 4, #group "Aqua"}, {first + 5, #group "Blue"}, {first + 6, #group "Purple"}, {                         \
    first + 7, #group "Magenta"                                                                                       \
  }

constexpr AccessDecl kAccess[] = {
    {kColor, "color"},
    TESSAROC_BAND_ACCESS(kHueFirst, hue),
    TESSAROC_BAND_ACCESS(kSaturationFirst, saturation),
    TESSAROC_BAND_ACCESS(kLuminanceFirst, luminance),
    {kMaskBlend, "maskblend"},
    {kMaskRed, "maskred"},
    {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},
    {kMaskAlpha, "maskalpha"},
    {kResult, "result"},
};
#undef TESSAROC_BAND_PORTS
#undef TESSAROC_BAND_ACCESS
static_assert(AccessInOrder(kAccess));
// No alpha effect: maskalpha is declared but not read.
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, false>}};
constexpr CoreNodeDecl kNode{kColorCorrectionId, "source/pattern/color/selectivecolorcorrection_node", true, kPorts,
                             kMicro};

}  // namespace

Result RegisterColorCorrectionNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
