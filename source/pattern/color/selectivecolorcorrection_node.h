// Selective colour correction: hue, saturation and luminance shifts for eight
// hue bands, each with a soft weight around the band's hue.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorCorrectionId = "net.zovan.pattern.corenode.effect.colorcorrection";

inline constexpr int kColorBandCount = 8;

// The shape of one band: where it is centred (hue turns) and how sharply it
// falls off. The green band is wide and needs |cos| because its exponent is odd.
struct ColorBand {
  const char* name;
  double centre;
  double exponent;
  bool absoluteCosine;
};
inline constexpr ColorBand kColorBands[kColorBandCount] = {
    {"red", 0.0, 30.0, false},    {"orange", 0.08, 30.0, false}, {"yellow", 0.16, 20.0, false},
    {"green", 0.32, 3.0, true},   {"aqua", 0.5, 10.0, false},    {"blue", 0.66, 6.0, false},
    {"purple", 0.72, 8.0, false}, {"magenta", 0.85, 8.0, false},
};

// The shift of one band: hue in radians, saturation added, luminance -1 to 1.
struct BandShift {
  double hue = 0, saturation = 0, luminance = 0;
};

// How much of a band's correction a colour of hue h and saturation s takes,
// 0 to 1.
double BandWeight(const ColorBand& band, double h, double s);

// The effect before the mask: the bands in order, each reading the colour as
// the bands before it left it. Alpha is passed on.
ColorA ColorCorrectionEffect(const ColorA& c, const BandShift (&bands)[kColorBandCount]);

Result RegisterColorCorrectionNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
