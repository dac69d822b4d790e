// Noise through the whole engine: a document compiled into a material and
// rendered, so that the scene time reaches the noise through the context and
// the sample footprint through the placement's differentials.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "module_fixture.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "graph/render.h"

namespace tessaroc::graph {
namespace {

class NoiseRender : public testing::ModuleTest {
 protected:
  // The red channel of a square render of `text` at `time`.
  static std::vector<float> RenderGrey(const std::string& text, double time, int size = 48) {
    std::unique_ptr<Document> document;
    Result r = Document::Parse(text, "test.json", document);
    EXPECT_TRUE(r.ok()) << r.ToString();
    std::unique_ptr<Material> material;
    if (r.ok()) r = Material::Compile(std::move(document), material);
    EXPECT_TRUE(r.ok()) << r.ToString();
    std::vector<float> grey;
    if (!r.ok()) return grey;
    RenderSettings s;
    s.width = s.height = size;
    s.threads = 2;
    s.time = time;
    host::Image image;
    r = Render(*material, s, image);
    EXPECT_TRUE(r.ok()) << r.ToString();
    for (size_t p = 0; p < static_cast<size_t>(image.width) * image.height; ++p) grey.push_back(image.pixels[p * 4]);
    return grey;
  }
};

std::string NoiseDocument(const std::string& type, double speed, const std::string& extra = "") {
  return R"({"tessaroc": 1, "nodes": {"grain": {"node": "noise", "inputs": {"noisetype": ")" + type +
         R"(", "octaves": 4, "animationspeed": )" + std::to_string(speed) + extra +
         R"(}}}, "output": {"link": "grain.result"}})";
}

// A noise behind a placement that repeats the square `repetitions` times.
std::string PlacedDocument(const std::string& type, double repetitions, const std::string& mode, bool absolute) {
  const std::string r = std::to_string(repetitions);
  return R"({"tessaroc": 1, "nodes": {
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [)" +
         r + ", " + r + R"(],
              "localrotation": 0.3, "localmodeu": ")" +
         mode + R"(", "localmodev": ")" + mode + R"("}},
    "grain": {"node": "noise", "inputs": {"noisetype": ")" +
         type + R"(", "octaves": 5, "absolute": )" + (absolute ? "true" : "false") + R"(,
              "contextlocal": {"link": "place.result"}}}},
    "output": {"link": "grain.result"}})";
}

double MeanAbsDifference(const std::vector<float>& a, const std::vector<float>& b) {
  EXPECT_EQ(a.size(), b.size());
  double sum = 0;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) sum += std::fabs(a[i] - b[i]);
  return a.empty() ? 0.0 : sum / a.size();
}

struct Moments {
  double mean, sd;
};
Moments Measure(const std::vector<float>& v) {
  double s = 0, s2 = 0;
  for (float x : v) {
    s += x;
    s2 += static_cast<double>(x) * x;
  }
  const double m = v.empty() ? 0.0 : s / v.size();
  return {m, v.empty() ? 0.0 : std::sqrt(std::max(0.0, s2 / v.size() - m * m))};
}

TEST_F(NoiseRender, SceneTimeAnimatesTheNoiseContinuously) {
  // A lattice noise, a cellular one with moving feature points, and cell
  // noise, which cross-fades between whole times.
  for (const std::string type : {"fbm", "voronoi3", "cell", "gaseous"}) {
    SCOPED_TRACE(type);
    const std::string doc = NoiseDocument(type, 1.0);
    const std::vector<float> at = RenderGrey(doc, 1.25);
    const std::vector<float> soon = RenderGrey(doc, 1.2505);
    // Half the period of the cellular feature points' paths (2 pi) later.
    const std::vector<float> later = RenderGrey(doc, 1.25 + 3.14159);
    const double sd = Measure(at).sd;
    ASSERT_GT(sd, 0.05);
    const double small = MeanAbsDifference(at, soon);
    EXPECT_GT(small, 0.0) << "the picture did not move at all";
    EXPECT_LT(small, 0.02 * sd) << "a tiny time step jumped";
    EXPECT_GT(MeanAbsDifference(at, later), 0.5 * sd) << "a long time changed too little";
  }
}

TEST_F(NoiseRender, AnimationSpeedScalesTimeAndZeroKeepsThePatternStill) {
  const std::string still = NoiseDocument("turbulence", 0.0);
  EXPECT_EQ(RenderGrey(still, 0.0), RenderGrey(still, 3.5));
  // Speed times time is what reaches the noise: 2 x 1.5 and 1 x 3 agree exactly.
  EXPECT_EQ(RenderGrey(NoiseDocument("turbulence", 2.0), 1.5), RenderGrey(NoiseDocument("turbulence", 1.0), 3.0));
  // Time 0 is the still pattern whatever the speed.
  EXPECT_EQ(RenderGrey(NoiseDocument("turbulence", 5.0), 0.0), RenderGrey(still, 0.0));
}

TEST_F(NoiseRender, AMinifiedNoiseSettlesOnItsMeanThroughThePlacementsDifferentials) {
  for (const std::string type : {"fbm", "turbulence", "voronoi1", "naki"}) {
    for (const std::string mode : {"repeat", "extend"}) {
      SCOPED_TRACE(type + " " + mode);
      const Moments near = Measure(RenderGrey(PlacedDocument(type, 1.0, mode, false), 0.0));
      const Moments far = Measure(RenderGrey(PlacedDocument(type, 3000.0, mode, false), 0.0));
      ASSERT_GT(near.sd, 0.08);
      EXPECT_NEAR(far.mean, 0.5, 0.03);
      EXPECT_LT(far.sd, 0.15 * near.sd) << "the minified noise keeps its detail: it aliases";
      // An absolute noise keeps its brightness, instead of falling to black.
      const Moments nearAbs = Measure(RenderGrey(PlacedDocument(type, 1.0, mode, true), 0.0));
      const Moments farAbs = Measure(RenderGrey(PlacedDocument(type, 3000.0, mode, true), 0.0));
      EXPECT_NEAR(farAbs.mean, nearAbs.mean, 0.25 * nearAbs.mean);
      EXPECT_LT(farAbs.sd, 0.15 * nearAbs.sd);
    }
  }
}

}  // namespace
}  // namespace tessaroc::graph
