// Sampling through placements, a checkerboard with function bodies and a bump
// allocates nothing: counted through this binary's global operator new.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "../pattern_test_util.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/grid_node.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shapes/star_node.h"
#include "allocation_counter.h"


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

  ASSERT_TRUE(testutil::AddPlacement(plan, {{0.1, 0}, {1, 2}, {0.5, 0.5}, 0.4, {4, 4}, false, false, "mirror", "repeat"}, place));

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

}  // namespace
}  // namespace tessaroc::pattern
