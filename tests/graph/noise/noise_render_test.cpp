// Noise through the whole engine: a document compiled into a material and
// rendered, so that the sample footprint reaches the noise through the
// placement's differentials.
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
  // The red channel of a 48-pixel square render of `text`.
  static std::vector<float> RenderGrey(const std::string& text) {
    std::unique_ptr<Document> document;
    Result r = Document::Parse(text, "test.json", document);
    std::unique_ptr<Material> material;
    if (r.ok()) r = Material::Compile(std::move(document), material);
    RenderSettings s;
    s.width = s.height = 48;
    s.threads = 2;
    host::Image image;
    if (r.ok()) r = Render(*material, s, image);
    EXPECT_TRUE(r.ok()) << r.ToString();
    std::vector<float> grey;
    for (size_t p = 0; p < static_cast<size_t>(image.width) * image.height; ++p) grey.push_back(image.pixels[p * 4]);
    return grey;
  }
};

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

TEST_F(NoiseRender, AMinifiedNoiseSettlesOnItsMeanThroughThePlacementsDifferentials) {
  for (const std::string type : {"fbm", "turbulence", "voronoi1", "naki"}) {
    for (const std::string mode : {"repeat", "extend"}) {
      SCOPED_TRACE(type + " " + mode);
      const Moments near = Measure(RenderGrey(PlacedDocument(type, 1.0, mode, false)));
      const Moments far = Measure(RenderGrey(PlacedDocument(type, 3000.0, mode, false)));
      ASSERT_GT(near.sd, 0.08);
      EXPECT_NEAR(far.mean, 0.5, 0.03);
      EXPECT_LT(far.sd, 0.15 * near.sd) << "the minified noise keeps its detail: it aliases";
      // An absolute noise keeps its brightness, instead of falling to black.
      const Moments nearAbs = Measure(RenderGrey(PlacedDocument(type, 1.0, mode, true)));
      const Moments farAbs = Measure(RenderGrey(PlacedDocument(type, 3000.0, mode, true)));
      EXPECT_NEAR(farAbs.mean, nearAbs.mean, 0.25 * nearAbs.mean);
      EXPECT_LT(farAbs.sd, 0.15 * nearAbs.sd);
    }
  }
}

}  // namespace
}  // namespace tessaroc::graph
