// The sRGB transfer curve, in the arithmetic forms its users keep bit for bit:
// 64-bit with the published constants, 64-bit decoding that multiplies by the
// reciprocals (the gradient's colour space), and 32-bit (8-bit image files).
// The forms agree to the last bit or two, not exactly, so each caller names
// the one whose results it has always given.
#pragma once

#include <cmath>

namespace tessaroc {

// Linear to encoded: x * 12.92 up to 0.0031308, else pow(x, 1 / 2.4) * 1.055 -
// 0.055. Negative values take the linear segment; 1 encodes to 1 - 2^-53.
inline double LinearToSrgb(double x) {
  return 0.0031308 >= x ? x * 12.92 : std::pow(x, 0.4166666666666667) * 1.055 - 0.055;
}

// Encoded to linear: x / 12.92 up to 0.04045, else pow((x + 0.055) / 1.055, 2.4).
inline double SrgbToLinear(double x) { return 0.04045 >= x ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4); }

// SrgbToLinear multiplying by the reciprocals of 12.92 and 1.055 instead of
// dividing: the last bit differs for many inputs.
inline double SrgbToLinearByReciprocals(double x) {
  return 0.04045 >= x ? x * 0.07739938080495357 : std::pow((x + 0.055) * 0.9478672985781991, 2.4);
}

// The curve in 32-bit arithmetic throughout.
inline float LinearToSrgb32(float x) {
  return x <= 0.0031308f ? x * 12.92f : 1.055f * std::pow(x, 1.0f / 2.4f) - 0.055f;
}
inline float SrgbToLinear32(float x) { return x <= 0.04045f ? x / 12.92f : std::pow((x + 0.055f) / 1.055f, 2.4f); }

}  // namespace tessaroc
