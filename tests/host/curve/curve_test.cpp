// The curve object: through its knots, along its handles, the three segment
// kinds, tension, range and the ends.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/curve/curve.h"

namespace tessaroc::host {
namespace {

using pattern::SplineMapperKnot;

SplineMapperKnot K(double x, double y, pattern::SPLINEMAPPER_KNOT_INTERPOLATION_TYPE type, Vector2d left = {-0.1, 0.0},
                   Vector2d right = {0.1, 0.0}) {
  SplineMapperKnot k;
  k.pos = {x, y};
  k.interpolation = type;
  k.tangentLeft = left;
  k.tangentRight = right;
  return k;
}

constexpr auto kSpline = pattern::SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE;
constexpr auto kLinear = pattern::SPLINEMAPPER_KNOT_INTERPOLATION_LINEAR;
constexpr auto kCubic = pattern::SPLINEMAPPER_KNOT_INTERPOLATION_CUBIC;

double Slope(const Curve& c, double x, double h) { return (c.GetPoint(x + h).y - c.GetPoint(x).y) / h; }

TEST(Curve, SplinePassesThroughKnotsAlongItsHandles) {
  Curve c;
  c.GetKnotsRW() = {K(0.0, 0.0, kSpline, {-0.1, -0.2}, {0.2, 0.4}), K(0.5, 0.8, kSpline, {-0.1, 0.05}, {0.1, -0.05}),
                    K(1.0, 0.3, kSpline, {-0.25, 0.1}, {0.25, -0.1})};
  c.SortKnots();
  for (const SplineMapperKnot& k : c.GetKnotsRW()) EXPECT_NEAR(c.GetPoint(k.pos.x).y, k.pos.y, 1e-12);
  // Leaving knot 0 along its right handle (slope 2), arriving at knot 1 along
  // its left handle (slope -0.5), leaving knot 1 along its right one.
  EXPECT_NEAR(Slope(c, 0.0, 1e-7), 2.0, 1e-4);
  EXPECT_NEAR(Slope(c, 0.5, -1e-7), -0.5, 1e-4);
  EXPECT_NEAR(Slope(c, 0.5, 1e-7), -0.5, 1e-4);
  EXPECT_NEAR(Slope(c, 1.0, -1e-7), -0.4, 1e-4);
  // Continuous everywhere inside.
  for (double x = 0.001; x < 1.0; x += 0.001) EXPECT_LT(std::fabs(c.GetPoint(x + 1e-9).y - c.GetPoint(x).y), 1e-6);
}

TEST(Curve, TensionOneStraightensSplineSegments) {
  // Without handles both coordinates follow the same Bezier weights, so y is
  // linear in x.
  Curve c;
  c.SetTension(1.0);
  c.GetKnotsRW() = {K(0.0, 0.2, kSpline, {-0.3, 0.3}, {0.3, 0.3}), K(1.0, 0.6, kSpline)};
  for (double x : {0.1, 0.25, 0.5, 0.9}) EXPECT_NEAR(c.GetPoint(x).y, 0.2 + 0.4 * x, 1e-12);
  c.SetTension(7.0);
  EXPECT_EQ(c.tension(), 1.0);
  c.SetTension(-1.0);
  EXPECT_EQ(c.tension(), 0.0);
}

TEST(Curve, LinearAndCubicSegments) {
  Curve lin;
  lin.GetKnotsRW() = {K(0.0, 1.0, kLinear), K(2.0, 0.0, kLinear)};
  EXPECT_DOUBLE_EQ(lin.GetPoint(0.5).y, 0.75);
  EXPECT_DOUBLE_EQ(lin.GetPoint(1.0).y, 0.5);

  // Cubic through (0, 0), (1, 1), (2, 0), (3, 1): the slope at a knot is the
  // slope between its neighbours (0 at x = 1 and 2), one sided at the ends.
  Curve cub;
  cub.GetKnotsRW() = {K(0, 0, kCubic), K(1, 1, kCubic), K(2, 0, kCubic), K(3, 1, kCubic)};
  for (const SplineMapperKnot& k : cub.GetKnotsRW()) EXPECT_DOUBLE_EQ(cub.GetPoint(k.pos.x).y, k.pos.y);
  EXPECT_NEAR(Slope(cub, 1.0, 1e-7), 0.0, 1e-5);
  EXPECT_NEAR(Slope(cub, 1.0, -1e-7), 0.0, 1e-5);
  EXPECT_NEAR(Slope(cub, 0.0, 1e-7), 1.0, 1e-5);
  // First segment with slopes 1 and 0: h10 + h01 at t = 0.5 = 0.125 + 0.5.
  EXPECT_DOUBLE_EQ(cub.GetPoint(0.5).y, 0.625);
  // Tension scales the slopes away: tension 1 is a smoothstep between knots.
  cub.SetTension(1.0);
  EXPECT_DOUBLE_EQ(cub.GetPoint(0.5).y, 0.5);
  EXPECT_DOUBLE_EQ(cub.GetPoint(0.25).y, 0.15625);

  // A mixed curve: each segment follows its left knot.
  Curve mixed;
  mixed.GetKnotsRW() = {K(0, 0, kLinear), K(1, 1, kCubic), K(2, 1, kLinear), K(3, 0, kLinear)};
  EXPECT_DOUBLE_EQ(mixed.GetPoint(0.5).y, 0.5);
  EXPECT_DOUBLE_EQ(mixed.GetPoint(2.5).y, 0.5);
}

TEST(Curve, EndsEmptyCurveSortingAndRange) {
  Curve c;
  EXPECT_EQ(c.GetPoint(0.3).y, 0.0);
  EXPECT_EQ(c.GetPoint(0.3).x, 0.3);
  c.GetKnotsRW() = {K(0.8, 0.1, kLinear), K(0.2, 0.9, kLinear), K(0.5, 0.5, kLinear)};
  c.SortKnots();
  EXPECT_EQ(c.GetKnotsRW()[0].pos.x, 0.2);
  EXPECT_EQ(c.GetKnotsRW()[2].pos.x, 0.8);
  EXPECT_EQ(c.GetPoint(-5.0).y, 0.9);
  EXPECT_EQ(c.GetPoint(5.0).y, 0.1);
  EXPECT_EQ(c.GetPoint(std::numeric_limits<double>::quiet_NaN()).y, 0.9);
  EXPECT_DOUBLE_EQ(c.GetPoint(0.35).y, 0.7);
  // Knots sharing an x keep their order, and the curve steps at that x.
  Curve step;
  step.GetKnotsRW() = {K(0.5, 1.0, kLinear), K(0.0, 0.0, kLinear), K(0.5, 2.0, kLinear), K(1.0, 2.0, kLinear)};
  step.SortKnots();
  EXPECT_EQ(step.GetKnotsRW()[1].pos.y, 1.0);
  EXPECT_DOUBLE_EQ(step.GetPoint(0.25).y, 0.5);
  EXPECT_EQ(step.GetPoint(0.5).y, 2.0);

  Curve r;
  EXPECT_EQ(r.ClampPosition({1.5, -0.5}), (Vector2d{1.0, 0.0}));  // the unit square until set
  r.SetRange({-1.0, 2.0}, {1.0, 3.0});
  EXPECT_EQ(r.ClampPosition({-4.0, 2.5}), (Vector2d{-1.0, 2.5}));
  EXPECT_EQ(r.ClampPosition({4.0, 9.0}), (Vector2d{1.0, 3.0}));
}

TEST(Curve, InstallFillsTheSlot) {
  ASSERT_TRUE(InstallCurve().ok());
  ASSERT_NE(pattern::GetSplineMapperClass(), nullptr);
  std::unique_ptr<pattern::SplineMapper> m;
  ASSERT_TRUE(pattern::GetSplineMapperClass()->Alloc(m).ok());
  EXPECT_NE(dynamic_cast<Curve*>(m.get()), nullptr);
  EXPECT_EQ(FindDataType("net.zovan.datatype.splinemapperknot"), &pattern::kSplineMapperKnotType);
}

}  // namespace
}  // namespace tessaroc::host
