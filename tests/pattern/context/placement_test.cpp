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
using testutil::Same;
using testutil::SameContext;
using testutil::SameContextBut;
using testutil::SetAll;
using testutil::UvwContext;

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

// Sets every input of `p` on `run`, runs it on `in` and returns its result.
ShadingContext Run2d(SingleNodeRunner& run, const Place2d& p, const ShadingContext& in) {
  SetAll(run, "localOffset", p.offset, "localLength", p.length, "localPivot", p.pivot, "localRotation", p.rotation,
         "localRepetitions", p.repetitions, "localDecalU", p.decalU, "localDecalV", p.decalV, "localModeU",
         InternedId::Intern(p.modeU), "localModeV", InternedId::Intern(p.modeV));
  EXPECT_TRUE(run.Run(in).ok());
  return run.Get<ShadingContext>("result");
}

class Placement2dTest : public ::testing::Test {
 protected:
  ShadingContext Run(const Place2d& p, const ShadingContext& in) {
    auto run = Runner(kPlacement2dId);
    const ShadingContext out = Run2d(*run, p, in);
    last = run->Get<Placement2dData>("pdata");
    return out;
  }
  // A context without differentials at (u, v).
  static ShadingContext At(double u, double v) { return UvwContext({u, v, 0.5}, {u, v, 0.5}, {u, v, 0.5}); }
  Placement2dData last;
};

TEST_F(Placement2dTest, NeutralPlacementKeepsUvClearsWAndCarriesEveryOtherField) {
  const ShadingContext in = BusyContext();
  const ShadingContext out = Run(Place2d{}, in);
  EXPECT_TRUE(Same(out.uvw, Vector{0.3, 0.6, 0.0}));
  EXPECT_EQ(out.uvwdx.x, 0.31);
  EXPECT_EQ(out.uvwdy.y, 0.62);
  EXPECT_EQ(out.uvwdx.z, 0.0);
  // Everything outside the coordinate block is the input's.
  EXPECT_TRUE(SameContextBut(out, in));
  EXPECT_TRUE(last.built);
}

TEST_F(Placement2dTest, KnownPointUnderRotationLengthPivotOffsetAndRepetition) {
  // rep * (diag(1/length) * R(-rotation) * (p - offset - pivot) + pivot), with
  // python3's math module.
  const double u = 1.687628504368042, v = 1.263926512985707;
  struct Case {
    const char* mode;
    double u, v;
    WrapCode wrap;
  } cases[] = {
      {"extend", u, v, kWrapExtend},
      {"repeat", u - 1, v - 1, kWrapRepeat},
      {"mirror", 2 - u, 2 - v, kWrapMirror},  // both land in cell 1, which is odd: mirrored
      {"clamp", u, v, kWrapClamp},            // inside [0, 3] and [0, 2]
  };
  Place2d p{
      .offset = {0.1, -0.2}, .length = {2.0, 0.5}, .pivot = {0.5, 0.5}, .rotation = 0.3, .repetitions = {3.0, 2.0}};
  for (const Case& c : cases) {
    p.modeU = p.modeV = c.mode;
    const ShadingContext out = Run(p, At(0.7, 0.4));
    EXPECT_NEAR(out.uvw.x, c.u, 1e-14) << c.mode;
    EXPECT_NEAR(out.uvw.y, c.v, 1e-14) << c.mode;
    EXPECT_EQ(out.wrapmodeu, c.wrap) << c.mode;
    EXPECT_EQ(out.wrapmodev, c.wrap) << c.mode;
  }
}

TEST_F(Placement2dTest, WrapModesRepetitionsAndDegenerateSettings) {
  struct Case {
    const char* what;
    Place2d p;
    double u, v, wantU, wantV, tolerance;
  };
  const Place2d zeroLength{
      .offset = {5, 5}, .length = {0.0, 1.0}, .pivot = {0.3, 0.3}, .rotation = 0.7, .repetitions = {2.0, 3.0}};
  const Case cases[] = {
      {"repeat", {.modeU = "repeat"}, -0.25, 0.5, 0.75, 0.5, 0},
      {"mirror, cell -1 is odd", {.modeU = "mirror"}, -0.25, 0.5, 0.25, 0.5, 0},
      {"mirror, cell -2 is even", {.modeU = "mirror"}, -1.25, 0.5, 0.75, 0.5, 0},
      {"clamp below", {.modeU = "clamp"}, -0.25, 0.5, 0.0, 0.5, 0},
      {"clamp above", {.modeU = "clamp"}, 1.25, 0.5, 1.0, 0.5, 0},
      {"extend below", {.modeU = "extend"}, -0.25, 0.5, -0.25, 0.5, 0},
      {"extend above", {.modeU = "extend"}, 7.5, 0.5, 7.5, 0.5, 0},
      // A negative repetition clamps into [repetition, 0] and still repeats.
      {"negative, clamp inside", {.repetitions = {-2.0, 1.0}, .modeU = "clamp"}, 0.3, 0.5, -0.6, 0.5, 0},
      {"negative, u' = 1 lies above 0", {.repetitions = {-2.0, 1.0}, .modeU = "clamp"}, -0.5, 0.5, 0.0, 0.5, 0},
      {"negative, u' = -3 lies below rep", {.repetitions = {-2.0, 1.0}, .modeU = "clamp"}, 1.5, 0.5, -2.0, 0.5, 0},
      {"negative, -0.6 in cell -1", {.repetitions = {-2.0, 1.0}, .modeU = "repeat"}, 0.3, 0.5, 0.4, 0.5, 1e-15},
      {"negative, mirror", {.repetitions = {-2.0, 1.0}, .modeU = "mirror"}, 0.3, 0.5, 0.6, 0.5, 1e-15},
      {"unknown or empty mode extends", {.modeU = "bogus", .modeV = ""}, -3.5, 4.25, -3.5, 4.25, 0},
      // Above 2^63 the cell is the largest Int64, which is odd: flipped. Below
      // -2^63 it is the smallest, even: not flipped.
      {"huge coordinates saturate the cell", {.modeU = "mirror", .modeV = "mirror"}, 1e300, -1e300, 1.0, 0.0, 0},
      {"zero length falls back to plain repetition", zeroLength, 0.25, 0.5, 0.5, 1.5, 0},
  };
  for (const Case& c : cases) {
    const ShadingContext out = Run(c.p, At(c.u, c.v));
    EXPECT_NEAR(out.uvw.x, c.wantU, c.tolerance) << c.what;
    EXPECT_NEAR(out.uvw.y, c.wantV, c.tolerance) << c.what;
  }
  const ShadingContext unknown = Run({.modeU = "bogus", .modeV = ""}, At(-3.5, 4.25));
  EXPECT_EQ(unknown.wrapmodeu, kWrapExtend);
  EXPECT_EQ(unknown.wrapmodev, kWrapExtend);
}

TEST_F(Placement2dTest, DecalMarksTheOutsideInvalidAndClampsTheWrapMode) {
  Place2d p{.decalU = true, .modeU = "repeat", .modeV = "repeat"};
  ShadingContext in = At(0.5, 3.5);
  in.uvwvalid = 0;  // no valid flag of the input survives a placement
  ShadingContext out = Run(p, in);
  EXPECT_EQ(out.uvwvalid, 1);
  EXPECT_EQ(out.wrapmodeu, kWrapClamp);   // a single decal does not repeat
  EXPECT_EQ(out.wrapmodev, kWrapRepeat);  // V has no decal
  // Both ends belong to the decal.
  EXPECT_EQ(Run(p, At(1.0, 0.5)).uvwvalid, 1);
  EXPECT_EQ(Run(p, At(0.0, 0.5)).uvwvalid, 1);

  // Outside: invalid, and the differentials collapse onto the sample.
  out = Run(p, UvwContext({1.2, 0.5, 0}, {1.25, 0.5, 0}, {1.2, 0.55, 0}));
  EXPECT_EQ(out.uvwvalid, 0);
  EXPECT_TRUE(Same(out.uvwdx, out.uvw));
  EXPECT_TRUE(Same(out.uvwdy, out.uvw));
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
  EXPECT_EQ(Run({.decalV = true}, At(7.0, 0.5)).uvwvalid, 1);
  EXPECT_EQ(Run({.decalV = true}, At(0.5, 1.5)).uvwvalid, 0);
}

TEST_F(Placement2dTest, DifferentialsStayContinuousAcrossACellBorderAndWhatCountsAsThem) {
  Place2d p{.modeU = "repeat", .modeV = "repeat"};
  ShadingContext in = UvwContext({0.99, 2.5, 0}, {1.01, 2.5, 0}, {0.99, 2.48, 0});  // x neighbour in the next cell
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

  // What counts as having differentials. Equal in u and v, and uvwdy equal in
  // w: none. uvwdx's w is not looked at.
  p = {.repetitions = {2.0, 2.0}};
  in = At(0.25, 0.25);
  in.uvwdx.z = 9.0;
  out = Run(p, in);
  EXPECT_TRUE(Same(out.uvwdx, out.uvw));
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

// The right-handed rotation of v by t about one axis, built here independently.
Vector Turn(char axis, double t, const Vector& v) {
  const double c = std::cos(t), s = std::sin(t);
  if (axis == 'x') return {v.x, c * v.y - s * v.z, s * v.y + c * v.z};
  if (axis == 'y') return {c * v.x + s * v.z, v.y, -s * v.x + c * v.z};
  return {c * v.x - s * v.y, s * v.x + c * v.y, v.z};
}
double Angle(char axis, const Vector& a) { return axis == 'x' ? a.x : axis == 'y' ? a.y : a.z; }

// The forward transform of an order name: a local name "abc" rotates by
// Ra(-a) Rb(-b) Rc(-c); a global name means the local order of its reversed letters.
Vector Forward(const std::string& order, const Vector& angles, const Vector& scale, const Vector& position,
               const Vector& pivot, const Vector& p) {
  std::string letters = order.substr(0, 3);
  if (order.find("global") != std::string::npos) letters = {letters[2], letters[1], letters[0]};
  Vector q{(p.x - pivot.x) * scale.x, (p.y - pivot.y) * scale.y, (p.z - pivot.z) * scale.z};
  for (int i = 2; i >= 0; --i) q = Turn(letters[i], -Angle(letters[i], angles), q);
  return {q.x + position.x + pivot.x, q.y + position.y + pivot.y, q.z + position.z + pivot.z};
}

struct Place3d {
  bool enable = true;
  Vector position{0, 0, 0}, scale{1, 1, 1}, rotation{0, 0, 0};
  const char* order = "xyzlocal";
  Vector pivot{0, 0, 0};
};

ShadingContext Run3d(const Place3d& p, const ShadingContext& in, SingleNodeRunner* kept = nullptr) {
  auto fresh = kept ? nullptr : Runner(kPlacement3dId);
  SingleNodeRunner& run = kept ? *kept : *fresh;
  SetAll(run, "enableSpaceTransformation", p.enable, "spacePosition", p.position, "spaceScale", p.scale,
         "spaceRotation", p.rotation, "spaceRotationOrder", Id(p.order), "pivot", p.pivot);
  EXPECT_TRUE(run.Run(in).ok());
  return run.Get<ShadingContext>("result");
}

TEST(Placement3d, EveryRotationOrderInvertsItsOwnForwardTransform) {
  const Vector angles{0.3, -0.5, 0.9}, scale{1.5, 0.7, 2.0}, position{0.2, -1.0, 0.5}, pivot{0.1, 0.2, 0.3};
  const Vector p{0.4, -0.3, 0.8};
  const char* orders[] = {"xyzlocal",  "xzylocal",  "yxzlocal",  "yzxlocal",  "zxylocal",  "zyxlocal",
                          "xyzglobal", "xzyglobal", "yxzglobal", "yzxglobal", "zxyglobal", "zyxglobal"};
  ShadingContext first;
  for (const char* order : orders) {
    ShadingContext in;
    in.uvw = Forward(order, angles, scale, position, pivot, p);
    in.uvwdx = Forward(order, angles, scale, position, pivot, {p.x + 0.01, p.y, p.z});
    in.uvwdy = Forward(order, angles, scale, position, pivot, {p.x, p.y + 0.01, p.z});
    const ShadingContext out = Run3d({true, position, scale, angles, order, pivot}, in);
    EXPECT_NEAR(out.uvw.x, p.x, 1e-13) << order;
    EXPECT_NEAR(out.uvw.y, p.y, 1e-13) << order;
    EXPECT_NEAR(out.uvw.z, p.z, 1e-13) << order;
    EXPECT_NEAR(out.uvwdx.x, p.x + 0.01, 1e-13) << order;
    EXPECT_NEAR(out.uvwdy.y, p.y + 0.01, 1e-13) << order;
    if (std::string(order) == "xyzlocal") first.uvw = first.uvwdx = first.uvwdy = in.uvw;
  }
  // The orders really differ: the same forward point of xyzlocal maps elsewhere.
  const ShadingContext other = Run3d({true, position, scale, angles, "zyxlocal", pivot}, first);
  EXPECT_GT(std::fabs(other.uvw.x - p.x), 1e-3);
}

TEST(Placement3d, DisabledIsACopyAndEnabledMovesOnlyTheCoordinates) {
  const ShadingContext busy = BusyContext();
  EXPECT_TRUE(SameContext(Run3d({false, {1, 2, 3}, {2, 2, 2}, {0.1, 0.2, 0.3}}, busy), busy));

  // The position moves the coordinate the other way.
  ShadingContext in = busy;
  in.uvwvalid = 0;
  in.wrapmodeu = kWrapRepeat;
  const ShadingContext out = Run3d({.position = {1, 0, 0}, .pivot = {0.5, 0.5, 0.5}}, in);
  EXPECT_EQ(out.uvw.x, 0.3 - 1.0);
  EXPECT_EQ(out.uvw.y, 0.6);
  EXPECT_EQ(out.uvwdx.x, 0.31 - 1.0);
  EXPECT_TRUE(SameContextBut(out, in));
}

// One instance keeps the map it built while its parameters stay, and builds
// it again when any of them changes, even only in the sign of a zero: each
// sample equals that of a fresh node with the same parameters, bit for bit.
TEST_F(Placement2dTest, AParameterChangedBetweenSamplesGivesTheNewMap) {
  const ShadingContext in = BusyContext();
  auto kept = Runner(kPlacement2dId);
  Place2d p;
  auto step = [&](const char* what) { EXPECT_TRUE(SameContext(Run2d(*kept, p, in), Run(p, in))) << what; };
  p.rotation = 0.3, step("rotation");
  step("the same again");
  p.rotation = 0.0, step("no rotation");
  p.rotation = -0.0, step("no rotation, negative zero");
  p.repetitions = {3, 2}, step("repetitions");
  p.offset = {0.25, 0}, step("offset");
  p.length = {2, 0.5}, step("length");
  p.pivot = {0.5, 0.5}, step("pivot");
  p.repetitions = {7, 5}, step("coordinates outside the square");
  p.modeU = "repeat", step("wrap u");
  p.modeV = "mirror", step("wrap v");
  p.modeU = "clamp", step("wrap u again");

  auto kept3 = Runner(kPlacement3dId);
  Place3d q{.rotation = {0.2, 0.3, 0.4}};
  auto step3 = [&](const char* what) { EXPECT_TRUE(SameContext(Run3d(q, in, kept3.get()), Run3d(q, in))) << what; };
  step3("rotation");
  q.order = "zyxlocal", step3("order");
  q.order = "xyzlocal", step3("order back");
  q.scale = {2, 1, 1}, step3("scale");
  q.position = {0.5, 0, 0}, step3("position");
  q.pivot = {0, 0, 1}, step3("pivot");
}

TEST(Placement3d, ZeroScaleGivesTheIdentityAndUnknownOrderIsYxzLocal) {
  const ShadingContext in = BusyContext();
  const Place3d flat{.position = {3, 4, 5}, .scale = {1, 0, 1}, .rotation = {0.2, 0.3, 0.4}, .pivot = {1, 1, 1}};
  EXPECT_TRUE(Same(Run3d(flat, in).uvw, in.uvw));

  const Vector unknown = Run3d({.rotation = {0.2, 0.3, 0.4}, .order = "nonsense"}, in).uvw;
  const Vector yxz = Run3d({.rotation = {0.2, 0.3, 0.4}, .order = "yxzlocal"}, in).uvw;
  EXPECT_TRUE(Same(unknown, yxz));
  EXPECT_FALSE(Same(yxz, in.uvw));
}

}  // namespace
}  // namespace tessaroc::pattern
