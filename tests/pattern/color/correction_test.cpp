// colorhsl and colorcorrection (the selective, per-band correction).
#include <gtest/gtest.h>

#include <cmath>

#include "../pattern_test_util.h"
#include "pattern/color/colorcorrection_node.h"
#include "pattern/color/selectivecolorcorrection_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::ColorNear;
using testutil::RunColor;
using testutil::SetAll;
using testutil::SetMask;

constexpr double kTwoPi = 6.283185307179586;

ColorA Hsl(const ColorA& c, double hue, double sat, double value, bool colorize, bool maskAlpha = false) {
  auto run = testutil::Runner(kColorHslId);
  SetAll(*run, "color", c, "hue", hue, "saturation", sat, "value", value, "colorize", colorize);
  SetMask(*run, 1.0, true, true, true, maskAlpha);
  return RunColor(*run);
}

TEST(ColorHsl, HueSaturationAndValueShiftsMatchAReference) {
  // Neutral settings only raise negatives and alpha.
  EXPECT_TRUE(ColorNear(Hsl({0.3, -0.2, 0.7, 0.25}, 0, 0, 0, false, true), {0.3, 0.0, 0.7, 1.0}, 0));
  // Without maskalpha the input alpha passes.
  EXPECT_TRUE(ColorNear(Hsl({0.3, -0.2, 0.7, 0.25}, 0, 0, 0, false, false), {0.3, 0.0, 0.7, 0.25}, 0));
  // python3 colorsys: rgb_to_hsv(0.8, 0.3, 0.1), hue + 1/3 turn, back with hsv_to_rgb.
  EXPECT_TRUE(ColorNear(Hsl({0.8, 0.3, 0.1, 1}, kTwoPi / 3.0, 0, 0, false), {0.1, 0.8, 0.3, 1}, 1e-12));
  // A negative shift wraps below 0: -2/3 turn is the same hue as +1/3.
  EXPECT_TRUE(ColorNear(Hsl({0.8, 0.3, 0.1, 1}, -2.0 * kTwoPi / 3.0, 0, 0, false), {0.1, 0.8, 0.3, 1}, 1e-12));
  // Saturation -0.5 (colorsys: s 0.875 -> 0.375).
  EXPECT_TRUE(ColorNear(Hsl({0.8, 0.3, 0.1, 1}, 0, -0.5, 0, false), {0.8, 0.5857142857142857, 0.5, 1}, 1e-12));
  // Saturation is clamped at 1: fully saturated however far it is pushed.
  EXPECT_TRUE(ColorNear(Hsl({0.8, 0.3, 0.1, 1}, 0, 5.0, 0, false), Hsl({0.8, 0.3, 0.1, 1}, 0, 0.125, 0, false), 1e-12));
  // Value moves towards white or black.
  EXPECT_TRUE(ColorNear(Hsl({0.2, 0.4, 0.6, 1}, 0, 0, 0.5, false), {0.6, 0.7, 0.8, 1}, 1e-12));
  EXPECT_TRUE(ColorNear(Hsl({0.2, 0.4, 0.6, 1}, 0, 0, -0.5, false), {0.1, 0.2, 0.3, 1}, 1e-12));
  EXPECT_TRUE(ColorNear(Hsl({0.2, 0.4, 0.6, 1}, 0, 0, 1.0, false), {1, 1, 1, 1}, 1e-12));
}

TEST(ColorHsl, ColorizePaintsOneHue) {
  // Saturation 0 means full saturation: saturation + 1 is used.
  EXPECT_TRUE(ColorNear(Hsl({0.2, 0.6, 0.4, 1}, 0, 0, 0, true), {0.6, 0, 0, 1}, 1e-15));
  // The colour's own hue is gone; the hue port's magnitude picks the hue.
  const ColorA a = Hsl({0.2, 0.6, 0.4, 1}, kTwoPi / 3.0, 0, 0, true);
  const ColorA b = Hsl({0.6, 0.2, 0.4, 1}, -kTwoPi / 3.0, 0, 0, true);
  EXPECT_TRUE(ColorNear(a, {0, 0.6, 0, 1}, 1e-12));
  EXPECT_TRUE(ColorNear(a, b, 0));
  // Saturation above 0 is not clamped: channels go negative.
  const ColorA over = Hsl({0.2, 0.6, 0.4, 1}, 0, 0.5, 0, true);
  EXPECT_LT(over.g, 0.0);
  EXPECT_EQ(over.r, 0.6);
  // A colour within 0.1 % of grey counts as grey at its lowest channel, not
  // its highest; black stays black.
  EXPECT_TRUE(ColorNear(Hsl({0.5, 0.4998, 0.4999, 1}, 0, 0, 0, true), {0.4998, 0, 0, 1}, 0));
  EXPECT_TRUE(ColorNear(Hsl({0, 0, 0, 1}, kTwoPi / 3.0, 0, 0, true), {0, 0, 0, 1}, 0));
}

// ---- colorcorrection

const char* const kBandNames[] = {"Red", "Orange", "Yellow", "Green", "Aqua", "Blue", "Purple", "Magenta"};

struct Bands {
  BandShift shift[kColorBandCount] = {};
};

ColorA Correct(const ColorA& c, const Bands& bands, double blend = 1.0) {
  auto run = testutil::Runner(kColorCorrectionId);
  EXPECT_TRUE(run->Set("color", c).ok());
  for (int i = 0; i < kColorBandCount; ++i) {
    const std::string band = kBandNames[i];
    SetAll(*run, ("hue" + band).c_str(), bands.shift[i].hue, ("saturation" + band).c_str(), bands.shift[i].saturation,
           ("luminance" + band).c_str(), bands.shift[i].luminance);
  }
  SetMask(*run, blend, true, true, true, true);
  return RunColor(*run);
}

TEST(ColorCorrection, BandWeightShapeAndSaturationFade) {
  for (const ColorBand& band : kColorBands) {
    SCOPED_TRACE(band.name);
    // One at the centre, zero half a turn away, and zero saturation fades every band out.
    EXPECT_EQ(BandWeight(band, band.centre, 1.0), 1.0);
    EXPECT_LT(BandWeight(band, std::fmod(band.centre + 0.5, 1.0), 1.0), 1e-30);
    EXPECT_EQ(BandWeight(band, band.centre, 0.0), 0.0);
  }
  // Golden values from python3: k = cos((h - centre) * pi) (|k| for green),
  // m = k^exponent * s^0.05, weight = (3 - 2m) m^2.
  EXPECT_NEAR(BandWeight(kColorBands[1], 0.1, 0.5), 0.9773351035556815, 1e-14);
  EXPECT_NEAR(BandWeight(kColorBands[3], 0.5, 0.8), 0.641124002249174, 1e-14);
  // Green alone is symmetric through its |cos|: far side of the circle still weighs.
  EXPECT_GT(BandWeight(kColorBands[3], 0.32 + 0.3, 1.0), 0.0);
  EXPECT_NEAR(BandWeight(kColorBands[3], 0.32 + 0.3, 1.0), BandWeight(kColorBands[3], 0.32 - 0.3, 1.0), 1e-15);
}

Bands Shift(int band, BandShift shift) {
  Bands bands;
  bands.shift[band] = shift;
  return bands;
}

TEST(ColorCorrection, BandsCorrectByTheirWeight) {
  Bands all;
  for (BandShift& b : all.shift) b = {1.0, 0.5, 0.3};
  // Neutral bands only raise negatives; grey is never tinted.
  EXPECT_TRUE(ColorNear(Correct({0.3, -0.5, 0.9, 0.4}, Bands()), {0.3, 0.0, 0.9, 0.4}, 0));
  EXPECT_TRUE(ColorNear(Correct({0.4, 0.4, 0.4, 1}, all), {0.4, 0.4, 0.4, 1}, 0));
  // Pure red sits at the red band's centre: luminance +1 makes it white.
  EXPECT_TRUE(ColorNear(Correct({1, 0, 0, 0.5}, Shift(0, {.luminance = 1})), {1, 1, 1, 0.5}, 0));
  // The same correction on the aqua band leaves red alone (half a turn away).
  EXPECT_TRUE(ColorNear(Correct({1, 0, 0, 0.5}, Shift(4, {.luminance = 1})), {1, 0, 0, 0.5}, 1e-15));
  // The mask blend mixes, and alpha is never touched.
  EXPECT_TRUE(ColorNear(Correct({1, 0, 0, 0.25}, Shift(0, {.luminance = 1}), 0.5), {1, 0.5, 0.5, 0.25}, 0));
}

TEST(ColorCorrection, BandsActInSequence) {
  // Red is moved to the orange centre by the red band; the orange band then
  // reads the moved hue (weight 1) and takes it to black. Had it read the
  // input's hue its weight would be about 0.38.
  Bands bands = Shift(0, {.hue = 0.08 * kTwoPi});
  bands.shift[1].luminance = -1.0;
  EXPECT_TRUE(ColorNear(Correct({1, 0, 0, 1}, bands), {0, 0, 0, 1}, 1e-9));
  // Orange alone on pure red: partial.
  const ColorA partial = Correct({1, 0, 0, 1}, Shift(1, {.luminance = -1}));
  EXPECT_GT(partial.r, 0.3);
  EXPECT_LT(partial.r, 0.9);
}

}  // namespace
}  // namespace tessaroc::pattern
