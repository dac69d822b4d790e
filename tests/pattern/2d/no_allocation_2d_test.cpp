// Sampling the 2D filters allocates nothing once their pre nodes have run:
// counted through the global allocation functions of this test binary.
#include <gtest/gtest.h>

#include "filter_support.h"
#include "pattern/2d/blur_node.h"
#include "pattern/2d/cache_node.h"
#include "pattern/2d/kernel_node.h"
#include "allocation_counter.h"

namespace tessaroc::pattern {
namespace {

// Runs `run` a few times and returns how many allocations the runs made.
long AllocationsOf(SingleNodeRunner& run) {
  ShadingContext ctx = AtUv(0.3, 0.6);
  EXPECT_TRUE(run.Run(ctx).ok());  // warm
  const long before = AllocationCount();
  for (int i = 0; i < 50; ++i) {
    ctx.uvw.x += 0.0137;
    ctx.uvwdx = ctx.uvwdy = ctx.uvw;
    EXPECT_TRUE(run.Run(ctx).ok());
  }
  return AllocationCount() - before;
}

TEST(NoAllocation2d, SamplersAllocateNothing) {
  // The counter is live.
  const long start = AllocationCount();
  int* volatile probe = new int(1);
  EXPECT_GT(AllocationCount(), start);
  delete probe;

  auto pre = Runner(kBlurPreId);
  for (Result r : {pre->SetFunction("color", &UvwColor()), pre->Set("resolution", uint32_t{32}),
                   pre->Set("radius", 0.05), pre->Set("mode", InternedId::Intern("baked")),
                   pre->Set("renderMode", uint32_t{0}), pre->Set("searchPaths", SearchPathsType{}), pre->Run()})
    ASSERT_TRUE(r.ok()) << r.ToString();
  const BakedImageRef image = pre->Get<BakedImageRef>("imageData");

  for (const char* mode : {"baked", "kernel", "stochastic"}) {
    auto blur = Runner(kBlurId);
    for (Result r :
         {blur->SetFunction("color", &UvwColor()), blur->Set("radius", 0.05), blur->Set("resolution", int32_t{32}),
          blur->Set("interpolation", InternedId::Intern("linear")), blur->Set("samples", int32_t{8}),
          blur->Set("seed", int32_t{3}), blur->Set("staticNoise", false), blur->Set("mode", InternedId::Intern(mode)),
          blur->Set("imageData", image), blur->Set("maskblend", 1.0), blur->Set("renderMode", uint32_t{0})})
      ASSERT_TRUE(r.ok()) << r.ToString();
    EXPECT_EQ(AllocationsOf(*blur), 0) << mode;
  }

  auto cache = Runner(kCacheId);
  ASSERT_TRUE(cache->SetFunction("color", &UvwColor()).ok());
  ASSERT_TRUE(cache->Set("interpolation", InternedId::Intern("nearest")).ok());
  ASSERT_TRUE(cache->Set("imageData", image).ok());
  EXPECT_EQ(AllocationsOf(*cache), 0);

  auto kernel = Runner(kKernelId);
  ASSERT_TRUE(kernel->SetFunction("color", &UvwColor()).ok());
  ASSERT_TRUE(kernel->Set("resolution", Vector2d{64, 64}).ok());
  ASSERT_TRUE(kernel->Set("kernel11", 1.0).ok());
  ASSERT_TRUE(kernel->Set("normalize", true).ok());
  EXPECT_EQ(AllocationsOf(*kernel), 0);
}

}  // namespace
}  // namespace tessaroc::pattern
