// Scatter through its registered kernel. Placement goldens come from a
// python3 model of the 32-bit LCG (state = state * 69069 + 1, value =
// state / 2^32) and the box formulas, printed with repr().
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"
#include "pattern/context/scatter_node.h"

namespace tessaroc::pattern {
namespace {

struct ScatterSetup {
  int64_t count = 3;
  int32_t seed = 7;
  bool tile = false, removeOverlaps = false;
  double rotation = 0.3, randomRotation = 0.0;
  Vector2d scale{0.2, 0.1}, randomScale{0.0, 0.0};
  double randomScaleUniform = 0.0;
  bool uniform = false;
  const FunctionInterface *density = nullptr, *skip = nullptr, *shape = nullptr;
};

struct Hit {
  ShadingContext context;
  bool mask;
  int64_t index;
  Vector2d center;
};

class Scatter {
 public:
  explicit Scatter(const ScatterSetup& s)
      : rotation_(kFloat64Type, s.rotation),
        randomRotation_(kFloat64Type, s.randomRotation),
        scale_(kVector2dType, s.scale),
        randomScale_(kVector2dType, s.randomScale),
        randomScaleUniform_(kFloat64Type, s.randomScaleUniform),
        uniform_(kBoolType, s.uniform) {
    const int64_t counts[] = {s.count};
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(testutil::Catalogue().GetGroup(kScatterId, counts, g).ok());
    EXPECT_TRUE(SingleNodeRunner::Create(g, run_).ok());
    for (Result r : {run_->Set("seed", s.seed), run_->Set("tile", s.tile),
                     run_->Set("removeOverlaps", s.removeOverlaps), run_->SetFunction("perItemRotation", &rotation_),
                     run_->SetFunction("perItemRandomRotation", &randomRotation_),
                     run_->SetFunction("perItemScale", &scale_), run_->SetFunction("perItemRandomScale", &randomScale_),
                     run_->SetFunction("perItemRandomScaleUniform", &randomScaleUniform_),
                     run_->SetFunction("perItemUniformScale", &uniform_)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    const std::pair<const char*, const FunctionInterface*> optional[] = {
        {"perItemDensity", s.density}, {"perItemSkipProbability", s.skip}, {"perItemShape", s.shape}};
    for (const auto& [port, fn] : optional) {
      if (fn) { EXPECT_TRUE(run_->SetFunction(port, fn).ok()) << port; }
    }
  }

  Result Sample(double u, double v) {
    ShadingContext c;
    c.uvw = {u, v, 0.25};
    c.uvwdx = {u + 0.001, v, 0.0};
    c.pixelx = 42;
    return run_->Run(c);
  }
  Hit At(double u, double v) {
    EXPECT_TRUE(Sample(u, v).ok());
    return {run_->Get<ShadingContext>("resultContext"), run_->Get<bool>("mask"), run_->Get<int64_t>("index"),
            run_->Get<Vector2d>("center")};
  }
  const ScatterSplats& Splats() const { return run_->Get<ScatterSplats>("splats"); }
  const ScatterBuckets& Buckets() const { return run_->Get<ScatterBuckets>("buckets"); }
  SingleNodeRunner& runner() { return *run_; }

 private:
  ConstantFunction<double> rotation_, randomRotation_;
  ConstantFunction<Vector2d> scale_, randomScale_;
  ConstantFunction<double> randomScaleUniform_;
  ConstantFunction<bool> uniform_;
  std::unique_ptr<SingleNodeRunner> run_;
};

// Whether the box of `p` touches grid cell (i, j).
bool Touches(const Splat& p, int i, int j) {
  const double x = i * kScatterCell, y = j * kScatterCell;
  return p.minX <= x + kScatterCell && p.maxX >= x && p.minY <= y + kScatterCell && p.maxY >= y;
}

void ExpectSplat(const Splat& s, const std::vector<double>& want) {
  const double got[] = {s.centerX, s.centerY, s.rotation, s.invScaleX, s.invScaleY, s.minX, s.minY, s.maxX, s.maxY};
  for (size_t i = 0; i < 9; ++i) EXPECT_DOUBLE_EQ(got[i], want[i]) << "field " << i;
}

// ---- the build

TEST(ScatterBuild, PlacementMatchesTheSequenceForASeed) {
  Scatter s({});
  s.At(0.5, 0.5);
  ASSERT_EQ(s.Splats().size(), 3u);
  ExpectSplat(s.Splats()[0], {0.7750897959340364, 0.6771153681911528, 0.3, 5.0, 10.0, 0.6500041263553418,
                              0.6145725334018055, 0.900175465512731, 0.7396582029805001});
  ExpectSplat(s.Splats()[1], {0.3700358993373811, 0.00953133380971849, 0.3, 5.0, 10.0, 0.24495022975868655,
                              -0.0530115009796288, 0.4951215689160757, 0.07207416859906578});
  for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(s.Splats()[i].item, i);

  Scatter random({.randomRotation = 0.5, .randomScale = {0.05, 0.02}});
  random.At(0.5, 0.5);
  ASSERT_EQ(random.Splats().size(), 3u);
  ExpectSplat(random.Splats()[0],
              {0.7750897959340364, 0.6771153681911528, 0.4813655949663371, 6.754212698855946, 8.004538695593327,
               0.67520002541921, 0.5928285926311233, 0.8749795664488628, 0.7614021437511823});
  ExpectSplat(random.Splats()[2],
              {0.05168905737809837, 0.11150404810905457, 0.2730988445226103, 5.186225252442118, 10.933198146744541,
               -0.06715040469277185, 0.055131867626612485, 0.17052851944896857, 0.16787622859149665});
}

TEST(ScatterBuild, RepeatableForASeedAndBuiltOnce) {
  Scatter a({.count = 40, .seed = 1234}), b({.count = 40, .seed = 1234}), c({.count = 40, .seed = 1235});
  a.At(0.1, 0.1);
  b.At(0.9, 0.4);
  c.At(0.1, 0.1);
  ASSERT_EQ(a.Splats().size(), b.Splats().size());
  for (size_t i = 0; i < a.Splats().size(); ++i) {
    EXPECT_EQ(a.Splats()[i].centerX, b.Splats()[i].centerX);
    EXPECT_EQ(a.Splats()[i].minY, b.Splats()[i].minY);
  }
  EXPECT_NE(a.Splats()[0].centerX, c.Splats()[0].centerX);
  // The table stays as built: a new seed is not seen by this storage.
  const double first = a.Splats()[0].centerX;
  ASSERT_TRUE(a.runner().Set("seed", int32_t{99}).ok());
  a.At(0.3, 0.3);
  EXPECT_EQ(a.Splats()[0].centerX, first);
}

TEST(ScatterBuild, SkippedAndZeroScaledItemsMakeNoSplatAndInfiniteBoxesStay) {
  ConstantFunction<double> always(kFloat64Type, 1.0), never(kFloat64Type, 0.0);
  Scatter skipped({.skip = &always});
  skipped.At(0.5, 0.5);
  EXPECT_TRUE(skipped.Splats().empty());
  EXPECT_EQ(skipped.Buckets().size(), 256u);
  // A set skip function draws once per item even when it never skips, so the
  // next item's centre moves.
  Scatter drawn({.skip = &never});
  drawn.At(0.5, 0.5);
  ASSERT_EQ(drawn.Splats().size(), 3u);
  EXPECT_DOUBLE_EQ(drawn.Splats()[1].centerX, 0.00953133380971849);
  EXPECT_DOUBLE_EQ(drawn.Splats()[1].centerY, 0.31969490367919207);

  Scatter flat({.scale = {0.0, 0.1}});
  flat.At(0.5, 0.5);
  EXPECT_TRUE(flat.Splats().empty());

  // An infinitely wide item keeps its infinite box, unclamped, and with
  // 1/sx = 0 it never answers.
  const double inf = std::numeric_limits<double>::infinity();
  Scatter wide({.count = 1, .scale = {inf, 0.1}});
  EXPECT_FALSE(wide.At(0.7750897959340364, 0.6771153681911528).mask);
  ASSERT_EQ(wide.Splats().size(), 1u);
  EXPECT_EQ(wide.Splats()[0].minX, -inf);
  EXPECT_EQ(wide.Splats()[0].maxX, inf);
}

TEST(ScatterBuild, TiledCopiesAndOverlapRemoval) {
  // Item 1 pokes out below v = 0 and item 2 left of u = 0: each gets one copy
  // on the other side.
  Scatter tiled({.tile = true});
  tiled.At(0.5, 0.5);
  ASSERT_EQ(tiled.Splats().size(), 5u);
  EXPECT_EQ(tiled.Splats()[2].item, 1u);
  EXPECT_DOUBLE_EQ(tiled.Splats()[2].centerY, 0.00953133380971849 + 1.0);
  EXPECT_EQ(tiled.Splats()[4].item, 2u);
  EXPECT_DOUBLE_EQ(tiled.Splats()[4].centerX, 0.05168905737809837 + 1.0);
  // Copies never collide with their own item.
  Scatter tiledApart({.tile = true, .removeOverlaps = true});
  tiledApart.At(0.5, 0.5);
  EXPECT_EQ(tiledApart.Splats().size(), 5u);
  // Two items that each cover the square: the second is left out.
  Scatter crowded({.count = 2, .removeOverlaps = true, .scale = {8.0, 8.0}});
  crowded.At(0.5, 0.5);
  ASSERT_EQ(crowded.Splats().size(), 1u);
  EXPECT_EQ(crowded.Splats()[0].item, 0u);
}

TEST(ScatterBuild, BucketsHoldExactlyTheSplatsTouchingThem) {
  Scatter s({.count = 60, .seed = 5, .tile = true, .randomRotation = 3.0, .randomScale = {0.1, 0.1}});
  s.At(0.5, 0.5);
  ASSERT_EQ(s.Buckets().size(), 256u);
  for (int i = 0; i < kScatterGrid; ++i)
    for (int j = 0; j < kScatterGrid; ++j) {
      const ScatterCachedBucketData& bucket = s.Buckets()[i + kScatterGrid * j];
      std::vector<int64_t> want;
      for (size_t e = 0; e < s.Splats().size(); ++e)
        if (Touches(s.Splats()[e], i, j)) want.push_back(static_cast<int64_t>(e));
      EXPECT_EQ(bucket, want) << "cell " << i << ", " << j;
    }
}

// ---- the lookup

TEST(ScatterLookup, HitGivesTheItemsOwnCoordinatesAndCoordinatesWrap) {
  Scatter s({});
  const Hit hit = s.At(0.7850897959340364, 0.6571153681911528);
  EXPECT_TRUE(hit.mask);
  EXPECT_EQ(hit.index, 1);
  EXPECT_EQ(hit.center, (Vector2d{0.7750897959340364, 0.6771153681911528}));
  EXPECT_DOUBLE_EQ(hit.context.uvw.x, 0.5773188451224143);
  EXPECT_DOUBLE_EQ(hit.context.uvw.y, 0.3384847228410126);
  EXPECT_EQ(hit.context.uvw.z, 0.0);
  EXPECT_EQ(hit.context.uvwdx, hit.context.uvw);  // no footprint inside an item
  EXPECT_EQ(hit.context.uvwvalid, 1);
  EXPECT_EQ(hit.context.pixelx, 42);  // the rest of the sample's context
  // A sample off the grid (NaN) passes its context on and leaves the rest.
  const Hit off = s.At(std::nan(""), 0.5);
  EXPECT_TRUE(std::isnan(off.context.uvw.x));
  EXPECT_EQ(off.index, 1);
  EXPECT_EQ(off.center, hit.center);

  const Hit miss = s.At(0.95, 0.3);
  EXPECT_FALSE(miss.mask);
  EXPECT_EQ(miss.index, 0);
  EXPECT_EQ(miss.center, (Vector2d{0.0, 0.0}));
  EXPECT_EQ(miss.context.uvwvalid, 0);
  EXPECT_EQ(miss.context.uvw.x, 0.95);

  // Coordinates wrap into the square.
  EXPECT_EQ(s.At(1.7850897959340364 - 1.0 + 2.0, 0.6571153681911528 - 3.0).index, 1);
  // u = 1 is fu = 0: the first column, like u = 0, where item 2 lies.
  const Hit one = s.At(1.0, 0.1115), zero = s.At(0.0, 0.1115);
  EXPECT_EQ(one.index, 3);
  EXPECT_EQ(zero.index, 3);
  EXPECT_EQ(one.context.uvw, zero.context.uvw);
}

TEST(ScatterLookup, TiledCopyAnswersAcrossTheBorder) {
  const double u = 0.3700358993373811, v = 0.99;  // above item 1's centre, across v = 1
  Scatter plain({});
  EXPECT_FALSE(plain.At(u, v).mask);
  Scatter tiled({.tile = true});
  const Hit hit = tiled.At(u, v);
  EXPECT_TRUE(hit.mask);
  EXPECT_EQ(hit.index, 2);
  EXPECT_DOUBLE_EQ(hit.center.y, 0.00953133380971849 + 1.0);
  // The same item answers on its own side through the original splat.
  const Hit original = tiled.At(u, 0.02);
  EXPECT_EQ(original.index, 2);
  EXPECT_DOUBLE_EQ(original.center.y, 0.00953133380971849);
  // Across the border the item's v continues below the original's.
  EXPECT_LT(hit.context.uvw.y, original.context.uvw.y);
}

TEST(ScatterLookup, FirstItemLiesOnTopAndShapeAndDensityFallThrough) {
  const ScatterSetup covering{.count = 2, .scale = {8.0, 8.0}};
  EXPECT_EQ(Scatter(covering).At(0.4, 0.6).index, 1);

  // The shape rejects the first splat tested: the second item shows through.
  int shapeCalls = 0;
  CallableFunction<double> firstFails(kFloat64Type, [&](const ShadingContext&, double& m) {
    m = shapeCalls++ == 0 ? 0.49 : 0.5;
    return Result::Ok();
  });
  ScatterSetup shaped = covering;
  shaped.shape = &firstFails;
  EXPECT_EQ(Scatter(shaped).At(0.4, 0.6).index, 2);
  EXPECT_EQ(shapeCalls, 2);

  // Density is read at the item's centre and compared with a draw seeded by
  // seed + 123 + 124 * place: 0.394... for place 0 and 0.124... for place 1.
  ConstantFunction<double> third(kFloat64Type, 0.3);
  ScatterSetup dense = covering;
  dense.density = &third;
  EXPECT_EQ(Scatter(dense).At(0.4, 0.6).index, 2);
  ConstantFunction<double> zero(kFloat64Type, 0.0);
  dense.density = &zero;
  EXPECT_FALSE(Scatter(dense).At(0.4, 0.6).mask);
  ConstantFunction<double> full(kFloat64Type, 1.0);
  dense.density = &full;
  EXPECT_EQ(Scatter(dense).At(0.4, 0.6).index, 1);

  std::vector<Vector> seen;
  CallableFunction<double> record(kFloat64Type, [&](const ShadingContext& c, double& d) {
    seen.push_back(c.uvw);
    d = 1.0;
    return Result::Ok();
  });
  dense.density = &record;
  Scatter recorded(dense);
  recorded.At(0.4, 0.6);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].x, recorded.Splats()[0].centerX);
  EXPECT_EQ(seen[0].y, recorded.Splats()[0].centerY);
}

// The first splat in creation order that covers the sample; with `cellOnly`
// only splats whose box touches the sample's grid cell count.
int64_t Scan(const ScatterSplats& splats, double u, double v, bool cellOnly) {
  const int i = static_cast<int>(std::floor(u * kScatterGrid)), j = static_cast<int>(std::floor(v * kScatterGrid));
  for (const Splat& p : splats) {
    if (cellOnly && !Touches(p, i, j)) continue;
    const double dx = u - p.centerX, dy = v - p.centerY;
    const double sn = std::sin(p.rotation), c = std::cos(p.rotation);
    const double pu = (((c * dx - sn * dy) * p.invScaleX + p.centerX) - p.centerX) + 0.5;
    const double pv = (((sn * dx + c * dy) * p.invScaleY + p.centerY) - p.centerY) + 0.5;
    if (pu >= 0.0 && pv >= 0.0 && pu <= 1.0 && pv <= 1.0) return p.item + 1;
  }
  return 0;
}

// A Bool function may answer with any byte; every non-zero one is true.
TEST(ScatterBuild, AnyNonZeroByteOfUniformScaleIsTrue) {
  const ScatterSetup setup{.count = 12, .seed = 5, .randomScale = {0.05, 0.08}, .randomScaleUniform = 0.04};
  ScatterSetup uniform = setup;
  uniform.uniform = true;
  Scatter yes(uniform), no(setup), two(setup);
  const ConstantFunction<uint8_t> byte(kBoolType, 2);
  ASSERT_TRUE(two.runner().SetFunction("perItemUniformScale", &byte).ok());
  for (Scatter* s : {&yes, &no, &two}) s->At(0.5, 0.5);
  ASSERT_EQ(two.Splats().size(), yes.Splats().size());
  bool differs = false;
  for (size_t i = 0; i < yes.Splats().size(); ++i) {
    const Splat &a = yes.Splats()[i], &b = two.Splats()[i], &c = no.Splats()[i];
    EXPECT_EQ(b.invScaleX, a.invScaleX) << i;
    EXPECT_EQ(b.invScaleY, a.invScaleY) << i;
    differs |= c.invScaleX != a.invScaleX || c.invScaleY != a.invScaleY;
  }
  EXPECT_TRUE(differs);  // the byte decides something
}

TEST(ScatterLookup, MatchesAScanOfAllSplatsInOrder) {
  // Uniformly scaled items lie inside their boxes, so the grid finds exactly
  // what a scan of every splat finds.
  Scatter even({.count = 80,
                .seed = 11,
                .tile = true,
                .randomRotation = 3.0,
                .scale = {0.15, 0.15},
                .randomScaleUniform = 0.05,
                .uniform = true});
  // Unequal scales map the sample back rotated first and scaled second, which
  // is not the inverse of the placing: an item can then answer outside its
  // box, but only from buckets its box touches.
  Scatter uneven({.count = 80, .seed = 11, .tile = true, .randomRotation = 3.0, .randomScale = {0.05, 0.08}});
  even.At(0.5, 0.5);
  uneven.At(0.5, 0.5);
  int hits = 0, outside = 0;
  for (int k = 0; k < 400; ++k) {
    const double u = (k % 20 + 0.37) / 20.0, v = (k / 20 + 0.61) / 20.0;
    SCOPED_TRACE(::testing::Message() << "at " << u << ", " << v);
    const int64_t want = Scan(even.Splats(), u, v, false), inCell = Scan(uneven.Splats(), u, v, true);
    hits += want > 0;
    EXPECT_EQ(even.At(u, v).index, want);
    EXPECT_EQ(uneven.At(u, v).index, inCell);
    outside += inCell != Scan(uneven.Splats(), u, v, false);
  }
  EXPECT_GT(hits, 100);
  EXPECT_GT(outside, 0);
}

TEST(ScatterFailures, NoItemsTouchNothingAndMissingFunctionsFail) {
  Scatter none({.count = 0});
  ASSERT_TRUE(none.Sample(0.3, 0.3).ok());
  EXPECT_EQ(none.runner().Get<ShadingContext>("resultContext").uvw, (Vector{0, 0, 0}));
  EXPECT_TRUE(none.Buckets().empty());

  Scatter missing({});
  ASSERT_TRUE(missing.runner().SetFunction("perItemScale", nullptr).ok());
  EXPECT_TRUE(missing.Sample(0.3, 0.3).Is(errors::kNullPtr));
  // The failed build keeps its buckets and is not run again.
  EXPECT_EQ(missing.Buckets().size(), 256u);
  EXPECT_TRUE(missing.Sample(0.3, 0.3).ok());

  ConstantFunction<double> one(kFloat64Type, 1.0);
  Scatter shaped({.shape = &one});
  ASSERT_TRUE(shaped.runner().SetFunction("perItemShape", nullptr).ok());
  EXPECT_TRUE(shaped.Sample(0.7750897959340364, 0.6771153681911528).Is(errors::kNullPtr));
}

}  // namespace
}  // namespace tessaroc::pattern
