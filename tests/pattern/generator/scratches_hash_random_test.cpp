// Scratches, hash and random, run through their registered kernels. Golden
// values come from a separate python3 model of the same arithmetic (32-bit
// LCG, the sign-keeping integer mix), run outside the project.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "../pattern_test_util.h"
#include "core/random.h"
#include "pattern/generator/hash_node.h"
#include "pattern/generator/random_node.h"
#include "pattern/generator/scratches_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::Runner;

// ---- scratches

class ScratchesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    run = Runner(kScratchesId);
    Set(ScratchParams{});
  }
  void Set(const ScratchParams& p) {
    for (Result r : {run->Set("seed", p.seed), run->Set("bend", p.bend), run->Set("scale", p.scale),
                     run->Set("density", p.density), run->Set("layers", p.layers),
                     run->Set("frequencystep", p.frequencystep), run->Set("rotation", p.rotation),
                     run->Set("gamma", p.gamma), run->Set("thickness", p.thickness), run->Set("depth", p.depth)})
      ASSERT_TRUE(r.ok()) << r.ToString();
  }
  double At(double u, double v, uint8_t valid = 1) {
    ShadingContext c;
    c.uvw = {u, v, 0};
    c.uvwvalid = valid;
    EXPECT_TRUE(run->Run(c).ok());
    return run->Get<double>("result");
  }
  static ScratchParams Busy() {
    return {.seed = 11,
            .bend = 0.6,
            .scale = 8.0,
            .density = 0.8,
            .layers = 3,
            .frequencystep = 1.7,
            .rotation = 0.4,
            .gamma = 2.0,
            .thickness = 15.0,
            .depth = 0.8};
  }
  std::unique_ptr<SingleNodeRunner> run;
};

TEST_F(ScratchesTest, GoldenValuesOfThreeLayers) {
  Set(Busy());
  struct Golden {
    double u, v, result;
  } golden[] = {
      {-0.11126, -0.03762000000000001, 0.1890270190783292}, {0.14054999999999998, 0.36785, 0.18916854504136194},
      {0.35361999999999993, 0.71094, 0.3855318199584441},   {0.37298999999999993, 0.74213, 0.4017826090208364},
      {0.39235999999999993, 0.77332, 0.48873528134992694},
  };
  for (const Golden& g : golden) EXPECT_NEAR(At(g.u, g.v), g.result, 1e-12) << g.u << ", " << g.v;
  // The inside flag is not looked at.
  EXPECT_NEAR(At(golden[2].u, golden[2].v, 0), golden[2].result, 1e-12);
}

TEST_F(ScratchesTest, AValueNotAboveTheSumDoublesIt) {
  // Layer 1 shows a scratch of 0.2664564546026904 here, layer 2 none: two
  // layers give twice the depth of one.
  ScratchParams p{.seed = 3,
                  .bend = 0.4,
                  .scale = 5.0,
                  .density = 1.0,
                  .layers = 1,
                  .frequencystep = 2.0,
                  .rotation = 0.25,
                  .gamma = 1.0,
                  .thickness = 20.0,
                  .depth = 1.0};
  Set(p);
  EXPECT_NEAR(At(0.3014, 0.6402), 0.7335435453973096, 1e-12);
  p.layers = 2;
  Set(p);
  EXPECT_NEAR(At(0.3014, 0.6402), 0.4670870907946192, 1e-12);
}

TEST_F(ScratchesTest, SettingsThatShowNoScratchRangeSeedBitsAndZeroScale) {
  ScratchParams p = Busy();
  for (int64_t layers : {0, -4}) {
    p.layers = layers;
    Set(p);
    EXPECT_EQ(At(0.35361999999999993, 0.71094), 1.0) << layers;
  }
  p = Busy();
  p.depth = 0.0;  // z is 1, val 0, for every cell
  Set(p);
  for (double u = -1; u < 1; u += 0.0137) EXPECT_EQ(At(u, u * 0.7 + 0.1), 1.0) << u;
  p = Busy();
  p.density = 0.0;
  Set(p);
  for (double u = -1; u < 1; u += 0.0137) EXPECT_EQ(At(u, u * 0.3 - 0.2), 1.0) << u;

  // The range, the seed's low 32 bits alone, and a zero scale kept in range.
  p = Busy();
  Set(p);
  bool some = false;
  for (double u = -0.5; u < 1.5; u += 0.01) {
    const double r = At(u, 1 - u);
    EXPECT_GE(r, 0.0);
    EXPECT_LE(r, 1.0);
    some = some || r < 1.0;
  }
  EXPECT_TRUE(some);
  const double a = At(0.37298999999999993, 0.74213);
  p.seed = 11 + (int64_t{1} << 32);
  Set(p);
  EXPECT_EQ(At(0.37298999999999993, 0.74213), a);
  p.seed = 12;
  Set(p);
  EXPECT_NE(At(0.37298999999999993, 0.74213), a);
  // Zero scale and zero step stay finite.
  p = Busy();
  p.scale = 0.0;
  p.frequencystep = 0.0;
  Set(p);
  for (double u = 0; u < 1; u += 0.1) {
    const double r = At(u, 0.5);
    EXPECT_TRUE(r >= 0.0 && r <= 1.0) << r;
  }
}

// ---- hash

struct Draws {
  ColorA colora;
  Color color;
  double f;
  int64_t i;
  Vector v3;
  Vector2d v2;
  bool b;
};

// Every output of a hash or random node run once. The hash takes no context.
Draws Draw(const char* id, const ShadingContext* ctx, int64_t seed, int64_t salt, double lo, double hi) {
  auto run = Runner(id);
  for (Result r : {run->Set("seed", seed), run->Set("salt", salt), run->Set("minimum", lo), run->Set("maximum", hi),
                   (ctx ? run->Run(*ctx) : run->Run())})
    EXPECT_TRUE(r.ok()) << r.ToString();
  return {run->Get<ColorA>("resultColorA"), run->Get<Color>("resultColor"),    run->Get<double>("resultFloat"),
          run->Get<int64_t>("resultInt"),   run->Get<Vector>("resultVector3"), run->Get<Vector2d>("resultVector2"),
          run->Get<bool>("resultBool")};
}
Draws Hash(int64_t seed, int64_t salt, double lo, double hi) { return Draw(kHashId, nullptr, seed, salt, lo, hi); }
Draws Random(const ShadingContext& ctx, int64_t seed, int64_t salt) { return Draw(kRandomId, &ctx, seed, salt, 0, 1); }

void ExpectChannels(const ColorA& got, const double (&want)[4]) {
  const double channels[4] = {got.r, got.g, got.b, got.a};
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(channels[i], want[i], 1e-15) << "channel " << i;
}

TEST(Hash, GoldenDrawsFillEveryPortFromTheSameFourAndTheZeroKeyIsMixed) {
  const Draws d = Hash(7, 5, -1.0, 3.0);
  const double g[4] = {0.16614804323762655, -0.32080161944031715, 2.5529468776658177, 1.4878935012966394};
  ExpectChannels(d.colora, g);
  EXPECT_TRUE(d.color == (Color{d.colora.r, d.colora.g, d.colora.b}));
  EXPECT_TRUE(d.v3 == (Vector{d.colora.r, d.colora.g, d.colora.b}));
  EXPECT_TRUE(d.v2 == (Vector2d{d.colora.r, d.colora.g}));
  EXPECT_EQ(d.f, d.colora.r);
  EXPECT_EQ(d.i, 0);                       // 0.166 truncated
  EXPECT_FALSE(d.b);                       // below 0.5
  const Draws n = Hash(0, 0, -10.0, 0.0);  // first draw 0.703 * 10 - 10
  EXPECT_EQ(n.i, -2);                      // truncated toward zero, not floored
  // The zero key is well mixed and repeatable.
  const Draws z = Hash(0, 0, 0, 1);
  EXPECT_NEAR(z.colora.r, 0.7030763060320169, 1e-15);
  EXPECT_NEAR(z.colora.a, 0.3063183296471834, 1e-15);
  EXPECT_TRUE(Hash(0, 0, 0, 1).colora == z.colora);
  EXPECT_TRUE(z.b);
}

TEST(Hash, SeedAndSaltEnterOnlyAsTheirSum) {
  const Draws a = Hash(1, 2, 0, 1), b = Hash(2, 1, 0, 1), c = Hash(3, 0, 0, 1), d = Hash(1, 3, 0, 1);
  EXPECT_TRUE(a.colora == b.colora);
  EXPECT_TRUE(a.colora == c.colora);
  EXPECT_FALSE(a.colora == d.colora);
  // In 32 bits: -1 + 4 wraps to 3, and the high bits are dropped.
  EXPECT_TRUE(Hash(-1, 4, 0, 1).colora == a.colora);
  EXPECT_TRUE(Hash(int64_t{1} << 32, 3, 0, 1).colora == a.colora);
}

TEST(Hash, RangeEdges) {
  const Draws same = Hash(9, 9, 0.25, 0.25);
  EXPECT_TRUE(same.colora == (ColorA{0.25, 0.25, 0.25, 0.25}));
  // A reversed range works, in reversed order.
  const Draws up = Hash(9, 9, 0, 1), down = Hash(9, 9, 1, 0);
  EXPECT_NEAR(down.colora.r, 1 - up.colora.r, 1e-15);
  // The Bool compares with 0.5, not with the middle of the range.
  for (int s = 0; s < 20; ++s) EXPECT_TRUE(Hash(s, 0, 1, 2).b);
  for (int s = 0; s < 20; ++s) EXPECT_EQ(Hash(s, 0, 0, 1).i, 0);
  EXPECT_FALSE(Hash(1, 1, std::numeric_limits<double>::quiet_NaN(), 1).b);
}

// ---- random

ShadingContext Fingerprinted() {
  ShadingContext c;
  c.pixelx = 12;
  c.pixely = -5;
  c.subpixelx = 0.25;
  c.subpixely = 0.6;
  c.rayorigin = {1.5, -2.25, 3.0};
  c.raydirection = {0.1, -0.7, 0.2};
  c.time = 1.25;
  c.framerate = 24.0;
  return c;
}

TEST(Random, GoldenFingerprintAndEveryPartOfItCounts) {
  // A = 306446, B = 20124, C = 28449, D = -37821, frame 30: key 0xc4316baf.
  const ShadingContext c = Fingerprinted();
  EXPECT_EQ(RandomKey(c, 3, 4), 0xc4316bafu);
  ExpectChannels(Random(c, 3, 4).colora,
                 {0.32168093393556774, 0.18042599596083164, 0.8431150189135224, 0.1112413383089006});

  // The same sample repeats, and every part of the fingerprint counts.
  const ShadingContext base = Fingerprinted();
  const ColorA ref = Random(base, 3, 4).colora;
  EXPECT_TRUE(Random(base, 3, 4).colora == ref);
  EXPECT_TRUE(Random(base, 4, 3).colora == ref);
  // Fields outside the fingerprint don't matter.
  ShadingContext other = base;
  other.uvw = {9, 9, 9};
  other.position = {1, 1, 1};
  EXPECT_TRUE(Random(other, 3, 4).colora == ref);
  // Each part of it does.
  auto changes = [&](void (*edit)(ShadingContext&)) {
    ShadingContext c = base;
    edit(c);
    return !(Random(c, 3, 4).colora == ref);
  };
  EXPECT_TRUE(changes([](ShadingContext& c) { c.pixelx += 1; }));
  EXPECT_TRUE(changes([](ShadingContext& c) { c.subpixely += 0.01; }));
  EXPECT_TRUE(changes([](ShadingContext& c) { c.rayorigin.z += 0.01; }));
  EXPECT_TRUE(changes([](ShadingContext& c) { c.raydirection.x += 0.01; }));
  EXPECT_TRUE(changes([](ShadingContext& c) { c.time += 1.0 / 24.0; }));  // next frame
  // Within one frame, and for rays with the same component sum, nothing changes.
  ShadingContext same = base;
  same.time = 1.26;
  same.rayorigin = {3.0, -2.25, 1.5};
  same.pixelx = 13;
  same.pixely = -6;
  EXPECT_TRUE(Random(same, 3, 4).colora == ref);
}

}  // namespace
}  // namespace tessaroc::pattern
