// Set shading context, distorter and the 2D transform.
#include <gtest/gtest.h>

#include <cmath>

#include "../pattern_test_util.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/math/transform2d_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::BusyContext;
using testutil::Runner;
using testutil::SameContext;

ShadingContext RunSet(SingleNodeRunner& run, const ShadingContext& in) {
  EXPECT_TRUE(run.Run(in).ok());
  return run.Get<ShadingContext>("result");
}

TEST(SetShadingContext, WithNothingConnectedItIsACopy) {
  auto run = Runner(kSetShadingContextId);
  const ShadingContext in = BusyContext();
  EXPECT_TRUE(SameContext(RunSet(*run, in), in));
}

TEST(SetShadingContext, EachInputOverridesOnlyItsOwnFields) {
  const ShadingContext in = BusyContext();
  {
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(run->Set("rayorigin", Vector{1, 2, 3}).ok());
    ShadingContext expect = in;
    expect.rayorigin = expect.rayorigindx = expect.rayorigindy = {1, 2, 3};
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
  }
  {
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(run->Set("raydirection", Vector{0, -1, 0}).ok());
    ShadingContext expect = in;
    expect.raydirection = expect.raydirectiondx = expect.raydirectiondy = {0, -1, 0};
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
  }
  {
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(run->Set("uvw", Vector{0.1, 0.2, 0.3}).ok());
    ShadingContext expect = in;
    expect.uvw = expect.uvwdx = expect.uvwdy = {0.1, 0.2, 0.3};
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
  }
  {
    // Time keeps the frame rate.
    auto run = Runner(kSetShadingContextId);
    ASSERT_TRUE(run->Set("time", TimeValue{4.25}).ok());
    ShadingContext expect = in;
    expect.time = 4.25;
    EXPECT_TRUE(SameContext(RunSet(*run, in), expect));
  }
}

TEST(SetShadingContext, AccessOrderDiffersFromCreationOrder) {
  // time is created after uvwdelta but read at index 3: every value must land
  // in its own field.
  auto run = Runner(kSetShadingContextId);
  ASSERT_TRUE(run->Set("time", TimeValue{7.0}).ok());
  ASSERT_TRUE(run->Set("uvw", Vector{0.5, 0.25, 0.125}).ok());
  ASSERT_TRUE(run->Set("uvwdelta", Vector{0.01, 0.02, 0.03}).ok());
  ASSERT_TRUE(run->Set("shadingnormal", Vector{3, 0, 4}).ok());
  const ShadingContext out = RunSet(*run, BusyContext());
  EXPECT_EQ(out.time, 7.0);
  EXPECT_EQ(out.uvw.x, 0.5);
  EXPECT_EQ(out.shadingnormal.x, 3.0 * (1.0 / 5.0));
  EXPECT_EQ(out.shadingnormal.y, 0.0);
  EXPECT_EQ(out.shadingnormal.z, 4.0 * (1.0 / 5.0));
}

TEST(SetShadingContext, UvwDeltaIsLopsidedAndMarksTheCoordinateValid) {
  auto run = Runner(kSetShadingContextId);
  ASSERT_TRUE(run->Set("uvw", Vector{0.5, 0.25, 0.125}).ok());
  ASSERT_TRUE(run->Set("uvwdelta", Vector{0.01, 0.02, 0.03}).ok());
  ShadingContext in = BusyContext();
  in.uvwvalid = 0;
  ShadingContext out = RunSet(*run, in);
  // The delta's z goes to the y neighbour only.
  EXPECT_TRUE(testutil::Same(out.uvwdx, Vector{0.5 + 0.01, 0.25, 0.125}));
  EXPECT_TRUE(testutil::Same(out.uvwdy, Vector{0.5, 0.25 + 0.02, 0.125 + 0.03}));
  EXPECT_EQ(out.uvwvalid, 1);

  // Alone, the delta is added to the input's uvw.
  auto alone = Runner(kSetShadingContextId);
  ASSERT_TRUE(alone->Set("uvwdelta", Vector{0.01, 0.02, 0.03}).ok());
  out = RunSet(*alone, in);
  EXPECT_TRUE(testutil::Same(out.uvw, in.uvw));
  EXPECT_TRUE(testutil::Same(out.uvwdx, Vector{0.3 + 0.01, 0.6, 0.9}));
  EXPECT_TRUE(testutil::Same(out.uvwdy, Vector{0.3, 0.6 + 0.02, 0.9 + 0.03}));

  // A zero delta makes all three equal and still sets the flag.
  auto zero = Runner(kSetShadingContextId);
  ASSERT_TRUE(zero->Set("uvwdelta", Vector{0, 0, 0}).ok());
  out = RunSet(*zero, in);
  EXPECT_TRUE(testutil::Same(out.uvwdx, out.uvw));
  EXPECT_TRUE(testutil::Same(out.uvwdy, out.uvw));
  EXPECT_EQ(out.uvwvalid, 1);
}

TEST(SetShadingContext, ZeroNormalStaysZeroInsteadOfNaN) {
  auto run = Runner(kSetShadingContextId);
  ASSERT_TRUE(run->Set("shadingnormal", Vector{0, 0, 0}).ok());
  const ShadingContext out = RunSet(*run, BusyContext());
  EXPECT_TRUE(testutil::Same(out.shadingnormal, Vector{0, 0, 0}));
  // A length whose square underflows counts as zero too; a small one is fine.
  ASSERT_TRUE(run->Set("shadingnormal", Vector{0, -2e-200, 0}).ok());
  EXPECT_TRUE(testutil::Same(RunSet(*run, BusyContext()).shadingnormal, Vector{0, 0, 0}));
  ASSERT_TRUE(run->Set("shadingnormal", Vector{0, -2e-150, 0}).ok());
  EXPECT_TRUE(testutil::Same(RunSet(*run, BusyContext()).shadingnormal, Vector{0, -1, 0}));
}

TEST(Distorter, ShiftsPositionAndUvwByTheCentredColour) {
  auto run = Runner(kDistorterId);
  ASSERT_TRUE(run->Set("strength", 2.0).ok());
  ASSERT_TRUE(run->Set("center", 0.5).ok());
  ASSERT_TRUE(run->Set("color", Color{0.75, 0.5, 0.0}).ok());
  const ShadingContext in = BusyContext();
  ASSERT_TRUE(run->Run(in).ok());
  const ShadingContext& out = run->Get<ShadingContext>("result");
  // d = ((0.75 - 0.5) * 2, 0, (0 - 0.5) * 2)
  EXPECT_TRUE(testutil::Same(out.position, Vector{1.5, 2, 2}));
  EXPECT_TRUE(testutil::Same(out.positiondy, Vector{1.5, 2.1, 2}));
  EXPECT_TRUE(testutil::Same(out.uvw, Vector{0.8, 0.6, -0.09999999999999998}));
  EXPECT_TRUE(testutil::Same(out.uvwdx, Vector{0.31 + 0.5, 0.6, 0.9 - 1.0}));
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
  ASSERT_TRUE(run->Run(in).ok());
  EXPECT_TRUE(SameContext(run->Get<ShadingContext>("result"), in));
}

TEST(Transform2d, TranslateRotateScaleAboutThePivot) {
  auto run = Runner(kTransform2dId);
  ASSERT_TRUE(run->Set("point", Vector2d{0.75, 0.5}).ok());
  ASSERT_TRUE(run->Set("translate", Vector2d{0.25, -0.5}).ok());
  ASSERT_TRUE(run->Set("rotate", 0.0).ok());
  ASSERT_TRUE(run->Set("scale", Vector2d{1, 1}).ok());
  ASSERT_TRUE(run->Set("pivot", Vector2d{0, 0}).ok());
  ASSERT_TRUE(run->Run().ok());
  EXPECT_TRUE(run->Get<Vector2d>("result") == (Vector2d{0.5, 1.0}));

  // A quarter turn about (0.5, 0.5), then twice as wide: (1, 0.5) -> q = (0.5, 0)
  // -> (0, 0.5) -> (0, 0.5) * (2, 1) + pivot = (0.5, 1).
  ASSERT_TRUE(run->Set("point", Vector2d{1.0, 0.5}).ok());
  ASSERT_TRUE(run->Set("translate", Vector2d{0, 0}).ok());
  ASSERT_TRUE(run->Set("rotate", 1.5707963267948966).ok());
  ASSERT_TRUE(run->Set("scale", Vector2d{2, 1}).ok());
  ASSERT_TRUE(run->Set("pivot", Vector2d{0.5, 0.5}).ok());
  ASSERT_TRUE(run->Run().ok());
  const Vector2d r = run->Get<Vector2d>("result");
  EXPECT_NEAR(r.x, 0.5, 1e-15);
  EXPECT_NEAR(r.y, 1.0, 1e-15);
}

}  // namespace
}  // namespace tessaroc::pattern
