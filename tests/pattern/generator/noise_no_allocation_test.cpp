// Sampling the noise, voronoi noise and flakes nodes allocates nothing once
// their pre nodes have run: counted through this binary's allocation functions.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "core/runtime.h"
#include "host/noise/noise_library.h"
#include "pattern/catalogue.h"
#include "pattern/generator/flakes_node.h"
#include "pattern/generator/noise_node.h"
#include "pattern/generator/voronoinoise_node.h"
#include "allocation_counter.h"


namespace tessaroc::pattern {
namespace {

TEST(NoiseNoAllocation, SamplingAllocatesNothing) {
  ASSERT_TRUE(host::InstallNoiseClasses().ok());
  CoreNodeRegistry registry;
  ASSERT_TRUE(RegisterCatalogue(registry).ok());
  auto group = [&](const char* id) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry.GetGroup(id, g).ok());
    return g;
  };
  Plan plan;
  NodeRef pre, noise, vpre, voronoi, flakes;
  ASSERT_TRUE(plan.AddNode(group(kNoisePreId), "pre", pre).ok());
  ASSERT_TRUE(plan.AddNode(group(kNoiseId), "noise", noise).ok());
  ASSERT_TRUE(plan.AddNode(group(kVoronoiNoisePreId), "vpre", vpre).ok());
  ASSERT_TRUE(plan.AddNode(group(kVoronoiNoiseId), "voronoi", voronoi).ok());
  ASSERT_TRUE(plan.AddNode(group(kFlakesId), "flakes", flakes).ok());
  ASSERT_TRUE(plan.Set<uint32_t>(pre, "seed", 3u).ok());
  for (const char* p : {"lacunarity", "gain", "exponent"}) ASSERT_TRUE(plan.Set<double>(pre, p, 0.0).ok());
  ASSERT_TRUE(plan.Set<Id>(pre, "noiseType", Id("net.zovan.render.rendernoiseclass.displacedvoronoi")).ok());
  ASSERT_TRUE(plan.LinkPreNode(pre, noise).ok());
  ASSERT_TRUE(plan.BindContext(noise, "context").ok());
  ASSERT_TRUE(plan.BindContext(noise, "contextLocal").ok());
  ASSERT_TRUE(plan.Set<double>(noise, "animationSpeed", 0.5).ok());
  ASSERT_TRUE(plan.Set<double>(noise, "octaves", 6.5).ok());
  ASSERT_TRUE(plan.Set<bool>(noise, "absolute", true).ok());
  ASSERT_TRUE(plan.Set<uint32_t>(vpre, "seed", 4u).ok());
  ASSERT_TRUE(plan.LinkPreNode(vpre, voronoi).ok());
  ASSERT_TRUE(plan.LinkPreNode(vpre, flakes).ok());
  ASSERT_TRUE(plan.BindContext(voronoi, "context").ok());
  ASSERT_TRUE(plan.BindContext(voronoi, "contextLocal").ok());
  ASSERT_TRUE(plan.Set<double>(voronoi, "scale", 0.2).ok());
  ASSERT_TRUE(plan.Set<bool>(voronoi, "randomColor", true).ok());
  ASSERT_TRUE(plan.Set<double>(voronoi, "borderWidth", 0.01).ok());
  ASSERT_TRUE(plan.Set<bool>(voronoi, "evenWidthBorder", true).ok());
  ASSERT_TRUE(plan.BindContext(flakes, "context").ok());
  ASSERT_TRUE(plan.Set<double>(flakes, "scale", 0.05).ok());
  ASSERT_TRUE(plan.Set<double>(flakes, "density", 0.6).ok());
  ASSERT_TRUE(plan.Set<double>(flakes, "intensity", 0.5).ok());
  ASSERT_TRUE(plan.SetOutput(noise, "result").ok());
  for (const char* out : {"resultColor", "index"}) ASSERT_TRUE(plan.RequestOutput(voronoi, out).ok());
  ASSERT_TRUE(plan.RequestOutput(flakes, "normal").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());

  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  const long before = AllocationCount();
  for (int i = 0; i < 200; ++i) {
    ctx.uvw = {0.013 * i, 0.007 * i, 0.1};
    ctx.uvwdx = {ctx.uvw.x + 0.001, ctx.uvw.y, ctx.uvw.z};
    ctx.uvwdy = {ctx.uvw.x, ctx.uvw.y + 0.001, ctx.uvw.z};
    ctx.time = 0.04 * i;
    ASSERT_TRUE(inst->Evaluate(ctx).ok());
  }
  EXPECT_EQ(AllocationCount(), before);
  // A second preparation with unchanged settings keeps both objects.
  ASSERT_TRUE(inst->Prepare().ok());
  EXPECT_EQ(AllocationCount(), before);
}

}  // namespace
}  // namespace tessaroc::pattern
