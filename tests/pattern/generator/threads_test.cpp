// A placed checkerboard sampled from several threads, each on its own clone of
// a primed instance, gives exactly the single-threaded results: the
// placement's private map lives in each thread's own block.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "../pattern_test_util.h"
#include "core/function.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/generator/checkerboard_node.h"

namespace tessaroc::pattern {
namespace {

TEST(PatternThreads, ClonesOfAPrimedPlanAgreeBitForBit) {
  CallableFunction<ColorA> c1(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {c.uvw.x, c.uvw.y, 0.25, 1};
    return Result::Ok();
  });
  ConstantFunction<ColorA> c2(kColorAType, ColorA{0.9, 0.1, 0.5, 1});
  Plan plan;
  NodeRef place, board;
  ASSERT_TRUE(plan.AddNode(testutil::Group(kCheckerboardId), "board", board).ok());
  ASSERT_TRUE(testutil::AddPlacement(plan, {{0.3, 0.1}, {0.7, 1.3}, {0.5, 0.5}, 0.9, {5, 3}, false, true, "mirror", "clamp"}, place));
  ASSERT_TRUE(plan.BindContext(board, "context").ok());
  ASSERT_TRUE(plan.Link(board, "contextLocal", place, "result").ok());
  ASSERT_TRUE(plan.SetFunction(board, "color1", &c1).ok());
  ASSERT_TRUE(plan.SetFunction(board, "color2", &c2).ok());
  ASSERT_TRUE(plan.SetOutput(board, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> primed;
  ASSERT_TRUE(PlanInstance::Create(plan, primed).ok());

  const int n = 4000;
  auto sample = [](int i) {
    ShadingContext c;
    const double u = (i % 71) * 0.0173 - 0.2, v = (i / 71) * 0.0191 - 0.1;
    c.uvw = {u, v, 0};
    c.uvwdx = {u + 0.004 * (i % 3), v, 0};
    c.uvwdy = {u, v + 0.003 * (i % 5), 0};
    return c;
  };
  std::vector<ColorA> single(n);
  for (int i = 0; i < n; ++i) {
    ASSERT_TRUE(primed->Evaluate(sample(i)).ok());
    single[i] = primed->OutputAs<ColorA>();
  }

  const int threads = 4;
  std::vector<std::unique_ptr<PlanInstance>> clones(threads);
  for (auto& c : clones) ASSERT_TRUE(primed->Clone(c).ok());
  std::vector<ColorA> multi(n);
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      for (int i = t; i < n; i += threads) {
        if (clones[t]->Evaluate(sample(i)).failed()) return;
        multi[i] = clones[t]->OutputAs<ColorA>();
      }
    });
  for (std::thread& th : pool) th.join();
  int differ = 0;
  for (int i = 0; i < n; ++i) differ += !(multi[i] == single[i]);
  EXPECT_EQ(differ, 0);
}

}  // namespace
}  // namespace tessaroc::pattern
