// The five shapes and their shared soft edge, run through the registered kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "../pattern_test_util.h"
#include "pattern/shapes/circle_node.h"
#include "pattern/shapes/line_node.h"
#include "pattern/shapes/ngon_node.h"
#include "pattern/shapes/shape.h"
#include "pattern/shapes/spiral_node.h"
#include "pattern/shapes/star_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::Runner;

const ColorA kExterior{1, 0, 0, 1};
const ColorA kFill{0, 0, 1, 0.5};

struct Out {
  ColorA result;
  double mask, distance;
};

class ShapesTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Make(const char* id) {
    auto run = Runner(id);
    EXPECT_TRUE(run->Set("exterior", kExterior).ok());
    EXPECT_TRUE(run->Set("fill", kFill).ok());
    return run;
  }
  static Out At(SingleNodeRunner& run, double u, double v, uint8_t valid = 1) {
    ShadingContext c;
    c.uvw = {u, v, 0};
    c.uvwvalid = valid;
    EXPECT_TRUE(run.Run(c).ok());
    return {run.Get<ColorA>("result"), run.Get<double>("mask"), run.Get<double>("distance")};
  }
  struct Mask {
    double u, v, mask;
  };
  static void ExpectMasks(SingleNodeRunner& run, std::initializer_list<Mask> cases) {
    for (const Mask& m : cases) EXPECT_EQ(At(run, m.u, m.v).mask, m.mask) << m.u << ", " << m.v;
  }
  // A line from (0.2, 0.5) to (0.8, 0.5).
  std::unique_ptr<SingleNodeRunner> Line(double softness, double width) {
    auto run = Make(kLineId);
    for (Result r : {run->Set("source", Vector2d{0.2, 0.5}), run->Set("destination", Vector2d{0.8, 0.5}),
                     run->Set("softness", softness), run->Set("width", width)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static void Soft(SingleNodeRunner& run, double scale, double inner, double outer) {
    for (Result r : {run.Set("scale", scale), run.Set("innersoftness", inner), run.Set("outersoftness", outer)})
      EXPECT_TRUE(r.ok()) << r.ToString();
  }
};

TEST(SoftEdge, RunsFromZeroToOneBetweenItsEnds) {
  EXPECT_EQ(SoftEdge(0.4, 0.4, 0.6).t, 0.0);
  EXPECT_EQ(SoftEdge(0.4, 0.4, 0.6).mask, 1.0);
  EXPECT_EQ(SoftEdge(0.6, 0.4, 0.6).t, 1.0);
  EXPECT_EQ(SoftEdge(0.5, 0.4, 0.6).t, 0.5);
  EXPECT_EQ(SoftEdge(0.45, 0.4, 0.6).t, 0.15625);  // e = 0.25: (3 - 0.5) * 0.0625, up to rounding of e
  // A hard edge: no division, a jump at lo.
  EXPECT_EQ(SoftEdge(0.5, 0.5, 0.5).t, 0.0);
  EXPECT_EQ(SoftEdge(0.5000001, 0.5, 0.5).t, 1.0);
  double prev = 0;
  for (double d = 0.3; d < 0.7; d += 0.001) {
    const EdgeValue e = SoftEdge(d, 0.4, 0.6);
    EXPECT_GE(e.t, prev);
    EXPECT_EQ(e.t + e.mask, 1.0);
    prev = e.t;
  }
}

TEST_F(ShapesTest, CircleCentreEdgeSoftnessTinyScalesAndInfinity) {
  auto run = Make(kCircleId);
  Soft(*run, 0.5, 0.0, 0.0);
  Out o = At(*run, 0.5, 0.5);
  EXPECT_TRUE(o.result == kFill);
  EXPECT_EQ(o.mask, 1.0);
  EXPECT_EQ(o.distance, 0.0);
  // scale is the diameter: the hard edge lies 0.25 from the centre.
  ExpectMasks(*run, {{0.74, 0.5, 1.0}, {0.5, 0.26, 1.0}, {0.76, 0.5, 0.0}, {0.5 + 0.18, 0.5 + 0.18, 0.0}});
  EXPECT_TRUE(At(*run, 0.76, 0.5).result == kExterior);
  // On the edge with softness: halfway, also in the colour.
  Soft(*run, 0.5, 0.1, 0.1);
  o = At(*run, 0.75, 0.5);
  EXPECT_EQ(o.distance, 1.0);
  EXPECT_EQ(o.mask, 0.5);
  EXPECT_TRUE(o.result == (ColorA{0.5, 0, 0.5, 0.75}));

  // A tiny scale uses a fixed factor; an infinite u gives NaN.
  Soft(*run, 0.0, 0.0, 0.0);
  // k = 2000000: the edge lies 5e-7 from the centre.
  ExpectMasks(*run, {{0.5 + 4e-7, 0.5, 1.0}, {0.5 + 6e-7, 0.5, 0.0}});
  Soft(*run, -3.0, 0.0, 0.0);
  EXPECT_EQ(At(*run, 0.5 + 6e-7, 0.5).mask, 0.0);
  // The product with zero keeps an infinite u from giving a clean answer.
  Soft(*run, 0.5, 0.0, 0.0);
  EXPECT_TRUE(std::isnan(At(*run, std::numeric_limits<double>::infinity(), 0.5).distance));
}

TEST_F(ShapesTest, LineFallsOffOnItsSmoothedDistanceAndHasNoWidthOrNoLength) {
  auto run = Line(0.4, 0.2);
  // On the segment: inside.
  Out o = At(*run, 0.5, 0.5);
  EXPECT_EQ(o.distance, 0.0);
  EXPECT_EQ(o.mask, 1.0);
  // 0.05 off: c = smoothstep(0.25) = 0.15625, then the edge from 0.1 to 0.3
  // (python3).
  o = At(*run, 0.5, 0.55);
  EXPECT_NEAR(o.distance, 0.15625, 1e-15);
  EXPECT_NEAR(1 - o.mask, 0.19281005859374994, 1e-14);
  // Past the destination the distance counts from it.
  EXPECT_NEAR(At(*run, 0.85, 0.5).distance, At(*run, 0.5, 0.55).distance, 1e-13);
  EXPECT_NEAR(At(*run, 0.15, 0.5).distance, At(*run, 0.5, 0.45).distance, 1e-13);
  // Far away: c = 1, above hi = 0.3: outside.
  o = At(*run, 0.5, 0.9);
  EXPECT_EQ(o.distance, 1.0);
  EXPECT_TRUE(o.result == kExterior);

  // No width, then no length.
  run = Line(0.0, 0.0);
  EXPECT_EQ(At(*run, 0.5, 0.5 + 1e-9).distance, 1.0);  // any distance at all
  EXPECT_EQ(At(*run, 0.5, 0.5).mask, 1.0);             // exactly on it
  // No length: f is 0 / 0 and the NaN runs through (with a width and a
  // softness: either at 0 ends the edge before the NaN is looked at).
  for (Result r : {run->Set("destination", Vector2d{0.2, 0.5}), run->Set("width", 0.2), run->Set("softness", 0.4)})
    ASSERT_TRUE(r.ok()) << r.ToString();
  o = At(*run, 0.4, 0.4);
  EXPECT_TRUE(std::isnan(o.distance));
  EXPECT_TRUE(std::isnan(o.result.r));
}

TEST_F(ShapesTest, NgonHasFlatSidesFacingTheAxes) {
  auto run = Make(kNgonId);
  Soft(*run, 0.5, 0.0, 0.0);
  ASSERT_TRUE(run->Set("sides", int64_t{4}).ok());
  // A corner lies at (0.25, 0.25) from the centre, outside a circle of the same size.
  ExpectMasks(*run, {{0.5, 0.5, 1.0}, {0.5, 0.74, 1.0}, {0.5, 0.76, 0.0}, {0.74, 0.74, 1.0}, {0.76, 0.76, 0.0}});
  // Along an axis the distance is the radius (x = 2 (p k + 0.5) - 1 = 4 p).
  EXPECT_NEAR(At(*run, 0.5, 0.6).distance, 0.4, 1e-15);
  // A hexagon has a flat side facing +y and a corner along x.
  ASSERT_TRUE(run->Set("sides", int64_t{6}).ok());
  EXPECT_NEAR(At(*run, 0.5, 0.6).distance, 0.4, 1e-15);
  EXPECT_NEAR(At(*run, 0.6, 0.5).distance, 0.4 * std::cos(3.141592653589793 / 6), 1e-15);
}

TEST_F(ShapesTest, InvalidCoordinateWritesZerosButTooFewSidesOrSpikesWriteNothing) {
  for (const char* id : {kCircleId, kLineId, kNgonId, kSpiralId, kStarId}) {
    SCOPED_TRACE(id);
    const bool counted = id == kNgonId || id == kStarId;
    const char* count = id == kNgonId ? "sides" : "spikes";
    auto run = Make(id);
    if (counted) { ASSERT_TRUE(run->Set(count, int64_t{5}).ok()); }
    const Out o = At(*run, 0.5, 0.5, 0);
    EXPECT_TRUE(o.result == (ColorA{0, 0, 0, 0}));
    EXPECT_EQ(o.mask, 0.0);
    EXPECT_EQ(o.distance, 0.0);
    if (!counted) continue;

    Soft(*run, 0.5, 0.0, 0.0);
    if (id == kStarId) { ASSERT_TRUE(run->Set("cutout", 0.0).ok()); }
    const Out before = At(*run, 0.55, 0.5);
    ASSERT_EQ(before.mask, 1.0);
    for (int64_t n : {2, 1, 0, -3}) {
      ASSERT_TRUE(run->Set(count, n).ok());
      const Out after = At(*run, 0.99, 0.01, 0);  // even with an invalid coordinate
      EXPECT_TRUE(after.result == before.result) << n;
      EXPECT_EQ(after.mask, before.mask);
      EXPECT_EQ(after.distance, before.distance);
    }
  }
}

TEST_F(ShapesTest, StarTipsReachFurtherThanItsNotches) {
  auto run = Make(kStarId);
  Soft(*run, 1.0, 0.0, 0.0);
  ASSERT_TRUE(run->Set("spikes", int64_t{5}).ok());
  ASSERT_TRUE(run->Set("cutout", 0.0).ok());
  // The centre is inside for any softness below 1.
  EXPECT_EQ(At(*run, 0.5, 0.5).mask, 1.0);
  // A spike points along +y; its tip lies where (r - 0.5) cos(A) = 1 with
  // A = pi / 5, and x = 4 p for scale 1.
  const double pi = 3.141592653589793;
  const double tip = (0.5 + 1.0 / std::cos(pi / 5)) / 4;
  ExpectMasks(*run, {{0.5, 0.5 + tip * 0.99, 1.0}, {0.5, 0.5 + tip * 1.01, 0.0}});
  EXPECT_NEAR(At(*run, 0.5, 0.5 + tip).distance, 1.0, 1e-12);
  // Between two spikes (pi / 5 off the axis) the notch lies at
  // r = 1 + 0.5 cos(A), well inside the tip.
  const double notch = (1.0 + 0.5 * std::cos(pi / 5)) / 4;
  EXPECT_LT(notch, tip * 0.9);
  const double a = pi / 5, r = notch * 1.01;
  ExpectMasks(*run, {{0.5 + r * std::sin(a), 0.5 + r * std::cos(a), 0.0},
                     {0.5 + notch * 0.99 * std::sin(a), 0.5 + notch * 0.99 * std::cos(a), 1.0}});
  // Cutout deepens the notch.
  ASSERT_TRUE(run->Set("cutout", 0.5).ok());
  EXPECT_EQ(At(*run, 0.5 + notch * 0.99 * std::sin(a), 0.5 + notch * 0.99 * std::cos(a)).mask, 0.0);
}

TEST_F(ShapesTest, SpiralArmsRingsAndDirection) {
  auto run = Make(kSpiralId);
  Soft(*run, 1.0, 0.5, 0.5);
  ASSERT_TRUE(run->Set("arms", int64_t{0}).ok());
  // At the centre s = sin(0) = 0, halfway through an edge of width 1.
  EXPECT_EQ(At(*run, 0.5, 0.5).mask, 0.5);
  // Without arms: rings, the same at every angle of one radius.
  const double r = 0.173;
  const double ring = At(*run, 0.5 + r, 0.5).distance;
  EXPECT_NEAR(ring, std::sin(20.0 * r), 1e-15);
  EXPECT_NEAR(At(*run, 0.5, 0.5 - r).distance, ring, 1e-13);
  EXPECT_NEAR(At(*run, 0.5 - r * 0.6, 0.5 + r * 0.8).distance, ring, 1e-13);
  // Negative arms turn the other way: the mirror image in v.
  ASSERT_TRUE(run->Set("arms", int64_t{3}).ok());
  const double plus = At(*run, 0.61, 0.57).distance;
  ASSERT_TRUE(run->Set("arms", int64_t{-3}).ok());
  EXPECT_NEAR(At(*run, 0.61, 0.43).distance, plus, 1e-12);
  EXPECT_GT(std::fabs(At(*run, 0.61, 0.57).distance - plus), 1e-3);
  // Without softness the edge is hard at s = 0.
  Soft(*run, 1.0, 0.0, 0.0);
  for (double u = 0.05; u < 0.95; u += 0.0173) {
    const Out o = At(*run, u, 0.31);
    EXPECT_EQ(o.mask, o.distance > 0 ? 0.0 : 1.0) << u;
  }
}

}  // namespace
}  // namespace tessaroc::pattern
