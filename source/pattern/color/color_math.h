// Conversions between RGB and the hue, saturation and CIE XYZ coordinates that
// the colour nodes share. Hue is in turns (0 to 1), not degrees.
#pragma once

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
Hsv RgbToHsv(double r, double g, double b);
// Below a saturation of 0.001 the colour is grey at v. Hue 1 is red; a hue
// outside [0, 1) falls into the red-to-yellow sector.
Color HsvToRgb(double h, double s, double v);

// Hue, saturation, lightness.
Hsl RgbToHsl(double r, double g, double b);
// Saturation 0, or the undefined hue -1, gives grey at l.
Color HslToRgb(double h, double s, double l);

// Linear sRGB primaries with a D65 white, in 32-bit constants widened.
Xyz RgbToXyz(double r, double g, double b);
Color XyzToRgb(double x, double y, double z);

}  // namespace tessaroc::pattern
