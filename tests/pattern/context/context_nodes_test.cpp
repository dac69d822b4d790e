// Set shading context, distorter and the 2D transform; every node passing a
// context on, after a move.
#include <gtest/gtest.h>

#include <cmath>

#include "../pattern_test_util.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/math/transform2d_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::BusyContext;
using testutil::Runner;
using testutil::Same;
using testutil::SameContext;
using testutil::SameContextBut;
using testutil::SetAll;

ShadingContext RunSet(SingleNodeRunner& run, const ShadingContext& in) {
  EXPECT_TRUE(run.Run(in).ok());
  return run.Get<ShadingContext>("result");
}

TEST(SetShadingContext, EachInputOverridesOnlyItsOwnFields) {
  using C = ShadingContext;
  const ShadingContext in = BusyContext();
  EXPECT_TRUE(SameContext(RunSet(*Runner(kSetShadingContextId), in), in));  // nothing connected
  // A Vector input sets its field and both neighbours.
  const struct {
    const char* port;
    Vector value;
    Vector C::*fields[3];
  } vectors[] = {{"rayorigin", {1, 2, 3}, {&C::rayorigin, &C::rayorigindx, &C::rayorigindy}},
                 {"raydirection", {0, -1, 0}, {&C::raydirection, &C::raydirectiondx, &C::raydirectiondy}},
                 {"uvw", {0.1, 0.2, 0.3}, {&C::uvw, &C::uvwdx, &C::uvwdy}}};
  for (const auto& v : vectors) {
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(run->Set(v.port, v.value).ok());
    ShadingContext expect = in;
    for (Vector C::*f : v.fields) expect.*f = v.value;
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect)) << v.port;
  }
  // Time keeps the frame rate.
  auto run = Runner(kSetShadingContextId);
  ASSERT_TRUE(run->Set("time", TimeValue{4.25}).ok());
  ShadingContext expect = in;
  expect.time = 4.25;
  EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
}

TEST(SetShadingContext, UvwDeltaIsLopsidedAndMarksTheCoordinateValid) {
  ShadingContext in = BusyContext();
  in.uvwvalid = 0;
  auto run = Runner(kSetShadingContextId);
  SetAll(*run, "uvw", Vector{0.5, 0.25, 0.125}, "uvwdelta", Vector{0.01, 0.02, 0.03});
  ShadingContext out = RunSet(*run, in);
  // The delta's z goes to the y neighbour only.
  EXPECT_TRUE(Same(out.uvwdx, Vector{0.5 + 0.01, 0.25, 0.125}));
  EXPECT_TRUE(Same(out.uvwdy, Vector{0.5, 0.25 + 0.02, 0.125 + 0.03}));
  EXPECT_EQ(out.uvwvalid, 1);

  // Alone, the delta is added to the input's uvw.
  auto alone = Runner(kSetShadingContextId);
  ASSERT_TRUE(alone->Set("uvwdelta", Vector{0.01, 0.02, 0.03}).ok());
  out = RunSet(*alone, in);
  EXPECT_TRUE(Same(out.uvw, in.uvw));
  EXPECT_TRUE(Same(out.uvwdx, Vector{0.3 + 0.01, 0.6, 0.9}));
  EXPECT_TRUE(Same(out.uvwdy, Vector{0.3, 0.6 + 0.02, 0.9 + 0.03}));

  // A zero delta makes all three equal and still sets the flag.
  ASSERT_TRUE(alone->Set("uvwdelta", Vector{0, 0, 0}).ok());
  out = RunSet(*alone, in);
  EXPECT_TRUE(Same(out.uvwdx, out.uvw));
  EXPECT_TRUE(Same(out.uvwdy, out.uvw));
  EXPECT_EQ(out.uvwvalid, 1);
}

TEST(SetShadingContext, ZeroNormalStaysZeroInsteadOfNaN) {
  // A length whose square underflows counts as zero too; a small one is fine.
  const Vector normals[][2] = {{{0, 0, 0}, {0, 0, 0}}, {{0, -2e-200, 0}, {0, 0, 0}}, {{0, -2e-150, 0}, {0, -1, 0}}};
  auto run = Runner(kSetShadingContextId);
  for (const auto& [normal, want] : normals) {
    ASSERT_TRUE(run->Set("shadingnormal", normal).ok());
    EXPECT_TRUE(Same(RunSet(*run, BusyContext()).shadingnormal, want)) << normal.y;
  }
}

TEST(Distorter, ShiftsPositionAndUvwByTheCentredColour) {
  auto run = Runner(kDistorterId);
  SetAll(*run, "strength", 2.0, "center", 0.5, "color", Color{0.75, 0.5, 0.0});
  const ShadingContext in = BusyContext();
  const ShadingContext out = RunSet(*run, in);
  // d = ((0.75 - 0.5) * 2, 0, (0 - 0.5) * 2)
  EXPECT_TRUE(Same(out.position, Vector{1.5, 2, 2}));
  EXPECT_TRUE(Same(out.positiondy, Vector{1.5, 2.1, 2}));
  EXPECT_TRUE(Same(out.uvw, Vector{0.8, 0.6, -0.09999999999999998}));
  EXPECT_TRUE(Same(out.uvwdx, Vector{0.31 + 0.5, 0.6, 0.9 - 1.0}));
  // Only those six fields move.
  using C = ShadingContext;
  EXPECT_TRUE(SameContextBut(out, in, {&C::position, &C::positiondx, &C::positiondy, &C::uvw, &C::uvwdx, &C::uvwdy}));

  // A colour equal to the centre leaves the context as it was.
  ASSERT_TRUE(run->Set("color", Color{0.5, 0.5, 0.5}).ok());
  EXPECT_TRUE(SameContext(RunSet(*run, in), in));
}

// A plane render tells the nodes when a pixel's context only moved, and the
// nodes then copy only the moved fields over what they wrote the last time.
// Along a walk that crosses a decal's border and repeats' cells, every field
// must come out as from the whole context.
TEST(ContextNodes, AfterAMoveEachGivesWhatTheWholeContextGives) {
  const struct {
    const char* name;
    const char* id;
    void (*set)(SingleNodeRunner&);
  } cases[] = {
      {"placement2d", kPlacement2dId, [](SingleNodeRunner&) {}},
      {"placement2d decal, repeat, turned", kPlacement2dId,
       [](SingleNodeRunner& r) {
         SetAll(r, "localRotation", 0.4, "localRepetitions", Vector2d{2, 3}, "localDecalU", true, "localModeU",
                InternedId::Intern("repeat"), "localModeV", InternedId::Intern("mirror"));
       }},
      {"placement3d", kPlacement3dId,
       [](SingleNodeRunner& r) { SetAll(r, "enableSpaceTransformation", true, "spaceRotation", Vector{10, 20, 30}); }},
      {"placement3d off", kPlacement3dId, [](SingleNodeRunner& r) { SetAll(r, "enableSpaceTransformation", false); }},
      {"distorter", kDistorterId,
       [](SingleNodeRunner& r) { SetAll(r, "strength", 2.0, "color", Color{0.75, 0.5, 0.0}); }},
      {"setshadingcontext", kSetShadingContextId,
       [](SingleNodeRunner& r) { SetAll(r, "time", TimeValue{4.25}, "uvwdelta", Vector{0.01, 0.02, 0.03}); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto moving = Runner(c.id), whole = Runner(c.id);
    c.set(*moving);
    c.set(*whole);
    ShadingContext ctx = BusyContext();
    for (int step = 0; step < 6; ++step) {
      ASSERT_TRUE(moving->instance().Evaluate(ctx, step == 0 ? ContextChange::kAny : ContextChange::kMoved).ok());
      ASSERT_TRUE(whole->Run(ctx).ok());
      EXPECT_TRUE(SameContext(moving->Get<ShadingContext>("result"), whole->Get<ShadingContext>("result")))
          << "step " << step;
      // The next pixel: every moved field changes.
      for (Vector* v : {&ctx.position, &ctx.positiondx, &ctx.positiondy, &ctx.uvw, &ctx.uvwdx, &ctx.uvwdy,
                        &ctx.rayorigin, &ctx.raydirection, &ctx.rayorigindx, &ctx.rayorigindy, &ctx.raydirectiondx,
                        &ctx.raydirectiondy})
        *v = {v->x + 0.45, v->y - 0.3, v->z + 0.125};
      ctx.pixelx += 1, ctx.pixely += 2;
      ctx.subpixelx += 0.25, ctx.subpixely += 0.5;
    }
  }
}

TEST(Transform2d, TranslateRotateScaleAboutThePivot) {
  auto at = [](Vector2d point, Vector2d translate, double rotate, Vector2d scale, Vector2d pivot) {
    return testutil::RunNode(kTransform2dId, "point", point, "translate", translate, "rotate", rotate, "scale", scale,
                             "pivot", pivot)
        ->Get<Vector2d>("result");
  };
  EXPECT_TRUE(at({0.75, 0.5}, {0.25, -0.5}, 0.0, {1, 1}, {0, 0}) == (Vector2d{0.5, 1.0}));

  // A quarter turn about (0.5, 0.5), then twice as wide: (1, 0.5) -> q = (0.5, 0)
  // -> (0, 0.5) -> (0, 0.5) * (2, 1) + pivot = (0.5, 1).
  const Vector2d r = at({1.0, 0.5}, {0, 0}, 1.5707963267948966, {2, 1}, {0.5, 0.5});
  EXPECT_NEAR(r.x, 0.5, 1e-15);
  EXPECT_NEAR(r.y, 1.0, 1e-15);
}

}  // namespace
}  // namespace tessaroc::pattern
