// The eight masked colour effects, run through their registered kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "core/runtime.h"
#include "pattern/catalogue.h"
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

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

struct Mask {
  double blend = 1.0;
  bool r = true, g = true, b = true, a = true;
};

class EffectsTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(RegisterCatalogue(registry_).ok()); }

  // Runs a node with a colour, a mask and further Float or Color settings.
  std::unique_ptr<SingleNodeRunner> Runner(const char* id, const ColorA& color, const Mask& m) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry_.GetGroup(id, g).ok());
    std::unique_ptr<SingleNodeRunner> run;
    EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
    EXPECT_TRUE(run->Set("color", color).ok());
    EXPECT_TRUE(run->Set("maskblend", m.blend).ok());
    EXPECT_TRUE(run->Set("maskred", m.r).ok());
    EXPECT_TRUE(run->Set("maskgreen", m.g).ok());
    EXPECT_TRUE(run->Set("maskblue", m.b).ok());
    EXPECT_TRUE(run->Set("maskalpha", m.a).ok());
    return run;
  }
  ColorA Run(SingleNodeRunner& run) {
    EXPECT_TRUE(run.Run().ok());
    return run.Get<ColorA>("result");
  }

  static CoreNodeRegistry registry_;
};
CoreNodeRegistry EffectsTest::registry_;

void ExpectColor(const ColorA& got, const ColorA& want) {
  auto same = [](double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; };
  EXPECT_TRUE(same(got.r, want.r) && same(got.g, want.g) && same(got.b, want.b) && same(got.a, want.a))
      << "got (" << got.r << ", " << got.g << ", " << got.b << ", " << got.a << ") want (" << want.r << ", "
      << want.g << ", " << want.b << ", " << want.a << ")";
}

// ---- the mask rule, on invertcolor

TEST_F(EffectsTest, InvertHalfBlendedMeetsInTheMiddle) {
  auto run = Runner(kInvertColorId, {0, 1, 0.25, 0.5}, {0.5});
  ExpectColor(Run(*run), {0.5, 0.5, 0.5, 0.5});
}

TEST_F(EffectsTest, BlendZeroOrAllMasksOffReturnTheInput) {
  const ColorA c{0.3, -2, 7, 0.4};
  ExpectColor(Run(*Runner(kInvertColorId, c, {0.0})), c);
  ExpectColor(Run(*Runner(kInvertColorId, c, {1.0, false, false, false, false})), c);
}

TEST_F(EffectsTest, MaskSelectsChannelsAndBlendIsNotClamped) {
  auto run = Runner(kInvertColorId, {0.25, 0.25, 0.25, 0.25}, {2.0, true, false, true, false});
  // Blend 2 overshoots: (0.75 - 0.25) * 2 + 0.25.
  ExpectColor(Run(*run), {1.25, 0.25, 1.25, 0.25});
  run = Runner(kInvertColorId, {0.25, 0.25, 0.25, 0.25}, {-1.0});
  ExpectColor(Run(*run), {-0.25, -0.25, -0.25, -0.25});
}

TEST_F(EffectsTest, UnmaskedChannelStillPassesThroughTheFormula) {
  // (c - c) * blend + c is NaN for an infinite input, masked or not.
  auto run = Runner(kInvertColorId, {kInf, 0.5, 0.5, 1}, {1.0, false, false, false, false});
  ExpectColor(Run(*run), {kNaN, 0.5, 0.5, 1});
  run = Runner(kInvertColorId, {0.5, 0.5, 0.5, 1}, {kInf, false, false, false, false});
  ExpectColor(Run(*run), {kNaN, kNaN, kNaN, kNaN});
}

TEST_F(EffectsTest, BoolPortsReadAnyNonZeroByteAsTrue) {
  auto run = Runner(kInvertColorId, {0.25, 0.25, 0.25, 0.25}, {1.0, false, false, false, false});
  uint8_t two = 2;
  ASSERT_TRUE(run->instance().SetInput(run->node(), "maskred", ValueSlot{nullptr, &two}).ok());
  ExpectColor(Run(*run), {0.75, 0.25, 0.25, 0.25});
}

// ---- biasgain

TEST_F(EffectsTest, BiasGainHalfAndHalfIsIdentityInsideAndClampsOutside) {
  auto run = Runner(kBiasGainId, {0.2, 0.7, 1.0, 1.0}, {1.0, true, true, true, false});
  ASSERT_TRUE(run->Set("bias", 0.5).ok());
  ASSERT_TRUE(run->Set("gain", 0.5).ok());
  ColorA out = Run(*run);
  EXPECT_NEAR(out.r, 0.2, 1e-15);
  EXPECT_NEAR(out.g, 0.7, 1e-15);
  EXPECT_EQ(out.b, 1.0);
  ASSERT_TRUE(run->Set("color", ColorA{-0.5, 1.5, 3, 1}).ok());
  out = Run(*run);
  EXPECT_EQ(out.r, 0.0);
  EXPECT_EQ(out.g, 1.0);
  EXPECT_EQ(out.b, 1.0);
}

TEST_F(EffectsTest, BiasGainAlphaIsOneOrNaNForEveryBlend) {
  // Alpha runs with bias 1 and gain 1 fixed: A / (1 - (1 - A)) is 1 up to
  // rounding, and 0/0 at A = 0 is NaN even with blend 0.
  auto run = Runner(kBiasGainId, {0.5, 0.5, 0.5, 0.0}, {0.0});
  ASSERT_TRUE(run->Set("bias", 0.3).ok());
  ASSERT_TRUE(run->Set("gain", 0.6).ok());
  EXPECT_TRUE(std::isnan(Run(*run).a));
  ASSERT_TRUE(run->Set("color", ColorA{0.5, 0.5, 0.5, 0.25}).ok());
  ASSERT_TRUE(run->Set("maskblend", 1.0).ok());
  EXPECT_NEAR(Run(*run).a, 1.0, 1e-15);
  // Without maskalpha the alpha passes unchanged, also at 0.
  ASSERT_TRUE(run->Set("maskalpha", false).ok());
  ASSERT_TRUE(run->Set("color", ColorA{0.5, 0.5, 0.5, 0.0}).ok());
  EXPECT_EQ(Run(*run).a, 0.0);
}

TEST_F(EffectsTest, BiasGainCoefficientLimits) {
  // gain at or above 1 uses -0.999899989999; bias 0 or below uses 997.99...;
  // gain 0 or below uses 9998.00...
  const double c = 0.3;
  auto channel = [](double c, double kb, double kg) {
    const double v = c / ((1 - c) * kb + 1);
    const double t = 1 - (v + v), k = t * kg;
    return 0.5 > v ? v / (k + 1) : (k - v) / (k - 1);
  };
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.5, 1.0).r, channel(c, 0.0, -0.999899989999));
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.5, 5.0).r, channel(c, 0.0, -0.999899989999));
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.0, 0.5).r, channel(c, 997.999952502551, 0.0));
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, -3.0, 0.5).r, BiasGainEffect({c, c, c, 1}, 0.0, 0.5).r);
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.5, 0.0).r, channel(c, 0.0, 9998.000252621256));
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.5, -1.0).r, BiasGainEffect({c, c, c, 1}, 0.5, 0.0).r);
  // Bias raises values below one half; the limit sits at the 32-bit 0.001.
  EXPECT_GT(BiasGainEffect({c, c, c, 1}, 0.8, 0.5).r, c);
  EXPECT_EQ(BiasGainEffect({c, c, c, 1}, 0.0010000000474974513, 0.5).r,
            channel(c, 1.0 / 0.0010000000474974513 - 2.0, 0.0));
}

// ---- contrast

TEST_F(EffectsTest, ContrastMinusOneIsMidGreyAndAlphaGoesToOne) {
  auto run = Runner(kContrastId, {0.9, -3, 12, 0.3}, {1.0});
  ASSERT_TRUE(run->Set("contrast", -1.0).ok());
  ExpectColor(Run(*run), {0.5, 0.5, 0.5, 1.0});
}

TEST_F(EffectsTest, ContrastNeverBelowZeroButAboveOneAndAlphaIgnoresThePort) {
  auto run = Runner(kContrastId, {0.0, 1.0, 0.5, 1.5}, {1.0});
  ASSERT_TRUE(run->Set("contrast", 3.0).ok());
  ExpectColor(Run(*run), {0.0, 2.5, 0.5, 2.0});  // alpha above 1: 2A - 1
  ASSERT_TRUE(run->Set("contrast", 0.0).ok());
  EXPECT_EQ(Run(*run).a, 2.0);
}

// ---- exposure

TEST_F(EffectsTest, ExposureRaisesMaskedAlphaByExactlyOne) {
  auto run = Runner(kExposureId, {0.1, 0.2, 0.3, 0.25}, {1.0});
  ASSERT_TRUE(run->Set("exposure", 1.0).ok());
  ASSERT_TRUE(run->Set("offset", 0.5).ok());
  ASSERT_TRUE(run->Set("gamma", 1.0).ok());
  // The mask rule's (effect - input) * 1 + input may round: compare with it.
  auto mix = [](double c, double e) { return (e - c) * 1.0 + c; };
  ExpectColor(Run(*run), {mix(0.1, 0.1 * 2 + 0.5), mix(0.2, 0.2 * 2 + 0.5), mix(0.3, 0.3 * 2 + 0.5), 1.25});
}

TEST_F(EffectsTest, ExposureGammaZeroAndOneSkipTheStepOthersClampNegative) {
  auto run = Runner(kExposureId, {-0.5, 0.25, 4, 1}, {1.0, true, true, true, false});
  ASSERT_TRUE(run->Set("exposure", 0.0).ok());
  ASSERT_TRUE(run->Set("offset", 0.0).ok());
  ASSERT_TRUE(run->Set("gamma", 0.0).ok());
  ExpectColor(Run(*run), {-0.5, 0.25, 4, 1});
  ASSERT_TRUE(run->Set("gamma", 1.0).ok());
  ExpectColor(Run(*run), {-0.5, 0.25, 4, 1});
  ASSERT_TRUE(run->Set("gamma", 2.0).ok());
  ExpectColor(Run(*run), {0.0, 0.5, 2, 1});
  ASSERT_TRUE(run->Set("gamma", kNaN).ok());  // NaN is neither 0 nor 1
  EXPECT_TRUE(std::isnan(Run(*run).g));
}

// ---- premultiply, unpremultiply, whitebalance, colortemperature: no alpha effect

TEST_F(EffectsTest, PremultiplyAndUnpremultiply) {
  auto run = Runner(kPremultiplyId, {0.5, 1, 2, 0.5}, {1.0});
  ExpectColor(Run(*run), {0.25, 0.5, 1, 0.5});
  run = Runner(kUnpremultiplyId, {0.25, 0.5, 1, 0.5}, {1.0});
  ExpectColor(Run(*run), {0.5, 1, 2, 0.5});
  run = Runner(kUnpremultiplyId, {0.25, 0.5, 1, 0.0}, {1.0});
  ExpectColor(Run(*run), {0.25, 0.5, 1, 0.0});  // alpha 0 keeps the colour
}

TEST_F(EffectsTest, WhiteBalanceZeroComponentGoesToBlack) {
  auto run = Runner(kWhiteBalanceId, {0.8, 0.5, 0.25, 0.7}, {1.0});
  ASSERT_TRUE(run->Set("whitePoint", Color{0, 1, 0.5}).ok());
  ExpectColor(Run(*run), {0.0, 0.5, 0.5, 0.7});
}

TEST_F(EffectsTest, ColorTemperatureShiftsInDisplayUnits) {
  auto run = Runner(kColorTemperatureId, {0.5, 0.5, 0.5, 0.7}, {1.0});
  ASSERT_TRUE(run->Set("temperature", 2.0).ok());
  ASSERT_TRUE(run->Set("tint", 1.0).ok());
  ExpectColor(Run(*run), {0.5 + 0.2, 0.5 - 0.1, 0.5 - 0.2, 0.7});
}

TEST_F(EffectsTest, EffectsWithoutAlphaIgnoreMaskAlpha) {
  const char* ids[] = {kPremultiplyId, kUnpremultiplyId, kWhiteBalanceId, kColorTemperatureId};
  for (const char* id : ids) {
    auto run = Runner(id, {0.5, 0.5, 0.5, 0.25}, {1.0});
    (void)run->Set("whitePoint", Color{1, 1, 1});
    (void)run->Set("temperature", 1.0);
    (void)run->Set("tint", 1.0);
    EXPECT_EQ(Run(*run).a, 0.25) << id;
  }
}

TEST_F(EffectsTest, CatalogueRegistersTheEightEffectsAsPureNodes) {
  const char* ids[] = {kInvertColorId, kBiasGainId,      kContrastId,      kExposureId,
                       kPremultiplyId, kUnpremultiplyId, kWhiteBalanceId, kColorTemperatureId};
  for (const char* id : ids) {
    const CoreNodeDefinition* def = registry_.Find(id);
    ASSERT_NE(def, nullptr) << id;
    EXPECT_TRUE(def->pure()) << id;
    const MicroNodeGroup* g = nullptr;
    ASSERT_TRUE(def->GetGroup(g).ok()) << id;
    // color is always access index 0 and result the last.
    const std::vector<int>& access = g->microNodes()[0].portOfAccess;
    EXPECT_EQ(g->ports()[access.front()].id, Id("color")) << id;
    EXPECT_EQ(g->ports()[access.back()].id, Id("result")) << id;
  }
}

}  // namespace
}  // namespace tessaroc::pattern
