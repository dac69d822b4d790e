// shuffle, shufflecombine, keyer and strength.
#include <gtest/gtest.h>

#include "../pattern_test_util.h"
#include "pattern/color/shuffle_node.h"
#include "pattern/color/shufflecombine_node.h"
#include "pattern/generator/keyer_node.h"
#include "pattern/math/strength_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::ColorNear;
using testutil::RunColor;
using testutil::SetAll;
using testutil::SetEnum;

const char* const kComponentPorts[] = {"redComponent", "greenComponent", "blueComponent", "alphaComponent"};

ColorA Shuffle(const ColorA& c, const char* r, const char* g, const char* b, const char* a) {
  auto run = testutil::Runner(kShuffleId);
  EXPECT_TRUE(run->Set("color", c).ok());
  const char* picks[] = {r, g, b, a};
  for (int i = 0; i < 4; ++i) SetEnum(*run, kComponentPorts[i], picks[i]);
  return RunColor(*run);
}

TEST(Shuffle, PicksChannelsByName) {
  const ColorA c{0.1, 0.2, 0.3, 0.4};
  EXPECT_TRUE(ColorNear(Shuffle(c, "alpha", "blue", "green", "red"), {0.4, 0.3, 0.2, 0.1}, 0));
  EXPECT_TRUE(ColorNear(Shuffle(c, "red", "green", "blue", "one"), {0.1, 0.2, 0.3, 1.0}, 0));
  EXPECT_TRUE(ColorNear(Shuffle(c, "green", "green", "zero", "one"), {0.2, 0.2, 0.0, 1.0}, 0));
  // Empty and unknown ids read as zero.
  EXPECT_TRUE(ColorNear(Shuffle(c, "", "", "", ""), {0, 0, 0, 0}, 0));
  EXPECT_TRUE(ColorNear(Shuffle(c, "Red", "red1", "x", "alpha"), {0, 0, 0, 0.4}, 0));
}

TEST(ShuffleCombine, TakesChannelsFromEitherColour) {
  auto run = testutil::Runner(kShuffleCombineId);
  SetAll(*run, "color1", ColorA{0.1, 0.2, 0.3, 0.4}, "color2", ColorA{0.5, 0.6, 0.7, 0.8});
  const char* picks[] = {"red1", "green2", "blue1", "alpha2"};
  for (int i = 0; i < 4; ++i) SetEnum(*run, kComponentPorts[i], picks[i]);
  EXPECT_TRUE(ColorNear(RunColor(*run), {0.1, 0.6, 0.3, 0.8}, 0));
  const char* more[] = {"alpha1", "red2", "one", "blue"};  // "blue" belongs to shuffle: zero here
  for (int i = 0; i < 4; ++i) SetEnum(*run, kComponentPorts[i], more[i]);
  EXPECT_TRUE(ColorNear(RunColor(*run), {0.4, 0.5, 1.0, 0.0}, 0));
}

struct KeyerOut {
  ColorA result;
  double mask;
};

KeyerOut Key(const ColorA& c, const Color& key, double tmin, double tmax, const char* mode) {
  auto run = testutil::Runner(kKeyerId);
  SetAll(*run, "color", c, "key", key, "toleranceMin", tmin, "toleranceMax", tmax, "mode", InternedId::Intern(mode));
  const ColorA r = RunColor(*run);
  return {r, run->Get<double>("mask")};
}

TEST(Keyer, RampsOverTheSquaredDistanceClampsAndModes) {
  // Distance 0.5 to the key, squared 0.25: halfway along a 0..0.5 ramp (a
  // plain distance would be at its end).
  const ColorA c{0.5, 0.5, 0.5, 0.9};
  const KeyerOut out = Key(c, {0.2, 0.5, 0.9}, 0.0, 0.5, "keyout");
  EXPECT_DOUBLE_EQ(out.mask, 0.5);
  EXPECT_TRUE(ColorNear(out.result, {0.25, 0.25, 0.25, 0.5}, 1e-15));  // alpha is the matte
  const KeyerOut in = Key(c, {0.2, 0.5, 0.9}, 0.0, 1.0, "keyin");
  EXPECT_DOUBLE_EQ(in.mask, 0.75);
  EXPECT_TRUE(ColorNear(in.result, {0.375, 0.375, 0.375, 0.75}, 1e-15));

  const ColorA k{0.3, 0.6, 0.9, 0.2};
  // The key colour itself is removed in keyout.
  EXPECT_EQ(Key(k, {0.3, 0.6, 0.9}, 0.0, 0.1, "keyout").mask, 0.0);
  // Far beyond toleranceMax: kept whole, but with alpha 1.
  EXPECT_TRUE(ColorNear(Key(k, {-1, -1, -1}, 0.0, 0.1, "keyout").result, {0.3, 0.6, 0.9, 1.0}, 0));
  // Empty and unknown modes act as keyout.
  EXPECT_EQ(Key(k, {0.3, 0.6, 0.9}, 0.0, 0.1, "").mask, 0.0);
  EXPECT_EQ(Key(k, {0.3, 0.6, 0.9}, 0.0, 0.1, "keyinverse").mask, 0.0);
  // Equal tolerances: matte 0 before the mode.
  const KeyerOut flatOut = Key(k, {0, 0, 0}, 0.2, 0.2, "keyout");
  EXPECT_TRUE(ColorNear(flatOut.result, {0, 0, 0, 0}, 0));
  EXPECT_EQ(flatOut.mask, 0.0);
  const KeyerOut flatIn = Key(k, {0, 0, 0}, 0.2, 0.2, "keyin");
  EXPECT_TRUE(ColorNear(flatIn.result, {0.3, 0.6, 0.9, 1.0}, 0));
  EXPECT_EQ(flatIn.mask, 1.0);
  // A reversed ramp is allowed: near the key is now kept.
  EXPECT_EQ(Key(k, {0.3, 0.6, 0.9}, 0.1, 0.0, "keyout").mask, 1.0);
}

TEST(Strength, ScalesColourAndKeepsAlpha) {
  auto run = testutil::Runner(kStrengthId);
  SetAll(*run, "input", ColorA{0.2, -0.4, 3.0, 0.6}, "strength", 2.5);
  EXPECT_TRUE(ColorNear(RunColor(*run, "output"), {0.5, -1.0, 7.5, 0.6}, 0));
  ASSERT_TRUE(run->Set("strength", 0.0).ok());
  EXPECT_TRUE(ColorNear(RunColor(*run, "output"), {0, -0.0, 0, 0.6}, 0));
}

}  // namespace
}  // namespace tessaroc::pattern
