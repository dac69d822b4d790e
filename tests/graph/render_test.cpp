// Rendering through the whole engine: thread counts do not change a bit,
// pixel contexts have real differentials.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "graph/document.h"
#include "graph/render.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"

namespace tessaroc::graph {
namespace {

class RenderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(host::InstallHostServices().ok());
    ASSERT_TRUE(module::LoadModule().ok());
  }
  static void TearDownTestSuite() { (void)module::UnloadModule(); }

  static host::Image RenderText(const char* text, int threads, int size = 64) {
    std::unique_ptr<Document> doc;
    EXPECT_TRUE(Document::Parse(text, "render.json", doc).ok());
    std::unique_ptr<Material> m;
    Result r = Material::Compile(std::move(doc), m);
    EXPECT_TRUE(r.ok()) << r.ToString();
    RenderSettings s;
    s.width = s.height = size;
    s.threads = threads;
    host::Image image;
    r = Render(*m, s, image);
    EXPECT_TRUE(r.ok()) << r.ToString();
    return image;
  }
};

// Per-sample state (placement caches), pre nodes (noise), function bodies
// (checkerboard colours) and a per-sample colour effect.
const char* kGraph = R"({
  "tessaroc": 1,
  "nodes": {
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [5, 3], "localrotation": 0.4}},
    "grain": {"node": "noise", "inputs": {"noisetype": "turbulence", "contextlocal": {"link": "place.result"}}},
    "board": {"node": "checkerboard", "inputs": {"color1": {"link": "grain.result"}, "color2": [0.2, 0.3, 0.9, 1],
                                                 "contextlocal": {"link": "place.result"}}},
    "grade": {"node": "exposure", "inputs": {"color": {"link": "board.result"}, "exposure": 0.5, "gamma": 2.2}}
  },
  "output": {"link": "grade.result"}
})";

TEST_F(RenderTest, OneAndTwoThreadsGiveTheSameBits) {
  const host::Image one = RenderText(kGraph, 1, 96);
  const host::Image two = RenderText(kGraph, 2, 96);
  ASSERT_EQ(one.pixels.size(), two.pixels.size());
  EXPECT_EQ(std::memcmp(one.pixels.data(), two.pixels.data(), one.pixels.size() * sizeof(float)), 0);
  // And the picture is not flat: the test would pass on an all-black image otherwise.
  float lo = one.pixels[0], hi = one.pixels[0];
  for (size_t i = 0; i < one.pixels.size(); i += 4) lo = std::min(lo, one.pixels[i]), hi = std::max(hi, one.pixels[i]);
  EXPECT_GT(hi - lo, 0.2f);
}

TEST_F(RenderTest, PixelContextsHaveDifferentialsFromTheNeighbours) {
  RenderSettings s;
  s.width = 4;
  s.height = 2;
  const ShadingContext c = PixelContext(1, 0, s);
  EXPECT_DOUBLE_EQ(c.uvw.x, 1.5 / 4);
  EXPECT_DOUBLE_EQ(c.uvw.y, 1.0 - 0.5 / 2);  // v grows upwards, row 0 is the top
  EXPECT_DOUBLE_EQ(c.uvwdx.x - c.uvw.x, 0.25);
  EXPECT_DOUBLE_EQ(c.uvwdy.y - c.uvw.y, -0.5);
  EXPECT_EQ(c.pixelx, 1);
  EXPECT_EQ(c.pixely, 0);
  EXPECT_EQ(c.shadingnormal, (Vector{0, 0, 1}));
  EXPECT_EQ(c.raydirection, (Vector{0, 0, -1}));
  EXPECT_EQ(c.searchpaths, &s.searchPaths);
}

TEST_F(RenderTest, OutputsWithoutColourAreRefused) {
  const char* text = R"({"tessaroc": 1, "nodes": {"p": {"node": "placement2d"}}, "output": {"link": "p.result"}})";
  std::unique_ptr<Document> doc;
  ASSERT_TRUE(Document::Parse(text, "ctx.json", doc).ok());
  std::unique_ptr<Material> m;
  ASSERT_TRUE(Material::Compile(std::move(doc), m).ok());
  host::Image image;
  Result r = Render(*m, RenderSettings{}, image);
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("has no colour"), std::string_view::npos);
}

}  // namespace
}  // namespace tessaroc::graph
