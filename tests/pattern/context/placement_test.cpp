// 2D and 3D placement, run through their registered kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "../pattern_test_util.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::BusyContext;
using testutil::Runner;
using testutil::SameContext;

struct Place2d {
  Vector2d offset{0, 0};
  Vector2d length{1, 1};
  Vector2d pivot{0, 0};
  double rotation = 0;
  Vector2d repetitions{1, 1};
  bool decalU = false, decalV = false;
  const char* modeU = "extend";
  const char* modeV = "extend";
};

class Placement2dTest : public ::testing::Test {
 protected:
  ShadingContext Run(const Place2d& p, const ShadingContext& in) {
    auto run = Runner(kPlacement2dId);
    EXPECT_TRUE(run->Set("localOffset", p.offset).ok());
    EXPECT_TRUE(run->Set("localLength", p.length).ok());
    EXPECT_TRUE(run->Set("localPivot", p.pivot).ok());
    EXPECT_TRUE(run->Set("localRotation", p.rotation).ok());
    EXPECT_TRUE(run->Set("localRepetitions", p.repetitions).ok());
    EXPECT_TRUE(run->Set("localDecalU", p.decalU).ok());
    EXPECT_TRUE(run->Set("localDecalV", p.decalV).ok());
    EXPECT_TRUE(run->Set("localModeU", InternedId::Intern(p.modeU)).ok());
    EXPECT_TRUE(run->Set("localModeV", InternedId::Intern(p.modeV)).ok());
    EXPECT_TRUE(run->Run(in).ok());
    last = run->Get<Placement2dData>("pdata");
    return run->Get<ShadingContext>("result");
  }
  // A context without differentials at (u, v).
  static ShadingContext At(double u, double v) {
    ShadingContext c;
    c.uvw = c.uvwdx = c.uvwdy = {u, v, 0.5};
    return c;
  }
  Placement2dData last;
};

TEST_F(Placement2dTest, NeutralPlacementKeepsUvClearsWAndCarriesEveryOtherField) {
  const ShadingContext in = BusyContext();
  const ShadingContext out = Run(Place2d{}, in);
  EXPECT_EQ(out.uvw.x, 0.3);
  EXPECT_EQ(out.uvw.y, 0.6);
  EXPECT_EQ(out.uvw.z, 0.0);
  EXPECT_EQ(out.uvwdx.x, 0.31);
  EXPECT_EQ(out.uvwdy.y, 0.62);
  EXPECT_EQ(out.uvwdx.z, 0.0);
  // Everything outside the coordinate block is the input's.
  ShadingContext expect = in;
  expect.uvw = out.uvw;
  expect.uvwdx = out.uvwdx;
  expect.uvwdy = out.uvwdy;
  EXPECT_TRUE(SameContext(out, expect));
  EXPECT_TRUE(last.built);
}

TEST_F(Placement2dTest, KnownPointUnderRotationLengthPivotOffsetAndRepetition) {
  Place2d p;
  p.offset = {0.1, -0.2};
  p.length = {2.0, 0.5};
  p.pivot = {0.5, 0.5};
  p.rotation = 0.3;
  p.repetitions = {3.0, 2.0};
  // rep * (diag(1/length) * R(-rotation) * (p - offset - pivot) + pivot), with
  // python3's math module.
  const double u = 1.687628504368042, v = 1.263926512985707;
  ShadingContext out = Run(p, At(0.7, 0.4));
  EXPECT_NEAR(out.uvw.x, u, 1e-14);
  EXPECT_NEAR(out.uvw.y, v, 1e-14);
  EXPECT_EQ(out.wrapmodeu, kWrapExtend);

  p.modeU = p.modeV = "repeat";
  out = Run(p, At(0.7, 0.4));
  EXPECT_NEAR(out.uvw.x, u - 1, 1e-14);
  EXPECT_NEAR(out.uvw.y, v - 1, 1e-14);
  EXPECT_EQ(out.wrapmodeu, kWrapRepeat);
  EXPECT_EQ(out.wrapmodev, kWrapRepeat);

  // Both land in cell 1, which is odd: mirrored.
  p.modeU = p.modeV = "mirror";
  out = Run(p, At(0.7, 0.4));
  EXPECT_NEAR(out.uvw.x, 2 - u, 1e-14);
  EXPECT_NEAR(out.uvw.y, 2 - v, 1e-14);
  EXPECT_EQ(out.wrapmodeu, kWrapMirror);

  p.modeU = p.modeV = "clamp";
  out = Run(p, At(0.7, 0.4));
  EXPECT_NEAR(out.uvw.x, u, 1e-14);  // inside [0, 3]
  EXPECT_NEAR(out.uvw.y, v, 1e-14);  // inside [0, 2]
  EXPECT_EQ(out.wrapmodeu, kWrapClamp);
}

TEST_F(Placement2dTest, PivotIsTheFixedPointOfRotationAndLength) {
  Place2d p;
  p.pivot = {0.25, 0.75};
  p.rotation = 1.1;
  p.length = {0.3, 4.0};
  const ShadingContext out = Run(p, At(0.25, 0.75));
  EXPECT_NEAR(out.uvw.x, 0.25, 1e-15);
  EXPECT_NEAR(out.uvw.y, 0.75, 1e-15);
  // A quarter turn takes (pivot + (1, 0)) to pivot + (0, -1): the image turns
  // one way, so its coordinate the other.
  p.rotation = 1.5707963267948966;
  p.length = {1, 1};
  const ShadingContext turned = Run(p, At(1.25, 0.75));
  EXPECT_NEAR(turned.uvw.x, 0.25, 1e-15);
  EXPECT_NEAR(turned.uvw.y, -0.25, 1e-15);
}

TEST_F(Placement2dTest, WrapModesOnNegativeCoordinates) {
  Place2d p;
  p.modeU = "repeat";
  EXPECT_EQ(Run(p, At(-0.25, 0.5)).uvw.x, 0.75);
  p.modeU = "mirror";
  EXPECT_EQ(Run(p, At(-0.25, 0.5)).uvw.x, 0.25);  // cell -1 is odd
  EXPECT_EQ(Run(p, At(-1.25, 0.5)).uvw.x, 0.75);  // cell -2 is even
  p.modeU = "clamp";
  EXPECT_EQ(Run(p, At(-0.25, 0.5)).uvw.x, 0.0);
  EXPECT_EQ(Run(p, At(1.25, 0.5)).uvw.x, 1.0);
  p.modeU = "extend";
  EXPECT_EQ(Run(p, At(-0.25, 0.5)).uvw.x, -0.25);
  EXPECT_EQ(Run(p, At(7.5, 0.5)).uvw.x, 7.5);
}

TEST_F(Placement2dTest, NegativeRepetitionClampsIntoRepetitionToZeroAndStillRepeats) {
  Place2d p;
  p.repetitions = {-2.0, 1.0};
  p.modeU = "clamp";
  EXPECT_EQ(Run(p, At(0.3, 0.5)).uvw.x, -0.6);
  EXPECT_EQ(Run(p, At(-0.5, 0.5)).uvw.x, 0.0);   // u' = 1 lies above 0
  EXPECT_EQ(Run(p, At(1.5, 0.5)).uvw.x, -2.0);   // u' = -3 lies below rep
  p.modeU = "repeat";
  EXPECT_NEAR(Run(p, At(0.3, 0.5)).uvw.x, 0.4, 1e-15);  // -0.6 in cell -1
  p.modeU = "mirror";
  EXPECT_NEAR(Run(p, At(0.3, 0.5)).uvw.x, 0.6, 1e-15);
}

TEST_F(Placement2dTest, UnknownOrEmptyModeExtends) {
  Place2d p;
  p.modeU = "bogus";
  p.modeV = "";
  const ShadingContext out = Run(p, At(-3.5, 4.25));
  EXPECT_EQ(out.uvw.x, -3.5);
  EXPECT_EQ(out.uvw.y, 4.25);
  EXPECT_EQ(out.wrapmodeu, kWrapExtend);
  EXPECT_EQ(out.wrapmodev, kWrapExtend);
}

TEST_F(Placement2dTest, HugeCoordinatesSaturateTheCellNumber) {
  Place2d p;
  p.modeU = p.modeV = "mirror";
  // Above 2^63 the cell is the largest Int64, which is odd: flipped. Below
  // -2^63 it is the smallest, even: not flipped.
  const ShadingContext out = Run(p, At(1e300, -1e300));
  EXPECT_EQ(out.uvw.x, 1.0);
  EXPECT_EQ(out.uvw.y, 0.0);
}

TEST_F(Placement2dTest, ZeroLengthFallsBackToPlainRepetition) {
  Place2d p;
  p.length = {0.0, 1.0};
  p.offset = {5, 5};
  p.pivot = {0.3, 0.3};
  p.rotation = 0.7;
  p.repetitions = {2.0, 3.0};
  const ShadingContext out = Run(p, At(0.25, 0.5));
  EXPECT_EQ(out.uvw.x, 0.5);
  EXPECT_EQ(out.uvw.y, 1.5);
}

TEST_F(Placement2dTest, DecalMarksTheOutsideInvalidAndClampsTheWrapMode) {
  Place2d p;
  p.decalU = true;
  p.modeU = p.modeV = "repeat";
  ShadingContext in = At(0.5, 3.5);
  in.uvwvalid = 0;  // no valid flag of the input survives a placement
  ShadingContext out = Run(p, in);
  EXPECT_EQ(out.uvwvalid, 1);
  EXPECT_EQ(out.wrapmodeu, kWrapClamp);   // a single decal does not repeat
  EXPECT_EQ(out.wrapmodev, kWrapRepeat);  // V has no decal

  ShadingContext edge = At(1.0, 0.5);
  EXPECT_EQ(Run(p, edge).uvwvalid, 1);  // both ends belong to the decal
  EXPECT_EQ(Run(p, At(0.0, 0.5)).uvwvalid, 1);

  // Outside: invalid, and the differentials collapse onto the sample.
  ShadingContext outside;
  outside.uvw = {1.2, 0.5, 0};
  outside.uvwdx = {1.25, 0.5, 0};
  outside.uvwdy = {1.2, 0.55, 0};
  out = Run(p, outside);
  EXPECT_EQ(out.uvwvalid, 0);
  EXPECT_TRUE(testutil::Same(out.uvwdx, out.uvw));
  EXPECT_TRUE(testutil::Same(out.uvwdy, out.uvw));
  EXPECT_EQ(Run(p, At(-0.01, 0.5)).uvwvalid, 0);

  // Repeated three times the decal spans [0, 3] and keeps its wrap mode.
  p.repetitions = {3.0, 1.0};
  out = Run(p, At(0.9, 0.5));
  EXPECT_EQ(out.uvwvalid, 1);
  EXPECT_EQ(out.wrapmodeu, kWrapRepeat);
  EXPECT_EQ(Run(p, At(1.01, 0.5)).uvwvalid, 0);

  // Zero repetitions: the test sees t = 0 and passes.
  p.repetitions = {0.0, 1.0};
  EXPECT_EQ(Run(p, At(25.0, 0.5)).uvwvalid, 1);
  EXPECT_EQ(last.inverseRepetitionsU, 0.0);

  // A V decal is tested on V alone.
  Place2d pv;
  pv.decalV = true;
  EXPECT_EQ(Run(pv, At(7.0, 0.5)).uvwvalid, 1);
  EXPECT_EQ(Run(pv, At(0.5, 1.5)).uvwvalid, 0);
}

TEST_F(Placement2dTest, DifferentialsStayContinuousAcrossACellBorder) {
  Place2d p;
  p.modeU = p.modeV = "repeat";
  ShadingContext in;
  in.uvw = {0.99, 2.5, 0};
  in.uvwdx = {1.01, 2.5, 0};   // the x neighbour lies in the next cell
  in.uvwdy = {0.99, 2.48, 0};
  ShadingContext out = Run(p, in);
  EXPECT_NEAR(out.uvw.x, 0.99, 1e-15);
  EXPECT_NEAR(out.uvwdx.x, 1.01, 1e-15);  // not 0.01
  EXPECT_NEAR(out.uvwdy.y, 0.48, 1e-15);
  EXPECT_NEAR(out.uvw.y, 0.5, 1e-15);

  // Mirrored in an odd cell the neighbour moves the other way, still by 0.02.
  p.modeU = "mirror";
  in.uvw.x = 1.99;
  in.uvwdx.x = 2.01;
  in.uvwdy.x = 1.99;
  out = Run(p, in);
  EXPECT_NEAR(out.uvw.x, 0.01, 1e-14);
  EXPECT_NEAR(out.uvwdx.x, -0.01, 1e-14);

  // Under a clamp each member is clamped on its own.
  p.modeU = "clamp";
  out = Run(p, in);
  EXPECT_EQ(out.uvw.x, 1.0);
  EXPECT_EQ(out.uvwdx.x, 1.0);
  EXPECT_EQ(out.uvwdx.z, 0.0);
}

TEST_F(Placement2dTest, WhatCountsAsHavingDifferentials) {
  Place2d p;
  p.repetitions = {2.0, 2.0};
  // Equal in u and v, and uvwdy equal in w: none. uvwdx's w is not looked at.
  ShadingContext in = At(0.25, 0.25);
  in.uvwdx.z = 9.0;
  ShadingContext out = Run(p, in);
  EXPECT_TRUE(testutil::Same(out.uvwdx, out.uvw));
  // A different w in uvwdy makes them differentials: mapped on their own.
  in.uvwdy.z = 9.0;
  in.uvwdx = {0.5, 0.25, 0};
  out = Run(p, in);
  EXPECT_EQ(out.uvwdx.x, 1.0);
  EXPECT_EQ(out.uvw.x, 0.5);
  // A NaN compares unequal: differentials, and the NaN goes through the map.
  in = At(0.25, 0.25);
  in.uvwdx.x = std::numeric_limits<double>::quiet_NaN();
  out = Run(p, in);
  EXPECT_TRUE(std::isnan(out.uvwdx.x));
  EXPECT_EQ(out.uvw.x, 0.5);
}

// ---- 3D placement

// The right-handed rotation about one axis, built here independently.
struct M3 {
  double m[3][3];
};
M3 Mul(const M3& a, const M3& b) {
  M3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) r.m[i][j] += a.m[i][k] * b.m[k][j];
  return r;
}
M3 Rot(char axis, double t) {
  const double c = std::cos(t), s = std::sin(t);
  if (axis == 'x') return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
  if (axis == 'y') return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
  return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}
double Angle(char axis, const Vector& a) { return axis == 'x' ? a.x : axis == 'y' ? a.y : a.z; }

// The forward transform of an order name: a local name "abc" rotates by
// Ra(-a) Rb(-b) Rc(-c); a global name means the local order of its reversed letters.
Vector Forward(const std::string& order, const Vector& angles, const Vector& scale, const Vector& position,
               const Vector& pivot, const Vector& p) {
  std::string letters = order.substr(0, 3);
  if (order.find("global") != std::string::npos) letters = {letters[2], letters[1], letters[0]};
  M3 r = Rot(letters[0], -Angle(letters[0], angles));
  r = Mul(r, Rot(letters[1], -Angle(letters[1], angles)));
  r = Mul(r, Rot(letters[2], -Angle(letters[2], angles)));
  const double q[3] = {(p.x - pivot.x) * scale.x, (p.y - pivot.y) * scale.y, (p.z - pivot.z) * scale.z};
  double o[3];
  for (int i = 0; i < 3; ++i) o[i] = r.m[i][0] * q[0] + r.m[i][1] * q[1] + r.m[i][2] * q[2];
  return {o[0] + position.x + pivot.x, o[1] + position.y + pivot.y, o[2] + position.z + pivot.z};
}

class Placement3dTest : public ::testing::Test {
 protected:
  void Configure(SingleNodeRunner& run, bool enable, const Vector& position, const Vector& scale,
                 const Vector& rotation, const char* order, const Vector& pivot) {
    EXPECT_TRUE(run.Set("enableSpaceTransformation", enable).ok());
    EXPECT_TRUE(run.Set("spacePosition", position).ok());
    EXPECT_TRUE(run.Set("spaceScale", scale).ok());
    EXPECT_TRUE(run.Set("spaceRotation", rotation).ok());
    EXPECT_TRUE(run.Set("spaceRotationOrder", Id(order)).ok());
    EXPECT_TRUE(run.Set("pivot", pivot).ok());
  }
};

TEST_F(Placement3dTest, EveryRotationOrderInvertsItsOwnForwardTransform) {
  const Vector angles{0.3, -0.5, 0.9}, scale{1.5, 0.7, 2.0}, position{0.2, -1.0, 0.5}, pivot{0.1, 0.2, 0.3};
  const Vector p{0.4, -0.3, 0.8};
  const char* orders[] = {"xyzlocal", "xzylocal", "yxzlocal", "yzxlocal", "zxylocal", "zyxlocal",
                          "xyzglobal", "xzyglobal", "yxzglobal", "yzxglobal", "zxyglobal", "zyxglobal"};
  Vector first{};
  for (const char* order : orders) {
    auto run = Runner(kPlacement3dId);
    Configure(*run, true, position, scale, angles, order, pivot);
    ShadingContext in;
    in.uvw = Forward(order, angles, scale, position, pivot, p);
    in.uvwdx = Forward(order, angles, scale, position, pivot, {p.x + 0.01, p.y, p.z});
    in.uvwdy = Forward(order, angles, scale, position, pivot, {p.x, p.y + 0.01, p.z});
    ASSERT_TRUE(run->Run(in).ok());
    const ShadingContext& out = run->Get<ShadingContext>("result");
    EXPECT_NEAR(out.uvw.x, p.x, 1e-13) << order;
    EXPECT_NEAR(out.uvw.y, p.y, 1e-13) << order;
    EXPECT_NEAR(out.uvw.z, p.z, 1e-13) << order;
    EXPECT_NEAR(out.uvwdx.x, p.x + 0.01, 1e-13) << order;
    EXPECT_NEAR(out.uvwdy.y, p.y + 0.01, 1e-13) << order;
    // The orders really differ: the same forward point of xyzlocal maps elsewhere.
    if (std::string(order) == "xyzlocal") first = in.uvw;
  }
  auto run = Runner(kPlacement3dId);
  Configure(*run, true, position, scale, angles, "zyxlocal", pivot);
  ShadingContext in;
  in.uvw = in.uvwdx = in.uvwdy = first;
  ASSERT_TRUE(run->Run(in).ok());
  EXPECT_GT(std::fabs(run->Get<ShadingContext>("result").uvw.x - p.x), 1e-3);
}

TEST_F(Placement3dTest, RotationMatrixOfCodeOneHasTheKnownThirdColumn) {
  const double x = 0.4, y = -1.1, z = 0.25;
  const Matrix3 r = RotationMatrix({x, y, z}, 1);
  EXPECT_NEAR(r.m[0][2], -std::sin(y), 1e-15);
  EXPECT_NEAR(r.m[1][2], std::sin(x) * std::cos(y), 1e-15);
  EXPECT_NEAR(r.m[2][2], std::cos(x) * std::cos(y), 1e-15);
  EXPECT_EQ(RotationOrderCode("zyxglobal"), 1);
  EXPECT_EQ(RotationOrderCode("xyzglobal"), 5);
  EXPECT_EQ(RotationOrderCode("sideways"), 0);
}

TEST_F(Placement3dTest, DisabledIsABitForBitCopy) {
  auto run = Runner(kPlacement3dId);
  Configure(*run, false, {1, 2, 3}, {2, 2, 2}, {0.1, 0.2, 0.3}, "xyzlocal", {0, 0, 0});
  const ShadingContext in = BusyContext();
  ASSERT_TRUE(run->Run(in).ok());
  EXPECT_TRUE(SameContext(run->Get<ShadingContext>("result"), in));
}

TEST_F(Placement3dTest, PositionMovesTheOtherWayAndOtherFieldsStay) {
  auto run = Runner(kPlacement3dId);
  Configure(*run, true, {1, 0, 0}, {1, 1, 1}, {0, 0, 0}, "xyzlocal", {0.5, 0.5, 0.5});
  ShadingContext in = BusyContext();
  in.uvwvalid = 0;
  in.wrapmodeu = 2;
  ASSERT_TRUE(run->Run(in).ok());
  const ShadingContext& out = run->Get<ShadingContext>("result");
  EXPECT_EQ(out.uvw.x, 0.3 - 1.0);
  EXPECT_EQ(out.uvw.y, 0.6);
  EXPECT_EQ(out.uvwdx.x, 0.31 - 1.0);
  ShadingContext expect = in;
  expect.uvw = out.uvw;
  expect.uvwdx = out.uvwdx;
  expect.uvwdy = out.uvwdy;
  EXPECT_TRUE(SameContext(out, expect));
}

TEST_F(Placement3dTest, ZeroScaleGivesTheIdentityAndUnknownOrderIsYxzLocal) {
  auto run = Runner(kPlacement3dId);
  Configure(*run, true, {3, 4, 5}, {1, 0, 1}, {0.2, 0.3, 0.4}, "xyzlocal", {1, 1, 1});
  ShadingContext in = BusyContext();
  ASSERT_TRUE(run->Run(in).ok());
  EXPECT_TRUE(testutil::Same(run->Get<ShadingContext>("result").uvw, in.uvw));

  const Vector angles{0.2, 0.3, 0.4};
  auto unknown = Runner(kPlacement3dId);
  auto yxz = Runner(kPlacement3dId);
  Configure(*unknown, true, {0, 0, 0}, {1, 1, 1}, angles, "nonsense", {0, 0, 0});
  Configure(*yxz, true, {0, 0, 0}, {1, 1, 1}, angles, "yxzlocal", {0, 0, 0});
  ASSERT_TRUE(unknown->Run(in).ok());
  ASSERT_TRUE(yxz->Run(in).ok());
  EXPECT_TRUE(testutil::Same(unknown->Get<ShadingContext>("result").uvw, yxz->Get<ShadingContext>("result").uvw));
  EXPECT_FALSE(testutil::Same(yxz->Get<ShadingContext>("result").uvw, in.uvw));
}

}  // namespace
}  // namespace tessaroc::pattern
