// The conversion nodes: float/colour/vector glue, its mode tables and the
// outputs some cases leave unwritten; the composevector batch kernels.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <utility>
#include <vector>

#include "../pattern_test_util.h"
#include "pattern/conversion/colortofloat_node.h"
#include "pattern/conversion/composecolor_node.h"
#include "pattern/conversion/composecolora_node.h"
#include "pattern/conversion/composevector2_node.h"
#include "pattern/conversion/composevector3_node.h"
#include "pattern/conversion/composevector4_node.h"
#include "pattern/conversion/degrees_node.h"
#include "pattern/conversion/splitcolorcomponents_node.h"
#include "pattern/conversion/splitvectorcomponents_node.h"
#include "pattern/conversion/vectortofloat_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::RunNode;
using testutil::SetAndRun;

double ColorToFloatNode(const ColorA& c, const char* mode, bool useAlpha) {
  return RunNode(kColorToFloatId, "color", c, "mode", InternedId::Intern(mode), "useAlpha", useAlpha)
      ->Get<double>("result");
}

TEST(ColorToFloat, ModesWithAndWithoutAlpha) {
  const ColorA c{1.0, -2.0, 4.0, 2.0};
  struct Case {
    const char* mode;
    double without, with;
  };
  const Case cases[] = {
      {"red", 1, 1},
      {"green", -2, -2},
      {"blue", 4, 4},
      {"alpha", 2, 2},
      {"sum", 3, 5},
      {"min", -2, -2},
      {"max", 4, 4},
      {"squaredlength", 21, 25},
      {"length", std::sqrt(21.0), 5},
      {"average", 3 * 0.3333333333333333, 1.25},
      {"", 0, 0},
      {"Red", 0, 0},
      {"x", 0, 0},
  };
  for (const Case& k : cases) {
    EXPECT_EQ(ColorToFloatNode(c, k.mode, false), k.without) << k.mode;
    EXPECT_EQ(ColorToFloatNode(c, k.mode, true), k.with) << k.mode;
  }
  // Alpha only counts for min and max when asked.
  EXPECT_EQ(ColorToFloatNode({0.5, 0.6, 0.7, 0.1}, "min", false), 0.5);
  EXPECT_EQ(ColorToFloatNode({0.5, 0.6, 0.7, 0.1}, "min", true), 0.1);
  EXPECT_EQ(ColorToFloatNode({0.5, 0.6, 0.7, 0.9}, "max", true), 0.9);
  // Luminance has its own weights and ignores alpha.
  const double luminance = 0.2125 * 0.2 + 0.7154 * 0.5 + 0.0721 * 0.8;
  EXPECT_EQ(ColorToFloatNode({0.2, 0.5, 0.8, 7.0}, "luminance", false), luminance);
  EXPECT_EQ(ColorToFloatNode({0.2, 0.5, 0.8, 7.0}, "luminance", true), luminance);
  EXPECT_NEAR(ColorToFloatNode({1, 1, 1, 0}, "luminance", false), 1.0, 1e-15);
  // The average is exact for equal channels, with and without alpha.
  EXPECT_EQ(ColorToFloatNode({1, 1, 1, 1}, "average", false), 1.0);
  EXPECT_EQ(ColorToFloatNode({1, 1, 1, 1}, "average", true), 1.0);
}

double VectorToFloatNode(const Vector4d& v, const char* mode) {
  return RunNode(kVectorToFloatId, "vector", v, "mode", InternedId::Intern(mode))->Get<double>("result");
}

TEST(VectorToFloat, ModesAlwaysUseAllFourComponents) {
  // luminance is an accepted value with no measure behind it.
  const std::pair<const char*, double> cases[] = {{"x", 1.0},      {"y", -2.0},        {"z", 4.0},
                                                  {"w", 2.0},      {"average", 1.25},  {"sum", 5.0},
                                                  {"min", -2.0},   {"max", 4.0},       {"squaredlength", 25},
                                                  {"length", 5.0}, {"luminance", 0.0}, {"", 0.0},
                                                  {"red", 0.0}};
  for (const auto& [mode, want] : cases) EXPECT_EQ(VectorToFloatNode({1.0, -2.0, 4.0, 2.0}, mode), want) << mode;
}

TEST(Compose, ColourAndColourWithAlpha) {
  EXPECT_EQ(RunNode(kComposeColorId, "red", 0.1, "green", 0.2, "blue", 0.3)->Get<Color>("result"),
            (Color{0.1, 0.2, 0.3}));

  // Unset scalar ports leave the channels of rgb; alpha is used as it is.
  auto rgba = RunNode(kComposeColorAId, "rgb", Color{0.4, 0.5, 0.6}, "alpha", 0.7);
  EXPECT_EQ(rgba->Get<ColorA>("result"), (ColorA{0.4, 0.5, 0.6, 0.7}));
  // A set scalar port takes over its channel, even when it is 0.
  SetAndRun(*rgba, "green", 0.0);
  EXPECT_EQ(rgba->Get<ColorA>("result"), (ColorA{0.4, 0.0, 0.6, 0.7}));
  SetAndRun(*rgba, "red", 9.0, "blue", -1.0);
  EXPECT_EQ(rgba->Get<ColorA>("result"), (ColorA{9.0, 0.0, -1.0, 0.7}));
}

TEST(ConvertDegrees, BothWaysAndUnknownModeLeavesResult) {
  auto run = RunNode(kConvertDegreesId, "value", 180.0, "mode", InternedId::Intern("degtorad"));
  EXPECT_NEAR(run->Get<double>("result"), M_PI, 1e-15);
  SetAndRun(*run, "value", M_PI / 2, "mode", InternedId::Intern("radtodeg"));
  EXPECT_NEAR(run->Get<double>("result"), 90.0, 1e-13);
  // Unknown or empty mode: result keeps what it held.
  for (const char* mode : {"gradtodeg", ""}) {
    SetAndRun(*run, "value", 1234.0, "mode", InternedId::Intern(mode));
    EXPECT_NEAR(run->Get<double>("result"), 90.0, 1e-13);
  }
}

// Each named Float output holds exactly its value.
void ExpectFloats(SingleNodeRunner& run, std::initializer_list<std::pair<const char*, double>> outputs) {
  for (const auto& [port, want] : outputs) EXPECT_EQ(run.Get<double>(port), want) << port;
}

TEST(SplitComponents, ColourChannelsAndIndex) {
  auto run = RunNode(kSplitColorComponentsId, "color", ColorA{0.1, 0.2, 0.3, 0.4}, "index", int64_t{3});
  EXPECT_EQ(run->Get<Color>("rgb"), (Color{0.1, 0.2, 0.3}));
  ExpectFloats(*run, {{"r", 0.1}, {"g", 0.2}, {"b", 0.3}, {"a", 0.4}, {"indexedComponent", 0.4}});
  // Out of range (negative included): the other outputs are written,
  // indexedComponent keeps its value.
  for (int64_t index : {int64_t{-1}, int64_t{4}, INT64_MIN}) {
    SetAndRun(*run, "color", ColorA{0.5, 0.6, 0.7, 0.8}, "index", index);
    SCOPED_TRACE(index);
    ExpectFloats(*run, {{"r", 0.5}, {"a", 0.8}, {"indexedComponent", 0.4}});
  }
  SetAndRun(*run, "index", int64_t{0});
  EXPECT_EQ(run->Get<double>("indexedComponent"), 0.5);
}

TEST(SplitComponents, VectorPartsAndIndex) {
  auto run = RunNode(kSplitVectorComponentsId, "vector", Vector4d{1, 2, 3, 4}, "index", int64_t{2});
  EXPECT_EQ(run->Get<Vector>("xyz"), (Vector{1, 2, 3}));
  EXPECT_EQ(run->Get<Vector2d>("xy"), (Vector2d{1, 2}));
  ExpectFloats(*run, {{"x", 1.0}, {"y", 2.0}, {"z", 3.0}, {"w", 4.0}, {"indexedComponent", 3.0}});
  SetAndRun(*run, "vector", Vector4d{5, 6, 7, 8}, "index", int64_t{-1});
  ExpectFloats(*run, {{"w", 8.0}, {"indexedComponent", 3.0}});
}

// ---- the batch kernels

TEST(ComposeVectorBatch, StridedRangeEmptyRangeAndOneEvaluationInAPlan) {
  // x and w from an interleaved record, y from a plain array, z a single
  // value with stride 0; the output every other slot of a padded array.
  struct Record {
    double x, pad, w;
  };
  const Record rec[3] = {{1, -1, 10}, {2, -1, 20}, {3, -1, 30}};
  const double ys[3] = {4, 5, 6};
  const double z = 7;
  Vector4d out[6] = {};
  const BatchBinding bind[] = {{const_cast<double*>(&rec[0].x), sizeof(Record)},
                               {const_cast<double*>(ys), sizeof(double)},
                               {const_cast<double*>(&z), 0},
                               {const_cast<double*>(&rec[0].w), sizeof(Record)},
                               {out, 2 * sizeof(Vector4d)}};
  ASSERT_TRUE(RunBatch(*testutil::Group(kComposeVector4Id), 0, bind, 3).ok());
  EXPECT_EQ(out[0], (Vector4d{1, 4, 7, 10}));
  EXPECT_EQ(out[2], (Vector4d{2, 5, 7, 20}));
  EXPECT_EQ(out[4], (Vector4d{3, 6, 7, 30}));
  for (int i : {1, 3, 5}) EXPECT_EQ(out[i], (Vector4d{})) << i;

  Vector v3[2] = {{-9, -9, -9}, {-9, -9, -9}};
  const BatchBinding bind3[] = {{const_cast<double*>(ys), sizeof(double)},
                                {const_cast<double*>(&z), 0},
                                {const_cast<double*>(ys), sizeof(double)},
                                {v3, sizeof(Vector)}};
  // An empty range writes nothing.
  ASSERT_TRUE(RunBatch(*testutil::Group(kComposeVector3Id), 0, bind3, 0).ok());
  EXPECT_EQ(v3[0], (Vector{-9, -9, -9}));
  ASSERT_TRUE(RunBatch(*testutil::Group(kComposeVector3Id), 0, bind3, 2).ok());
  EXPECT_EQ(v3[0], (Vector{4, 7, 4}));
  EXPECT_EQ(v3[1], (Vector{5, 7, 5}));

  Vector2d v2[2] = {};
  const BatchBinding bind2[] = {
      {const_cast<double*>(&z), 0}, {const_cast<double*>(ys), sizeof(double)}, {v2, sizeof(Vector2d)}};
  ASSERT_TRUE(RunBatch(*testutil::Group(kComposeVector2Id), 0, bind2, 2).ok());
  EXPECT_EQ(v2[0], (Vector2d{7, 4}));
  EXPECT_EQ(v2[1], (Vector2d{7, 5}));

  EXPECT_EQ(RunNode(kComposeVector3Id, "x", 1.5, "y", -2.5, "z", 3.5)->Get<Vector>("result"), (Vector{1.5, -2.5, 3.5}));
}

}  // namespace
}  // namespace tessaroc::pattern
