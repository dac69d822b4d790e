// Conversions between RGB and the hue, saturation and CIE XYZ coordinates that
// the colour nodes share. Hue is in turns (0 to 1), not degrees.
#pragma once

#include <algorithm>
#include <cmath>

#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

struct Hsv {
  double h = 0, s = 0, v = 0;
};
struct Hsl {
  double h = 0, s = 0, l = 0;
};
struct Xyz {
  double x = 0, y = 0, z = 0;
};

// Hue, saturation, value. A colour whose smallest channel is within 0.1 % of
// its largest counts as grey and keeps the smallest channel as its value; a
// colour without a positive channel is (0, 0, 0).
// Inline, with HsvToRgb: the per-sample colour nodes call them, and their
// results come back in registers rather than through memory.
inline Hsv RgbToHsv(double r, double g, double b) {
  const double lo = std::min(std::min(r, g), b);
  const double hi = std::max(std::max(r, g), b);
  if (!(hi > 0.0)) return {0.0, 0.0, 0.0};
  const double q = lo / hi;
  if (0.001 > 1.0 - q) return {0.0, 0.0, lo};
  double d;
  if (hi == r) {
    d = (g - b) / (hi - lo);
  } else if (hi == g) {
    d = (b - r) / (hi - lo) + 2.0;
  } else {
    d = (r - g) / (hi - lo) + 4.0;
  }
  double h = d / 6.0;
  if (0.0 > h) h = h + 1.0;
  return {h, 1.0 - q, hi};
}
// RgbToHsv's v alone, for callers that drop the hue: two divisions fewer,
// and most colours need none. An exact grey gives lo, which is hi. Where lo
// is at most 0.99 hi (the product rounded), lo / hi is below 0.9901, or, for
// the few subnormal hi where the product rounds by more, lo is a whole step
// below hi and lo / hi below 0.983: not grey either way, so v is hi.
inline double HsvValue(double r, double g, double b) {
  const double lo = std::min(std::min(r, g), b);
  const double hi = std::max(std::max(r, g), b);
  if (!(hi > 0.0)) return 0.0;
  if (lo == hi || lo <= 0.99 * hi) return hi;
  return 0.001 > 1.0 - lo / hi ? lo : hi;
}
// Below a saturation of 0.001 the colour is grey at v. Hue 1 is red; a hue
// outside [0, 1) falls into the red-to-yellow sector.
inline Color HsvToRgb(double h, double s, double v) {
  if (0.001 > s) return {v, v, v};
  const double p = (1.0 - s) * v;
  if (h == 1.0) return {v, p, p};
  const double x = h * 6.0;
  const double fi = std::floor(x);
  const double f = x - fi;
  const double q = (1.0 - s * f) * v;
  const double t = (1.0 - s * (1.0 - f)) * v;
  // Sectors 1 to 5 by their number; everything else, out-of-range hues
  // included, reads as sector 0. The comparison is done on the floored value
  // so that a huge or NaN hue does not overflow an integer conversion.
  if (fi == 1.0) return {q, v, p};
  if (fi == 2.0) return {p, v, t};
  if (fi == 3.0) return {p, q, v};
  if (fi == 4.0) return {t, p, v};
  if (fi == 5.0) return {v, p, q};
  return {v, t, p};
}

// Hue, saturation, lightness.
Hsl RgbToHsl(double r, double g, double b);
// Saturation 0, or the undefined hue -1, gives grey at l.
Color HslToRgb(double h, double s, double l);

// Linear sRGB primaries with a D65 white, in 32-bit constants widened.
Xyz RgbToXyz(double r, double g, double b);
Color XyzToRgb(double x, double y, double z);

}  // namespace tessaroc::pattern
