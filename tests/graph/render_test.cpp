// Rendering through the whole engine: thread counts do not change a bit,
// pixel contexts have real differentials that reach a noise through its
// placement, shapes are shaded and lit; the preview shapes' per-pixel
// contexts against closed-form geometry and the neighbouring pixels' hits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "module_fixture.h"
#include "graph/document.h"
#include "graph/preview/vector_math.h"
#include "graph/render.h"
#include "host/jobs/job_service.h"

namespace tessaroc::graph {
namespace {

RenderSettings Sized(int width, int height, int threads = RenderSettings{}.threads, const View& view = {}) {
  RenderSettings s;
  s.width = width;
  s.height = height;
  s.threads = threads;
  s.view = view;
  return s;
}

View ShapeView(Shape shape, bool lit) {
  View v;
  v.shape = shape;
  v.lit = lit;
  return v;
}

class RenderTest : public testing::ModuleTest {
 public:
  static void TearDownTestSuite() {
    host::InstallJobService();  // back to every core for whatever runs next
    ModuleTest::TearDownTestSuite();
  }

  // `text` compiled, with `extra` outputs for AOVs.
  static std::unique_ptr<Material> Compiled(const std::string& text, const std::vector<std::string>& extra = {}) {
    std::unique_ptr<Document> doc;
    Result r = Document::Parse(text, "render.json", doc);
    std::unique_ptr<Material> m;
    if (r.ok()) r = Material::Compile(std::move(doc), m, extra);
    EXPECT_TRUE(r.ok()) << r.ToString();
    return m;
  }

  static host::Image RenderText(const std::string& text, int threads, int size = 64, const View& view = {},
                                int width = 0, int height = 0) {
    std::unique_ptr<Material> m = Compiled(text);
    const RenderSettings s = Sized(width ? width : size, height ? height : size, threads, view);
    host::Image image;
    const Result r = Render(*m, s, image);
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

// A board whose grooves are a bump of a soft disc, named as the normal.
const char* kBumped = R"({
  "tessaroc": 1,
  "nodes": {
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [4, 2]}},
    "board": {"node": "checkerboard", "inputs": {"color1": [0.9, 0.6, 0.3, 1], "color2": [0.9, 0.9, 0.9, 1],
                                                 "contextlocal": {"link": "place.result"}}},
    "dots": {"node": "circle", "inputs": {"contextlocal": {"link": "place.result"}, "scale": 0.7, "innersoftness": 0.3}},
    "bump": {"node": "bump", "inputs": {"color": {"link": "dots.result"}, "strength": 0.05, "epsilonuv": 20}}
  },
  "output": {"link": "board.result"},
  "normal": {"link": "bump.result"}
})";

// Light shades every pixel of the shape and leaves the background and alpha
// alone. (Where the document's normal bends the light, the lit sphere/ golden
// pictures show.)
TEST_F(RenderTest, LightingShadesTheShapeAlone) {
  const host::Image unlit = RenderText(kBumped, 2, 64, ShapeView(Shape::kSphere, false));
  const host::Image lit = RenderText(kBumped, 2, 64, ShapeView(Shape::kSphere, true));
  int shaded = 0, covered = 0;
  for (size_t p = 0; p < lit.pixels.size(); p += 4) {
    EXPECT_EQ(lit.pixels[p + 3], unlit.pixels[p + 3]);  // light leaves alpha alone
    if (unlit.pixels[p + 3] == 0) {                     // background: no light on it
      EXPECT_EQ(lit.pixels[p], unlit.pixels[p]);
      continue;
    }
    ++covered;
    shaded += lit.pixels[p] != unlit.pixels[p];
  }
  EXPECT_GT(covered, 1000);
  EXPECT_EQ(shaded, covered);
}

TEST_F(RenderTest, MissesShowTheBackgroundWithItsAlpha) {
  View view = ShapeView(Shape::kCube, true);
  view.background = {Background::Kind::kColor, {0.25, 0.5, 0.75}, 0.0};
  for (double alpha : {0.0, 1.0}) {
    view.background.alpha = alpha;
    const host::Image image = RenderText(kGraph, 1, 32, view);
    EXPECT_EQ(std::vector<float>(image.pixels.begin(), image.pixels.begin() + 4),
              (std::vector<float>{0.25f, 0.5f, 0.75f, static_cast<float>(alpha)}));
    EXPECT_EQ(image.pixels[(16 * 32 + 16) * 4 + 3], 1.0f);  // the cube's opaque face
  }
}

TEST_F(RenderTest, ViewsThatCannotBeSeenAreRefused) {
  const struct {
    Camera camera;
    const char* message;
  } cases[] = {
      {{30, 0.4, 30, 25}, "outside the sphere"},
      {{0, 0, 30, 25}, "field of view"},
      {{180, 0, 30, 25}, "field of view"},
      {{30, 0, 30, 90}, "elevation"},
  };
  const std::unique_ptr<Material> m = Compiled(kGraph);
  ASSERT_NE(m, nullptr);
  for (const auto& c : cases) {
    RenderSettings s = Sized(8, 8, RenderSettings{}.threads, ShapeView(Shape::kSphere, false));
    s.view.camera = c.camera;
    host::Image image;
    image.pixels.assign(8 * 8 * 4, 0.5f);  // the last picture of this size
    Result r = Render(*m, s, image);
    ASSERT_TRUE(r.failed()) << c.message;
    EXPECT_NE(r.message().find(c.message), std::string_view::npos) << r.message();
    // A picture is not cleared before its tiles fill it: one that fails
    // keeps nothing of the last.
    EXPECT_EQ(std::count(image.pixels.begin(), image.pixels.end(), 0.0f), 8 * 8 * 4) << c.message;
  }
}

// A window of the picture, and the extra images beside it, are the pixels
// the whole picture has there, bit for bit: a farm that renders parts and
// pastes them gets the picture. An AOV is the picture that output would
// give as the main one, unlit.
TEST_F(RenderTest, WindowsAndAovsAreThePixelsOfTheWholePicture) {
  const std::vector<std::string> extra = {"dots.mask", "board.result"};
  std::string dotsMain = kBumped;
  const std::string board = "\"link\": \"board.result\"}";
  dotsMain.replace(dotsMain.find(board), board.size(), "\"link\": \"dots.mask\"}");
  for (const View& view : {View{}, ShapeView(Shape::kSphere, true)}) {
    const std::unique_ptr<Material> m = Compiled(kBumped, extra);
    ASSERT_NE(m, nullptr);
    RenderSettings s = Sized(70, 50, 2, view);
    s.aovs = {{"dots", "dots.mask"}, {"board", "board.result"}};
    // Rendered over a picture of the same size: every channel of every
    // pixel, the background's AOVs too, is written, none left from it.
    host::Image whole;
    whole.pixels.assign(70 * 50 * (4 + 1 + 4), std::nanf(""));
    ASSERT_TRUE(Render(*m, s, whole).ok());
    ASSERT_EQ(whole.channels, 4 + 1 + 4);
    ASSERT_EQ(whole.layers.size(), 3u);
    EXPECT_FALSE(whole.layers[1].color);  // a float is data
    EXPECT_TRUE(whole.layers[2].color);

    // The main picture does not change with AOVs; each AOV is its own picture.
    View unlit = view;
    unlit.lit = false;
    const host::Image plain = RenderText(kBumped, 1, 0, view, 70, 50);
    const host::Image boardOnly = RenderText(kBumped, 1, 0, unlit, 70, 50);
    const host::Image dots = RenderText(dotsMain, 1, 0, unlit, 70, 50);
    ViewSampler sampler;
    ASSERT_TRUE(ViewSampler::Create(view, 70, 50, sampler).ok());
    int differ = 0;
    for (int p = 0; p < 70 * 50; ++p) {
      const float* px = &whole.pixels[static_cast<size_t>(p) * whole.channels];
      ShadingContext ctx;
      const bool hit = ViewContext(sampler, p % 70, p / 70, s, ctx);
      for (int c = 0; c < 4; ++c) {
        ASSERT_EQ(px[c], plain.pixels[p * 4 + c]) << p;
        ASSERT_EQ(px[5 + c], hit ? boardOnly.pixels[p * 4 + c] : 0.0f) << p;
      }
      ASSERT_EQ(px[4], hit ? dots.pixels[p * 4] : 0.0f) << p;
      differ += px[4] != px[0];
    }
    EXPECT_GT(differ, 100);  // the layers hold different pictures

    for (const Window w :
         {Window{0, 0, 70, 50}, Window{31, 7, 66, 41}, Window{69, 49, 70, 50}, Window{0, 25, 70, 50}}) {
      const std::unique_ptr<Material> fresh = Compiled(kBumped, extra);  // a farm's machine compiles its own
      ASSERT_NE(fresh, nullptr);
      s.window = w;
      host::Image part;
      ASSERT_TRUE(Render(*fresh, s, part).ok());
      ASSERT_EQ(part.width, w.x1 - w.x0);
      ASSERT_EQ(part.height, w.y1 - w.y0);
      EXPECT_EQ(part.x, w.x0);
      EXPECT_EQ(part.y, w.y0);
      for (int y = 0; y < part.height; ++y) {
        const float* got = &part.pixels[static_cast<size_t>(y) * part.width * part.channels];
        const float* want = &whole.pixels[(static_cast<size_t>(y + w.y0) * 70 + w.x0) * whole.channels];
        ASSERT_EQ(std::memcmp(got, want, part.width * part.channels * sizeof(float)), 0) << y + w.y0;
      }
    }
  }
}

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

// Baking inside a render (cache and baked blur over a placed noise, checker
// and scatter subgraph) gives the same bits whatever the number of threads,
// both for the render's tiles and for the bake's own parallel loop.
TEST_F(RenderTest, BakesGiveTheSameBitsOnOneAndTwoThreadsEveryTime) {
  // A fresh material, baked by a job service of `threads` workers and
  // rendered on `threads` threads.
  auto render = [](int threads) {
    host::InstallJobService(threads);
    return RenderText(kBaked, threads, 0, {}, 72, 64);
  };
  const host::Image one = render(1);
  // The picture has something in it: the comparisons below would pass on
  // black images too.
  float lo = 1e30f, hi = -1e30f;
  for (size_t p = 0; p < one.pixels.size(); p += 4) lo = std::min(lo, one.pixels[p]), hi = std::max(hi, one.pixels[p]);
  EXPECT_GT(hi - lo, 0.05f);
  // Two threads, several times: a bake that raced would rarely repeat its bits.
  for (int round = 0; round < 3; ++round) {
    const host::Image two = render(2);
    ASSERT_EQ(one.pixels.size(), two.pixels.size());
    size_t differing = 0;
    for (size_t i = 0; i < one.pixels.size(); ++i)
      differing += std::memcmp(&one.pixels[i], &two.pixels[i], sizeof(float)) != 0;
    EXPECT_EQ(differing, 0u) << "round " << round << ": of " << one.pixels.size() << " channel values";
  }
  host::InstallJobService();
}

// Renders share their workers (one pool per thread count, kept between
// renders). Several at once, from threads of the embedding program, each get
// their own picture whole.
TEST_F(RenderTest, RendersAtOnceFromSeveralThreadsShareTheWorkers) {
  const host::Image alone = RenderText(kGraph, 1, 48);
  std::vector<host::Image> images(3);
  std::vector<std::thread> callers;
  for (host::Image& image : images)
    callers.emplace_back([&image] {
      for (int round = 0; round < 4; ++round) image = RenderText(kGraph, 2, 48);
    });
  for (std::thread& t : callers) t.join();
  for (const host::Image& image : images) {
    ASSERT_EQ(image.pixels.size(), alone.pixels.size());
    EXPECT_EQ(std::memcmp(image.pixels.data(), alone.pixels.data(), alone.pixels.size() * sizeof(float)), 0);
  }
}

// What a render refuses before it allocates anything.
TEST_F(RenderTest, ImpossibleImagesAreRefusedBeforeAllocating) {
  const std::unique_ptr<Material> m = Compiled(kGraph, {"board.result"});
  ASSERT_NE(m, nullptr);
  std::vector<RenderAov> many;
  for (int i = 0; i < 20; ++i) many.push_back({"b" + std::to_string(i), "board.result"});
  const struct {
    int width, height;
    std::optional<Window> window;
    std::vector<RenderAov> aovs;
    const char* message;
  } cases[] = {
      {kMaxImageSide + 1, 8, {}, {}, "65536 pixels a side"},
      {16, 16, Window{0, 0, 17, 16}, {}, "not a part of the 16x16 image"},
      {16, 16, Window{4, 4, 4, 8}, {}, "not a part"},
      {16, 16, {}, {{"g", "grain.result"}}, "not compiled with grain.result"},
      {16, 16, {}, {{"b", "board.result"}, {"b", "board.result"}}, "named twice"},
      // Over a terabyte: no machine has it available.
      {kMaxImageSide, kMaxImageSide, {}, many, "are available"},
  };
  for (const auto& c : cases) {
    RenderSettings s = Sized(c.width, c.height);
    s.window = c.window;
    s.aovs = c.aovs;
    host::Image image;
    Result r = Render(*m, s, image);
    ASSERT_TRUE(r.failed()) << c.message;
    EXPECT_NE(r.message().find(c.message), std::string_view::npos) << r.message();
    EXPECT_LE(image.pixels.capacity(), 0u) << c.message;
  }
}

TEST_F(RenderTest, PixelContextsHaveDifferentialsFromTheNeighbours) {
  const RenderSettings s = Sized(4, 2);
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

// Stats count every kernel call: the bump calls its height body three times
// per sample, so the body's nodes run three times as often; the noise's pre
// node runs once, when the render prepares the material, and not in a second
// render. Counting changes no pixel, and the thread count no count.
TEST_F(RenderTest, StatsCountEveryCallOfEveryNode) {
  const char* text = R"({
    "tessaroc": 1,
    "nodes": {
      "place": {"node": "placement2d", "inputs": {"localrepetitions": [0.4, 0.4]}},
      "height": {"node": "noise", "inputs": {"contextlocal": {"link": "place.result"}, "noisetype": "fbm"}},
      "bump": {"node": "bump", "inputs": {"color": {"link": "height.result"}, "strength": 0.15}},
      "tone": {"node": "exposure", "inputs": {"color": {"link": "bump.result"}, "exposure": 0.5}}
    },
    "output": {"link": "tone.result"}
  })";
  constexpr int kWidth = 40, kHeight = 36;  // three tiles by three, the last ones partial
  constexpr uint64_t kSamples = kWidth * kHeight;
  auto render = [&](Material& m, int threads, RenderStats* stats) {
    RenderSettings s = Sized(kWidth, kHeight, threads);
    s.stats = stats;
    host::Image image;
    EXPECT_TRUE(Render(m, s, image).ok());
    return image;
  };
  const host::Image plain = render(*Compiled(text), 1, nullptr);
  for (int threads : {1, 2}) {
    SCOPED_TRACE(threads);
    std::unique_ptr<Material> m = Compiled(text);
    RenderStats stats;
    const host::Image counted = render(*m, threads, &stats);
    ASSERT_EQ(counted.pixels.size(), plain.pixels.size());
    EXPECT_EQ(std::memcmp(counted.pixels.data(), plain.pixels.data(), plain.pixels.size() * sizeof(float)), 0);
    EXPECT_EQ(stats.samples, static_cast<int64_t>(kSamples));
    EXPECT_TRUE(stats.prepared);
    auto calls = [&](const RenderStats& st, const std::string& label, bool uniform) -> int64_t {
      int64_t found = -1;
      for (const NodeStats& n : st.nodes)
        if (n.label == label && n.uniform == uniform) {
          EXPECT_EQ(found, -1) << label << " has two rows";
          EXPECT_GE(n.seconds, 0.0) << label;
          found = static_cast<int64_t>(n.calls);
        }
      return found;
    };
    EXPECT_EQ(calls(stats, "tone", false), static_cast<int64_t>(kSamples));
    EXPECT_EQ(calls(stats, "bump", false), static_cast<int64_t>(kSamples));
    EXPECT_EQ(calls(stats, "height", false), static_cast<int64_t>(3 * kSamples));
    EXPECT_EQ(calls(stats, "place", false), static_cast<int64_t>(3 * kSamples));
    EXPECT_EQ(calls(stats, "height.pre", true), 1);
    double total = stats.engineSeconds;
    for (const NodeStats& n : stats.nodes) total += n.seconds;
    EXPECT_GT(total, 0.0);
    for (size_t i = 1; i < stats.nodes.size(); ++i) EXPECT_GE(stats.nodes[i - 1].seconds, stats.nodes[i].seconds);

    RenderStats again;
    render(*m, threads, &again);
    EXPECT_FALSE(again.prepared);
    EXPECT_EQ(calls(again, "height.pre", true), -1);
    EXPECT_EQ(calls(again, "bump", false), static_cast<int64_t>(kSamples));
  }
}

// A context moved to another pixel is that pixel's own context, bit for bit,
// from any pixel before it (the renderer moves along rows, where a step reuses
// the last pixel's neighbour, and to the next row).
TEST_F(RenderTest, AMovedPlaneContextIsThePixelsOwn) {
  const int w = 37, h = 23;
  for (const auto& [from, to] : {std::pair{std::pair{0, 0}, std::pair{1, 0}}, {{35, 22}, {36, 22}}, {{36, 4}, {0, 5}},
                                 {{3, 2}, {30, 21}}, {{3, 2}, {4, 3}}}) {
    ShadingContext moved = PlaneContext(from.first, from.second, w, h);
    moved.pixelx = from.first, moved.pixely = from.second;
    MovePlaneContext(to.first, to.second, w, h, moved);
    const ShadingContext own = PlaneContext(to.first, to.second, w, h);
    using C = ShadingContext;
    for (Vector C::*f : {&C::uvw, &C::uvwdx, &C::uvwdy, &C::position, &C::positiondx, &C::positiondy, &C::rayorigin,
                         &C::rayorigindx, &C::rayorigindy, &C::raydirection, &C::shadingnormal, &C::tangent})
      EXPECT_EQ(std::memcmp(&(moved.*f), &(own.*f), sizeof(Vector)), 0) << to.first << "," << to.second;
    const ShadingContext start = PlaneContext(from.first, from.second, w, h);
    EXPECT_NE(std::memcmp(&moved.uvw, &start.uvw, sizeof(Vector)), 0);
  }
}

// ---- noise, minified through a placement

// The red channel of a 48-pixel square render of `text` on two threads.
std::vector<float> Grey(const std::string& text) {
  std::vector<float> grey;
  const std::unique_ptr<Material> m = RenderTest::Compiled(text);
  host::Image image;
  if (m) {
    const Result r = Render(*m, Sized(48, 48, 2), image);
    EXPECT_TRUE(r.ok()) << r.ToString();
  }
  for (size_t p = 0; p < static_cast<size_t>(image.width) * image.height; ++p) grey.push_back(image.pixels[p * 4]);
  return grey;
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

TEST_F(RenderTest, AMinifiedNoiseSettlesOnItsMeanThroughThePlacementsDifferentials) {
  for (const std::string type : {"fbm", "turbulence", "voronoi1", "naki"}) {
    for (const std::string mode : {"repeat", "extend"}) {
      SCOPED_TRACE(type + " " + mode);
      const Moments near = Measure(Grey(PlacedDocument(type, 1.0, mode, false)));
      const Moments far = Measure(Grey(PlacedDocument(type, 3000.0, mode, false)));
      ASSERT_GT(near.sd, 0.08);
      EXPECT_NEAR(far.mean, 0.5, 0.03);
      EXPECT_LT(far.sd, 0.15 * near.sd) << "the minified noise keeps its detail: it aliases";
      // An absolute noise keeps its brightness, instead of falling to black.
      const Moments nearAbs = Measure(Grey(PlacedDocument(type, 1.0, mode, true)));
      const Moments farAbs = Measure(Grey(PlacedDocument(type, 3000.0, mode, true)));
      EXPECT_NEAR(farAbs.mean, nearAbs.mean, 0.25 * nearAbs.mean);
      EXPECT_LT(farAbs.sd, 0.15 * nearAbs.sd);
    }
  }
}

// ---- the preview shapes

using namespace vmath;

constexpr double kDegree = std::numbers::pi / 180;

void ExpectNear(const Vector& got, const Vector& want, double tolerance, const char* what) {
  EXPECT_NEAR(got.x, want.x, tolerance) << what;
  EXPECT_NEAR(got.y, want.y, tolerance) << what;
  EXPECT_NEAR(got.z, want.z, tolerance) << what;
}

TEST(Preview, TheSphereAtTheImageCentreFacesTheCamera) {
  // With odd sizes a pixel centre lies on the camera's axis, whose ray meets
  // the sphere at 0.5 times the unit vector toward the camera.
  const double orbits[][2] = {{30, 25}, {-70, 10}, {160, -40}};
  for (const auto& [azimuth, elevation] : orbits) {
    RenderSettings s = Sized(65, 33, RenderSettings{}.threads, ShapeView(Shape::kSphere, false));
    s.view.camera.azimuth = azimuth;
    s.view.camera.elevation = elevation;
    ViewSampler sampler;
    ASSERT_TRUE(ViewSampler::Create(s.view, s.width, s.height, sampler).ok());
    ShadingContext c;
    ASSERT_TRUE(ViewContext(sampler, 32, 16, s, c));
    const double a = azimuth * kDegree, e = elevation * kDegree;
    const Vector toCamera{std::sin(a) * std::cos(e), -std::cos(a) * std::cos(e), std::sin(e)};
    ExpectNear(c.position, 0.5 * toCamera, 1e-12, "position");
    ExpectNear(c.geometricnormal, toCamera, 1e-12, "geometric normal");
    EXPECT_EQ(c.shadingnormal, c.geometricnormal);
    ExpectNear(c.raydirection, -1.0 * toCamera, 1e-12, "ray");
    // u grows along the longitude, v toward the north pole.
    ExpectNear(c.tangent, {std::cos(a), std::sin(a), 0}, 1e-12, "tangent");
    ExpectNear(c.bitangent, {-std::sin(e) * std::sin(a), std::sin(e) * std::cos(a), std::cos(e)}, 1e-12, "bitangent");
    ExpectNear(c.uvw, {0.5 + azimuth / 360, 0.5 + elevation / 180, 0}, 1e-12, "uvw");
    EXPECT_EQ(c.pixelx, 32);
    EXPECT_EQ(c.pixely, 16);
    EXPECT_EQ(c.uvwvalid, 1);
  }
}

// Every shape, every pixel whose neighbours to the right and below hit it too:
// a point on the pixel's ray facing it, an orthonormal right-handed frame, and
// the neighbours' rays as the ray differentials. Where the three lie on one smooth patch facing the camera,
// the differential points and uvw agree with the neighbours' real hits up to
// the surface's curvature.
TEST(Preview, DifferentialsMatchTheNeighbouringPixelsHits) {
  for (Shape shape : {Shape::kSphere, Shape::kCube, Shape::kCylinder, Shape::kTorus}) {
    const RenderSettings s = Sized(64, 64, RenderSettings{}.threads, ShapeView(shape, false));
    ViewSampler sampler;
    ASSERT_TRUE(ViewSampler::Create(s.view, s.width, s.height, sampler).ok());
    int compared = 0;
    for (int y = 0; y + 1 < s.height; ++y)
      for (int x = 0; x + 1 < s.width; ++x) {
        ShadingContext c, right, below;
        if (!ViewContext(sampler, x, y, s, c) || !ViewContext(sampler, x + 1, y, s, right) ||
            !ViewContext(sampler, x, y + 1, s, below))
          continue;
        const Vector& n = c.geometricnormal;
        ASSERT_LT(Length(Cross(c.position - c.rayorigin, c.raydirection)), 1e-12);  // on the pixel's ray
        ASSERT_LT(Dot(n, c.raydirection), 0);                                       // the first hit, from outside
        ASSERT_NEAR(Length(n), 1, 1e-12);
        ASSERT_NEAR(Dot(c.tangent, n), 0, 1e-12);
        ASSERT_NEAR(Dot(c.bitangent, n), 0, 1e-12);
        ASSERT_NEAR(Dot(Cross(c.tangent, c.bitangent), n), 1, 1e-12) << "x " << x << " y " << y;
        ASSERT_EQ(c.raydirectiondx, right.raydirection);
        ASSERT_EQ(c.raydirectiondy, below.raydirection);
        ASSERT_EQ(c.rayorigindx, right.rayorigin);
        auto close = [&](const ShadingContext& o) {
          return Dot(n, o.geometricnormal) > 0.99 && Dot(c.tangent, o.tangent) > 0.99 &&
                 Dot(c.bitangent, o.bitangent) > 0.99;
        };
        if (!close(right) || !close(below) || -Dot(n, c.raydirection) < 0.5) continue;
        // Tangent-plane points are exact to first order: a few percent of a
        // pixel's step here, and whole steps when a neighbour is mistaken.
        for (const auto& [point, uvw, other] :
             {std::tuple{c.positiondx, c.uvwdx, &right}, {c.positiondy, c.uvwdy, &below}}) {
          EXPECT_LE(Length(point - other->position), 0.15 * Length(other->position - c.position))
              << ShapeName(shape) << " x " << x << " y " << y;
          if (std::fabs(other->uvw.x - c.uvw.x) < 0.5 && std::fabs(other->uvw.y - c.uvw.y) < 0.5) {  // no seam
            EXPECT_LE(Length(uvw - other->uvw), 0.15 * Length(other->uvw - c.uvw))
                << ShapeName(shape) << " x " << x << " y " << y;
          }
        }
        ++compared;
      }
    EXPECT_GT(compared, 500) << ShapeName(shape);
  }
}

}  // namespace
}  // namespace tessaroc::graph
