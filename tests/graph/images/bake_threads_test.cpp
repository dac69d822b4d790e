// Baking inside a render (cache and baked blur over a placed noise, checker
// and scatter subgraph) gives the same bits whatever the number of threads,
// both for the render's tiles and for the bake's own parallel loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "module_fixture.h"
#include "graph/document.h"
#include "graph/render.h"
#include "host/jobs/job_service.h"

namespace tessaroc::graph {
namespace {

// Stateful nodes inside the baked functions on purpose: the placement's cache,
// the noise table, the scatter's splat table, each built by whichever thread
// gets there first.
const char* kBaked = R"({
  "tessaroc": 1,
  "nodes": {
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [3, 3], "localrotation": 0.4}},
    "grain": {"node": "noise", "inputs": {"noisetype": "turbulence", "octaves": 5,
                                           "contextlocal": {"link": "place.result"}}},
    "board": {"node": "checkerboard", "inputs": {"contextlocal": {"link": "place.result"},
                                                 "color1": {"link": "grain.result"}, "color2": [0.1, 0.2, 0.6, 1]}},
    "spots": {"node": "scatter", "inputs": {"count": 12, "seed": 5}},
    "dots": {"node": "circle", "inputs": {"contextlocal": {"link": "spots.resultcontext"},
                                          "fill": [0.9, 0.5, 0.1, 1], "exterior": [0, 0, 0, 0]}},
    "over": {"node": "blend", "inputs": {"background": {"link": "board.result"}, "foreground": {"link": "dots.result"}}},
    "baked": {"node": "cache", "inputs": {"color": {"link": "over.result"}, "width": 96, "height": 80,
                                          "interpolation": "linear"}},
    "soft": {"node": "blur", "inputs": {"color": {"link": "over.result"}, "mode": "baked",
                                        "radius": 0.02, "resolution": 100}},
    "mix": {"node": "blend", "inputs": {"background": {"link": "baked.result"},
                                        "foreground": {"link": "soft.result"}, "blendmode": "difference"}}
  },
  "output": {"link": "mix.result"}
})";

class BakeThreadsTest : public testing::ModuleTest {
 protected:
  static void TearDownTestSuite() {
    host::InstallJobService();  // back to every core for whatever runs next
    ModuleTest::TearDownTestSuite();
  }

  // A fresh material, baked by a job service of `threads` workers and
  // rendered on `threads` threads.
  static Result RenderWith(const std::string& text, int threads, host::Image& out) {
    host::InstallJobService(threads);
    std::unique_ptr<Document> doc;
    TESSAROC_RETURN_IF_FAILED(Document::Parse(text, "baked.json", doc));
    std::unique_ptr<Material> m;
    TESSAROC_RETURN_IF_FAILED(Material::Compile(std::move(doc), m));
    RenderSettings s;
    s.width = 72;
    s.height = 64;
    s.threads = threads;
    return Render(*m, s, out);
  }
};

TEST_F(BakeThreadsTest, OneAndTwoThreadsGiveIdenticalBitsEveryTime) {
  host::Image one;
  Result r = RenderWith(kBaked, 1, one);
  ASSERT_TRUE(r.ok()) << r.ToString();
  // The picture has something in it: the comparisons below would pass on
  // black images too.
  float lo = 1e30f, hi = -1e30f;
  for (size_t p = 0; p < one.pixels.size(); p += 4) lo = std::min(lo, one.pixels[p]), hi = std::max(hi, one.pixels[p]);
  EXPECT_GT(hi - lo, 0.05f);
  // Two threads, several times: a bake that raced would rarely repeat its bits.
  for (int round = 0; round < 3; ++round) {
    host::Image two;
    r = RenderWith(kBaked, 2, two);
    ASSERT_TRUE(r.ok()) << r.ToString();
    ASSERT_EQ(one.pixels.size(), two.pixels.size());
    size_t differing = 0;
    for (size_t i = 0; i < one.pixels.size(); ++i)
      differing += std::memcmp(&one.pixels[i], &two.pixels[i], sizeof(float)) != 0;
    EXPECT_EQ(differing, 0u) << "round " << round << ": of " << one.pixels.size() << " channel values";
  }
}

}  // namespace
}  // namespace tessaroc::graph
