// The point generator and cells. Halton and LCG points, the integer hash and
// the seven metrics were computed with python3 (HashInt32 with sign-keeping
// shifts, radical inverses with a multiplied factor, math.pow) and pasted
// with repr().
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"
#include "pattern/generator/cells_node.h"

namespace tessaroc::pattern {
namespace {

// pointgenerator wired to cells in one plan.
class CellPlan {
 public:
  CellPlan(int32_t points, int32_t seed, const char* strategy, const FunctionInterface* density = nullptr,
           const char* mode = "0", double exponent = 1.0) {
    for (Result r : {plan_.AddNode(testutil::Group(kPointGeneratorId), "points", gen_),
                     plan_.AddNode(testutil::Group(kCellsId), "cells", cells_), plan_.LinkPreNode(gen_, cells_),
                     plan_.BindContext(cells_, "context"), plan_.Set(gen_, "points", points),
                     plan_.Set(gen_, "seed", seed), plan_.Set(gen_, "strategy", InternedId::Intern(strategy)),
                     density ? plan_.SetFunction(gen_, "distribution", density) : Result::Ok(),
                     plan_.Set(cells_, "distanceMode", InternedId::Intern(mode)),
                     plan_.Set(cells_, "exponent", exponent), plan_.SetOutput(cells_, "distance")})
      EXPECT_TRUE(r.ok()) << r.ToString();
    for (const char* out : {"direction", "center", "f1", "f2", "index"})
      EXPECT_TRUE(plan_.RequestOutput(cells_, out).ok());
    EXPECT_TRUE(plan_.Finish().ok());
    EXPECT_TRUE(PlanInstance::Create(plan_, inst_).ok());
  }
  Result Prepare() { return inst_->Prepare(); }
  const PointDistribution& Points() const { return *inst_->Get<PointDistributionRef>(gen_, "pointDistribution"); }
  CellsResult At(double u, double v) {
    ShadingContext c;
    c.uvw = {u, v, 0.0};
    c.uvwvalid = 0;  // cells does not look at it
    EXPECT_TRUE(inst_->Evaluate(c).ok());
    return {inst_->Get<double>(cells_, "distance"), inst_->Get<Vector2d>(cells_, "direction"),
            inst_->Get<Vector2d>(cells_, "center"), inst_->Get<double>(cells_, "f1"),
            inst_->Get<double>(cells_, "f2"),       inst_->Get<int64_t>(cells_, "index")};
  }
  PlanInstance& instance() { return *inst_; }
  NodeRef generator() const { return gen_; }

 private:
  Plan plan_;
  NodeRef gen_, cells_;
  std::unique_ptr<PlanInstance> inst_;
};

// ---- point generator

TEST(PointGenerator, HaltonAndPseudoRandomPoints) {
  CellPlan halton(4, 5, "1");
  ASSERT_TRUE(halton.Prepare().ok());
  EXPECT_EQ(halton.Points(), (PointDistribution{{0.4664106664713472, 0.40401537385830855},
                                                {0.9664106664713472, 0.7373487071916418},
                                                {0.06016066647134721, 0.18179315163608625},
                                                {0.5601606664713472, 0.5151264849694196}}));
  // Any id but "0" is Halton.
  for (const char* strategy : {"pseudo", ""}) {
    CellPlan other(4, 5, strategy);
    ASSERT_TRUE(other.Prepare().ok());
    EXPECT_EQ(other.Points(), halton.Points()) << strategy;
  }

  // "0": the LCG set straight to the hashed seed, V drawn before U.
  CellPlan pseudo(3, 5, "0");
  ASSERT_TRUE(pseudo.Prepare().ok());
  EXPECT_EQ(pseudo.Points(), (PointDistribution{{0.2789343548938632, 0.5230027788784355},
                                                {0.5834617973305285, 0.7169581644702703},
                                                {0.18646064214408398, 0.122879822505638}}));
}

TEST(PointGenerator, DensityThinsTheCandidates) {
  // Density U: a candidate stays when U reaches its threshold (base-5
  // radical inverse for Halton, a third draw for "0").
  CallableFunction<double> byU(kFloat64Type, [](const ShadingContext& c, double& d) {
    EXPECT_EQ(c.uvw, c.uvwdx);
    d = c.uvw.x;
    return Result::Ok();
  });
  CellPlan halton(12, 5, "1", &byU);
  ASSERT_TRUE(halton.Prepare().ok());
  EXPECT_EQ(halton.Points(), (PointDistribution{{0.4664106664713472, 0.40401537385830855},
                                                {0.9664106664713472, 0.7373487071916418},
                                                {0.5601606664713472, 0.5151264849694196},
                                                {0.3101606664713472, 0.8484598183027527},
                                                {0.8101606664713472, 0.29290426274719744},
                                                {0.4351606664713472, 0.10771907756201222},
                                                {0.9351606664713472, 0.4410524108953456}}));
  CellPlan pseudo(12, 5, "0", &byU);
  ASSERT_TRUE(pseudo.Prepare().ok());
  EXPECT_EQ(pseudo.Points(), (PointDistribution{{0.7907615874428302, 0.2705525020137429},
                                                {0.8747661001980305, 0.4668791319709271},
                                                {0.7340531365480274, 0.6103278468362987},
                                                {0.9194993050768971, 0.4088218954857439},
                                                {0.46566620352678, 0.5902570714242756},
                                                {0.7854773916769773, 0.9233054695650935}}));
  CallableFunction<double> nan(kFloat64Type, [](const ShadingContext&, double& d) {
    d = std::numeric_limits<double>::quiet_NaN();
    return Result::Ok();
  });
  CellPlan dropped(12, 5, "1", &nan);
  ASSERT_TRUE(dropped.Prepare().ok());
  EXPECT_TRUE(dropped.Points().empty());
}

TEST(PointGenerator, BuiltOnceUnlessNothingWasKeptAndDensityErrorsEndTheBuild) {
  CellPlan plan(4, 5, "1");
  ASSERT_TRUE(plan.Prepare().ok());
  const PointDistribution first = plan.Points();
  ASSERT_TRUE(plan.instance().Set(plan.generator(), "seed", int32_t{6}).ok());
  ASSERT_TRUE(plan.Prepare().ok());
  EXPECT_EQ(plan.Points(), first);

  int calls = 0;
  CallableFunction<double> reject(kFloat64Type, [&](const ShadingContext&, double& d) {
    ++calls;
    d = -1.0;
    return Result::Ok();
  });
  CellPlan empty(5, 5, "1", &reject);
  ASSERT_TRUE(empty.Prepare().ok());
  EXPECT_EQ(calls, 5);
  ASSERT_TRUE(empty.Prepare().ok());  // an empty set is built again
  EXPECT_EQ(calls, 10);

  for (int32_t n : {0, -3}) {
    CellPlan nothing(n, 5, "1");
    ASSERT_TRUE(nothing.Prepare().ok());
    EXPECT_TRUE(nothing.Points().empty());
    const CellsResult r = nothing.At(0.3, 0.4);
    EXPECT_EQ(r.distance, 0.0);
    EXPECT_EQ(r.f1, 0.0);
    EXPECT_EQ(r.f2, 0.0);
    EXPECT_EQ(r.index, 0);
    EXPECT_EQ(r.direction, (Vector2d{0, 0}));
  }

  // Density errors end the build and keep the points.
  int failCalls = 0;
  CallableFunction<double> failsThird(kFloat64Type, [&](const ShadingContext&, double& d) {
    if (++failCalls == 3) return Result::Fail(errors::kIllegalState, "density failed");
    d = 2.0;
    return Result::Ok();
  });
  CellPlan failing(6, 5, "1", &failsThird);
  EXPECT_TRUE(failing.Prepare().Is(errors::kIllegalState));
  EXPECT_EQ(failing.Points().size(), 2u);
  ASSERT_TRUE(failing.Prepare().ok());  // what was kept counts as built
  EXPECT_EQ(failCalls, 3);

  // A connected port without a function is the null-pointer error.
  CellPlan unset(6, 5, "1");
  ASSERT_TRUE(unset.instance().Set(unset.generator(), "distribution", FunctionRef{nullptr}).ok());
  EXPECT_TRUE(unset.Prepare().Is(errors::kNullPtr));
}

TEST(PointGenerator, DensitySeesTheSearchPaths) {
  const SearchPathsType* seen = nullptr;
  size_t count = 0;
  CallableFunction<double> look(kFloat64Type, [&](const ShadingContext& c, double& d) {
    seen = c.searchpaths;
    count = c.searchpaths ? c.searchpaths->urls.size() : 0;
    d = 1.0;
    return Result::Ok();
  });
  CellPlan plan(1, 5, "1", &look);
  SearchPathsType paths;
  paths.urls = {Url("/textures"), Url("/more")};
  ASSERT_TRUE(plan.instance().Set(plan.generator(), "searchPaths", paths).ok());
  ASSERT_TRUE(plan.Prepare().ok());
  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(count, 2u);
}

// ---- cells

CellsResult Cells(const std::vector<Vector2d>& points, double u, double v, const char* mode, double e) {
  auto run = testutil::Runner(kCellsId);
  ShadingContext c;
  c.uvw = {u, v, 0.0};
  for (Result r : {run->Set("pointDistribution", std::make_shared<PointDistribution>(points)),
                   run->Set("distanceMode", InternedId::Intern(mode)), run->Set("exponent", e), run->Run(c)})
    EXPECT_TRUE(r.ok()) << r.ToString();
  return {run->Get<double>("distance"), run->Get<Vector2d>("direction"), run->Get<Vector2d>("center"),
          run->Get<double>("f1"),       run->Get<double>("f2"),          run->Get<int64_t>("index")};
}

TEST(Cells, EachMetricAtAKnownPoint) {
  const std::vector<Vector2d> pts = {{0.2, 0.3}, {0.7, 0.6}};
  struct Row {
    const char* mode;
    double distance, f1, f2;
  } rows[] = {
      {"0", 0.10573712634405637, 0.11076268100235186, 0.21649980734640822},
      {"1", 0.01118033988749894, 0.03569182669353292, 0.04687216658103186},
      {"2", 0.01852025917745212, 0.06429882074982068, 0.0828190799272728},
      {"3", 0.005196152422706628, 0.013324106754745508, 0.018520259177452137},
      {"4", 0.16431676725154978, 0.189236623341724, 0.3535533905932738},
      {"5", 0.08944271909999156, 0.07487404815155825, 0.1643167672515498},
      {"6", 0.24472608147714753, 0.1560928177916704, 0.4008188992688179},
      {"", 0.01118033988749894, 0.03569182669353292, 0.04687216658103186},
      {"7", 0.01118033988749894, 0.03569182669353292, 0.04687216658103186},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.mode);
    const CellsResult r = Cells(pts, 0.5, 0.5, row.mode, 1.5);
    EXPECT_DOUBLE_EQ(r.distance, row.distance);
    EXPECT_DOUBLE_EQ(r.f1, row.f1);
    EXPECT_DOUBLE_EQ(r.f2, row.f2);
    EXPECT_EQ(r.index, 1);
    EXPECT_EQ(r.center, (Vector2d{0.7, 0.6}));
    EXPECT_DOUBLE_EQ(r.direction.x, -0.8944271909999159);
    EXPECT_DOUBLE_EQ(r.direction.y, -0.4472135954999579);
  }
}

TEST(Cells, MetricDecidesWhichPointIsNearestAndTiesCoincidenceAndDegenerateCases) {
  // Along one diagonal the two hexagonal metrics disagree.
  const std::vector<Vector2d> diag = {{0.2, 0.2}, {0.8, 0.2}};
  EXPECT_EQ(Cells(diag, 0.5, 0.5, "2", 1.0).index, 1);
  EXPECT_EQ(Cells(diag, 0.5, 0.5, "3", 1.0).index, 0);
  // Straight below versus diagonally: Manhattan and Chebyshev disagree.
  const std::vector<Vector2d> axis = {{0.5, 0.1}, {0.8, 0.8}};
  EXPECT_EQ(Cells(axis, 0.5, 0.5, "4", 1.0).index, 0);
  EXPECT_EQ(Cells(axis, 0.5, 0.5, "5", 1.0).index, 1);

  // Ties, coincidence and degenerate cases.
  const std::vector<Vector2d> twin = {{0.1, 0.9}, {0.4, 0.4}, {0.4, 0.4}};
  CellsResult r = Cells(twin, 0.3, 0.3, "0", 1.0);
  EXPECT_EQ(r.index, 1);
  EXPECT_EQ(r.f1, 0.0);
  // On a point: no direction rather than NaN.
  r = Cells(twin, 0.4, 0.4, "0", 1.0);
  EXPECT_EQ(r.distance, 0.0);
  EXPECT_EQ(r.direction, (Vector2d{0.0, 0.0}));
  // Exponent 0: every metric value is 1 and the first point wins.
  for (const char* mode : {"0", "1", "2", "3", "4", "5"}) EXPECT_EQ(Cells(twin, 0.4, 0.4, mode, 0.0).index, 0);
  // One point: the second nearest stays at the largest double.
  r = Cells({{0.5, 0.5}}, 0.2, 0.5, "0", 1.0);
  EXPECT_EQ(r.f2, 1.7976931348623157e308);
  EXPECT_EQ(r.f1, 1.7976931348623157e308 - r.distance);
  EXPECT_DOUBLE_EQ(r.direction.x, -1.0);
}

}  // namespace
}  // namespace tessaroc::pattern
