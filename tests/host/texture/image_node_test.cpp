// The image node on the OpenImageIO texture service: which file and frame it
// loads, what it does when nothing loads, and what it reports of the file.
// Every image is written at run time into a temporary folder.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <mutex>

#include "tessaroc/core/runtime.h"
#include "core/services.h"
#include "host/texture/texture_service.h"
#include "pattern/catalogue.h"
#include "pattern/generator/image_node.h"
#include "pattern/generator/texture_service.h"
#include "test_images.h"

namespace tessaroc::pattern {
namespace {

using tessaroc::testing::TempFolder;
using tessaroc::testing::WriteFrames;
using tessaroc::testing::WriteImage;

// Keeps every message, repeats included, so that "once" can be checked.
class CountingSink final : public MessageSink {
 public:
  Result AddMessage(std::string_view text) override {
    std::lock_guard<std::mutex> lock(mutex_);
    messages.emplace_back(text);
    return Result::Ok();
  }
  std::vector<std::string> messages;

 private:
  std::mutex mutex_;
};

// ---- the frame-number search, on real files

// The search asks the texture service which files exist.
class FrameNumberTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { host::InstallTextureService(); }
};

TEST_F(FrameNumberTest, FindsTheNarrowestExistingWidthOrKeepsTheNumbersOwn) {
  TempFolder folder;
  for (const char* name : {"tex_3.png", "tex_003.png", "tex_00042.png", "shot5.mp4", "f_1234567890.png"})
    std::ofstream(folder.File(name)) << "x";
  struct Case {
    const char* name;
    int64_t frame;
    const char* want;
    bool hit;
  } cases[] = {
      {"tex_0012.png", 3, "tex_3.png", true},              // the narrowest existing width, whatever the name had
      {"tex_1.png", 42, "tex_00042.png", true},            // a padded width when the narrow one is missing
      {"tex_0012.png", 7, "tex_7.png", false},             // no file: the number at its own width
      {"shot12.mp4", 5, "shot5.mp4", true},                // the digit of the movie suffix is skipped
      {"a.b12c.png", 9, "a.b9c.png", false},               // the last digit run, wherever it stands
      {"f_1.png", 1234567890, "f_1234567890.png", false},  // ten digits skip the width search
  };
  for (const Case& c : cases) {
    for (bool withFound : {true, false}) {
      SCOPED_TRACE(std::string(c.name) + (withFound ? " with found" : " without found"));
      Url url(folder.File(c.name));
      bool found = false, hit = !c.hit;
      ASSERT_TRUE(ReplaceFrameNumber(url, c.frame, withFound ? &found : nullptr, hit).ok());
      EXPECT_EQ(found, withFound);
      EXPECT_EQ(hit, c.hit);
      EXPECT_EQ(url.str(), folder.File(c.want));
    }
  }
}

TEST_F(FrameNumberTest, NamesWithoutAUsableNumber) {
  // No digits at all (the 3 of "b3d" does not count, nor those of a folder),
  // and a number at the very start of the name.
  TempFolder folder;
  for (const char* name : {"frame.b3d", "0042.png", "7", "take2/plate.png"}) {
    const std::string original = folder.File(name);
    Url url(original);
    bool found = true, hit = true;
    ASSERT_TRUE(ReplaceFrameNumber(url, 3, &found, hit).ok()) << name;
    EXPECT_FALSE(found) << name;
    EXPECT_FALSE(hit) << name;
    EXPECT_EQ(url.str(), original) << name;

    // Without `found` the same is an I/O error that names the file.
    Result r = ReplaceFrameNumber(url, 3, nullptr, hit);
    EXPECT_TRUE(r.Is(errors::kIo)) << name;
    EXPECT_NE(r.message().find(name), std::string_view::npos);
    EXPECT_NE(r.message().find("Found no or too long number sequence."), std::string_view::npos);
  }
}

TEST_F(FrameNumberTest, RelativeNamesAreLookedUpInTheSearchPaths) {
  TempFolder folder;
  std::ofstream(folder.File("plate_0007.exr")) << "x";
  SearchPathsType paths;
  paths.urls.push_back(Url(folder.path().string()));
  Url url("shots/plate_0001.exr");
  bool hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 7, nullptr, hit, &paths).ok());
  EXPECT_TRUE(hit);
  EXPECT_EQ(url.str(), "shots/plate_0007.exr");  // still relative: the loader finds it the same way
  Url plain("shots/plate_0001.exr");
  ASSERT_TRUE(ReplaceFrameNumber(plain, 7, nullptr, hit).ok());
  EXPECT_FALSE(hit);
  EXPECT_EQ(plain.str(), "shots/plate_7.exr");
}

// ---- playback timing

TEST(PlaybackTest, ModesMapTheTimeToAFrame) {
  // Frames 1..5 of /nowhere/seq_1.png, unless a movie length is given.
  struct Case {
    const char* mode;
    double time, length;
    int64_t end;
    double rate;
    double wantTime;
    const char* wantName;
  } cases[] = {
      // Ping-pong at 1 fps: duration 4, so t = 0..4 shows 1..5 and 4..8 shows
      // 5..1, without repeating the ends (whole seconds are in the loop
      // below). Between whole seconds the frame is truncated on the way down
      // as on the way up, so the last frame shows only at the turn.
      {"pingpong", 3.5, 0, 5, 1, 3.5, "seq_4.png"},
      {"pingpong", 4.5, 0, 5, 1, 3.5, "seq_4.png"},
      {"pingpong", 6.5, 0, 5, 1, 1.5, "seq_2.png"},
      // Loop starts again after the last frame.
      {"loop", 4.5, 0, 5, 1, 4.5, "seq_5.png"},
      {"loop", 5.0, 0, 5, 1, 0, "seq_1.png"},
      {"loop", 12.0, 0, 5, 1, 2, "seq_3.png"},
      // Once holds the end (frame 1 + 5 = 6 is brought back to 5); an unknown
      // mode behaves as "once".
      {"once", 7.0, 0, 5, 1, 5, "seq_5.png"},
      {"once", 2.0, 0, 5, 1, 2, "seq_3.png"},
      {"sideways", 7.0, 0, 5, 1, 5, "seq_5.png"},
      // No duration: frameRate 0 on a sequence, or a single still file.
      {"loop", 3.0, 0, 5, 0, 0, "seq_1.png"},
      {"loop", 3.0, 0, 1, 24, 0, "seq_1.png"},
      // A movie uses its own length and keeps its name.
      {"loop", 7.5, 2.0, 5, 24, 1.5, "seq_1.png"},
      {"once", 7.5, 2.0, 5, 24, 2.0, "seq_1.png"},
      {"pingpong", 1.1, 0.8, 1, 24, 0.5, "seq_1.png"},  // 1.1 s is 0.5 s on the way back
  };
  std::vector<Case> all(std::begin(cases), std::end(cases));
  const int pingpong[] = {1, 2, 3, 4, 5, 4, 3, 2, 1, 2};
  for (int t = 0; t < 10; ++t) { all.push_back({"pingpong", double(t), 0, 5, 1, pingpong[t] - 1.0, nullptr}); }
  for (const Case& c : all) {
    SCOPED_TRACE(std::string(c.mode) + " t = " + std::to_string(c.time));
    const Playback p{.mode = CanonicalId(c.mode), .end = 1e9, .frameStart = 1, .frameEnd = c.end, .frameRate = c.rate};
    Url url("/nowhere/seq_1.png");
    TimeValue t = c.time;
    ASSERT_TRUE(ResolveMovieTime(p, c.length, url, t).ok());
    EXPECT_DOUBLE_EQ(t, c.wantTime);
    EXPECT_EQ(url.GetName(), c.wantName ? c.wantName : "seq_" + std::to_string(int(c.wantTime) + 1) + ".png");
  }
}

// Frame fields at the ends of their range: a sequence length that no int64
// holds still gives a frame of the range, and the name holds that number.
TEST(PlaybackTest, ExtremeFrameFieldsStayInsideTheirRange) {
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min(), kMax = std::numeric_limits<int64_t>::max();
  const struct {
    const char* mode;
    int64_t start, end;
    double rate, time;
    const char* wantName;
  } cases[] = {
      {"loop", kMin, kMax, 1, 5, "seq_-9223372036854775803.png"},
      {"pingpong", kMin, kMax, 1, 5, "seq_-9223372036854775803.png"},
      {"once", kMin, kMax, 1e300, 5, "seq_-1.png"},                // the last frame past the end, MIN + MAX
      {"loop", kMax, kMin, 1, 5, "seq_-9223372036854775808.png"},  // ends before it starts
      {"pingpong", kMax, kMin, 24, 1e300, "seq_-9223372036854775808.png"},
      {"loop", 1, 4, 2, 1.5, "seq_4.png"},  // an ordinary one, for comparison
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.mode) + " " + std::to_string(c.start) + ".." + std::to_string(c.end));
    const Playback p{
        .mode = CanonicalId(c.mode), .end = 1e308, .frameStart = c.start, .frameEnd = c.end, .frameRate = c.rate};
    Url url("/nowhere/seq_1.png");
    TimeValue t = c.time;
    ASSERT_TRUE(ResolveMovieTime(p, 0, url, t).ok());
    EXPECT_TRUE(std::isfinite(t)) << t;
    EXPECT_EQ(url.GetName(), c.wantName);
  }
}

TEST(PlaybackTest, PlaybackWindowShiftsAndClampsTheTime) {
  const Playback p{.mode = CanonicalId("once"), .start = 2, .end = 3, .frameStart = 1, .frameEnd = 1};
  for (const auto& [time, want] : {std::pair{10.0, 1.0}, {1.0, 0.0}}) {  // min(3, 10) - 2, and before the start
    Url url("/x/a.png");
    TimeValue t = time;
    ASSERT_TRUE(ResolveMovieTime(p, 60, url, t).ok());
    EXPECT_EQ(t, want);
  }
}

// ---- the node

// Sets the inputs of one node of a plan instance like a SingleNodeRunner does.
struct InstanceInputs {
  PlanInstance& instance;
  NodeRef node;
  template <class T>
  Result Set(const Id& port, const T& value) {
    return instance.Set(node, port, value);
  }
};

class ImageNodeTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    host::InstallTextureService();
    ASSERT_TRUE(RegisterCatalogue(registry_).ok());
  }

  // A runner with every input that is not zero set to a plain default, then
  // the given enumeration inputs.
  std::unique_ptr<SingleNodeRunner> Runner(const std::string& url,
                                           std::initializer_list<std::pair<const char*, const char*>> ids = {}) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry_.GetGroup(kImageId, g).ok());
    std::unique_ptr<SingleNodeRunner> run;
    EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
    SetInputs(*run, url);
    for (const auto& [port, value] : ids) EXPECT_TRUE(run->Set(port, CanonicalId(value)).ok()) << port;
    return run;
  }
  template <class R>
  static void SetInputs(R& run, const std::string& url) {
    EXPECT_TRUE(run.Set("url", Url(url)).ok());
    EXPECT_TRUE(run.Set("interpolation", CanonicalId("none")).ok());
    EXPECT_TRUE(run.Set("alpha", CanonicalId("straight")).ok());
    EXPECT_TRUE(run.Set("mode", CanonicalId("default")).ok());
    EXPECT_TRUE(run.Set("playbackMode", CanonicalId("loop")).ok());
    EXPECT_TRUE(run.Set("playbackEnd", 1e6).ok());
    EXPECT_TRUE(run.Set("frameRate", 24.0).ok());
    EXPECT_TRUE(run.Set("defaultColor", kDefault).ok());
  }

  ShadingContext At(double u, double v, double time = 0) {
    ShadingContext ctx;
    ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{u, v, 0};
    ctx.messagesink = &sink_;
    ctx.time = time;
    return ctx;
  }
  ShadingContext Outside() {
    ShadingContext ctx = At(0.5, 0.5);
    ctx.uvwvalid = 0;
    return ctx;
  }

  ColorA Sample(SingleNodeRunner& run, const ShadingContext& ctx) {
    EXPECT_TRUE(run.Run(ctx).ok());
    return run.Get<ColorA>("result");
  }
  ColorA Sample(SingleNodeRunner& run) { return Sample(run, At(0.5, 0.5)); }

  // Writes a single-colour image with `channels` channels of `value`.
  std::string Flat(const std::string& name, float value, int w = 2, int h = 2, int channels = 3) {
    EXPECT_EQ(testing::WriteFlat(folder_.File(name), w, h, channels, value), "");
    return folder_.File(name);
  }

  static constexpr ColorA kDefault{0.1, 0.2, 0.3, 0.4};
  static CoreNodeRegistry registry_;
  TempFolder folder_;
  CountingSink sink_;
};
CoreNodeRegistry ImageNodeTest::registry_;

TEST_F(ImageNodeTest, MissingOrCorruptFileGivesTheDefaultColourAndOneMessage) {
  std::ofstream(folder_.File("broken.png"), std::ios::binary) << "\x89PNG\r\n\x1a\nnot really an image at all";
  for (const char* name : {"missing.png", "broken.png"}) {
    SCOPED_TRACE(name);
    sink_.messages.clear();
    auto run = Runner(folder_.File(name));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Sample(*run, At(0.2, 0.7)), kDefault);
    ASSERT_EQ(sink_.messages.size(), 1u);
    EXPECT_NE(sink_.messages[0].find(name), std::string::npos);
    // The size outputs are not written when there is no image.
    EXPECT_EQ(run->Get<double>("width"), 0.0);
    // Outside the UV square it is still the default colour, not zero.
    EXPECT_EQ(Sample(*run, Outside()), kDefault);
  }
  // An empty url is silent, and a null sink is fine.
  sink_.messages.clear();
  EXPECT_EQ(Sample(*Runner("")), kDefault);
  EXPECT_TRUE(sink_.messages.empty());
  ShadingContext ctx = At(0.5, 0.5);
  ctx.messagesink = nullptr;
  EXPECT_EQ(Sample(*Runner(folder_.File("nope.exr")), ctx), kDefault);
}

TEST_F(ImageNodeTest, SamplesTheFileAndReportsItsSize) {
  // 4 x 2 pixels; red is the column, green the row from the top.
  ASSERT_EQ(WriteImage(folder_.File("grid.exr"), 4, 2, 4,
                       [](int x, int y, int c) {
                         return c == 0 ? x * 0.25f : c == 1 ? static_cast<float>(y) : c == 2 ? 0.5f : 1.0f;
                       }),
            "");
  auto run = Runner(folder_.File("grid.exr"));
  // v = 0.75 is the upper half: image row 0.
  EXPECT_EQ(Sample(*run, At(0.6, 0.75)), (ColorA{0.5, 0, 0.5, 1}));
  EXPECT_EQ(Sample(*run, At(0.9, 0.25)), (ColorA{0.75, 1, 0.5, 1}));
  EXPECT_EQ(run->Get<double>("width"), 4.0);
  EXPECT_EQ(run->Get<double>("height"), 2.0);
  EXPECT_EQ(run->Get<double>("fps"), 0.0);
  EXPECT_EQ(run->Get<TimeValue>("length"), 0.0);
  EXPECT_TRUE(sink_.messages.empty());
  // Outside the UV square: all zero, not the default colour.
  EXPECT_EQ(Sample(*run, Outside()), (ColorA{0, 0, 0, 0}));

  // A changed url is not seen: the port keeps the texture the first sample loaded.
  const ThreadedTextureRef first = run->Get<ThreadedTextureRef>("texture");
  ASSERT_TRUE(first);
  ASSERT_TRUE(run->Set("url", Url(Flat("other.exr", 0.25f))).ok());
  EXPECT_EQ(Sample(*run, At(0.6, 0.75)), (ColorA{0.5, 0, 0.5, 1}));
  EXPECT_EQ(run->Get<ThreadedTextureRef>("texture"), first);
}

TEST_F(ImageNodeTest, SizeOutputsAreSkippedWhenNobodyReadsThem) {
  const std::string flat = Flat("flat.exr", 0.5f, 3, 5);
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(registry_.GetGroup(kImageId, g).ok());
  for (bool wantSize : {false, true}) {
    Plan plan;
    NodeRef n;
    ASSERT_TRUE(plan.AddNode(g, "image", n).ok());
    ASSERT_TRUE(plan.BindContext(n, "context").ok());
    ASSERT_TRUE(plan.SetOutput(n, "result").ok());
    if (wantSize) { ASSERT_TRUE(plan.RequestOutput(n, "height").ok()); }
    ASSERT_TRUE(plan.Finish().ok());
    std::unique_ptr<PlanInstance> inst;
    ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
    InstanceInputs inputs{*inst, n};
    SetInputs(inputs, flat);
    ASSERT_TRUE(inst->Evaluate(At(0.5, 0.5)).ok());
    EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{0.5, 0.5, 0.5, 1}));
    EXPECT_EQ(inst->Get<double>(n, "height"), wantSize ? 5.0 : 0.0);
    EXPECT_EQ(inst->Get<double>(n, "width"), wantSize ? 3.0 : 0.0);
  }
}

TEST_F(ImageNodeTest, NumberedSequencePicksTheFrameOfTheTime) {
  for (int f = 1; f <= 5; ++f) Flat("seq_" + std::to_string(f) + ".exr", f / 10.0f);
  auto sequence = [&](const char* mode) {
    auto run = Runner(folder_.File("seq_1.exr"), {{"playbackMode", mode}});
    EXPECT_TRUE(run->Set("frameStart", int64_t{1}).ok());
    EXPECT_TRUE(run->Set("frameEnd", int64_t{5}).ok());
    EXPECT_TRUE(run->Set("frameRate", 1.0).ok());
    return run;
  };
  struct Case {
    const char* mode;
    double time;
    double frame;
  } cases[] = {{"pingpong", 6.0, 3}, {"pingpong", 3.5, 4}, {"loop", 5.0, 1}, {"loop", 7.2, 3}, {"once", 9.0, 5}};
  for (const Case& c : cases) {
    // movieTime is unset: the context's time counts.
    EXPECT_FLOAT_EQ(static_cast<float>(Sample(*sequence(c.mode), At(0.5, 0.5, c.time)).r),
                    static_cast<float>(c.frame / 10))
        << c.mode << " " << c.time;
  }
  // A set movieTime wins over the context's time.
  auto run = sequence("loop");
  ASSERT_TRUE(run->Set("movieTime", 1.5).ok());
  EXPECT_FLOAT_EQ(static_cast<float>(Sample(*run, At(0.5, 0.5, 3.5)).r), 0.2f);
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, MovieFramesAreSubimages) {
  // An animated GIF at 10 frames per second: frame f is grey f / 2. At 0.35 s
  // a 0.3 s clip loops back to frame 0.
  ASSERT_EQ(WriteFrames(folder_.File("clip.gif"), 4, 4, 3, 10, [](int f, int, int, int) { return f / 2.0f; }), "");
  const std::pair<double, double> cases[] = {{0.05, 0.0}, {0.15, 0.5}, {0.25, 1.0}, {0.35, 0.0}};
  for (const auto& [time, grey] : cases) {
    auto run = Runner(folder_.File("clip.gif"), {{"mode", "raw"}});
    ASSERT_TRUE(run->Set("movieTime", time).ok());
    EXPECT_NEAR(Sample(*run).r, grey, 1.0 / 255) << "time " << time;
    EXPECT_DOUBLE_EQ(run->Get<double>("fps"), 10.0);
    EXPECT_DOUBLE_EQ(run->Get<TimeValue>("length"), 0.3);
  }
}

TEST_F(ImageNodeTest, ColourConversionFollowsModeAndImageFlag) {
  // 8-bit PNG, sRGB-encoded 128.
  ASSERT_EQ(WriteImage(
                folder_.File("srgb.png"), 2, 2, 3, [](int, int, int) { return 128 / 255.0f; }, OIIO::TypeDesc::UINT8),
            "");
  // Linear value of sRGB 128/255: python3 -c "c=128/255; print(((c+0.055)/1.055)**2.4)"
  const double linear = 0.21586050011389926;
  const std::string file = folder_.File("srgb.png");
  EXPECT_NEAR(Sample(*Runner(file)).g, linear, 1e-6);
  EXPECT_NEAR(Sample(*Runner(file, {{"mode", "raw"}})).g, 128 / 255.0, 1e-6);
  EXPECT_NEAR(Sample(*Runner(file, {{"mode", "force32bit"}})).g, linear, 1e-6);
  ShadingContext ctx = At(0.5, 0.5);
  ctx.imageflag = 1;  // as bump sets it: the values are heights
  EXPECT_NEAR(Sample(*Runner(file), ctx).g, 128 / 255.0, 1e-6);
}

TEST_F(ImageNodeTest, AlphaSettings) {
  ASSERT_EQ(WriteImage(folder_.File("rgba.exr"), 2, 2, 4,
                       [](int, int, int c) {
                         const float v[] = {0.2f, 0.4f, 0.1f, 0.5f};
                         return v[c];
                       }),
            "");
  auto read = [&](const char* alpha) { return Sample(*Runner(folder_.File("rgba.exr"), {{"alpha", alpha}})); };
  const ColorA straight = read("straight");
  EXPECT_NEAR(straight.r, 0.2, 1e-7);
  EXPECT_NEAR(straight.a, 0.5, 1e-7);
  EXPECT_EQ(read("none").a, 1.0);
  EXPECT_NEAR(read("none").r, 0.2, 1e-7);
  const ColorA pre = read("premultiplied");
  EXPECT_NEAR(pre.r, 0.4, 1e-6);
  EXPECT_NEAR(pre.g, 0.8, 1e-6);
  EXPECT_NEAR(pre.a, 0.5, 1e-7);
  // A linear file: the colour space makes no difference here.
  EXPECT_NEAR(read("premultipliedcolorspace").b, 0.2, 1e-6);
  EXPECT_NEAR(read("something else").r, 0.2, 1e-7);
}

TEST_F(ImageNodeTest, LayerSetSelectsAChannelGroupOrANamedPart) {
  const std::vector<std::string> names = {"R", "G", "B", "gloss.R", "gloss.G", "gloss.B"};
  ASSERT_EQ(WriteImage(
                folder_.File("layers.exr"), 2, 2, 6, [](int, int, int c) { return 0.1f * (c + 1); },
                OIIO::TypeDesc::FLOAT, names),
            "");
  // A two-part EXR: "beauty" at 0.25, "depth" at 0.75.
  const std::string parts = folder_.File("parts.exr");
  std::vector<OIIO::ImageSpec> layouts(2, OIIO::ImageSpec(2, 2, 3, OIIO::TypeDesc::FLOAT));
  layouts[0].attribute("oiio:subimagename", "beauty");
  layouts[1].attribute("oiio:subimagename", "depth");
  ASSERT_EQ(testing::WriteSubimages(parts, layouts, [](int part, int, int, int) { return part ? 0.75f : 0.25f; }), "");

  auto withLayers = [&](const std::string& file, std::initializer_list<const char*> layers) {
    auto run = Runner(file);
    LayerSet set;
    for (const char* l : layers) set.layers.push_back(String(l));
    EXPECT_TRUE(run->Set("layerSet", set).ok());
    return Sample(*run);
  };
  const ColorA gloss = withLayers(folder_.File("layers.exr"), {"gloss"});
  EXPECT_NEAR(gloss.r, 0.4, 1e-6);
  EXPECT_NEAR(gloss.b, 0.6, 1e-6);
  EXPECT_EQ(gloss.a, 1.0);
  // The first layer the file has counts; no layers is the first part.
  EXPECT_EQ(withLayers(parts, {"missing", "depth"}), (ColorA{0.75, 0.75, 0.75, 1}));
  EXPECT_EQ(withLayers(parts, {}), (ColorA{0.25, 0.25, 0.25, 1}));
  EXPECT_TRUE(sink_.messages.empty());

  EXPECT_EQ(withLayers(folder_.File("layers.exr"), {"diffuse"}), kDefault);
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_NE(sink_.messages[0].find("diffuse"), std::string::npos);
}

TEST_F(ImageNodeTest, SearchPathsFindRelativeNames) {
  Flat("found.exr", 0.75f);
  SearchPathsType paths;
  paths.urls.push_back(Url("/definitely/not/here"));
  paths.urls.push_back(Url(folder_.path().string()));
  ShadingContext ctx = At(0.5, 0.5);
  ctx.searchpaths = &paths;
  EXPECT_EQ(Sample(*Runner("textures/found.exr"), ctx), (ColorA{0.75, 0.75, 0.75, 1}));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, FootprintAndBlurWidenTheFilter) {
  // A 64-pixel checker of single pixels: a wide footprint with "mip" sees
  // grey, a point sample sees black or white.
  ASSERT_EQ(WriteImage(folder_.File("fine.exr"), 64, 64, 3,
                       [](int x, int y, int) { return static_cast<float>((x + y) % 2); }),
            "");
  const std::string fine = folder_.File("fine.exr");
  const double p = Sample(*Runner(fine, {{"interpolation", "mip"}}), At(32.5 / 64, 32.5 / 64)).r;
  EXPECT_TRUE(p < 0.05 || p > 0.95) << p;

  auto blurred = Runner(fine, {{"interpolation", "mip"}});
  ASSERT_TRUE(blurred->Set("blur", 0.25).ok());
  EXPECT_NEAR(Sample(*blurred, At(0.5 + 0.25 / 64, 0.5 + 0.25 / 64)).r, 0.5, 0.02);

  ShadingContext ctx = At(0.5 + 0.25 / 64, 0.5 + 0.25 / 64);
  ctx.uvwdx.x += 0.25;
  ctx.uvwdy.y += 0.25;
  EXPECT_NEAR(Sample(*Runner(fine, {{"interpolation", "mip"}}), ctx).r, 0.5, 0.02);
}

}  // namespace
}  // namespace tessaroc::pattern
