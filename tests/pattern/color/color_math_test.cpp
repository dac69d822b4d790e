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
    {0.1, 0.5, 0.5, 0.5, 0.8, 0.5, 0.6666666666666667, 0.3},                                   // two maxima
};

TEST(ColorMath, RgbToHsvAndHslMatchAReference) {
  for (const RgbHsvHsl& c : kReference) {
    SCOPED_TRACE(::testing::Message() << c.r << ", " << c.g << ", " << c.b);
    const Hsv hsv = RgbToHsv(c.r, c.g, c.b);
    EXPECT_NEAR(hsv.h, c.h, kTol);
    EXPECT_NEAR(hsv.s, c.sv, kTol);
    EXPECT_NEAR(hsv.v, c.v, kTol);
    const Hsl hsl = RgbToHsl(c.r, c.g, c.b);
    EXPECT_NEAR(hsl.h, c.h, kTol);
    EXPECT_NEAR(hsl.s, c.sl, kTol);
    EXPECT_NEAR(hsl.l, c.l, kTol);
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
  for (const Case& c : kHsv) {
    const Color rgb = HsvToRgb(c.h, c.s, c.x);
    EXPECT_NEAR(rgb.r, c.r, kTol);
    EXPECT_NEAR(rgb.g, c.g, kTol);
    EXPECT_NEAR(rgb.b, c.b, kTol);
  }
  constexpr Case kHsl[] = {
      {0.05, 0.7, 0.4, 0.68, 0.28800000000000003, 0.12},
      {0.4, 0.5, 0.6, 0.3999999999999999, 0.8, 0.56},
      {0.75, 0.9, 0.3, 0.29999999999999977, 0.030000000000000027, 0.57},
      {0.95, 0.3, 0.8, 0.8600000000000001, 0.74, 0.776},
  };
  for (const Case& c : kHsl) {
    const Color rgb = HslToRgb(c.h, c.s, c.x);
    EXPECT_NEAR(rgb.r, c.r, kTol);
    EXPECT_NEAR(rgb.g, c.g, kTol);
    EXPECT_NEAR(rgb.b, c.b, kTol);
  }
}

TEST(ColorMath, NearGreyKeepsTheSmallestChannelAsValue) {
  // 1 - lo/hi just below 0.001: grey, and the value is lo, not hi.
  const Hsv grey = RgbToHsv(0.5, 0.5004, 0.5002);
  EXPECT_EQ(grey.h, 0.0);
  EXPECT_EQ(grey.s, 0.0);
  EXPECT_EQ(grey.v, 0.5);
  // Just above the threshold it is a colour with the largest channel as value.
  const Hsv colour = RgbToHsv(0.5, 0.5006, 0.5002);
  EXPECT_GT(colour.s, 0.001);
  EXPECT_EQ(colour.v, 0.5006);
  // No positive channel at all.
  const Hsv black = RgbToHsv(-0.2, 0.0, -1.0);
  EXPECT_EQ(black.h, 0.0);
  EXPECT_EQ(black.s, 0.0);
  EXPECT_EQ(black.v, 0.0);
}

TEST(ColorMath, HsvToRgbEdges) {
  // Below a saturation of 0.001 the hue does not matter.
  for (double h : {0.0, 0.3, 0.7}) {
    const Color c = HsvToRgb(h, 0.0009, 0.4);
    EXPECT_EQ(c.r, 0.4);
    EXPECT_EQ(c.g, 0.4);
    EXPECT_EQ(c.b, 0.4);
  }
  // Hue exactly 1 is red, like hue 0.
  const Color one = HsvToRgb(1.0, 0.5, 0.8);
  EXPECT_EQ(one.r, 0.8);
  EXPECT_EQ(one.g, 0.4);
  EXPECT_EQ(one.b, 0.4);
  // A hue outside [0, 1) falls to the red-to-yellow sector formula.
  const Color wide = HsvToRgb(1.25, 1.0, 1.0);  // sector 7: f = 0.5
  EXPECT_EQ(wide.r, 1.0);
  EXPECT_EQ(wide.g, 0.5);
  EXPECT_EQ(wide.b, 0.0);
}

TEST(ColorMath, HslGreyAndUndefinedHue) {
  const Hsl white = RgbToHsl(1, 1, 1);
  EXPECT_EQ(white.h, 0.0);
  EXPECT_EQ(white.s, 0.0);
  EXPECT_EQ(white.l, 1.0);
  const Hsl black = RgbToHsl(0, 0, 0);
  EXPECT_EQ(black.l, 0.0);
  for (const Color& c : {HslToRgb(0.3, 0.0, 0.25), HslToRgb(-1.0, 0.8, 0.25)}) {
    EXPECT_EQ(c.r, 0.25);
    EXPECT_EQ(c.g, 0.25);
    EXPECT_EQ(c.b, 0.25);
  }
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
    const Color back = XyzToRgb(xyz.x, xyz.y, xyz.z);
    EXPECT_NEAR(back.r, c.r, 1e-6);
    EXPECT_NEAR(back.g, c.g, 1e-6);
    EXPECT_NEAR(back.b, c.b, 1e-6);
  }
}

}  // namespace
}  // namespace tessaroc::pattern
