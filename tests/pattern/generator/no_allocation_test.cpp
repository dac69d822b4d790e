// Sampling allocates nothing once the pre nodes and tables are built: placed
// checkerboards of function bodies, bump, gradient, scatter, cells, noise,
// voronoi noise and flakes. Counted through this binary's global allocation
// functions.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "../pattern_test_util.h"
#include "allocation_counter.h"
#include "tessaroc/core/function.h"
#include "host/noise/noise_library.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/scatter_node.h"
#include "pattern/generator/cells_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/flakes_node.h"
#include "pattern/generator/gradient_node.h"
#include "pattern/generator/grid_node.h"
#include "pattern/generator/noise_node.h"
#include "pattern/generator/voronoinoise_node.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shapes/star_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::Group;

void SetGrid(Plan& plan, NodeRef grid) {
  ASSERT_TRUE(plan.Set(grid, "line", ColorA{0, 0, 0, 1}).ok());
  ASSERT_TRUE(plan.Set(grid, "fill", ColorA{1, 1, 1, 1}).ok());
  ASSERT_TRUE(plan.Set(grid, "thickness", Vector{0.1, 0.1, 0.1}).ok());
  ASSERT_TRUE(plan.Set(grid, "softness", 0.05).ok());
  ASSERT_TRUE(plan.Set(grid, "frequency", Vector{8, 8, 0}).ok());
}

TEST(PatternNoAllocation, PlacedCheckerboardOfTwoFunctionBodies) {
  Plan plan;
  NodeRef place, board, grid, star;
  SubPlanRef body1, body2;
  ASSERT_TRUE(plan.AddNode(Group(kCheckerboardId), "board", board).ok());
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body1).ok());
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body2).ok());
  ASSERT_TRUE(plan.AddNode(Group(kGridId), "grid", grid, body1).ok());
  ASSERT_TRUE(plan.AddNode(Group(kStarId), "star", star, body2).ok());

  ASSERT_TRUE(testutil::AddPlacement(
      plan, {{0.1, 0}, {1, 2}, {0.5, 0.5}, 0.4, {4, 4}, false, false, "mirror", "repeat"}, place));

  ASSERT_TRUE(plan.BindContext(grid, "context").ok());
  ASSERT_TRUE(plan.BindContext(grid, "contextLocal").ok());
  SetGrid(plan, grid);
  ASSERT_TRUE(plan.SetSubPlanResult(body1, grid, "result").ok());

  ASSERT_TRUE(plan.BindContext(star, "context").ok());
  ASSERT_TRUE(plan.BindContext(star, "contextLocal").ok());
  ASSERT_TRUE(plan.Set(star, "exterior", ColorA{0, 0, 0, 1}).ok());
  ASSERT_TRUE(plan.Set(star, "fill", ColorA{1, 0, 0, 1}).ok());
  ASSERT_TRUE(plan.Set(star, "scale", 1.0).ok());
  ASSERT_TRUE(plan.Set(star, "spikes", int64_t{5}).ok());
  ASSERT_TRUE(plan.Set(star, "innersoftness", 0.05).ok());
  ASSERT_TRUE(plan.Set(star, "outersoftness", 0.05).ok());
  ASSERT_TRUE(plan.Set(star, "cutout", 0.1).ok());
  ASSERT_TRUE(plan.SetSubPlanResult(body2, star, "result").ok());

  ASSERT_TRUE(plan.BindContext(board, "context").ok());
  ASSERT_TRUE(plan.Link(board, "contextLocal", place, "result").ok());
  ASSERT_TRUE(plan.LinkFunction(board, "color1", body1).ok());
  ASSERT_TRUE(plan.LinkFunction(board, "color2", body2).ok());
  ASSERT_TRUE(plan.SetOutput(board, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());

  // One evaluation first: the wrap-mode ids are interned at their first use.
  ShadingContext ctx;
  ASSERT_TRUE(inst->Evaluate(ctx).ok());
  const long before = AllocationCount();
  double sum = 0;
  for (int i = 0; i < 2000; ++i) {
    const double u = i * 0.00731, v = i * 0.00413;
    ctx.uvw = {u, v, 0};
    ctx.uvwdx = {u + 0.02, v, 0};
    ctx.uvwdy = {u, v + 0.02, 0};
    ASSERT_TRUE(inst->Evaluate(ctx).ok());
    sum += inst->OutputAs<ColorA>().r;
  }
  EXPECT_EQ(AllocationCount() - before, 0);
  EXPECT_GT(sum, 0.0);
}

TEST(PatternNoAllocation, BumpOverAGridHeight) {
  Plan plan;
  NodeRef bump, grid;
  SubPlanRef body;
  ASSERT_TRUE(plan.AddNode(Group(kBumpId), "bump", bump).ok());
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body).ok());
  ASSERT_TRUE(plan.AddNode(Group(kGridId), "grid", grid, body).ok());
  ASSERT_TRUE(plan.BindContext(grid, "context").ok());
  ASSERT_TRUE(plan.BindContext(grid, "contextLocal").ok());
  SetGrid(plan, grid);
  ASSERT_TRUE(plan.SetSubPlanResult(body, grid, "result").ok());
  ASSERT_TRUE(plan.BindContext(bump, "context").ok());
  ASSERT_TRUE(plan.LinkFunction(bump, "color", body).ok());
  ASSERT_TRUE(plan.Set(bump, "strength", 1.0).ok());
  ASSERT_TRUE(plan.Set(bump, "epsilonuv", 10.0).ok());
  ASSERT_TRUE(plan.Set(bump, "epsilon3d", 1.0).ok());
  ASSERT_TRUE(plan.SetOutput(bump, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());

  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  ctx.tangent = {1, 0, 0};
  ctx.bitangent = {0, 1, 0};
  const long before = AllocationCount();
  int tilted = 0;
  for (int i = 0; i < 2000; ++i) {
    ctx.uvw = ctx.uvwdx = ctx.uvwdy = {i * 0.00731, i * 0.00413, 0};
    ASSERT_TRUE(inst->Evaluate(ctx).ok());
    if (inst->OutputAs<Vector>().z < 1.0) ++tilted;
  }
  EXPECT_EQ(AllocationCount() - before, 0);
  EXPECT_GT(tilted, 0);  // the grid's soft edges do bend the normal
}

TEST(KnotsNoAllocation, GradientSamples) {
  const int64_t n = 4;
  const int64_t preCounts[] = {n};
  const int64_t counts[] = {n, n, n};
  const MicroNodeGroup *preGroup = nullptr, *group = nullptr;
  ASSERT_TRUE(testutil::Catalogue().GetGroup(kGradientPreId, preCounts, preGroup).ok());
  ASSERT_TRUE(testutil::Catalogue().GetGroup(kGradientId, counts, group).ok());
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
    const std::string k = std::string("#").append(std::to_string(i));
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
  ASSERT_TRUE(testutil::Catalogue().GetGroup(kScatterId, counts, g).ok());
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

  auto cells = testutil::Runner(kCellsId);
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

TEST(NoiseNoAllocation, SamplingAllocatesNothing) {
  ASSERT_TRUE(host::InstallNoiseClasses().ok());
  Plan plan;
  NodeRef pre, noise, vpre, voronoi, flakes;
  ASSERT_TRUE(plan.AddNode(Group(kNoisePreId), "pre", pre).ok());
  ASSERT_TRUE(plan.AddNode(Group(kNoiseId), "noise", noise).ok());
  ASSERT_TRUE(plan.AddNode(Group(kVoronoiNoisePreId), "vpre", vpre).ok());
  ASSERT_TRUE(plan.AddNode(Group(kVoronoiNoiseId), "voronoi", voronoi).ok());
  ASSERT_TRUE(plan.AddNode(Group(kFlakesId), "flakes", flakes).ok());
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
