// Per-sample kernels of the gradient, scatter and cells allocate nothing once
// their tables are built: counted through the global allocation functions
// of this test binary.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/function.h"
#include "core/runtime.h"
#include "pattern/catalogue.h"
#include "pattern/context/scatter_node.h"
#include "pattern/generator/cells_node.h"
#include "pattern/generator/gradient_node.h"
#include "allocation_counter.h"


namespace tessaroc::pattern {
namespace {

CoreNodeRegistry& Registry() {
  static CoreNodeRegistry* r = [] {
    auto* reg = new CoreNodeRegistry;
    EXPECT_TRUE(RegisterCatalogue(*reg).ok());
    return reg;
  }();
  return *r;
}

TEST(KnotsNoAllocation, GradientSamples) {
  const int64_t n = 4;
  const int64_t preCounts[] = {n};
  const int64_t counts[] = {n, n, n};
  const MicroNodeGroup *preGroup = nullptr, *group = nullptr;
  ASSERT_TRUE(Registry().GetGroup(kGradientPreId, preCounts, preGroup).ok());
  ASSERT_TRUE(Registry().GetGroup(kGradientId, counts, group).ok());
  Plan plan;
  NodeRef pre, ramp;
  ASSERT_TRUE(plan.AddNode(preGroup, "pre", pre).ok());
  ASSERT_TRUE(plan.AddNode(group, "ramp", ramp).ok());
  ASSERT_TRUE(plan.LinkPreNode(pre, ramp).ok());
  ASSERT_TRUE(plan.BindContext(ramp, "context").ok());
  ASSERT_TRUE(plan.BindContext(ramp, "contextLocal").ok());
  ASSERT_TRUE(plan.Set(ramp, "colorspace", CanonicalId("srgb")).ok());
  const char* kinds[] = {"cubicknot", "smoothknot", "cubicbias", "blend"};
  std::vector<std::unique_ptr<FunctionInterface>> fns;
  for (int64_t i = 0; i < n; ++i) {
    const std::string k = "#" + std::to_string(i);
    ASSERT_TRUE(plan.Set(pre, Id::Owned("position" + k), i * 0.3).ok());
    fns.push_back(std::make_unique<ConstantFunction<ColorA>>(kColorAType, ColorA{0.1 * i, 0.2, 0.3, 1.0}));
    ASSERT_TRUE(plan.SetFunction(ramp, Id::Owned("color" + k), fns.back().get()).ok());
    fns.push_back(std::make_unique<ConstantFunction<double>>(kFloat64Type, 0.4));
    ASSERT_TRUE(plan.SetFunction(ramp, Id::Owned("bias" + k), fns.back().get()).ok());
    fns.push_back(std::make_unique<ConstantFunction<Id>>(kIdType, Id(kinds[i])));
    ASSERT_TRUE(plan.SetFunction(ramp, Id::Owned("interpolation" + k), fns.back().get()).ok());
  }
  ASSERT_TRUE(plan.SetOutput(ramp, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());
  ShadingContext ctx;
  ASSERT_TRUE(inst->Evaluate(ctx).ok());  // once-per-process constants are made here
  const long before = AllocationCount();
  for (int k = 0; k < 200; ++k) {
    ctx.uvw.x = -0.2 + k * 0.006;
    ASSERT_TRUE(inst->Evaluate(ctx).ok());
  }
  EXPECT_EQ(AllocationCount() - before, 0);
}

TEST(KnotsNoAllocation, ScatterLookupAndCells) {
  const int64_t counts[] = {50};
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(Registry().GetGroup(kScatterId, counts, g).ok());
  std::unique_ptr<SingleNodeRunner> scatter;
  ASSERT_TRUE(SingleNodeRunner::Create(g, scatter).ok());
  ConstantFunction<double> zero(kFloat64Type, 0.0), half(kFloat64Type, 0.5), dense(kFloat64Type, 0.7);
  ConstantFunction<Vector2d> scale(kVector2dType, Vector2d{0.2, 0.1}), none(kVector2dType, Vector2d{});
  ConstantFunction<bool> no(kBoolType, false);
  ASSERT_TRUE(scatter->Set("tile", true).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemRotation", &zero).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemRandomRotation", &half).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemScale", &scale).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemRandomScale", &none).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemRandomScaleUniform", &zero).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemUniformScale", &no).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemDensity", &dense).ok());
  ASSERT_TRUE(scatter->SetFunction("perItemShape", &dense).ok());
  ShadingContext ctx;
  ASSERT_TRUE(scatter->Run(ctx).ok());  // the build may allocate

  const MicroNodeGroup* cg = nullptr;
  ASSERT_TRUE(Registry().GetGroup(kCellsId, cg).ok());
  std::unique_ptr<SingleNodeRunner> cells;
  ASSERT_TRUE(SingleNodeRunner::Create(cg, cells).ok());
  auto points = std::make_shared<PointDistribution>(PointDistribution{{0.1, 0.2}, {0.5, 0.9}, {0.7, 0.3}});
  ASSERT_TRUE(cells->Set("pointDistribution", points).ok());
  ASSERT_TRUE(cells->Set("distanceMode", InternedId::Intern("6")).ok());
  ASSERT_TRUE(cells->Set("exponent", 1.5).ok());
  ASSERT_TRUE(cells->Run(ctx).ok());

  const long before = AllocationCount();
  for (int k = 0; k < 300; ++k) {
    ctx.uvw = {k * 0.0137, k * 0.0291, 0.0};
    ASSERT_TRUE(scatter->Run(ctx).ok());
    ASSERT_TRUE(cells->Run(ctx).ok());
  }
  EXPECT_EQ(AllocationCount() - before, 0);
}

}  // namespace
}  // namespace tessaroc::pattern
