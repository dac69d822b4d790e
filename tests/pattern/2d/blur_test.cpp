// Blur: the three-box bake, the Gaussian grid and the stochastic sampler,
// each behind the mask block.
#include <algorithm>
#include <limits>
#include <random>

#include "filter_support.h"
#include "host/jobs/job_service.h"
#include "pattern/2d/blur_node.h"

namespace tessaroc::pattern {
namespace {

// ---- box sizes and passes

TEST(ThreeBoxTest, SizesForKnownSigmas) {
  // From the published three-box approximation, computed with python3:
  //   wl = floor(sqrt(4 s^2 + 1)), made odd; m = round((12 s^2 - 3 wl^2 - 12 wl - 9) / (-4 wl - 4)).
  struct Case {
    double sigma;
    std::array<int, 3> sizes;
  } cases[] = {{0, {1, 1, 1}},      {0.5, {1, 1, 1}},   {1, {1, 1, 3}},       {1.5, {3, 3, 3}},
               {2, {3, 3, 5}},      {2.5, {5, 5, 5}},   {3, {5, 5, 7}},       {5, {9, 9, 11}},
               {7.3, {13, 15, 15}}, {10, {19, 19, 21}}, {25.6, {51, 51, 51}}, {63.5, {127, 127, 127}}};
  for (const Case& c : cases) EXPECT_EQ(ThreeBoxSizes(c.sigma), c.sizes) << c.sigma;
}

TEST(KernelWindowTest, HalfWidthIsCeilOf2Point57SigmaAtAnySize) {
  // Wide windows are expensive but not cut: 2000 pixels reach 5140 either side.
  const std::pair<double, int64_t> cases[] = {{0, 0},         {0.1, 1},     {1, 3},       {8, 21},
                                              {1593.7, 4096}, {1594, 4097}, {2000, 5140}, {-3, -7}};
  for (const auto& [sigma, half] : cases) EXPECT_EQ(KernelBlurHalfWidth(sigma), half) << sigma;
  EXPECT_EQ(KernelBlurHalfWidth(std::nan("")), 0);
  EXPECT_EQ(KernelBlurHalfWidth(HUGE_VAL), KernelBlurHalfWidth(1e300));  // held where distances would overflow
  EXPECT_GT(KernelBlurHalfWidth(1e300), int64_t{1} << 30);
}

TEST(BoxBlurTest, RunningSumMatchesAWindowAverageWithExtendedEdges) {
  const int32_t R = 23;
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> d(-1, 2);
  std::vector<ColorA> src(R * R), h(R * R), t(R * R);
  for (ColorA& c : src) c = {d(gen), d(gen), d(gen), d(gen)};
  auto at = [&](int x, int y) { return src[std::clamp(y, 0, R - 1) * R + std::clamp(x, 0, R - 1)]; };
  host::InstallJobService(2);
  for (int32_t r : {0, 1, 4, 11}) {
    BoxBlurH(src.data(), h.data(), R, r, 1.0 / (2 * r + 1));
    BoxBlurT(src.data(), t.data(), R, r, 1.0 / (2 * r + 1));
    for (int y = 0; y < R; ++y)
      for (int x = 0; x < R; ++x) {
        ColorA hw{}, tw{};
        for (int k = -r; k <= r; ++k) {
          const ColorA a = at(x + k, y), b = at(x, y + k);
          hw = {hw.r + a.r, hw.g + a.g, hw.b + a.b, hw.a + a.a};
          tw = {tw.r + b.r, tw.g + b.g, tw.b + b.b, tw.a + b.a};
        }
        const double n = 2 * r + 1;
        EXPECT_TRUE(ColorNear(h[y * R + x], {hw.r / n, hw.g / n, hw.b / n, hw.a / n}, 1e-12));
        EXPECT_TRUE(ColorNear(t[y * R + x], {tw.r / n, tw.g / n, tw.b / n, tw.a / n}, 1e-12));
      }
  }
  host::UninstallJobService();
}

// ---- blurpre

class BlurTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Pre(uint32_t R, double radius, const FunctionInterface* fn,
                                        const char* mode = "baked", uint32_t renderMode = 0) {
    auto pre = Runner(kBlurPreId);
    for (Result r : {pre->SetFunction("color", fn), pre->Set("resolution", R), pre->Set("radius", radius),
                     pre->Set("mode", InternedId::Intern(mode)), pre->Set("renderMode", renderMode),
                     pre->Set("searchPaths", SearchPathsType{}), pre->Run()})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return pre;
  }
  std::unique_ptr<SingleNodeRunner> Blur(const char* mode, double radius, const FunctionInterface* fn,
                                         BakedImageRef image = {}) {
    auto run = Runner(kBlurId);
    for (Result r : {run->SetFunction("color", fn), run->Set("radius", radius), run->Set("resolution", int32_t{8}),
                     run->Set("interpolation", InternedId::Intern("linear")), run->Set("samples", int32_t{4}),
                     run->Set("seed", int32_t{11}), run->Set("staticNoise", true),
                     run->Set("mode", InternedId::Intern(mode)), run->Set("imageData", image),
                     run->Set("maskblend", 1.0), run->Set("maskred", true), run->Set("maskgreen", true),
                     run->Set("maskblue", true), run->Set("maskalpha", true), run->Set("renderMode", uint32_t{0})})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static ColorA Run(SingleNodeRunner& run, const ShadingContext& ctx) {
    EXPECT_TRUE(run.Run(ctx).ok());
    return run.Get<ColorA>("result");
  }
};

const ConstantFunction<ColorA>& Constant() {
  static const ConstantFunction<ColorA> fn(kColorAType, ColorA{0.2, 0.4, 0.6, 0.8});
  return fn;
}

// 1 left of u = 0.5, 0 right of it.
const CallableFunction<ColorA>& Step() {
  static const CallableFunction<ColorA> fn(kColorAType, [](const ShadingContext& c, ColorA& out) {
    const double s = c.uvw.x < 0.5 ? 0.0 : 1.0;
    out = {s, s, s, 1};
    return Result::Ok();
  });
  return fn;
}

TEST_F(BlurTest, BakedConstantStaysConstantAndAStepIsSmoothed) {
  host::InstallJobService(2);
  auto pre = Pre(32, 0.1, &Constant());
  host::UninstallJobService();
  const BakedImageRef image = pre->Get<BakedImageRef>("imageData");
  ASSERT_EQ(image->pixels.size(), 32u * 32u);
  for (const ColorA& c : image->pixels) EXPECT_TRUE(ColorNear(c, {0.2, 0.4, 0.6, 0.8}, 1e-12));

  // A step is smoothed symmetrically and keeps its mean; sigma 3.2 pixels.
  auto step = Pre(64, 0.05, &Step());
  const auto& p = step->Get<BakedImageRef>("imageData")->pixels;
  // Every row alike; monotone across the edge; symmetric about it.
  for (int x = 1; x < 64; ++x) EXPECT_GE(p[10 * 64 + x].r, p[10 * 64 + x - 1].r - 1e-12);
  for (int x = 0; x < 32; ++x) EXPECT_NEAR(p[5 * 64 + x].r + p[5 * 64 + 63 - x].r, 1.0, 1e-12) << x;
  EXPECT_GT(p[10 * 64 + 31].r, 0.2);  // the edge is soft
  EXPECT_LT(p[10 * 64 + 28].r, p[10 * 64 + 31].r);
  EXPECT_EQ(p[10 * 64 + 0].r, 0.0);  // far away it is untouched
  EXPECT_EQ(p[10 * 64 + 33].r, p[40 * 64 + 33].r);
}

TEST_F(BlurTest, ZeroRadiusCopiesTheBakeOtherModesBakeNothingAndTheRadiusAloneDoesNotRebake) {
  auto pre = Pre(8, 0.0, &UvwColor());
  const BakedImageRef image = pre->Get<BakedImageRef>("imageData");
  EXPECT_EQ(image->pixels[3 * 8 + 5], (ColorA{5.5 / 8, 3.5 / 8, 0, 1}));
  auto kernel = Pre(8, 0.1, &UvwColor(), "kernel");
  EXPECT_FALSE(kernel->Get<BakedImageRef>("imageData"));
  // Resolution 1: sigma 0, the one pixel stays.
  auto one = Pre(1, 0.5, &UvwColor());
  EXPECT_EQ(one->Get<BakedImageRef>("imageData")->pixels[0], (ColorA{0.5, 0.5, 0, 1}));
  // The radius alone does not rebake; the preview caps the size.
  auto step = Pre(16, 0.0, &Step());
  const BakedImageRef stepImage = step->Get<BakedImageRef>("imageData");
  const ColorA before = stepImage->pixels[7];
  ASSERT_TRUE(step->Set("radius", 0.2).ok());
  ASSERT_TRUE(step->Run().ok());
  EXPECT_EQ(stepImage->pixels[7], before);
  EXPECT_EQ(Pre(512, 0.0, &Step(), "baked", 2)->Get<BakedImageRef>("imageData")->width, 128u);
  EXPECT_EQ(Pre(512, 0.0, &Step(), "baked", 1)->Get<BakedImageRef>("imageData")->width, 128u);
}

// ---- the sampler

TEST_F(BlurTest, BakedModeLooksUpAndMasksAndKernelModeIsAGaussianOnTheGrid) {
  auto pre = Pre(8, 0.0, &UvwColor());
  auto run = Blur("baked", 0.1, &Constant(), pre->Get<BakedImageRef>("imageData"));
  EXPECT_TRUE(ColorNear(Run(*run, AtUv(5.5 / 8, 3.5 / 8)), {5.5 / 8, 3.5 / 8, 0, 1}, 1e-7));
  // Half blend, red only: the other channels keep the input colour.
  for (Result r : {run->Set("maskblend", 0.5), run->Set("maskgreen", false), run->Set("maskblue", false),
                   run->Set("maskalpha", false)})
    ASSERT_TRUE(r.ok()) << r.ToString();
  EXPECT_TRUE(ColorNear(Run(*run, AtUv(5.5 / 8, 3.5 / 8)), {(0.2 + 5.5 / 8) / 2, 0.4, 0.6, 0.8}, 1e-7));
  // No record: opaque black, without the mask.
  auto none = Blur("baked", 0.1, &Constant());
  EXPECT_EQ(Run(*none, AtUv(0.5, 0.5)), kOpaqueBlack);
  // An empty record blurs to zero.
  auto empty = Blur("baked", 0.1, &Constant(), std::make_shared<BakedImageData>());
  EXPECT_EQ(Run(*empty, AtUv(0.5, 0.5)), (ColorA{0, 0, 0, 0}));

  // The kernel mode is a Gaussian on the grid.
  // Resolution 8, radius 1/8: sigma one pixel, 7 x 7 taps. At the pixel just
  // right of a step the result is the share of the weights on the bright side:
  // python3: g = [exp(-d*d/2) for d in range(-3, 4)]; sum(g[3:]) / sum(g)
  auto kernel = Blur("kernel", 1.0 / 8, &Step());
  EXPECT_NEAR(Run(*kernel, AtUv(0.5 + 1.0 / 16, 0.5)).r, 0.6995251398262273, 1e-12);
  // A ramp is reproduced at its pixel centre, inside the image.
  auto ramp = Blur("kernel", 1.0 / 8, &UvwColor());
  EXPECT_TRUE(ColorNear(Run(*ramp, AtUv(0.49, 0.51)), {3.5 / 8, 4.5 / 8, 0, 1}, 1e-12));
  // Radius 0: one tap at the pixel centre, the input snapped to the grid.
  auto snap = Blur("kernel", 0.0, &UvwColor());
  EXPECT_EQ(Run(*snap, AtUv(0.3, 0.7)), (ColorA{2.5 / 8, 5.5 / 8, 0, 1}));
  auto constant = Blur("kernel", 0.3, &Constant());
  EXPECT_TRUE(ColorNear(Run(*constant, AtUv(0.9, 0.05)), {0.2, 0.4, 0.6, 0.8}, 1e-12));
}

TEST_F(BlurTest, StochasticModeGoldenAndItsNoise) {
  auto run = Blur("stochastic", 0.05, &UvwColor());
  ShadingContext ctx = AtUv(0.3, 0.6);
  ctx.pixelx = 5;
  ctx.pixely = 7;
  ctx.subpixelx = 0.25;
  ctx.subpixely = 0.5;
  ctx.rayorigin = {1, 2, 3};
  ctx.raydirection = {0, 0, -1};
  ctx.time = 2.0;
  ctx.framerate = 24;
  // Computed with python3 from the seed rule, the hash, the 32-bit sequence
  // and the weights, four samples of (u, v, w, 1).
  const ColorA b = Run(*run, ctx);
  EXPECT_NEAR(b.r, 0.3450742978242259, 1e-12);
  EXPECT_NEAR(b.g, 0.5926646795670161, 1e-12);
  EXPECT_NEAR(b.b, 0.01351678340506637, 1e-12);
  EXPECT_NEAR(b.a, 0.9976203956919263, 1e-12);
  EXPECT_EQ(Run(*run, ctx), b);  // equal context, equal noise
  // Static noise ignores the frame; moving noise does not.
  ShadingContext later = ctx;
  later.time = 3.0;
  EXPECT_EQ(Run(*run, later), b);
  ASSERT_TRUE(run->Set("staticNoise", false).ok());
  const ColorA moving = Run(*run, ctx);
  EXPECT_NE(moving, b);
  EXPECT_NE(Run(*run, later), moving);
  // python3, the same with frame 48 added to the seed: mean weight.
  const ConstantFunction<ColorA> one(kColorAType, ColorA{1, 1, 1, 1});
  auto white = Blur("stochastic", 0.05, &one);
  ASSERT_TRUE(white->Set("staticNoise", false).ok());
  EXPECT_NEAR(Run(*white, ctx).r, 0.9978678065440593, 1e-12);
}

TEST_F(BlurTest, StochasticEdgeCasesAndErrors) {
  // Radius 0: B is the input itself.
  auto zero = Blur("stochastic", 0.0, &UvwColor());
  EXPECT_EQ(Run(*zero, AtUv(0.3, 0.7)), (ColorA{0.3, 0.7, 0, 1}));
  // No samples: B is zero and full blend gives black with alpha 0.
  auto none = Blur("stochastic", 0.1, &UvwColor());
  ASSERT_TRUE(none->Set("samples", int32_t{0}).ok());
  EXPECT_EQ(Run(*none, AtUv(0.3, 0.7)), (ColorA{0, 0, 0, 0}));
  // An unknown mode blurs to zero as well.
  auto unknown = Blur("smear", 0.1, &UvwColor());
  EXPECT_EQ(Run(*unknown, AtUv(0.3, 0.7)), (ColorA{0, 0, 0, 0}));

  // Errors of the function are returned.
  const CallableFunction<ColorA> failing(kColorAType, [](const ShadingContext& c, ColorA& out) {
    if (c.uvw.x > 0.6) return Result::Fail(errors::kIllegalState, "far right");
    out = {1, 1, 1, 1};
    return Result::Ok();
  });
  auto run = Blur("kernel", 0.2, &failing);
  EXPECT_TRUE(run->Run(AtUv(0.5, 0.5)).Is(errors::kIllegalState));
  auto missing = Runner(kBlurId);
  ASSERT_TRUE(missing->Set("mode", InternedId::Intern("kernel")).ok());
  EXPECT_TRUE(missing->Run(AtUv(0.5, 0.5)).Is(errors::kNullPtr));

  // Samples are the cost of a call: more than the limit is an error, not hours.
  auto many = Blur("stochastic", 0.1, &UvwColor());
  ASSERT_TRUE(many->Set("samples", kMaxStochasticSamples).ok());
  EXPECT_TRUE(many->Run(AtUv(0.3, 0.7)).ok());
  for (int32_t n : {kMaxStochasticSamples + 1, std::numeric_limits<int32_t>::max()}) {
    ASSERT_TRUE(many->Set("samples", n).ok());
    const Result r = many->Run(AtUv(0.3, 0.7));
    EXPECT_TRUE(r.Is(errors::kIllegalArgument)) << n;
    EXPECT_NE(r.message().find("a stochastic blur takes"), std::string_view::npos) << r.message();
  }
}

// The seed wraps as two's complement does and keeps its low 32 bits: the
// largest pixel indices and times give the noise of the indices and frames
// with the same low bits, not undefined overflow.
TEST_F(BlurTest, StochasticSeedWrapsAtTheLargestPixelsAndTimes) {
  auto run = Blur("stochastic", 0.05, &UvwColor());
  ASSERT_TRUE(run->Set("staticNoise", false).ok());
  ShadingContext base = AtUv(0.3, 0.6);
  base.framerate = 24;
  const ColorA zero = Run(*run, base);
  ShadingContext c = base;
  c.pixelx = std::numeric_limits<int64_t>::max();
  c.pixely = 1;  // the sum is 2^63, times 43778 a multiple of 2^32
  EXPECT_EQ(Run(*run, c), zero);
  c.pixelx = int64_t{1} << 32;
  c.pixely = 0;
  EXPECT_EQ(Run(*run, c), zero);
  c.pixelx = 1;
  EXPECT_NE(Run(*run, c), zero);
  // A time past every frame saturates at frame 2^63 - 1, whose low bits are those of frame -1.
  c = base;
  c.time = 1e300;
  ShadingContext before = base;
  before.time = -1.0 / 24;
  EXPECT_EQ(Run(*run, c), Run(*run, before));
  EXPECT_NE(Run(*run, before), zero);
}

}  // namespace
}  // namespace tessaroc::pattern
