// The eight masked colour effects, run through their registered kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <memory>
#include <utility>

#include "../pattern_test_util.h"
#include "pattern/color/bias_node.h"
#include "pattern/color/colortemperature_node.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/premultiply_node.h"
#include "pattern/color/unpremultiply_node.h"
#include "pattern/color/whitebalance_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::ColorNear;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct Mask {
  double blend = 1.0;
  bool r = true, g = true, b = true, a = true;
};
using Floats = std::initializer_list<std::pair<const char*, double>>;

// A runner of the effect `id` with a colour, a mask and further Float settings.
std::unique_ptr<SingleNodeRunner> Runner(const char* id, const ColorA& color, const Mask& m, Floats floats = {}) {
  auto run = testutil::Runner(id);
  EXPECT_TRUE(run->Set("color", color).ok());
  testutil::SetMask(*run, m.blend, m.r, m.g, m.b, m.a);
  for (const auto& [port, value] : floats) EXPECT_TRUE(run->Set(port, value).ok()) << port;
  return run;
}

ColorA Effect(const char* id, const ColorA& color, const Mask& m, Floats floats = {}) {
  return testutil::RunColor(*Runner(id, color, m, floats));
}

constexpr Mask kNoChannel{1.0, false, false, false, false};

TEST(Effects, MaskRuleOnInvertColor) {
  // Half blended meets in the middle.
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, {0, 1, 0.25, 0.5}, {0.5}), {0.5, 0.5, 0.5, 0.5}, 0));
  // Blend zero or all masks off return the input.
  const ColorA c{0.3, -2, 7, 0.4};
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, c, {0.0}), c, 0));
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, c, kNoChannel), c, 0));
  // The mask selects channels and the blend is not clamped: (0.75 - 0.25) * 2 + 0.25.
  const ColorA quarter{0.25, 0.25, 0.25, 0.25};
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, quarter, {2.0, true, false, true, false}), {1.25, 0.25, 1.25, 0.25}, 0));
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, quarter, {-1.0}), {-0.25, -0.25, -0.25, -0.25}, 0));
  // An unmasked channel still passes through (c - c) * blend + c: NaN for an infinite input.
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, {kInf, 0.5, 0.5, 1}, kNoChannel), {kNaN, 0.5, 0.5, 1}, 0));
  EXPECT_TRUE(ColorNear(Effect(kInvertColorId, {0.5, 0.5, 0.5, 1}, {kInf, false, false, false, false}),
                        {kNaN, kNaN, kNaN, kNaN}, 0));
  // Bool ports read any non-zero byte as true.
  auto run = Runner(kInvertColorId, quarter, kNoChannel);
  uint8_t two = 2;
  ASSERT_TRUE(run->instance().SetInput(run->node(), "maskred", ValueSlot{nullptr, &two}).ok());
  EXPECT_TRUE(ColorNear(testutil::RunColor(*run), {0.75, 0.25, 0.25, 0.25}, 0));
}

TEST(Effects, BiasGainHalfAndHalfIsIdentityInsideClampsOutsideAndAlphaIsOneOrNaN) {
  const Mask noAlpha{1.0, true, true, true, false};
  ColorA out = Effect(kBiasGainId, {0.2, 0.7, 1.0, 1.0}, noAlpha, {{"bias", 0.5}, {"gain", 0.5}});
  EXPECT_NEAR(out.r, 0.2, 1e-15);
  EXPECT_NEAR(out.g, 0.7, 1e-15);
  EXPECT_EQ(out.b, 1.0);
  EXPECT_TRUE(
      ColorNear(Effect(kBiasGainId, {-0.5, 1.5, 3, 1}, noAlpha, {{"bias", 0.5}, {"gain", 0.5}}), {0, 1, 1, 1}, 0));

  // Alpha runs with bias 1 and gain 1 fixed: A / (1 - (1 - A)) is 1 up to
  // rounding, and 0/0 at A = 0 is NaN even with blend 0.
  const Floats settings{{"bias", 0.3}, {"gain", 0.6}};
  EXPECT_TRUE(std::isnan(Effect(kBiasGainId, {0.5, 0.5, 0.5, 0.0}, {0.0}, settings).a));
  EXPECT_NEAR(Effect(kBiasGainId, {0.5, 0.5, 0.5, 0.25}, {1.0}, settings).a, 1.0, 1e-15);
  // Without maskalpha the alpha passes unchanged, also at 0.
  EXPECT_EQ(Effect(kBiasGainId, {0.5, 0.5, 0.5, 0.0}, {1.0, true, true, true, false}, settings).a, 0.0);
}

TEST(Effects, BiasGainCoefficientLimits) {
  // gain at or above 1 uses -0.999899989999; bias 0 or below uses 997.99...;
  // gain 0 or below uses 9998.00... The values were worked out apart from
  // the kernel, in double arithmetic.
  const ColorA c{0.3, 0.3, 0.3, 1};
  EXPECT_EQ(BiasGainEffect(c, 0.5, 1.0).r, 0.4999666655555186);
  EXPECT_EQ(BiasGainEffect(c, 0.5, 5.0).r, 0.4999666655555186);
  EXPECT_EQ(BiasGainEffect(c, 0.0, 0.5).r, 0.0004288164869316502);
  EXPECT_EQ(BiasGainEffect(c, -3.0, 0.5).r, 0.0004288164869316502);
  EXPECT_EQ(BiasGainEffect(c, 0.5, 0.0).r, 7.49962482930207e-05);
  EXPECT_EQ(BiasGainEffect(c, 0.5, -1.0).r, 7.49962482930207e-05);
  // Bias raises values below one half; the limit sits at the 32-bit 0.001.
  EXPECT_GT(BiasGainEffect(c, 0.8, 0.5).r, c.r);
  EXPECT_EQ(BiasGainEffect(c, 0.0010000000474974513, 0.5).r, 0.0004288164869316502);
  EXPECT_GT(BiasGainEffect(c, 0.0010000001, 0.5).r, 0.0004288164869316502);
}

TEST(Effects, ContrastClampsBelowZeroNotAboveOneAndAlphaIgnoresThePort) {
  // Contrast -1 is mid grey, and alpha goes to one.
  EXPECT_TRUE(ColorNear(Effect(kContrastId, {0.9, -3, 12, 0.3}, {1.0}, {{"contrast", -1}}), {0.5, 0.5, 0.5, 1}, 0));
  // Alpha above 1: 2A - 1, whatever the contrast.
  const ColorA c{0.0, 1.0, 0.5, 1.5};
  EXPECT_TRUE(ColorNear(Effect(kContrastId, c, {1.0}, {{"contrast", 3.0}}), {0.0, 2.5, 0.5, 2.0}, 0));
  EXPECT_EQ(Effect(kContrastId, c, {1.0}, {{"contrast", 0.0}}).a, 2.0);
}

TEST(Effects, ExposureRaisesMaskedAlphaByOneAndItsGammaClampsNegatives) {
  const ColorA out =
      Effect(kExposureId, {0.1, 0.2, 0.3, 0.25}, {1.0}, {{"exposure", 1}, {"offset", 0.5}, {"gamma", 1}});
  // c * 2 + 0.5 through the mask rule's (effect - input) * 1 + input, which
  // rounds the green channel down a step.
  EXPECT_TRUE(ColorNear(out, {0.7, 0.8999999999999999, 1.1, 1.25}, 0));
  // Gamma 0 and 1 skip the step, others clamp negatives.
  auto exposure = [](double gamma) {
    return Effect(kExposureId, {-0.5, 0.25, 4, 1}, {1.0, true, true, true, false},
                  {{"exposure", 0.0}, {"offset", 0.0}, {"gamma", gamma}});
  };
  EXPECT_TRUE(ColorNear(exposure(0.0), {-0.5, 0.25, 4, 1}, 0));
  EXPECT_TRUE(ColorNear(exposure(1.0), {-0.5, 0.25, 4, 1}, 0));
  EXPECT_TRUE(ColorNear(exposure(2.0), {0.0, 0.5, 2, 1}, 0));
  EXPECT_TRUE(std::isnan(exposure(kNaN).g));  // NaN is neither 0 nor 1
}

// None of them touches alpha, with maskalpha set.
TEST(Effects, EffectsWithoutAlpha) {
  EXPECT_TRUE(ColorNear(Effect(kPremultiplyId, {0.5, 1, 2, 0.5}, {1.0}), {0.25, 0.5, 1, 0.5}, 0));
  EXPECT_TRUE(ColorNear(Effect(kUnpremultiplyId, {0.25, 0.5, 1, 0.5}, {1.0}), {0.5, 1, 2, 0.5}, 0));
  // Alpha 0 keeps the colour.
  EXPECT_TRUE(ColorNear(Effect(kUnpremultiplyId, {0.25, 0.5, 1, 0.0}, {1.0}), {0.25, 0.5, 1, 0.0}, 0));
  // A zero white point component goes to black.
  auto white = Runner(kWhiteBalanceId, {0.8, 0.5, 0.25, 0.7}, {1.0});
  ASSERT_TRUE(white->Set("whitePoint", Color{0, 1, 0.5}).ok());
  EXPECT_TRUE(ColorNear(testutil::RunColor(*white), {0.0, 0.5, 0.5, 0.7}, 0));
  // Temperature and tint shift in display units.
  EXPECT_TRUE(ColorNear(Effect(kColorTemperatureId, {0.5, 0.5, 0.5, 0.7}, {1.0}, {{"temperature", 2}, {"tint", 1}}),
                        {0.5 + 0.2, 0.5 - 0.1, 0.5 - 0.2, 0.7}, 0));
}

}  // namespace
}  // namespace tessaroc::pattern
