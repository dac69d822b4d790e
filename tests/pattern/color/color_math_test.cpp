// The shared RGB <-> HSV / HSL / XYZ conversions.
#include <gtest/gtest.h>

#include <cmath>

#include "pattern/color/color_math.h"

namespace tessaroc::pattern {
namespace {

constexpr double kTol = 1e-12;

// Golden values from python3's colorsys (rgb_to_hsv, rgb_to_hls, hsv_to_rgb,
// hls_to_rgb), colours chosen well away from the grey threshold. colorsys
// returns (h, l, s) for HLS; reordered to (h, s, l) here.
struct RgbHsvHsl {
  double r, g, b;
  double h, sv, v;
  double sl, l;
};
constexpr RgbHsvHsl kReference[] = {
    {0.8, 0.3, 0.1, 0.04761904761904764, 0.875, 0.8, 0.7777777777777778, 0.45},
    {0.2, 0.7, 0.4, 0.39999999999999997, 0.7142857142857143, 0.7, 0.5555555555555556, 0.44999999999999996},
    {0.25, 0.35, 0.9, 0.641025641025641, 0.7222222222222222, 0.9, 0.7647058823529411, 0.575},
    {0.9, 0.1, 0.6, 0.8958333333333334, 0.888888888888889, 0.9, 0.8, 0.5},
    {0.6, 0.6, 0.2, 0.16666666666666666, 0.6666666666666666, 0.6, 0.49999999999999994, 0.4},  // two maxima
    {0.1, 0.5, 0.5, 0.5, 0.8, 0.5, 0.6666666666666667, 0.3},                                  // two maxima
};

// The three channels of an Hsv, Hsl, Xyz or Color, each within `tol` (0: exact).
template <class T>
::testing::AssertionResult Near(const T& got, double x, double y, double z, double tol = 0) {
  const auto& [a, b, c] = got;
  if (std::fabs(a - x) <= tol && std::fabs(b - y) <= tol && std::fabs(c - z) <= tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got (" << a << ", " << b << ", " << c << ") want (" << x << ", " << y << ", "
                                       << z << ") within " << tol;
}

TEST(ColorMath, RgbToHsvAndHslMatchAReference) {
  for (const RgbHsvHsl& c : kReference) {
    SCOPED_TRACE(::testing::Message() << c.r << ", " << c.g << ", " << c.b);
    EXPECT_TRUE(Near(RgbToHsv(c.r, c.g, c.b), c.h, c.sv, c.v, kTol));
    EXPECT_TRUE(Near(RgbToHsl(c.r, c.g, c.b), c.h, c.sl, c.l, kTol));
  }
}

TEST(ColorMath, HsvAndHslToRgbMatchAReference) {
  // colorsys.hsv_to_rgb(h, s, v) and colorsys.hls_to_rgb(h, l, s).
  struct Case {
    double h, s, x;
    double r, g, b;
  };
  constexpr Case kHsv[] = {
      {0.05, 0.7, 0.9, 0.9, 0.459, 0.2700000000000001},
      {0.4, 0.5, 0.6, 0.3, 0.6, 0.4200000000000001},
      {0.75, 0.9, 0.3, 0.165, 0.029999999999999992, 0.3},
      {0.95, 0.3, 0.8, 0.8, 0.5599999999999999, 0.6320000000000002},
  };
  for (const Case& c : kHsv) EXPECT_TRUE(Near(HsvToRgb(c.h, c.s, c.x), c.r, c.g, c.b, kTol)) << c.h;
  constexpr Case kHsl[] = {
      {0.05, 0.7, 0.4, 0.68, 0.28800000000000003, 0.12},
      {0.4, 0.5, 0.6, 0.3999999999999999, 0.8, 0.56},
      {0.75, 0.9, 0.3, 0.29999999999999977, 0.030000000000000027, 0.57},
      {0.95, 0.3, 0.8, 0.8600000000000001, 0.74, 0.776},
  };
  for (const Case& c : kHsl) EXPECT_TRUE(Near(HslToRgb(c.h, c.s, c.x), c.r, c.g, c.b, kTol)) << c.h;
}

TEST(ColorMath, GreyEdgesAndUndefinedHue) {
  // 1 - lo/hi just below 0.001: grey, and the value is lo, not hi.
  EXPECT_TRUE(Near(RgbToHsv(0.5, 0.5004, 0.5002), 0, 0, 0.5));
  // Just above the threshold it is a colour with the largest channel as value.
  const Hsv colour = RgbToHsv(0.5, 0.5006, 0.5002);
  EXPECT_GT(colour.s, 0.001);
  EXPECT_EQ(colour.v, 0.5006);
  // No positive channel at all.
  EXPECT_TRUE(Near(RgbToHsv(-0.2, 0.0, -1.0), 0, 0, 0));
  // Below a saturation of 0.001 the hue does not matter.
  for (double h : {0.0, 0.3, 0.7}) EXPECT_TRUE(Near(HsvToRgb(h, 0.0009, 0.4), 0.4, 0.4, 0.4)) << h;
  // Hue exactly 1 is red, like hue 0.
  EXPECT_TRUE(Near(HsvToRgb(1.0, 0.5, 0.8), 0.8, 0.4, 0.4));
  // A hue outside [0, 1) falls to the red-to-yellow sector formula (sector 7: f = 0.5).
  EXPECT_TRUE(Near(HsvToRgb(1.25, 1.0, 1.0), 1.0, 0.5, 0.0));
  // HSL: white and black, then zero saturation or the undefined hue -1 give grey.
  EXPECT_TRUE(Near(RgbToHsl(1, 1, 1), 0, 0, 1));
  EXPECT_EQ(RgbToHsl(0, 0, 0).l, 0.0);
  EXPECT_TRUE(Near(HslToRgb(0.3, 0.0, 0.25), 0.25, 0.25, 0.25));
  EXPECT_TRUE(Near(HslToRgb(-1.0, 0.8, 0.25), 0.25, 0.25, 0.25));
}

TEST(ColorMath, XyzMatricesAreInversesToTheirPrecision) {
  // The white of the RGB primaries is D65 (0.95047, 1, 1.08883), which this
  // matrix meets to within 1e-4.
  const Xyz white = RgbToXyz(1, 1, 1);
  EXPECT_NEAR(white.x, 0.95047, 1e-4);
  EXPECT_NEAR(white.y, 1.0, 1e-6);
  EXPECT_NEAR(white.z, 1.08883, 1e-4);
  for (const RgbHsvHsl& c : kReference) {
    const Xyz xyz = RgbToXyz(c.r, c.g, c.b);
    EXPECT_TRUE(Near(XyzToRgb(xyz.x, xyz.y, xyz.z), c.r, c.g, c.b, 1e-6));
  }
}

}  // namespace
}  // namespace tessaroc::pattern
