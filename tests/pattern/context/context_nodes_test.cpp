// Set shading context, distorter and the 2D transform.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "../pattern_test_util.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/math/transform2d_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::BusyContext;
using testutil::Runner;
using testutil::Same;
using testutil::SameContext;

ShadingContext RunSet(SingleNodeRunner& run, const ShadingContext& in) {
  EXPECT_TRUE(run.Run(in).ok());
  return run.Get<ShadingContext>("result");
}

TEST(SetShadingContext, EachInputOverridesOnlyItsOwnFields) {
  struct Case {
    const char* name;
    std::function<Result(SingleNodeRunner&)> set;
    std::function<void(ShadingContext&)> change;
  };
  const Case cases[] = {
      {"nothing connected", [](SingleNodeRunner&) { return Result::Ok(); }, [](ShadingContext&) {}},
      {"rayorigin",
       [](SingleNodeRunner& r) {
         return r.Set("rayorigin", Vector{1, 2, 3});
       },
       [](ShadingContext& c) {
         c.rayorigin = c.rayorigindx = c.rayorigindy = {1, 2, 3};
       }},
      {"raydirection",
       [](SingleNodeRunner& r) {
         return r.Set("raydirection", Vector{0, -1, 0});
       },
       [](ShadingContext& c) {
         c.raydirection = c.raydirectiondx = c.raydirectiondy = {0, -1, 0};
       }},
      {"uvw",
       [](SingleNodeRunner& r) {
         return r.Set("uvw", Vector{0.1, 0.2, 0.3});
       },
       [](ShadingContext& c) {
         c.uvw = c.uvwdx = c.uvwdy = {0.1, 0.2, 0.3};
       }},
      // Time keeps the frame rate.
      {"time", [](SingleNodeRunner& r) { return r.Set("time", TimeValue{4.25}); },
       [](ShadingContext& c) { c.time = 4.25; }},
  };
  const ShadingContext in = BusyContext();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(c.set(*run).ok());
    ShadingContext expect = in;
    c.change(expect);
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
  }
}

TEST(SetShadingContext, UvwDeltaIsLopsidedAndMarksTheCoordinateValid) {
  ShadingContext in = BusyContext();
  in.uvwvalid = 0;
  auto run = Runner(kSetShadingContextId);
  ASSERT_TRUE(run->Set("uvw", Vector{0.5, 0.25, 0.125}).ok());
  ASSERT_TRUE(run->Set("uvwdelta", Vector{0.01, 0.02, 0.03}).ok());
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
  ASSERT_TRUE(run->Set("strength", 2.0).ok());
  ASSERT_TRUE(run->Set("center", 0.5).ok());
  ASSERT_TRUE(run->Set("color", Color{0.75, 0.5, 0.0}).ok());
  const ShadingContext in = BusyContext();
  const ShadingContext out = RunSet(*run, in);
  // d = ((0.75 - 0.5) * 2, 0, (0 - 0.5) * 2)
  EXPECT_TRUE(Same(out.position, Vector{1.5, 2, 2}));
  EXPECT_TRUE(Same(out.positiondy, Vector{1.5, 2.1, 2}));
  EXPECT_TRUE(Same(out.uvw, Vector{0.8, 0.6, -0.09999999999999998}));
  EXPECT_TRUE(Same(out.uvwdx, Vector{0.31 + 0.5, 0.6, 0.9 - 1.0}));
  // Only those six fields move.
  ShadingContext expect = in;
  expect.position = out.position;
  expect.positiondx = out.positiondx;
  expect.positiondy = out.positiondy;
  expect.uvw = out.uvw;
  expect.uvwdx = out.uvwdx;
  expect.uvwdy = out.uvwdy;
  EXPECT_TRUE(SameContext(out, expect));

  // A colour equal to the centre leaves the context as it was.
  ASSERT_TRUE(run->Set("color", Color{0.5, 0.5, 0.5}).ok());
  EXPECT_TRUE(SameContext(RunSet(*run, in), in));
}

TEST(Transform2d, TranslateRotateScaleAboutThePivot) {
  auto run = Runner(kTransform2dId);
  auto at = [&](Vector2d point, Vector2d translate, double rotate, Vector2d scale, Vector2d pivot) {
    for (Result r : {run->Set("point", point), run->Set("translate", translate), run->Set("rotate", rotate),
                     run->Set("scale", scale), run->Set("pivot", pivot), run->Run()})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run->Get<Vector2d>("result");
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
