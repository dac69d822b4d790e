// The spline node: knot ports to curve knots, clamping, unbroken tangents and
// the two end links, checked against the host curve built directly with the
// knots the node should have made.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "../pattern_test_util.h"
#include "host/curve/curve.h"
#include "pattern/generator/spline_node.h"

namespace tessaroc::pattern {
namespace {

struct KnotPorts {
  double x, y;
  const char* interpolation = "linear";
  Vector2d left{-0.2, -0.2};
  Vector2d right{0.2, 0.2};
  bool breakTangent = false;
  bool lockY = false, lockAngle = false, lockLength = false;
};

struct Settings {
  double tension = 0.0;
  Vector2d min{0.0, 0.0}, max{1.0, 1.0};
  bool linkTangents = false, linkPositions = false;
};

class SplineNodeTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(host::InstallCurve().ok()); }

  Result Run(const std::vector<KnotPorts>& knots, double input, const Settings& s, double& out) {
    const std::vector<int64_t> counts(kSplineKnotGroups, static_cast<int64_t>(knots.size()));
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(testutil::Catalogue().GetGroup(kSplineId, counts, g).ok());
    std::unique_ptr<SingleNodeRunner> run;
    EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
    for (Result r :
         {run->Set("input", input), run->Set("tension", s.tension), run->Set("min", s.min), run->Set("max", s.max),
          run->Set("linkendtangents", s.linkTangents), run->Set("linkendpositions", s.linkPositions)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    for (size_t i = 0; i < knots.size(); ++i) {
      const std::string k = std::string("#").append(std::to_string(i));
      const KnotPorts& p = knots[i];
      for (Result r :
           {run->Set(Id::Owned("positionx" + k), p.x), run->Set(Id::Owned("positiony" + k), p.y),
            run->Set(Id::Owned("interpolation" + k), Id::Owned(p.interpolation)),
            run->Set(Id::Owned("tangentleft" + k), p.left), run->Set(Id::Owned("tangentright" + k), p.right),
            run->Set(Id::Owned("breaktangent" + k), p.breakTangent), run->Set(Id::Owned("locky" + k), p.lockY),
            run->Set(Id::Owned("lockangle" + k), p.lockAngle), run->Set(Id::Owned("locklength" + k), p.lockLength)})
        EXPECT_TRUE(r.ok()) << r.ToString();
    }
    Result r = run->Run();
    out = run->Get<double>("result");
    return r;
  }
  double At(const std::vector<KnotPorts>& knots, double input, const Settings& s = {}) {
    double out = -1.0;
    EXPECT_TRUE(Run(knots, input, s, out).ok());
    return out;
  }
};

// The oracle: the host curve with the knots as given, already sorted.
double Direct(std::vector<SplineMapperKnot> knots, double x, double tension = 0.0) {
  host::Curve c;
  c.SetTension(tension);
  c.GetKnotsRW() = std::move(knots);
  return c.GetPoint(x).y;
}
SplineMapperKnot SK(double x, double y, Vector2d left, Vector2d right) {
  return {{x, y}, SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE, left, right, SPLINEMAPPER_KNOT_FLAGS_NONE};
}

TEST_F(SplineNodeTest, KnotsAreSortedAndClampedAndNoKnotsOneKnotAndInterpolationIds) {
  EXPECT_DOUBLE_EQ(At({{1.0, 0.0}, {0.0, 1.0}}, 0.25), 0.75);
  // (2, 5) is brought to (1, 1) before sorting.
  EXPECT_DOUBLE_EQ(At({{2.0, 5.0}, {0.0, 0.0}}, 0.5), 0.5);
  Settings wide;
  wide.max = {4.0, 8.0};
  EXPECT_DOUBLE_EQ(At({{2.0, 5.0}, {0.0, 0.0}}, 0.5, wide), 1.25);

  // No knots, one knot, and the interpolation ids.
  EXPECT_EQ(At({}, 0.5), 0.0);
  EXPECT_EQ(At({{0.3, 0.7}}, 0.9), 0.7);
  const double spline = At({{0.0, 0.0, "spline", {-0.2, 0.3}, {0.2, -0.3}}, {1.0, 1.0, "spline"}}, 0.3);
  EXPECT_DOUBLE_EQ(spline, Direct({SK(0, 0, {-0.2, 0.3}, {0.2, -0.3}), SK(1, 1, {-0.2, -0.2}, {0.2, 0.2})}, 0.3));
  EXPECT_NE(spline, 0.3);
  // Unknown ids are the spline kind.
  EXPECT_EQ(At({{0.0, 0.0, "wobbly", {-0.2, 0.3}, {0.2, -0.3}}, {1.0, 1.0, "spline"}}, 0.3), spline);
  EXPECT_DOUBLE_EQ(At({{0.0, 0.0, "linear"}, {1.0, 1.0}}, 0.3), 0.3);
  EXPECT_DOUBLE_EQ(At({{0.0, 0.0, "cubic"}, {1.0, 1.0}}, 0.3), 0.3);  // two knots: slopes 1, a straight line
}

TEST_F(SplineNodeTest, UnbrokenTangentIgnoresTheRightPort) {
  const std::vector<KnotPorts> unbroken = {{0.0, 0.0, "spline", {-0.1, -0.3}, {0.5, -0.5}, false},
                                           {1.0, 1.0, "spline"}};
  const double expect = Direct({SK(0, 0, {-0.1, -0.3}, {0.1, 0.3}), SK(1, 1, {-0.2, -0.2}, {0.2, 0.2})}, 0.4);
  EXPECT_DOUBLE_EQ(At(unbroken, 0.4), expect);
  std::vector<KnotPorts> broken = unbroken;
  broken[0].breakTangent = true;
  EXPECT_DOUBLE_EQ(At(broken, 0.4),
                   Direct({SK(0, 0, {-0.1, -0.3}, {0.5, -0.5}), SK(1, 1, {-0.2, -0.2}, {0.2, 0.2})}, 0.4));
  EXPECT_NE(At(broken, 0.4), expect);
}

TEST_F(SplineNodeTest, LinkedEndPositionsReadThePortLastKnotsFlagAndTangentsMirrorTheFirstKnot) {
  Settings link;
  link.linkPositions = true;
  EXPECT_DOUBLE_EQ(At({{0.0, 0.2}, {1.0, 0.9}}, 0.5), 0.55);
  EXPECT_DOUBLE_EQ(At({{0.0, 0.2}, {1.0, 0.9}}, 0.5, link), 0.2);
  // Ports out of x order: port 1 is the first knot of the curve, yet its
  // locky decides, and port 0's (the curve's last knot) does not.
  std::vector<KnotPorts> reversed = {{1.0, 0.9}, {0.0, 0.2}};
  reversed[1].lockY = true;
  EXPECT_DOUBLE_EQ(At(reversed, 0.5, link), 0.55);
  reversed[1].lockY = false;
  reversed[0].lockY = true;
  EXPECT_DOUBLE_EQ(At(reversed, 0.5, link), 0.2);

  // Linked end tangents mirror the first knot.
  Settings tangents;
  tangents.linkTangents = true;
  std::vector<KnotPorts> knots = {
      {0.0, 0.0, "spline", {-0.1, 0.4}}, {0.5, 0.5, "spline"}, {1.0, 1.0, "spline", {-0.3, 0.1}}};
  // The first knot's right handle is (0.1, -0.4); the last gets the left
  // handle (-0.1, 0.4) and the right handle (0.1, -0.4).
  const std::vector<SplineMapperKnot> linked = {
      SK(0, 0, {-0.1, 0.4}, {0.1, -0.4}), SK(0.5, 0.5, {-0.2, -0.2}, {0.2, 0.2}), SK(1, 1, {-0.1, 0.4}, {0.1, -0.4})};
  EXPECT_DOUBLE_EQ(At(knots, 0.8, tangents), Direct(linked, 0.8));
  EXPECT_NE(At(knots, 0.8), Direct(linked, 0.8));
  // lockangle on the port-last knot turns the link off.
  knots[2].lockAngle = true;
  EXPECT_DOUBLE_EQ(At(knots, 0.8, tangents), At(knots, 0.8));
  knots[2].lockAngle = false;
  knots[2].lockLength = true;
  EXPECT_DOUBLE_EQ(At(knots, 0.8, tangents), At(knots, 0.8));
}

TEST_F(SplineNodeTest, TensionReachesTheCurveAndAMissingCurveClassIsAnError) {
  const std::vector<KnotPorts> knots = {{0.0, 0.0, "spline", {-0.1, -0.4}}, {1.0, 1.0, "spline"}};
  Settings tight;
  tight.tension = 1.0;
  EXPECT_NEAR(At(knots, 0.3, tight), 0.3, 1e-12);  // handles gone: a straight line
  EXPECT_GT(std::abs(At(knots, 0.3) - 0.3), 0.01);

  // Without a curve class.
  const SplineMapperClass* saved = GetSplineMapperClass();
  SetSplineMapperClass(nullptr);
  double out = 0.0;
  EXPECT_TRUE(Run({{0.0, 0.0}, {1.0, 1.0}}, 0.5, {}, out).Is(errors::kNullPtr));
  SetSplineMapperClass(saved);
}

}  // namespace
}  // namespace tessaroc::pattern
