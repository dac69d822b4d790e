// The 3 by 3 kernel and the masked area average.
#include <atomic>
#include <map>

#include "filter_support.h"
#include "pattern/2d/area_average_node.h"
#include "pattern/2d/kernel_node.h"

namespace tessaroc::pattern {
namespace {

// ---- kernel

class KernelTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Kernel(const double (&k)[9], bool normalize, Vector2d resolution = {4, 8},
                                           const FunctionInterface* fn = &UvwColor()) {
    auto run = Runner(kKernelId);
    EXPECT_TRUE(run->SetFunction("color", fn).ok());
    EXPECT_TRUE(run->Set("resolution", resolution).ok());
    const char* names[] = {"kernel00", "kernel01", "kernel02", "kernel10", "kernel11",
                           "kernel12", "kernel20", "kernel21", "kernel22"};
    for (int i = 0; i < 9; ++i) EXPECT_TRUE(run->Set(names[i], k[i]).ok());
    for (Result r : {run->Set("normalize", normalize), run->Set("maskblend", 1.0), run->Set("maskred", true),
                     run->Set("maskgreen", true), run->Set("maskblue", true), run->Set("maskalpha", true)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static ColorA Run(SingleNodeRunner& run, double u, double v, double w = 0.25) {
    EXPECT_TRUE(run.Run(AtUv(u, v, w)).ok());
    return run.Get<ColorA>("result");
  }
};

TEST_F(KernelTest, FirstDigitGoesWithUAndSecondWithVAndMaskBlendMixesTowardsTheInput) {
  // Steps of 1/4 in u and 1/8 in v.
  const double k01[9] = {0, 1, 0, 0, 0, 0, 0, 0, 0};  // u - su, v
  EXPECT_EQ(Run(*Kernel(k01, false), 0.5, 0.5), (ColorA{0.25, 0.5, 0.25, 1}));
  const double k12[9] = {0, 0, 0, 0, 0, 1, 0, 0, 0};  // u, v + sv
  EXPECT_EQ(Run(*Kernel(k12, false), 0.5, 0.5), (ColorA{0.5, 0.625, 0.25, 1}));
  const double k20[9] = {0, 0, 0, 0, 0, 0, 1, 0, 0};  // u + su, v - sv
  EXPECT_EQ(Run(*Kernel(k20, false), 0.5, 0.5), (ColorA{0.75, 0.375, 0.25, 1}));
  const double k11[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};  // the centre: the input itself
  EXPECT_EQ(Run(*Kernel(k11, false), 0.3, 0.7), (ColorA{0.3, 0.7, 0.25, 1}));
  auto run = Kernel(k01, false);
  ASSERT_TRUE(run->Set("maskblend", 0.5).ok());
  ASSERT_TRUE(run->Set("maskgreen", false).ok());
  EXPECT_TRUE(ColorNear(Run(*run, 0.5, 0.5), {0.375, 0.5, 0.25, 1}, 1e-12));
}

TEST_F(KernelTest, NormalisationDividesByAPositiveSumOnlyAndLowResolutionStepsWholeTiles) {
  const double box[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  // A box over a linear ramp gives the centre value once normalised...
  EXPECT_TRUE(ColorNear(Run(*Kernel(box, true), 0.5, 0.5), {0.5, 0.5, 0.25, 1}, 1e-12));
  // ...and nine times it without.
  EXPECT_TRUE(ColorNear(Run(*Kernel(box, false), 0.5, 0.5), {4.5, 4.5, 2.25, 9}, 1e-12));
  // An edge detector sums to zero: left as it is, a ramp gives its slope.
  const double sobel[9] = {-1, -2, -1, 0, 0, 0, 1, 2, 1};
  EXPECT_TRUE(ColorNear(Run(*Kernel(sobel, true), 0.5, 0.5), {4 * 0.5, 0, 0, 0}, 1e-12));
  // All weights zero with normalise: black with alpha 0.
  const double zero[9] = {};
  EXPECT_EQ(Run(*Kernel(zero, true), 0.5, 0.5), (ColorA{0, 0, 0, 0}));

  // A low resolution steps whole tiles, and every tap runs.
  std::atomic<int> calls{0};
  const CallableFunction<ColorA> counted(kColorAType, [&calls](const ShadingContext& c, ColorA& out) {
    calls.fetch_add(1);
    out = {c.uvw.x, c.uvw.y, c.uvw.z, 1};
    return Result::Ok();
  });
  const double k00[9] = {1, 0, 0, 0, 0, 0, 0, 0, 0};
  auto run = Kernel(k00, false, {0, 0}, &counted);
  EXPECT_EQ(Run(*run, 0.5, 0.5), (ColorA{-0.5, -0.5, 0.25, 1}));
  EXPECT_EQ(calls.load(), 10);  // the input and nine taps, weight 0 or not
}

// ---- areaaverage

class AreaAverageTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Average(uint32_t w, uint32_t h, const FunctionInterface* color,
                                            const FunctionInterface* mask, uint32_t renderMode = 0) {
    auto run = Runner(kAreaAverageId);
    for (Result r : {run->SetFunction("color", color), run->SetFunction("mask", mask), run->Set("width", w),
                     run->Set("height", h), run->Set("renderMode", renderMode)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static ColorA Run(SingleNodeRunner& run) {
    EXPECT_TRUE(run.Run(AtUv(0.9, 0.9)).ok());
    return run.Get<ColorA>("result");
  }
};

const ConstantFunction<double>& MaskConstant(double m) {
  static std::map<double, ConstantFunction<double>> masks;
  return masks.try_emplace(m, kFloat64Type, m).first->second;
}

const ConstantFunction<ColorA>& Grey() {
  static const ConstantFunction<ColorA> fn(kColorAType, ColorA{0.6, 0.4, 0.2, 0.6});
  return fn;
}

TEST_F(AreaAverageTest, AveragesOverTheGridCentresDividingByTheCountOfPositiveMaskPoints) {
  // The mean of the cell centres is 0.5 on each axis.
  EXPECT_TRUE(ColorNear(Run(*Average(4, 8, &UvwColor(), &MaskConstant(1))), {0.5, 0.5, 0, 1}, 1e-12));
  // A mask of 0.5 everywhere halves the colour.
  auto half = Average(3, 3, &Grey(), &MaskConstant(0.5));
  EXPECT_TRUE(ColorNear(Run(*half), {0.3, 0.2, 0.1, 0.3}, 1e-12));
  // A mask that is 1 on the left half only: the average of that half,
  // without a single call of the colour where the mask is 0.
  std::atomic<int> rightCalls{0};
  const CallableFunction<ColorA> color(kColorAType, [&rightCalls](const ShadingContext& c, ColorA& out) {
    if (c.uvw.x > 0.5) rightCalls.fetch_add(1);
    out = {c.uvw.x, c.uvw.y, 0, 1};
    return Result::Ok();
  });
  const CallableFunction<double> left(kFloat64Type, [](const ShadingContext& c, double& out) {
    out = c.uvw.x < 0.5 ? 1.0 : -2.0;
    return Result::Ok();
  });
  auto run = Average(4, 2, &color, &left);
  EXPECT_TRUE(ColorNear(Run(*run), {0.25, 0.5, 0, 1}, 1e-12));
  EXPECT_EQ(rightCalls.load(), 0);
  // Empty grids and masks give zero.
  EXPECT_EQ(Run(*Average(4, 0, &Grey(), &MaskConstant(1))), (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(Run(*Average(0, 4, &Grey(), &MaskConstant(1))), (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(Run(*Average(4, 4, &Grey(), &MaskConstant(0))), (ColorA{0, 0, 0, 0}));
}

// Grey whose channels sum to 2.5, counting its calls.
struct CountedGrey {
  std::atomic<int> calls{0};
  const CallableFunction<ColorA> fn{kColorAType, [this](const ShadingContext&, ColorA& out) {
                                      calls.fetch_add(1);
                                      out = {0.5, 0.5, 0.5, 1};
                                      return Result::Ok();
                                    }};
};

TEST_F(AreaAverageTest, ResultIsItsOwnCacheAndThePreviewCapsTheGrid) {
  CountedGrey counted;
  auto run = Average(2, 3, &counted.fn, &MaskConstant(1));
  EXPECT_EQ(Run(*run), (ColorA{0.5, 0.5, 0.5, 1}));
  EXPECT_EQ(counted.calls.load(), 6);
  EXPECT_EQ(Run(*run), (ColorA{0.5, 0.5, 0.5, 1}));
  EXPECT_EQ(counted.calls.load(), 6);  // computed once

  // An average whose channels sum to 1 is computed again on every call.
  const ConstantFunction<ColorA> half(kColorAType, ColorA{0.5, 0.5, 0.5, 0.5});
  auto again = Average(2, 3, &half, &MaskConstant(0.5));
  EXPECT_EQ(Run(*again), (ColorA{0.25, 0.25, 0.25, 0.25}));
  ASSERT_TRUE(again->SetFunction("mask", &MaskConstant(1)).ok());
  EXPECT_EQ(Run(*again), (ColorA{0.5, 0.5, 0.5, 0.5}));

  // The preview caps the grid.
  CountedGrey preview;
  Run(*Average(200, 2, &preview.fn, &MaskConstant(1), 2));
  EXPECT_EQ(preview.calls.load(), 128 * 2);
}

TEST_F(AreaAverageTest, ErrorsAreReturnedAndLeaveTheResult) {
  const CallableFunction<double> failing(
      kFloat64Type, [](const ShadingContext&, double&) { return Result::Fail(errors::kIllegalState, "mask broke"); });
  auto run = Average(2, 2, &Grey(), &failing);
  EXPECT_TRUE(run->Run(AtUv(0.5, 0.5)).Is(errors::kIllegalState));
  EXPECT_EQ(run->Get<ColorA>("result"), kOpaqueBlack);  // the fresh port
  auto noColor = Average(2, 2, nullptr, &MaskConstant(1));
  EXPECT_TRUE(noColor->Run(AtUv(0.5, 0.5)).Is(errors::kNullPtr));
}

}  // namespace
}  // namespace tessaroc::pattern
