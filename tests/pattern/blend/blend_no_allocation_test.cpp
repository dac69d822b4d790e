// Once their handlers are made, blend and layer allocate nothing per sample:
// counted through the global allocation functions of this test binary.
#include <gtest/gtest.h>

#include "tessaroc/core/runtime.h"
#include "host/blend/blend_modes.h"
#include "pattern/catalogue.h"
#include "pattern/color/blend_node.h"
#include "pattern/color/layer_node.h"
#include "test_nodes.h"
#include "allocation_counter.h"

namespace tessaroc {
namespace {

TEST(BlendNoAllocation, PrimedBlendAndLayerAllocateNothingPerSample) {
  ASSERT_TRUE(host::InstallBlendModes().ok());
  CoreNodeRegistry registry;
  ASSERT_TRUE(pattern::RegisterCatalogue(registry).ok());
  ASSERT_TRUE(testing::RegisterTestNodes(registry).ok());

  // uvw colour -> blend (screen) -> layer 0 (multiply) over layer 1 (over).
  const MicroNodeGroup *uvwGroup = nullptr, *blendGroup = nullptr, *layerGroup = nullptr;
  const int64_t two[] = {2, 2, 2, 2};
  ASSERT_TRUE(registry.GetGroup(testing::kUvwColorNode, uvwGroup).ok());
  ASSERT_TRUE(registry.GetGroup(pattern::kBlendId, blendGroup).ok());
  ASSERT_TRUE(registry.GetGroup(pattern::kLayerId, two, layerGroup).ok());
  Plan plan;
  NodeRef uvw, blend, layer;
  ASSERT_TRUE(plan.AddNode(uvwGroup, "uvw", uvw).ok());
  ASSERT_TRUE(plan.AddNode(blendGroup, "blend", blend).ok());
  ASSERT_TRUE(plan.AddNode(layerGroup, "layer", layer).ok());
  for (Result r :
       {plan.BindContext(uvw, "context"), plan.Link(blend, "background", uvw, "result"),
        plan.Set(blend, "foreground", ColorA{0.3, 0.6, 0.9, 0.75}),
        plan.Set(blend, "blendMode", Id("net.zovan.render.blendmode.screen")),
        plan.Set(blend, "alphaHandling", InternedId::Intern("compositing")), plan.Set(blend, "maskblend", 1.0),
        plan.Set(blend, "maskred", true), plan.Set(blend, "maskgreen", true), plan.Set(blend, "maskblue", true),
        plan.Set(blend, "maskalpha", true), plan.Link(layer, "color#0", blend, "result"),
        plan.Set(layer, "mode#0", Id("net.zovan.render.blendmode.multiply")),
        plan.Set(layer, "color#1", ColorA{0.5, 0.5, 0.5, 1.0}),
        plan.Set(layer, "mode#1", Id("net.zovan.render.blendmode.over")), plan.Set(layer, "strength#0", 0.8),
        plan.Set(layer, "strength#1", 0.8), plan.Set(layer, "active#0", true), plan.Set(layer, "active#1", true),
        plan.SetOutput(layer, "result")})
    ASSERT_TRUE(r.ok()) << r.ToString();
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());

  ShadingContext ctx;
  ASSERT_TRUE(inst->Evaluate(ctx).ok());  // makes the handlers
  const long before = AllocationCount();
  double sum = 0;
  for (int i = 0; i < 1000; ++i) {
    ctx.uvw = {i * 0.001, 0.5, 0.25};
    if (inst->Evaluate(ctx).failed()) break;
    sum += inst->OutputAs<ColorA>().r;
  }
  EXPECT_EQ(AllocationCount() - before, 0);
  EXPECT_GT(sum, 0.0);
}

}  // namespace
}  // namespace tessaroc
