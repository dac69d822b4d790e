// Patterns inside whole graphs, rendered through the material and render
// path that the command-line tool uses: the checkerboard's footprint filter
// survives placement and rendering, and its colours are evaluated lazily.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "module_fixture.h"
#include "tessaroc/core/result.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "graph/render.h"
#include "test_nodes.h"

namespace tessaroc::graph {
namespace {

class PatternsInGraphs : public testing::ModuleWithTestNodesTest {
 protected:
  static std::unique_ptr<Material> Compile(const std::string& text) {
    std::unique_ptr<Document> doc;
    std::unique_ptr<Material> m;
    Result r = Document::Parse(text, "graph.json", doc);
    if (r.ok()) r = Material::Compile(std::move(doc), m);
    EXPECT_TRUE(r.ok()) << r.ToString();
    return m;
  }

  static RenderSettings Settings(int size, int threads) {
    RenderSettings s;
    s.width = s.height = size;
    s.threads = threads;
    return s;
  }
};

// Mean and variance of one channel over a block of pixels.
struct Stats {
  double mean = 0, variance = 0;
};
Stats BlockStats(const host::Image& img, int channel, int x0, int y0, int x1, int y1) {
  double sum = 0, sum2 = 0;
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x) {
      const double v = img.pixels[(static_cast<size_t>(y) * img.width + x) * 4 + channel];
      sum += v;
      sum2 += v * v;
    }
  const double n = (y1 - y0) * (x1 - x0), mean = sum / n;
  return {mean, sum2 / n - mean * mean};
}

// A board of 200 x 200 repetitions over 128 pixels: about three squares per
// pixel. `front` is spliced in before the placement's context.
std::string MinifiedBoard(const std::string& front, const std::string& placeContext) {
  return R"({"tessaroc": 1, "nodes": {)" + front + R"(
    "place": {"node": "placement2d", "inputs": {)" +
         placeContext + R"("localrepetitions": [200, 200]}},
    "board": {"node": "checkerboard", "inputs": {"contextlocal": {"link": "place.result"},
      "color1": [0.9, 0.6, 0.2, 1], "color2": [0.1, 0.2, 0.4, 1]}}},
    "output": {"link": "board.result"}})";
}

TEST_F(PatternsInGraphs, AMinifiedBoardFiltersToTheMeanOfItsColoursAndAPointSampledOneAliases) {
  auto filtered = Compile(MinifiedBoard("", ""));
  // The same board with the footprint removed before the placement: all three
  // uvw points coincide, so every pixel is a point sample.
  auto pointSampled =
      Compile(MinifiedBoard(R"("point": {"node": "setshadingcontext", "inputs": {"uvwdelta": [0, 0, 0]}},)",
                            R"("context": {"link": "point.result"}, )"));
  ASSERT_TRUE(filtered && pointSampled);

  host::Image smooth, sharp;
  ASSERT_TRUE(Render(*filtered, Settings(128, 2), smooth).ok());
  ASSERT_TRUE(Render(*pointSampled, Settings(128, 2), sharp).ok());

  // The expected grey is the mean of the two colours, (0.5, 0.4, 0.3).
  const double expected[3] = {0.5, 0.4, 0.3};
  const double spread[3] = {0.4, 0.2, 0.1};  // half the difference of the colours
  // Two far corners of the picture; the board is equally fine everywhere.
  const int blocks[2][4] = {{96, 0, 128, 32}, {0, 96, 32, 128}};
  for (const auto& b : blocks)
    for (int c = 0; c < 3; ++c) {
      SCOPED_TRACE("block at (" + std::to_string(b[0]) + ", " + std::to_string(b[1]) + "), channel " +
                   std::to_string(c));
      const Stats f = BlockStats(smooth, c, b[0], b[1], b[2], b[3]);
      const Stats p = BlockStats(sharp, c, b[0], b[1], b[2], b[3]);
      EXPECT_NEAR(f.mean, expected[c], 1e-3);
      // Filtered: the footprint spans a whole period, so no pattern is left.
      EXPECT_LT(f.variance, 1e-6 * spread[c] * spread[c]);
      // Point-sampled: every pixel is one colour or the other, so the
      // variance is near that of a fair coin, spread squared.
      EXPECT_GT(p.variance, 0.5 * spread[c] * spread[c]);
      for (int y = b[1]; y < b[3]; ++y)
        for (int x = b[0]; x < b[2]; ++x) {
          const double v = sharp.pixels[(static_cast<size_t>(y) * 128 + x) * 4 + c];
          ASSERT_TRUE(std::fabs(v - (expected[c] - spread[c])) < 1e-6 ||
                      std::fabs(v - (expected[c] + spread[c])) < 1e-6)
              << "a point sample that is neither colour at (" << x << ", " << y << "): " << v;
        }
    }
}

// color1 is a constant, color2 a subgraph that reads the context, so it runs
// per sample. `repetitions` and `offset` choose how much of the board shows.
std::string LazyBoard(const std::string& color2Node, double repetitions, double offset) {
  return R"({"tessaroc": 1, "nodes": {)" + color2Node + R"(,
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [)" +
         std::to_string(repetitions) + ", " + std::to_string(repetitions) + R"(],
      "localoffset": [)" +
         std::to_string(offset) + ", " + std::to_string(offset) + R"(]}},
    "board": {"node": "checkerboard", "inputs": {"contextlocal": {"link": "place.result"},
      "color1": [-1, -1, -1, 1], "color2": {"link": "second.result"}}}},
    "output": {"link": "board.result"}})";
}

// With 0.4 repetitions and the offset -0.05 the placed u and v run from 0.02
// to 0.42, and the footprints of 64 pixels stay inside that range: the whole
// picture lies in the first colour's half-square.
constexpr double kOneSquareReps = 0.4, kOneSquareOffset = -0.05;

TEST_F(PatternsInGraphs, TheSecondColourRunsOnlyForSamplesThatNeedIt) {
  const std::string counted = R"("second": {"node": "test.uvwcolor"})";
  for (const double reps : {kOneSquareReps, 2.0, 5.0}) {
    SCOPED_TRACE("repetitions " + std::to_string(reps));
    auto m = Compile(LazyBoard(counted, reps, reps == kOneSquareReps ? kOneSquareOffset : 0.0));
    ASSERT_TRUE(m);
    const RenderSettings s = Settings(64, 1);
    ASSERT_TRUE(m->Prepare(PixelContext(32, 32, s)).ok());
    testing::KernelCalls() = 0;
    host::Image img;
    ASSERT_TRUE(Render(*m, s, img).ok());
    // The first colour is unreachable for the second's (u, v, 0, 1) and for
    // any mix of the two, so a pixel shows exactly (-1, -1, -1) if and only
    // if the second colour was not evaluated for it.
    int needed = 0;
    for (size_t p = 0; p < img.pixels.size(); p += 4)
      if (!(img.pixels[p] == -1.0f && img.pixels[p + 1] == -1.0f && img.pixels[p + 2] == -1.0f)) ++needed;
    EXPECT_EQ(testing::KernelCalls(), needed);
    if (reps == kOneSquareReps) EXPECT_EQ(needed, 0);
    else EXPECT_GT(needed, 64 * 64 / 3);
  }
}

TEST_F(PatternsInGraphs, AFailingSecondColourFailsTheRenderOnlyWhereItIsNeeded) {
  // A blend with a mode that no class implements fails on every call; its
  // background reads the context, so the failure happens per sample.
  const std::string failing = R"("uv": {"node": "test.uvwcolor"},
    "second": {"node": "net.zovan.pattern.corenode.effect.blend", "inputs": {
      "background": {"link": "uv.result"}, "blendMode": "net.zovan.render.blendmode.nosuchmode"}})";

  auto needed = Compile(LazyBoard(failing, 2.0, 0.0));
  ASSERT_TRUE(needed);
  // Primed where the first colour is enough, so that the error comes from
  // the pixels and not from the priming sample.
  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {0.1, 0.1, 0};  // placed (0.2, 0.2): first colour
  ASSERT_TRUE(needed->Prepare(ctx).ok());
  host::Image img;
  Result r = Render(*needed, Settings(64, 2), img);
  ASSERT_TRUE(r.failed());
  EXPECT_EQ(r.id(), errors::kNullPtr);
  EXPECT_NE(r.message().find("pixel ("), std::string_view::npos) << r.message();

  // One sample at a time: inside a first-colour square it succeeds, inside
  // a second-colour square it fails with the blend's error.
  std::unique_ptr<PlanInstance> ev;
  ASSERT_TRUE(needed->NewEvaluator(ev).ok());
  ASSERT_TRUE(ev->Evaluate(ctx).ok());
  EXPECT_EQ(ev->OutputAs<ColorA>().r, -1.0);
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {0.1, 0.3, 0};  // placed (0.2, 0.6): second colour
  r = ev->Evaluate(ctx);
  EXPECT_EQ(r.id(), errors::kNullPtr);
}

}  // namespace
}  // namespace tessaroc::graph
