// Evaluating a prepared plan allocates nothing: counted through the global
// allocation functions of this test binary.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "tessaroc/core/function.h"
#include "tessaroc/core/runtime.h"
#include "graph/document.h"
#include "graph/render.h"
#include "tessaroc/host/host_services.h"
#include "pattern/catalogue.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "tessaroc/module/register.h"
#include "test_nodes.h"
#include "allocation_counter.h"

namespace tessaroc {
namespace {

TEST(NoAllocation, EvaluatingEffectsAndFunctionBodiesAllocatesNothing) {
  CoreNodeRegistry registry;
  ASSERT_TRUE(pattern::RegisterCatalogue(registry).ok());
  ASSERT_TRUE(testing::RegisterTestNodes(registry).ok());
  auto group = [&](const char* id) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry.GetGroup(id, g).ok());
    return g;
  };

  // uvw colour -> exposure -> invert, inside a function body that a caller invokes.
  Plan plan;
  NodeRef caller, uvw, exposure, invert;
  SubPlanRef body;
  ASSERT_TRUE(plan.AddNode(group(testing::kCallColorNode), "caller", caller).ok());
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body).ok());
  ASSERT_TRUE(plan.AddNode(group(testing::kUvwColorNode), "uvw", uvw, body).ok());
  ASSERT_TRUE(plan.AddNode(group(pattern::kExposureId), "exposure", exposure, body).ok());
  ASSERT_TRUE(plan.AddNode(group(pattern::kInvertColorId), "invert", invert, body).ok());
  ASSERT_TRUE(plan.BindContext(uvw, "context").ok());
  ASSERT_TRUE(plan.Link(exposure, "color", uvw, "result").ok());
  ASSERT_TRUE(plan.Link(invert, "color", exposure, "result").ok());
  for (NodeRef n : {exposure, invert}) {
    ASSERT_TRUE(plan.Set(n, "maskblend", 1.0).ok());
    for (const char* m : {"maskred", "maskgreen", "maskblue", "maskalpha"}) ASSERT_TRUE(plan.Set(n, m, true).ok());
  }
  ASSERT_TRUE(plan.Set(exposure, "exposure", 1.0).ok());
  ASSERT_TRUE(plan.Set(exposure, "offset", 0.0).ok());
  ASSERT_TRUE(plan.Set(exposure, "gamma", 2.2).ok());
  ASSERT_TRUE(plan.SetSubPlanResult(body, invert, "result").ok());
  ASSERT_TRUE(plan.BindContext(caller, "context").ok());
  ASSERT_TRUE(plan.Set(caller, "shift", 0.125).ok());
  ASSERT_TRUE(plan.LinkFunction(caller, "color", body).ok());
  ASSERT_TRUE(plan.SetOutput(caller, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());

  ShadingContext ctx;
  const long before = AllocationCount();
  double sum = 0;
  for (int i = 0; i < 1000; ++i) {
    ctx.uvw = {i * 0.001, 0.5, 0};
    Result r = inst->Evaluate(ctx);
    if (r.failed()) break;
    sum += inst->OutputAs<ColorA>().r;
  }
  const long after = AllocationCount();
  EXPECT_EQ(after - before, 0);
  EXPECT_NE(sum, 0.0);

  // Profiled evaluations allocate nothing either, once profiling started,
  // and count every node of the body each call.
  ASSERT_TRUE(inst->StartProfile().ok());
  const long profiledBefore = AllocationCount();
  for (int i = 0; i < 1000; ++i) {
    ctx.uvw = {i * 0.001, 0.5, 0};
    if (inst->EvaluateProfiled(ctx).failed()) break;
  }
  EXPECT_EQ(AllocationCount() - profiledBefore, 0);
  for (NodeRef n : {caller, uvw, exposure, invert}) EXPECT_EQ(inst->profile()[n.index].calls, 1000u) << n.index;
}

// A whole render on a lit torus, with the document's bump normal and an AOV,
// on the calling thread: nine times the pixels, the same allocations (the
// evaluator, the workers), so none per pixel, hit or miss.
TEST(NoAllocation, RenderingAShapeAllocatesTheSameForAnyNumberOfPixels) {
  ASSERT_TRUE(host::InstallHostServices().ok());
  ASSERT_TRUE(module::LoadModule().ok());
  const char* text = R"({"tessaroc": 1, "nodes": {
      "grain": {"node": "noise", "inputs": {"noisetype": "fbm"}},
      "bump": {"node": "bump", "inputs": {"color": {"link": "grain.result"}, "strength": 0.1}}},
      "output": {"link": "grain.result"}, "normal": {"link": "bump.result"}})";
  std::unique_ptr<graph::Document> doc;
  ASSERT_TRUE(graph::Document::Parse(text, "torus.json", doc).ok());
  std::unique_ptr<graph::Material> m;
  ASSERT_TRUE(graph::Material::Compile(std::move(doc), m, {"bump.result"}).ok());
  graph::RenderSettings s;
  s.aovs = {{"normal", "bump.result"}};
  s.threads = 1;
  s.view.shape = graph::Shape::kTorus;
  s.view.lit = true;
  host::Image image;
  auto allocations = [&](int size) {
    s.width = s.height = size;
    const long before = AllocationCount();
    EXPECT_TRUE(graph::Render(*m, s, image).ok());
    return AllocationCount() - before;
  };
  allocations(96);  // prepares the material and sizes the image
  const long few = allocations(32);
  const long many = allocations(96);
  EXPECT_EQ(few, many);
  (void)module::UnloadModule();
}

}  // namespace
}  // namespace tessaroc
