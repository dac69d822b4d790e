// Checkerboard and grid, run through their registered kernels, and a board
// behind a placement.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/grid_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::Runner;

// A colour function that counts its calls, remembers the context and the cache
// it was called with, and fails on request.
class RecordingColor final : public FunctionInterface {
 public:
  explicit RecordingColor(ColorA value) : value_(value) {}
  FunctionType GetFunctionType() const override { return {&kColorAType, &kShadingContextType}; }
  Result Invoke(ValueSlot ret, ValueSlot arg) const override {
    ++calls;
    lastContext = *static_cast<const ShadingContext*>(arg.value);
    if (fail) return Result::Fail(errors::kIllegalState, "colour refused");
    *static_cast<ColorA*>(ret.value) = value_;
    return Result::Ok();
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data& cache) const override {
    lastCache = &cache;
    return Invoke(ret, arg);
  }
  bool GetConstantValue(ValueSlot) const override { return false; }

  mutable int calls = 0;
  mutable ShadingContext lastContext;
  mutable const Data* lastCache = nullptr;
  bool fail = false;

 private:
  ColorA value_;
};

const ColorA kBlack{0, 0, 0, 1};
const ColorA kWhite{1, 1, 1, 1};

class CheckerboardTest : public ::testing::Test {
 protected:
  CheckerboardTest() : c1(kBlack), c2(kWhite) {}
  void SetUp() override {
    run = Runner(kCheckerboardId);
    ASSERT_TRUE(run->SetFunction("color1", &c1).ok());
    ASSERT_TRUE(run->SetFunction("color2", &c2).ok());
  }
  // A sample at (u, v) whose neighbours lie du along u and dv along v.
  static ShadingContext Sample(double u, double v, double du, double dv, uint8_t mode = kWrapRepeat) {
    ShadingContext c;
    c.uvw = {u, v, 0};
    c.uvwdx = {u + du, v, 0};
    c.uvwdy = {u, v + dv, 0};
    c.wrapmodeu = c.wrapmodev = mode;
    return c;
  }
  Result Eval(const ShadingContext& c) { return run->Run(c); }
  const ColorA& Out() { return run->Get<ColorA>("result"); }
  // The share of colour 2 (white over black).
  double Share(const ShadingContext& c) {
    EXPECT_TRUE(Eval(c).ok());
    return Out().r;
  }

  RecordingColor c1, c2;
  std::unique_ptr<SingleNodeRunner> run;
};

// The share of [frac >= 0.5] over [a, b], by brute force: n midpoint samples.
double HighShare(double a, double b) {
  if (b <= a) {
    const double f = a - std::floor(a);
    return f >= 0.5 ? 1.0 : 0.0;
  }
  const int n = 200000;
  int high = 0;
  for (int i = 0; i < n; ++i) {
    const double p = a + (b - a) * (i + 0.5) / n;
    if (p - std::floor(p) >= 0.5) ++high;
  }
  return static_cast<double>(high) / n;
}

// The supersampled share of colour 2 over the box of half-widths (hu, hv)
// around (x, y) in the board's own coordinates. Colour 2 is where exactly one
// of the axes is in its high half; u and v are independent over a box, so the
// share is a(1 - b) + (1 - a)b. With `clipAtBorder` the box is cut at the
// border of the square pair the sample is in, as clamp and mirror do.
double BruteForceShare(double x, double y, double hu, double hv, bool clipAtBorder) {
  double loU = x - hu, hiU = x + hu, loV = y - hv, hiV = y + hv;
  if (clipAtBorder) {
    if (x >= 0.5) hiU = std::min(hiU, 1.0);
    else loU = std::max(loU, 0.0);
    if (y >= 0.5) hiV = std::min(hiV, 1.0);
    else loV = std::max(loV, 0.0);
  }
  const double a = HighShare(loU, hiU), b = HighShare(loV, hiV);
  return a * (1 - b) + (1 - a) * b;
}

TEST_F(CheckerboardTest, SharpSamplesAndTheirWrapModes) {
  struct Case {
    double u, v, du, dv;
    uint8_t mode;
    double share;
  } cases[] = {
      {0.25, 0.25, 0, 0, kWrapRepeat, 0.0},   {0.75, 0.25, 0, 0, kWrapRepeat, 1.0},
      {0.75, 0.75, 0, 0, kWrapRepeat, 0.0},   {3.25, -0.25, 0, 0, kWrapRepeat, 1.0},  // repeats, also below 0
      {0.5, 0.25, 0, 0, kWrapRepeat, 0.0},     // without a footprint exactly 0.5 counts as the low half
      {0.5, 0.25, 0, 0.01, kWrapRepeat, 1.0},  // with one in v only it counts as the high half
      {1.3, 0.25, 0, 0, kWrapClamp, 1.0},      // clamp keeps x = 0.99999 in the last column
      {1.3, 0.25, 0, 0, kWrapRepeat, 0.0},     // x = 0.3
      {-4.0, 0.75, 0, 0, kWrapClamp, 1.0},     // x = 0
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(::testing::Message() << k.u << ", " << k.v << " mode " << int(k.mode));
    EXPECT_EQ(Share(Sample(k.u, k.v, k.du, k.dv, k.mode)), k.share);
    EXPECT_EQ(Out().a, 1.0);
  }
}

TEST_F(CheckerboardTest, CoverageOfAFootprintMatchesSupersampling) {
  // Clamp and mirror cut the footprint at the border of the square pair;
  // repeat lets it run on into the next cell.
  struct Case {
    double u, v, du, dv;
    uint8_t mode;
  } cases[] = {
      {0.49, 0.3, 0.05, 0.02, kWrapRepeat},   // straddles the vertical edge
      {0.98, 0.51, 0.04, 0.03, kWrapRepeat},  // near a corner, across the cell border
      {0.02, 0.97, 0.3, 0.2, kWrapRepeat},    // wide, across both borders
      {0.7, 0.45, 0.21, 0.11, kWrapRepeat},
      {0.26, 0.74, 0.6, 0.9, kWrapRepeat},  // wider than a square: limited to
                                            // 0.5
      {0.5, 0.5, 0.1, 0.1, kWrapRepeat},    // centred on a corner: half and half
      {0.1, 0.2, 0.05, 0.05, kWrapRepeat},  // wholly inside: one colour
      {0.48, 0.499, 0.05, 0, kWrapRepeat},  // footprint in u alone: v adds no edge even next to one
      {0.3, 0.52, 0, 0.05, kWrapRepeat},
      {0.9, 0.3, 0.2, 0.05, kWrapRepeat},
      {0.9, 0.3, 0.2, 0.05, kWrapClamp},
      {0.1, 0.7, 0.15, 0.3, kWrapClamp},
      {0.9, 0.3, 0.2, 0.05, kWrapMirror},
      {0.1, 0.7, 0.15, 0.3, kWrapMirror},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(::testing::Message() << k.u << ", " << k.v << " mode " << int(k.mode));
    const double want = BruteForceShare(k.u, k.v, std::min(k.du, 0.5), std::min(k.dv, 0.5), k.mode != kWrapRepeat);
    EXPECT_NEAR(Share(Sample(k.u, k.v, k.du, k.dv, k.mode)), want, 2e-5);
  }
  // The cut makes a difference for the case above.
  EXPECT_GT(std::fabs(BruteForceShare(0.9, 0.3, 0.2, 0.05, true) - BruteForceShare(0.9, 0.3, 0.2, 0.05, false)), 0.05);
  // Well inside along a one-sided footprint's axis: a single colour.
  c1.calls = c2.calls = 0;
  EXPECT_EQ(Share(Sample(0.25, 0.499, 0.05, 0)), 0.0);
  EXPECT_EQ(c2.calls, 0);
}

TEST_F(CheckerboardTest, OnlyTheNeededColourIsEvaluated) {
  // A NaN in a neighbour takes the sample sharp.
  ShadingContext nan = Sample(0.499, 0.25, 0.1, 0.1);
  nan.uvwdx.x = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(Share(nan), 0.0);
  EXPECT_EQ(c2.calls, 0);
  c1.calls = c2.calls = 0;
  ASSERT_TRUE(Eval(Sample(0.25, 0.25, 0.01, 0.01)).ok());
  EXPECT_EQ(c1.calls, 1);
  EXPECT_EQ(c2.calls, 0);
  ASSERT_TRUE(Eval(Sample(0.75, 0.25, 0, 0)).ok());
  EXPECT_EQ(c1.calls, 1);
  EXPECT_EQ(c2.calls, 1);
  // Across an edge both are needed, once each.
  ASSERT_TRUE(Eval(Sample(0.49, 0.25, 0.05, 0.01)).ok());
  EXPECT_EQ(c1.calls, 2);
  EXPECT_EQ(c2.calls, 2);
  // Outside the placed coordinate: none, and a transparent result.
  ShadingContext off = Sample(0.49, 0.25, 0.05, 0.01);
  off.uvwvalid = 0;
  ASSERT_TRUE(Eval(off).ok());
  EXPECT_EQ(c1.calls, 2);
  EXPECT_EQ(c2.calls, 2);
  EXPECT_TRUE(Out() == (ColorA{0, 0, 0, 0}));
}

TEST_F(CheckerboardTest, ColoursAreCalledWithThePlainContextAndTheirOwnCache) {
  // A placement in front: the board reads the placed coordinate, the colour
  // functions get the node's own context.
  Plan plan;
  NodeRef place, board;
  ASSERT_TRUE(
      testutil::AddPlacement(plan, {{0, 0}, {1, 1}, {0, 0}, 0.0, {2, 2}, false, false, "repeat", "repeat"}, place));
  for (Result r : {plan.AddNode(testutil::Group(kCheckerboardId), "board", board), plan.BindContext(board, "context"),
                   plan.Link(board, "contextLocal", place, "result"), plan.SetFunction(board, "color1", &c1),
                   plan.SetFunction(board, "color2", &c2), plan.SetOutput(board, "result"), plan.Finish()})
    ASSERT_TRUE(r.ok()) << r.ToString();
  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());

  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {0.3, 0.1, 0.7};
  ASSERT_TRUE(inst->Evaluate(ctx).ok());
  // Placed at (0.6, 0.2): colour 2; unplaced it would be colour 1.
  EXPECT_TRUE(inst->OutputAs<ColorA>() == kWhite);
  EXPECT_TRUE(testutil::Same(c2.lastContext.uvw, ctx.uvw));
  const Data* cache2 = c2.lastCache;
  EXPECT_EQ(cache2, inst->PortValue(board, "cache2", false).value);

  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {0.1, 0.1, 0.7};
  ASSERT_TRUE(inst->Evaluate(ctx).ok());
  EXPECT_TRUE(inst->OutputAs<ColorA>() == kBlack);
  EXPECT_EQ(c1.lastCache, inst->PortValue(board, "cache1", false).value);
  EXPECT_NE(c1.lastCache, cache2);
}

TEST_F(CheckerboardTest, ErrorsOfAColourInEachBranch) {
  // Single colour, sharp: the result is opaque black and the error passes up.
  c2.fail = true;
  Result r = Eval(Sample(0.75, 0.25, 0, 0));
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_TRUE(Out() == kOpaqueBlack);

  // Single colour from the coverage branch, likewise.
  ASSERT_TRUE(Eval(Sample(0.25, 0.25, 0, 0)).ok());  // leaves black (c1)
  r = Eval(Sample(0.75, 0.25, 0.01, 0.01));
  EXPECT_TRUE(r.failed());
  EXPECT_TRUE(Out() == kOpaqueBlack);

  // Blending: a failure of either leaves the result as it was.
  c2.fail = false;
  RecordingColor grey({0.5, 0.5, 0.5, 0.5});
  ASSERT_TRUE(run->SetFunction("color1", &grey).ok());
  ASSERT_TRUE(Eval(Sample(0.25, 0.25, 0, 0)).ok());
  EXPECT_TRUE(Out() == (ColorA{0.5, 0.5, 0.5, 0.5}));
  c2.fail = true;
  EXPECT_TRUE(Eval(Sample(0.49, 0.25, 0.05, 0.01)).failed());
  EXPECT_TRUE(Out() == (ColorA{0.5, 0.5, 0.5, 0.5}));
  c2.fail = false;
  grey.fail = true;
  const int before = c2.calls;
  EXPECT_TRUE(Eval(Sample(0.49, 0.25, 0.05, 0.01)).failed());
  EXPECT_EQ(c2.calls, before);  // colour 1 comes first and stops the run
  grey.fail = false;
  ASSERT_TRUE(Eval(Sample(0.25, 0.25, 0, 0)).ok());

  // A missing function is the null-pointer error.
  ASSERT_TRUE(run->SetFunction("color2", nullptr).ok());
  r = Eval(Sample(0.75, 0.25, 0, 0));
  EXPECT_TRUE(r.Is(errors::kNullPtr));
  EXPECT_TRUE(Out() == kOpaqueBlack);
}

TEST_F(CheckerboardTest, BlendIsLinearInTheShareOnEveryChannel) {
  RecordingColor a({0.2, 0.4, 0.6, 0.0}), b({1.0, 0.0, 0.6, 1.0});
  ASSERT_TRUE(run->SetFunction("color1", &a).ok());
  ASSERT_TRUE(run->SetFunction("color2", &b).ok());
  const ShadingContext s = Sample(0.49, 0.25, 0.05, 0.01);
  ASSERT_TRUE(Eval(s).ok());
  const ColorA got = Out();
  const double t = got.a;  // alpha runs from 0 to 1: it is the share
  EXPECT_GT(t, 0.0);
  EXPECT_LT(t, 1.0);
  EXPECT_NEAR(got.r, 0.2 + 0.8 * t, 1e-15);
  EXPECT_NEAR(got.g, 0.4 - 0.4 * t, 1e-15);
  EXPECT_EQ(got.b, 0.6);
}

// ---- grid

class GridTest : public ::testing::Test {
 protected:
  void SetUp() override {
    run = Runner(kGridId);
    for (Result r : {run->Set("line", ColorA{1, 0, 0, 1}), run->Set("fill", ColorA{0, 0, 1, 0.5}),
                     run->Set("thickness", Vector{0.1, 0.1, 0.1}), run->Set("softness", 0.0),
                     run->Set("frequency", Vector{1, 1, 0})})
      ASSERT_TRUE(r.ok()) << r.ToString();
  }
  // The fill share at (u, v, w): the blue channel.
  double FillShare(double u, double v, double w = 0) {
    ShadingContext c;
    c.uvw = {u, v, w};
    EXPECT_TRUE(run->Run(c).ok());
    return run->Get<ColorA>("result").b;
  }
  std::unique_ptr<SingleNodeRunner> run;
};

TEST_F(GridTest, HardLinesOnEachAxisAndFrequency) {
  // d = |2f - 1| with f the fraction of u + 0.5: a line where d is below the
  // thickness, d = 0.1 at u = 0.05. Z lines lie half a period away from X and Y.
  struct Case {
    Vector frequency;
    double u, v, w, fill;
  } cases[] = {
      {{1, 1, 0}, 0.0, 0.5, 0, 0.0},
      {{1, 1, 0}, 0.5, 0.5, 0, 1.0},
      {{1, 1, 0}, 3.0, 0.5, 0, 0.0},
      {{1, 1, 0}, 0.5, -2.0, 0, 0.0},
      {{1, 1, 0}, 0.04, 0.5, 0, 0.0},
      {{1, 1, 0}, 0.06, 0.5, 0, 1.0},
      {{1, 1, 0}, 0.94, 0.5, 0, 1.0},
      {{1, 1, 0}, 0.96, 0.5, 0, 0.0},
      {{0, 0, 0}, 0.5, 0.5, 0, 0.0},  // frequency 0 puts the whole plane on a line
      {{0, 0, 0}, 17.3, -4.1, 0, 0.0},
      {{1, 1, 0}, 0.5, 0.5, 123.0, 1.0},  // Z at frequency 0 sees f = 0, d = 1: never a line
      {{1, 1, 1}, 0.5, 0.5, 0.0, 1.0},    // w = 0 is between Z lines
      {{1, 1, 1}, 0.5, 0.5, 0.5, 0.0},    // w = 0.5 is on one
      {{1, 1, 1}, 0.0, 0.5, 0.0, 0.0},    // u = 0 is on an X line
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(::testing::Message() << k.u << ", " << k.v << ", " << k.w << " at " << k.frequency.z);
    ASSERT_TRUE(run->Set("frequency", k.frequency).ok());
    EXPECT_EQ(FillShare(k.u, k.v, k.w), k.fill);
  }
  ASSERT_TRUE(run->Set("frequency", Vector{1, 1, 0}).ok());
  FillShare(0.5, 0.5);
  EXPECT_TRUE(run->Get<ColorA>("result") == (ColorA{0, 0, 1, 0.5}));
}

TEST_F(GridTest, SoftnessGivesASmoothstepBelowTheThicknessAndIndexCountsCells) {
  ASSERT_TRUE(run->Set("thickness", Vector{0.5, 0.5, 0.5}).ok());
  ASSERT_TRUE(run->Set("softness", 0.2).ok());
  // u = 0.2: f = 0.7, d = 0.4, halfway through [0.3, 0.5]: smoothstep(0.5) = 0.5.
  EXPECT_NEAR(FillShare(0.2, 0.5), 0.5, 1e-12);
  // u = 0.175: d = 0.35, e = 0.25: (3 - 0.5) * 0.0625.
  EXPECT_NEAR(FillShare(0.175, 0.5), 0.15625, 1e-12);
  EXPECT_EQ(FillShare(0.1, 0.5), 0.0);  // d = 0.2, below lo
  double prev = -1;
  for (double u = 0.1; u <= 0.3; u += 0.005) {  // monotone from line to fill
    const double s = FillShare(u, 0.5);
    EXPECT_GE(s, prev);
    prev = s;
  }

  // The index counts cells without wrapping and is zero outside.
  ASSERT_TRUE(run->Set("frequency", Vector{4, 3, 0}).ok());
  auto index = [&](double u, double v, uint8_t valid = 1) {
    ShadingContext c;
    c.uvw = {u, v, 0};
    c.uvwvalid = valid;
    EXPECT_TRUE(run->Run(c).ok());
    return run->Get<int64_t>("index");
  };
  EXPECT_EQ(index(0.3, 0.7), 5);     // floor(1.2) * 3 + floor(2.1)
  EXPECT_EQ(index(-0.3, 0.7), -4);   // floor(-1.2) * 3 + 2
  EXPECT_EQ(index(0.3, 0.7, 0), 0);  // outside the placed coordinate
  EXPECT_TRUE(run->Get<ColorA>("result") == (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(index(0.0, 0.0), 0);
}

}  // namespace
}  // namespace tessaroc::pattern
