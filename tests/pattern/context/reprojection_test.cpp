// Gradient placement through its registered kernel. Expected values come from
// a short python3 reference of the projections (math.atan2, math.sqrt, ...),
// printed with repr() and pasted here.
#include <gtest/gtest.h>

#include <cmath>

#include "../pattern_test_util.h"
#include "pattern/context/reprojection_node.h"

namespace tessaroc::pattern {
namespace {

struct Settings {
  const char* mode = "";
  double rotation = 0.0;
  bool tile = false, mirror = false, reverse = false;
  int64_t corners = 0;
  double repetitions = 1.0;
};

ShadingContext Place(const ShadingContext& in, const Settings& s) {
  auto run = testutil::Runner(kGradientPlacementId);
  for (Result r : {run->Set("mode", InternedId::Intern(s.mode)), run->Set("rotation", s.rotation),
                   run->Set("tile", s.tile), run->Set("mirror", s.mirror), run->Set("reverse", s.reverse),
                   run->Set("corners", s.corners), run->Set("repetitions", s.repetitions), run->Run(in)})
    EXPECT_TRUE(r.ok()) << r.ToString();
  return run->Get<ShadingContext>("result");
}

// uvw of the result at (u, v), with differentials that differ from it.
Vector At(double u, double v, const Settings& s) {
  return Place(testutil::UvwContext({u, v, 0.7}, {u + 0.01, v, 0.0}, {u, v + 0.01, 0.0}), s).uvw;
}

void ExpectUv(const Vector& got, double x, double y) {
  EXPECT_DOUBLE_EQ(got.x, x);
  EXPECT_DOUBLE_EQ(got.y, y);
  EXPECT_EQ(got.z, 0.0);
}

TEST(Reprojection, ProjectionsCentresAndCornersAtKnownPoints) {
  ExpectUv(At(0.3, 0.8, {"angular"}), 0.3, 0.8);  // angular without rotation gives (u, v) back
  ExpectUv(At(0.3, 0.8, {"linear", 0.7}), 0.3582961936328848, 0.04029686871440963);
  ExpectUv(At(0.3, 0.8, {"", 0.7}), 0.3582961936328848, 0.04029686871440963);  // empty id: the linear branch
  ExpectUv(At(0.75, 0.5, {"radial"}), 0.25, 0.25);
  ExpectUv(At(0.2, 0.9, {"radial", 1.1}), 0.07265405505151817, 0.5);
  ExpectUv(At(0.7, 0.6, {"box"}), 0.3999999999999999, 0.0);
  ExpectUv(At(0.7, 0.6, {"box", 0.5}), 0.4469181324769896, 0.0);
  ExpectUv(At(0.9, 0.1, {"star"}), 0.7171572875253811, 0.0);
  ExpectUv(At(0.8, 0.65, {.mode = "n_angle", .corners = 4}), 0.9, 0.17620819117478337);
  ExpectUv(At(0.1, 0.3, {.mode = "n_angle", .rotation = 0.3, .corners = 5}), 1.0930737418352112, 0.7239546741023519);
  // At the centre; the star is flipped unless reversed.
  ExpectUv(At(0.5, 0.5, {"circular"}), 0.0, 0.0);
  ExpectUv(At(0.5, 0.5, {.mode = "circular", .reverse = true}), 1.0, 0.0);
  ExpectUv(At(0.5, 0.5, {"star"}), 1.0 - 2.0 * std::sqrt(0.5), 0.0);
  ExpectUv(At(0.5, 0.5, {.mode = "star", .reverse = true}), 2.0 * std::sqrt(0.5), 0.0);
  // Rotation does not move a circle.
  EXPECT_DOUBLE_EQ(At(0.8, 0.3, {"circular", 2.0}).x, At(0.8, 0.3, {"circular"}).x);
  // No corners: a plain circle, 2 * radius.
  ExpectUv(At(0.8, 0.65, {.mode = "n_angle", .corners = 0}), 0.670820393249937, 0.17620819117478337);
  // One corner: cos(w) is -1, so the stretch turns negative and nothing clamps it.
  ExpectUv(At(0.5, 0.2, {.mode = "n_angle", .corners = 1}), -0.6, 0.5);
  ExpectUv(At(0.3, 0.45, {.mode = "n_angle", .corners = 1}), -0.10000000000000007, 0.7110104348113153);
}

TEST(Reprojection, TileMirrorAndWrapModes) {
  ShadingContext c;
  c.uvw = {0.8, 0.5, 0};
  ShadingContext r = Place(c, {.mode = "circular", .tile = true, .mirror = true, .repetitions = 3.0});
  ExpectUv(r.uvw, 0.39999999999999947, 0.0);
  EXPECT_EQ(r.wrapmodev, kWrapMirror);
  r = Place(c, {.mode = "circular", .tile = true, .repetitions = 2.5});
  EXPECT_EQ(r.wrapmodev, kWrapRepeat);
  c.uvw = {0.9, 0.6, 0};
  ExpectUv(Place(c, {.mode = "circular", .tile = true, .repetitions = 2.5}).uvw, 0.06155281280883074, 0.0);
  r = Place(c, {.mode = "circular"});
  EXPECT_EQ(r.wrapmodeu, kWrapExtend);
  EXPECT_EQ(r.wrapmodev, kWrapExtend);
  // Zero repetitions put every sample at x = 0.
  for (double u : {0.1, 0.5, 0.93}) EXPECT_EQ(At(u, 0.2, {.mode = "box", .tile = true, .repetitions = 0.0}).x, 0.0);
}

TEST(Reprojection, NeighboursKeepTheSamplesTileAndThoseEqualToTheNewUvwAreLeftAlone) {
  // The sample sits just inside a tile; its x neighbour lies across the edge
  // and keeps counting on instead of wrapping back to 0.
  const ShadingContext edge =
      testutil::UvwContext({0.5 + 0.49 / 2.0, 0.5, 0.0}, {0.5 + 0.51 / 2.0, 0.5, 0.0}, {0.5 + 0.49 / 2.0, 0.5, 0.0});
  const ShadingContext tiled = Place(edge, {.mode = "circular", .tile = true, .repetitions = 2.0});
  EXPECT_NEAR(tiled.uvw.x, 0.98, 1e-12);
  EXPECT_NEAR(tiled.uvwdx.x, 1.02, 1e-12);
  EXPECT_NEAR(tiled.uvwdy.x, 0.98, 1e-12);

  ShadingContext c = testutil::UvwContext({0.5, 0.5, 0.0}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0});
  c.uvwvalid = 0;
  c.pixelx = 17;
  const ShadingContext r = Place(c, {"circular"});
  // Projected, (0, 0) would become 2 * sqrt(0.5); the shortcut keeps them.
  ExpectUv(r.uvwdx, 0.0, 0.0);
  ExpectUv(r.uvwdy, 0.0, 0.0);
  EXPECT_EQ(r.uvwvalid, 1);
  EXPECT_EQ(r.pixelx, 17);  // everything else is copied
  // Differentials that differ are projected like the sample.
  c.uvwdx = {0.5, 0.6, 0.0};
  ExpectUv(Place(c, {"circular"}).uvwdx, 2.0 * (0.6 - 0.5), 0.0);
}

}  // namespace
}  // namespace tessaroc::pattern
