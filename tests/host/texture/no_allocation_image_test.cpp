// Once its file is loaded, the image node samples without allocating, in
// every filter mode: counted through the global allocation functions of this
// test binary.
#include <gtest/gtest.h>

#include "tessaroc/core/runtime.h"
#include "host/texture/texture_service.h"
#include "pattern/catalogue.h"
#include "pattern/generator/image_node.h"
#include "test_images.h"

// Defined beside the counting allocation functions.
#include "allocation_counter.h"

namespace tessaroc::pattern {
namespace {

TEST(NoAllocationImage, SamplingALoadedFileAllocatesNothing) {
  // The counter is live.
  const long start = AllocationCount();
  int* volatile probe = new int(1);
  EXPECT_GT(AllocationCount(), start);
  delete probe;

  host::InstallTextureService();
  CoreNodeRegistry registry;
  ASSERT_TRUE(RegisterCatalogue(registry).ok());
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(registry.GetGroup(kImageId, g).ok());
  tessaroc::testing::TempFolder folder;
  ASSERT_EQ(tessaroc::testing::WriteImage(
                folder.File("small.png"), 64, 64, 4, [](int x, int y, int c) { return ((x + y + c) % 5) / 4.0f; },
                OIIO::TypeDesc::UINT8),
            "");
  for (const char* interpolation : {"none", "linear", "mip", "rip", "sat", "bicubic"}) {
    std::unique_ptr<SingleNodeRunner> run;
    ASSERT_TRUE(SingleNodeRunner::Create(g, run).ok());
    ASSERT_TRUE(run->Set("url", Url(folder.File("small.png"))).ok());
    ASSERT_TRUE(run->Set("interpolation", CanonicalId(interpolation)).ok());
    ASSERT_TRUE(run->Set("alpha", CanonicalId("premultiplied")).ok());
    ASSERT_TRUE(run->Set("mode", CanonicalId("default")).ok());
    ASSERT_TRUE(run->Set("playbackMode", CanonicalId("loop")).ok());
    ShadingContext ctx;
    ctx.uvw = {0.3, 0.6, 0};
    ctx.uvwdx = {0.32, 0.6, 0};
    ctx.uvwdy = {0.3, 0.61, 0};
    ctx.wrapmodeu = kWrapRepeat;
    // The first pass loads the file and fills the caches with every tile and
    // MIP level the walk touches; the second pass repeats the walk.
    auto walk = [&] {
      ctx.uvw.x = 0.3;
      for (int i = 0; i < 200; ++i) {
        ctx.uvw.x += 0.005;
        ctx.uvwdx.x = ctx.uvw.x + 0.02;
        ASSERT_TRUE(run->Run(ctx).ok());
      }
    };
    walk();
    walk();
    const long before = AllocationCount();
    walk();
    EXPECT_EQ(AllocationCount() - before, 0) << interpolation;
  }
}

}  // namespace
}  // namespace tessaroc::pattern
