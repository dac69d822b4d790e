// Baking a colour function into an image: the parallel loop, the bake itself,
// the two lookups and the cache nodes.
#include <atomic>
#include <vector>

#include "filter_support.h"
#include "host/jobs/job_service.h"
#include "pattern/2d/baked_image.h"
#include "pattern/2d/cache_node.h"
#include "pattern/2d/parallel_loop.h"

namespace tessaroc::pattern {
namespace {

// ---- the parallel loop

TEST(ParallelLoopTest, EveryIndexRunsExactlyOnceAndEveryJobRuns) {
  for (int threads : {1, 2, 5}) {
    host::InstallJobService(threads);
    for (int64_t count : {0, 1, 3, 16, 17, 100, 1001}) {
      std::vector<std::atomic<int>> hits(static_cast<size_t>(count));
      auto body = [&](int64_t first, int64_t end) {
        // Several workers take chunks of at most 16; one does it all at once.
        if (threads > 1 && count > 1) { EXPECT_LE(end - first, 16); }
        for (int64_t i = first; i < end; ++i) hits[static_cast<size_t>(i)].fetch_add(1);
      };
      ParallelFor(count, body);
      for (int64_t i = 0; i < count; ++i) EXPECT_EQ(hits[static_cast<size_t>(i)].load(), 1) << i << " of " << count;
    }
  }
  host::UninstallJobService();

  // The service runs every job of a group, not only the caller's.
  host::WorkerJobService two(2);
  EXPECT_EQ(two.GetThreadCount(), 2);
  std::atomic<int> jobs{0};
  two.RunGroupAndWait(
      7, [](void* d, int) { static_cast<std::atomic<int>*>(d)->fetch_add(1); }, &jobs);
  EXPECT_EQ(jobs.load(), 7);
}

// ---- the bake

// A function with some arithmetic in it, so that a wrong pixel shows.
const CallableFunction<ColorA>& Wavy() {
  static const CallableFunction<ColorA> fn(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {std::sin(c.uvw.x * 17.0) * std::cos(c.uvw.y * 5.0), c.uvw.x * c.uvw.y, c.uvw.y - c.uvw.x, 0.5};
    return Result::Ok();
  });
  return fn;
}

BakedImageData Bake(uint32_t w, uint32_t h, const FunctionInterface& fn) {
  BakedImageData image;
  EXPECT_TRUE(ResizeBakedImage(image, w, h).ok());
  PrecomputePortData(nullptr, w, h, {0.5 / w, 0.5 / h}, &fn, image);
  return image;
}

TEST(BakeTest, PixelCentresInRowMajorOrderWithRowZeroAtVZeroAndResizeKeepsOldPixels) {
  const BakedImageData image = Bake(4, 2, UvwColor());
  ASSERT_EQ(image.pixels.size(), 8u);
  EXPECT_EQ(image.pixels[0], (ColorA{0.125, 0.25, 0, 1}));
  EXPECT_EQ(image.pixels[3], (ColorA{0.875, 0.25, 0, 1}));
  EXPECT_EQ(image.pixels[5], (ColorA{0.375, 0.75, 0, 1}));

  // A resize keeps the old pixels and adds opaque black.
  BakedImageData resized;
  ASSERT_TRUE(ResizeBakedImage(resized, 2, 1).ok());
  resized.pixels[1] = {1, 2, 3, 4};
  ASSERT_TRUE(ResizeBakedImage(resized, 2, 2).ok());
  EXPECT_EQ(resized.pixels[1], (ColorA{1, 2, 3, 4}));
  EXPECT_EQ(resized.pixels[3], kOpaqueBlack);
  EXPECT_EQ(resized.width, 2u);
  EXPECT_EQ(resized.height, 2u);
}

TEST(BakeTest, FailingCallEndsItsRowOnly) {
  // Fails in row 2 from column 5 on; errors are dropped.
  const CallableFunction<ColorA> picky(kColorAType, [](const ShadingContext& c, ColorA& out) {
    if (c.uvw.y > 0.25 && c.uvw.y < 0.375 && c.uvw.x > 0.625) return Result::Fail(errors::kIllegalState, "no");
    out = {1, 1, 1, 1};
    return Result::Ok();
  });
  host::InstallJobService(2);
  BakedImageData image = Bake(8, 8, picky);
  host::UninstallJobService();
  for (uint32_t y = 0; y < 8; ++y)
    for (uint32_t x = 0; x < 8; ++x) {
      const ColorA want = (y == 2 && x >= 5) ? kOpaqueBlack : ColorA{1, 1, 1, 1};
      EXPECT_EQ(image.pixels[y * 8 + x], want) << x << ", " << y;
    }
  // A rebake over old pixels: the row's rest keeps its former colours.
  PrecomputePortData(nullptr, 8, 8, {1.0 / 16, 1.0 / 16}, &picky, image);
  EXPECT_EQ(image.pixels[2 * 8 + 6], kOpaqueBlack);
}

// ---- lookups

TEST(SampleBakedTest, NearestAndLinearLookupsWrapOnePeriodEitherWayAndCheckTheCount) {
  BakedImageData image = Bake(4, 4, UvwColor());
  EXPECT_EQ(SampleBakedNearest(0.3f, 0.9f, image), (ColorA{0.375, 0.875, 0, 1}));
  EXPECT_EQ(SampleBakedNearest(-0.25f, 0.1f, image), SampleBakedNearest(0.75f, 0.1f, image));
  EXPECT_EQ(SampleBakedNearest(3.3f, -2.1f, image), SampleBakedNearest(0.3f, 0.9f, image));
  // A tiny negative u rounds to 1 in 32 bits: x = width, outside.
  EXPECT_EQ(SampleBakedNearest(-1e-9f, 0.5f, image), kOpaqueBlack);
  EXPECT_NE(SampleBakedLinear(-1e-9f, 0.5f, image), kOpaqueBlack);

  // Linear: at pixel centres it is the pixel; half-way between two centres.
  EXPECT_EQ(SampleBakedLinear(0.375f, 0.625f, image), (ColorA{0.375, 0.625, 0, 1}));
  EXPECT_TRUE(ColorNear(SampleBakedLinear(0.5f, 0.625f, image), {0.5, 0.625, 0, 1}, 1e-12));
  // u = 0: the last and the first pixel half and half.
  EXPECT_TRUE(ColorNear(SampleBakedLinear(0.0f, 0.625f, image), {(0.875 + 0.125) / 2, 0.625, 0, 1}, 1e-12));
  // A 1 by 1 image is that pixel everywhere.
  const BakedImageData one = Bake(1, 1, Wavy());
  for (float u : {0.0f, 0.3f, 0.99f, -4.5f}) EXPECT_EQ(SampleBakedLinear(u, 0.7f, one), one.pixels[0]);

  // Wrong pixel counts give opaque black.
  image.pixels.pop_back();
  EXPECT_EQ(SampleBakedLinear(0.5f, 0.5f, image), kOpaqueBlack);
  EXPECT_EQ(SampleBakedNearest(0.5f, 0.5f, image), kOpaqueBlack);
  EXPECT_EQ(SampleBakedNearest(0.5f, 0.5f, BakedImageData{}), kOpaqueBlack);

  // The wrap of an index: one period either way, else zero.
  const int cases[][2] = {{4, 0}, {7, 3}, {8, 0}, {-1, 3}, {-5, 0}, {2, 2}};
  for (const auto& [index, want] : cases) EXPECT_EQ(WrapIndex(index, 4), want) << index;
}

// ---- cachepre and cache

class CacheTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Pre(uint32_t w, uint32_t h, uint32_t renderMode = 0,
                                        const FunctionInterface* fn = &UvwColor()) {
    auto pre = Runner(kCachePreId);
    for (Result r : {fn ? pre->SetFunction("color", fn) : Result::Ok(), pre->Set("width", w), pre->Set("height", h),
                     pre->Set("renderMode", renderMode), pre->Set("searchPaths", SearchPathsType{}), pre->Run()})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return pre;
  }
  ColorA Cache(const BakedImageRef& image, double u, double v, const char* interpolation) {
    auto run = Runner(kCacheId);
    for (Result r :
         {run->SetFunction("color", &UvwColor()), run->Set("interpolation", InternedId::Intern(interpolation)),
          run->Set("imageData", image), run->Run(AtUv(u, v))})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run->Get<ColorA>("result");
  }
};

TEST_F(CacheTest, ReadsTheBakeWithEitherInterpolationAndWithoutABakeCallsTheFunction) {
  auto pre = Pre(8, 4);
  const BakedImageRef image = pre->Get<BakedImageRef>("imageData");
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 8u);
  EXPECT_EQ(image->height, 4u);
  // Nearest snaps to the pixel centre; the wrap is a repeat.
  EXPECT_EQ(Cache(image, 0.3, 0.3, "nearest"), (ColorA{0.3125, 0.375, 0, 1}));
  EXPECT_EQ(Cache(image, -0.7, 1.3, "nearest"), (ColorA{0.3125, 0.375, 0, 1}));
  EXPECT_TRUE(ColorNear(Cache(image, 0.25, 0.375, "linear"), {0.25, 0.375, 0, 1}, 1e-7));
  // Any other interpolation id leaves the result as it was.
  EXPECT_EQ(Cache(image, 0.3, 0.3, "cubic"), (ColorA{0, 0, 0, 0}));

  // Without a bake the function is called; without a record: opaque black.
  // Render mode 1 keeps the record but drops its pixels.
  const BakedImageRef unbaked = Pre(8, 8, 1)->Get<BakedImageRef>("imageData");
  ASSERT_TRUE(unbaked);
  EXPECT_TRUE(unbaked->pixels.empty());
  EXPECT_EQ(Cache(unbaked, 0.3, 0.7, "nearest"), (ColorA{0.3, 0.7, 0, 1}));
  // Width 0: nothing baked either.
  EXPECT_EQ(Cache(Pre(0, 8)->Get<BakedImageRef>("imageData"), 0.3, 0.7, "nearest"), (ColorA{0.3, 0.7, 0, 1}));
  EXPECT_EQ(Cache(BakedImageRef(), 0.3, 0.7, "nearest"), kOpaqueBlack);
  // An unset colour bakes nothing.
  const BakedImageRef unset = Pre(4, 4, 0, nullptr)->Get<BakedImageRef>("imageData");
  ASSERT_TRUE(unset);
  EXPECT_TRUE(unset->pixels.empty());
  // The preview caps each side.
  const BakedImageRef preview = Pre(300, 64, 2)->Get<BakedImageRef>("imageData");
  EXPECT_EQ(preview->width, 128u);
  EXPECT_EQ(preview->height, 64u);
}

TEST_F(CacheTest, BakeStandsWhileTheSizeDoes) {
  auto pre = Pre(4, 4);
  const BakedImageRef image = pre->Get<BakedImageRef>("imageData");
  const ConstantFunction<ColorA> red(kColorAType, ColorA{1, 0, 0, 1});
  ASSERT_TRUE(pre->SetFunction("color", &red).ok());
  ASSERT_TRUE(pre->Run().ok());
  EXPECT_EQ(image->pixels[0], (ColorA{0.125, 0.125, 0, 1}));  // still the old bake
  ASSERT_TRUE(pre->Set("width", uint32_t{2}).ok());
  ASSERT_TRUE(pre->Run().ok());
  EXPECT_EQ(pre->Get<BakedImageRef>("imageData"), image);  // the same record, rebaked
  EXPECT_EQ(image->width, 2u);
  EXPECT_EQ(image->pixels[0], (ColorA{1, 0, 0, 1}));
}

}  // namespace
}  // namespace tessaroc::pattern
