// The image node on the OpenImageIO texture service: which file and frame it
// loads, what it does when nothing loads, and what it reports of the file.
// Every image is written at run time into a temporary folder.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <mutex>

#include "core/runtime.h"
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

class FrameNumberTest : public ::testing::Test {
 protected:
  void Touch(const std::string& name) { std::ofstream(folder_.File(name)) << "x"; }
  std::string Dir() const { return folder_.path().string() + "/"; }
  TempFolder folder_;
};

TEST_F(FrameNumberTest, NarrowestExistingWidthWinsWhateverTheNameHad) {
  Touch("tex_3.png");
  Touch("tex_003.png");
  Url url(Dir() + "tex_0012.png");
  bool found = false, hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 3, &found, hit).ok());
  EXPECT_TRUE(found);
  EXPECT_TRUE(hit);
  EXPECT_EQ(url.str(), Dir() + "tex_3.png");
}

TEST_F(FrameNumberTest, PaddedWidthIsFoundWhenTheNarrowOneIsMissing) {
  Touch("tex_00042.png");
  Url url(Dir() + "tex_1.png");
  bool hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 42, nullptr, hit).ok());
  EXPECT_TRUE(hit);
  EXPECT_EQ(url.str(), Dir() + "tex_00042.png");
}

TEST_F(FrameNumberTest, NoFileGivesTheNumberAtItsOwnWidth) {
  Url url(Dir() + "tex_0012.png");
  bool found = false, hit = true;
  ASSERT_TRUE(ReplaceFrameNumber(url, 7, &found, hit).ok());
  EXPECT_TRUE(found);
  EXPECT_FALSE(hit);
  EXPECT_EQ(url.str(), Dir() + "tex_7.png");
}

TEST_F(FrameNumberTest, DigitOfTheMovieSuffixIsSkipped) {
  Touch("shot5.mp4");
  Url url(Dir() + "shot12.mp4");
  bool hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 5, nullptr, hit).ok());
  EXPECT_TRUE(hit);
  EXPECT_EQ(url.str(), Dir() + "shot5.mp4");
}

TEST_F(FrameNumberTest, LastDigitRunCountsWhereverItStands) {
  Url url(Dir() + "a.b12c.png");
  bool hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 9, nullptr, hit).ok());
  EXPECT_EQ(url.str(), Dir() + "a.b9c.png");
}

TEST_F(FrameNumberTest, NamesWithoutAUsableNumber) {
  // No digits at all (the 3 of "b3d" does not count), and a number at the
  // very start of the name.
  for (const char* name : {"frame.b3d", "0042.png", "7"}) {
    const std::string original = Dir() + name;
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

TEST_F(FrameNumberTest, TenDigitFramesSkipTheWidthSearch) {
  Touch("f_1234567890.png");  // exists, but is not looked for
  Url url(Dir() + "f_1.png");
  bool hit = true;
  ASSERT_TRUE(ReplaceFrameNumber(url, 1234567890, nullptr, hit).ok());
  EXPECT_FALSE(hit);
  EXPECT_EQ(url.str(), Dir() + "f_1234567890.png");
}

TEST_F(FrameNumberTest, RelativeNamesAreLookedUpInTheSearchPaths) {
  Touch("plate_0007.exr");
  SearchPathsType paths;
  paths.urls.push_back(Url(folder_.path().string()));
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

TEST_F(FrameNumberTest, DirectoryDigitsAreNotTouched) {
  Url url("/tmp/take2/plate.png");
  bool found = true, hit = false;
  ASSERT_TRUE(ReplaceFrameNumber(url, 4, &found, hit).ok());
  EXPECT_FALSE(found);
  EXPECT_EQ(url.str(), "/tmp/take2/plate.png");
}

// ---- playback timing

struct Timed {
  TimeValue time;
  std::string url;
};

Timed Resolve(const char* mode, double time, double length = 0, int64_t start = 1, int64_t end = 5,
              double rate = 1) {
  Playback p;
  p.mode = CanonicalId(mode);
  p.start = 0;
  p.end = 1e9;
  p.frameStart = start;
  p.frameEnd = end;
  p.frameRate = rate;
  Url url("/nowhere/seq_1.png");
  TimeValue t = time;
  EXPECT_TRUE(ResolveMovieTime(p, length, url, t).ok());
  return {t, std::string(url.GetName())};
}

TEST(PlaybackTest, PingPongRunsUpAndDownWithoutRepeatingTheEnds) {
  // Frames 1..5 at 1 fps: duration 4, so t = 0..4 shows 1..5 and 4..8 shows 5..1.
  const char* want[] = {"seq_1.png", "seq_2.png", "seq_3.png", "seq_4.png", "seq_5.png",
                        "seq_4.png", "seq_3.png", "seq_2.png", "seq_1.png", "seq_2.png"};
  for (int t = 0; t < 10; ++t) EXPECT_EQ(Resolve("pingpong", t).url, want[t]) << "t = " << t;
  // Between whole seconds the frame is truncated on the way down as on the
  // way up, so the last frame shows only at the turn.
  EXPECT_EQ(Resolve("pingpong", 3.5).url, "seq_4.png");
  EXPECT_EQ(Resolve("pingpong", 4.5).url, "seq_4.png");
  EXPECT_DOUBLE_EQ(Resolve("pingpong", 6.5).time, 1.5);
}

TEST(PlaybackTest, LoopStartsAgainAfterTheLastFrame) {
  EXPECT_EQ(Resolve("loop", 4.5).url, "seq_5.png");
  EXPECT_EQ(Resolve("loop", 5.0).url, "seq_1.png");
  EXPECT_EQ(Resolve("loop", 12.0).url, "seq_3.png");
  EXPECT_DOUBLE_EQ(Resolve("loop", 12.0).time, 2.0);
}

TEST(PlaybackTest, OnceHoldsTheEnd) {
  const Timed late = Resolve("once", 7.0);
  EXPECT_DOUBLE_EQ(late.time, 5.0);
  EXPECT_EQ(late.url, "seq_5.png");  // frame 1 + 5 = 6 is brought back to 5
  EXPECT_EQ(Resolve("once", 2.0).url, "seq_3.png");
  // An unknown mode behaves as "once".
  EXPECT_EQ(Resolve("sideways", 7.0).url, "seq_5.png");
}

TEST(PlaybackTest, ClipsWithoutADuration) {
  // frameRate 0 on a sequence: time 0 and the url as it is.
  Timed r = Resolve("loop", 3.0, 0, 1, 5, 0);
  EXPECT_EQ(r.time, 0.0);
  EXPECT_EQ(r.url, "seq_1.png");
  // A single still file.
  r = Resolve("loop", 3.0, 0, 1, 1, 24);
  EXPECT_EQ(r.time, 0.0);
  EXPECT_EQ(r.url, "seq_1.png");
}

TEST(PlaybackTest, MovieUsesItsOwnLengthAndKeepsItsName) {
  Timed r = Resolve("loop", 7.5, 2.0, 1, 5, 24);
  EXPECT_DOUBLE_EQ(r.time, 1.5);
  EXPECT_EQ(r.url, "seq_1.png");
  r = Resolve("once", 7.5, 2.0, 1, 5, 24);
  EXPECT_DOUBLE_EQ(r.time, 2.0);
}

TEST(PlaybackTest, PlaybackWindowShiftsAndClampsTheTime) {
  Playback p;
  p.mode = CanonicalId("once");
  p.start = 2;
  p.end = 3;
  p.frameStart = 1;
  p.frameEnd = 1;
  Url url("/x/a.png");
  TimeValue t = 10;
  ASSERT_TRUE(ResolveMovieTime(p, 60, url, t).ok());
  EXPECT_EQ(t, 1.0);  // min(3, 10) - 2
  t = 1;
  ASSERT_TRUE(ResolveMovieTime(p, 60, url, t).ok());
  EXPECT_EQ(t, 0.0);  // before the start
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

  // A runner with every input set to a plain default.
  std::unique_ptr<SingleNodeRunner> Runner(const std::string& url) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry_.GetGroup(kImageId, g).ok());
    std::unique_ptr<SingleNodeRunner> run;
    EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
    SetInputs(*run, url);
    return run;
  }
  template <class R>
  static void SetInputs(R& run, const std::string& url) {
    EXPECT_TRUE(run.Set("url", Url(url)).ok());
    EXPECT_TRUE(run.Set("layerSet", LayerSet{}).ok());
    EXPECT_TRUE(run.Set("interpolation", CanonicalId("none")).ok());
    EXPECT_TRUE(run.Set("blur", 0.0).ok());
    EXPECT_TRUE(run.Set("alpha", CanonicalId("straight")).ok());
    EXPECT_TRUE(run.Set("mode", CanonicalId("default")).ok());
    EXPECT_TRUE(run.Set("sampleAcrossTiles", false).ok());
    EXPECT_TRUE(run.Set("playbackMode", CanonicalId("loop")).ok());
    EXPECT_TRUE(run.Set("playbackStart", 0.0).ok());
    EXPECT_TRUE(run.Set("playbackEnd", 1e6).ok());
    EXPECT_TRUE(run.Set("frameStart", int64_t{0}).ok());
    EXPECT_TRUE(run.Set("frameEnd", int64_t{0}).ok());
    EXPECT_TRUE(run.Set("frameRate", 24.0).ok());
    EXPECT_TRUE(run.Set("defaultColor", kDefault).ok());
  }

  ShadingContext At(double u, double v) {
    ShadingContext ctx;
    ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{u, v, 0};
    ctx.messagesink = &sink_;
    return ctx;
  }

  ColorA Sample(SingleNodeRunner& run, const ShadingContext& ctx) {
    EXPECT_TRUE(run.Run(ctx).ok());
    return run.Get<ColorA>("result");
  }

  static constexpr ColorA kDefault{0.1, 0.2, 0.3, 0.4};
  static CoreNodeRegistry registry_;
  TempFolder folder_;
  CountingSink sink_;
};
CoreNodeRegistry ImageNodeTest::registry_;

TEST_F(ImageNodeTest, MissingFileGivesTheDefaultColourAndOneMessage) {
  auto run = Runner(folder_.File("missing.png"));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Sample(*run, At(0.5, 0.5)), kDefault);
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_NE(sink_.messages[0].find("missing.png"), std::string::npos);
  // The size outputs are not written when there is no image.
  EXPECT_EQ(run->Get<double>("width"), 0.0);
  // Outside the UV square it is still the default colour, not zero.
  ShadingContext outside = At(0.5, 0.5);
  outside.uvwvalid = 0;
  EXPECT_EQ(Sample(*run, outside), kDefault);
}

TEST_F(ImageNodeTest, CorruptFileGivesTheDefaultColourAndOneMessage) {
  std::ofstream(folder_.File("broken.png"), std::ios::binary) << "\x89PNG\r\n\x1a\nnot really an image at all";
  auto run = Runner(folder_.File("broken.png"));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Sample(*run, At(0.2, 0.7)), kDefault);
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_NE(sink_.messages[0].find("broken.png"), std::string::npos);
}

TEST_F(ImageNodeTest, EmptyUrlIsSilentAndANullSinkIsFine) {
  auto run = Runner("");
  EXPECT_EQ(Sample(*run, At(0.5, 0.5)), kDefault);
  EXPECT_TRUE(sink_.messages.empty());

  auto missing = Runner(folder_.File("nope.exr"));
  ShadingContext ctx = At(0.5, 0.5);
  ctx.messagesink = nullptr;
  EXPECT_EQ(Sample(*missing, ctx), kDefault);
}

TEST_F(ImageNodeTest, SamplesTheFileAndReportsItsSize) {
  // 4 x 2 pixels; red is the column, green the row from the top.
  ASSERT_EQ(WriteImage(folder_.File("grid.exr"), 4, 2, 4, [](int x, int y, int c) {
              return c == 0 ? x * 0.25f : c == 1 ? static_cast<float>(y) : c == 2 ? 0.5f : 1.0f;
            }), "");
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
  ShadingContext outside = At(0.5, 0.5);
  outside.uvwvalid = 0;
  EXPECT_EQ(Sample(*run, outside), (ColorA{0, 0, 0, 0}));
}

TEST_F(ImageNodeTest, SizeOutputsAreSkippedWhenNobodyReadsThem) {
  ASSERT_EQ(WriteImage(folder_.File("flat.exr"), 3, 5, 3, [](int, int, int) { return 0.5f; }), "");
  const MicroNodeGroup* g = nullptr;
  ASSERT_TRUE(registry_.GetGroup(kImageId, g).ok());
  auto build = [&](bool wantSize, std::unique_ptr<Plan>& plan, std::unique_ptr<PlanInstance>& inst, NodeRef& n) {
    plan = std::make_unique<Plan>();
    ASSERT_TRUE(plan->AddNode(g, "image", n).ok());
    ASSERT_TRUE(plan->BindContext(n, "context").ok());
    ASSERT_TRUE(plan->SetOutput(n, "result").ok());
    if (wantSize) {
      ASSERT_TRUE(plan->RequestOutput(n, "height").ok());
    }
    ASSERT_TRUE(plan->Finish().ok());
    ASSERT_TRUE(PlanInstance::Create(*plan, inst).ok());
    InstanceInputs a{*inst, n};
    SetInputs(a, folder_.File("flat.exr"));
  };
  for (bool wantSize : {false, true}) {
    std::unique_ptr<Plan> plan;
    std::unique_ptr<PlanInstance> inst;
    NodeRef n;
    build(wantSize, plan, inst, n);
    ASSERT_TRUE(inst->Evaluate(At(0.5, 0.5)).ok());
    EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{0.5, 0.5, 0.5, 1}));
    EXPECT_EQ(inst->Get<double>(n, "height"), wantSize ? 5.0 : 0.0);
    EXPECT_EQ(inst->Get<double>(n, "width"), wantSize ? 3.0 : 0.0);
  }
}

TEST_F(ImageNodeTest, FirstSampleLoadsAndLaterOnesKeepTheTexture) {
  ASSERT_EQ(WriteImage(folder_.File("one.exr"), 2, 2, 3, [](int, int, int) { return 0.25f; }), "");
  auto run = Runner(folder_.File("one.exr"));
  Sample(*run, At(0.5, 0.5));
  const ThreadedTextureRef first = run->Get<ThreadedTextureRef>("texture");
  ASSERT_TRUE(first);
  // A changed url is not seen: the port keeps its texture.
  ASSERT_TRUE(run->Set("url", Url(folder_.File("other.exr"))).ok());
  EXPECT_EQ(Sample(*run, At(0.5, 0.5)), (ColorA{0.25, 0.25, 0.25, 1}));
  EXPECT_EQ(run->Get<ThreadedTextureRef>("texture"), first);
}

TEST_F(ImageNodeTest, NumberedSequencePicksTheFrameOfTheTime) {
  for (int f = 1; f <= 5; ++f)
    ASSERT_EQ(WriteImage(folder_.File("seq_" + std::to_string(f) + ".exr"), 2, 2, 3,
                         [f](int, int, int) { return f / 10.0f; }), "");
  struct Case {
    const char* mode;
    double time;
    double frame;
  } cases[] = {{"pingpong", 6.0, 3}, {"pingpong", 3.5, 4}, {"loop", 5.0, 1}, {"loop", 7.2, 3}, {"once", 9.0, 5}};
  for (const Case& c : cases) {
    auto run = Runner(folder_.File("seq_1.exr"));
    ASSERT_TRUE(run->Set("playbackMode", CanonicalId(c.mode)).ok());
    ASSERT_TRUE(run->Set("frameStart", int64_t{1}).ok());
    ASSERT_TRUE(run->Set("frameEnd", int64_t{5}).ok());
    ASSERT_TRUE(run->Set("frameRate", 1.0).ok());
    ShadingContext ctx = At(0.5, 0.5);
    ctx.time = c.time;  // movieTime is unset: the context's time counts
    EXPECT_FLOAT_EQ(static_cast<float>(Sample(*run, ctx).r), static_cast<float>(c.frame / 10)) << c.mode << " " << c.time;
  }
  // A set movieTime wins over the context's time.
  auto run = Runner(folder_.File("seq_1.exr"));
  ASSERT_TRUE(run->Set("frameStart", int64_t{1}).ok());
  ASSERT_TRUE(run->Set("frameEnd", int64_t{5}).ok());
  ASSERT_TRUE(run->Set("frameRate", 1.0).ok());
  ASSERT_TRUE(run->Set("movieTime", 1.5).ok());
  ShadingContext ctx = At(0.5, 0.5);
  ctx.time = 3.5;
  EXPECT_FLOAT_EQ(static_cast<float>(Sample(*run, ctx).r), 0.2f);
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, MovieFramesAreSubimages) {
  // An animated GIF at 10 frames per second: frame f is grey f / 2.
  ASSERT_EQ(WriteFrames(folder_.File("clip.gif"), 4, 4, 3, 10,
                        [](int f, int, int, int) { return f / 2.0f; }), "");
  const double want[] = {0.0, 0.5, 1.0};
  for (int f = 0; f < 3; ++f) {
    auto run = Runner(folder_.File("clip.gif"));
    ASSERT_TRUE(run->Set("mode", CanonicalId("raw")).ok());
    ASSERT_TRUE(run->Set("movieTime", f * 0.1 + 0.05).ok());
    EXPECT_NEAR(Sample(*run, At(0.5, 0.5)).r, want[f], 1.0 / 255) << "frame " << f;
    EXPECT_DOUBLE_EQ(run->Get<double>("fps"), 10.0);
    EXPECT_DOUBLE_EQ(run->Get<TimeValue>("length"), 0.3);
  }
  // Looping: 0.35 s into a 0.3 s clip is frame 0 again.
  auto run = Runner(folder_.File("clip.gif"));
  ASSERT_TRUE(run->Set("mode", CanonicalId("raw")).ok());
  ASSERT_TRUE(run->Set("movieTime", 0.35).ok());
  EXPECT_NEAR(Sample(*run, At(0.5, 0.5)).r, 0.0, 1.0 / 255);
}

TEST_F(ImageNodeTest, MoviesThroughTheFfmpegReader) {
  if (!host::MovieReaderAvailable()) GTEST_SKIP() << "this OpenImageIO was built without its ffmpeg reader";
  // A motion-JPEG AVI of 4 frames at 5 fps; frame f is grey f / 3. JPEG and
  // its video range conversion move the values by a few hundredths.
  ASSERT_EQ(tessaroc::testing::WriteMjpegAvi(folder_.File("clip.avi"), 16, 16, 4, 5,
                                             [](int f, int, int, int) { return f / 3.0f; }), "");
  for (int f = 0; f < 4; ++f) {
    auto run = Runner(folder_.File("clip.avi"));
    ASSERT_TRUE(run->Set("mode", CanonicalId("raw")).ok());
    ShadingContext ctx = At(0.5, 0.5);
    ctx.time = f * 0.2 + 0.1;
    EXPECT_NEAR(Sample(*run, ctx).r, f / 3.0, 0.06) << "frame " << f;
    EXPECT_DOUBLE_EQ(run->Get<double>("fps"), 5.0);
    EXPECT_DOUBLE_EQ(run->Get<TimeValue>("length"), 0.8);
    EXPECT_EQ(run->Get<double>("width"), 16.0);
  }
  // Ping-pong over the movie's own length: 1.1 s is 0.5 s on the way back.
  auto run = Runner(folder_.File("clip.avi"));
  ASSERT_TRUE(run->Set("mode", CanonicalId("raw")).ok());
  ASSERT_TRUE(run->Set("playbackMode", CanonicalId("pingpong")).ok());
  ShadingContext ctx = At(0.5, 0.5);
  ctx.time = 1.1;
  EXPECT_NEAR(Sample(*run, ctx).r, 2 / 3.0, 0.06);
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, ColourConversionFollowsModeAndImageFlag) {
  // 8-bit PNG, sRGB-encoded 128.
  ASSERT_EQ(WriteImage(folder_.File("srgb.png"), 2, 2, 3, [](int, int, int) { return 128 / 255.0f; },
                       OIIO::TypeDesc::UINT8), "");
  // Linear value of sRGB 128/255: python3 -c "c=128/255; print(((c+0.055)/1.055)**2.4)"
  const double linear = 0.21586050011389926;
  auto converted = Runner(folder_.File("srgb.png"));
  EXPECT_NEAR(Sample(*converted, At(0.5, 0.5)).g, linear, 1e-6);

  auto raw = Runner(folder_.File("srgb.png"));
  ASSERT_TRUE(raw->Set("mode", CanonicalId("raw")).ok());
  EXPECT_NEAR(Sample(*raw, At(0.5, 0.5)).g, 128 / 255.0, 1e-6);

  auto flagged = Runner(folder_.File("srgb.png"));
  ShadingContext ctx = At(0.5, 0.5);
  ctx.imageflag = 1;  // as bump sets it: the values are heights
  EXPECT_NEAR(Sample(*flagged, ctx).g, 128 / 255.0, 1e-6);

  auto floats = Runner(folder_.File("srgb.png"));
  ASSERT_TRUE(floats->Set("mode", CanonicalId("force32bit")).ok());
  EXPECT_NEAR(Sample(*floats, At(0.5, 0.5)).g, linear, 1e-6);
}

TEST_F(ImageNodeTest, AlphaSettings) {
  ASSERT_EQ(WriteImage(folder_.File("rgba.exr"), 2, 2, 4, [](int, int, int c) {
              const float v[] = {0.2f, 0.4f, 0.1f, 0.5f};
              return v[c];
            }), "");
  auto read = [&](const char* alpha) {
    auto run = Runner(folder_.File("rgba.exr"));
    EXPECT_TRUE(run->Set("alpha", CanonicalId(alpha)).ok());
    return Sample(*run, At(0.5, 0.5));
  };
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

TEST_F(ImageNodeTest, LayerSetSelectsAChannelGroup) {
  const std::vector<std::string> names = {"R", "G", "B", "gloss.R", "gloss.G", "gloss.B"};
  ASSERT_EQ(WriteImage(folder_.File("layers.exr"), 2, 2, 6, [](int, int, int c) { return 0.1f * (c + 1); },
                       OIIO::TypeDesc::FLOAT, names), "");
  auto run = Runner(folder_.File("layers.exr"));
  LayerSet layout;
  layout.layers.push_back(String("gloss"));
  ASSERT_TRUE(run->Set("layerSet", layout).ok());
  const ColorA c = Sample(*run, At(0.5, 0.5));
  EXPECT_NEAR(c.r, 0.4, 1e-6);
  EXPECT_NEAR(c.b, 0.6, 1e-6);
  EXPECT_EQ(c.a, 1.0);

  auto missing = Runner(folder_.File("layers.exr"));
  LayerSet other;
  other.layers.push_back(String("diffuse"));
  ASSERT_TRUE(missing->Set("layerSet", other).ok());
  EXPECT_EQ(Sample(*missing, At(0.5, 0.5)), kDefault);
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_NE(sink_.messages[0].find("diffuse"), std::string::npos);
}

TEST_F(ImageNodeTest, LayerSetSelectsANamedPart) {
  // A two-part EXR: "beauty" at 0.25, "depth" at 0.75.
  const std::string path = folder_.File("parts.exr");
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out && out->supports("multiimage"));
  OIIO::ImageSpec layouts[2] = {OIIO::ImageSpec(2, 2, 3, OIIO::TypeDesc::FLOAT),
                              OIIO::ImageSpec(2, 2, 3, OIIO::TypeDesc::FLOAT)};
  layouts[0].attribute("oiio:subimagename", "beauty");
  layouts[1].attribute("oiio:subimagename", "depth");
  ASSERT_TRUE(out->open(path, 2, layouts));
  for (int part = 0; part < 2; ++part) {
    if (part > 0) {
      ASSERT_TRUE(out->open(path, layouts[part], OIIO::ImageOutput::AppendSubimage));
    }
    const std::vector<float> data(12, part ? 0.75f : 0.25f);
    ASSERT_TRUE(out->write_image(OIIO::TypeDesc::FLOAT, data.data()));
  }
  ASSERT_TRUE(out->close());

  auto run = Runner(path);
  LayerSet layers;
  layers.layers.push_back(String("missing"));  // the first layer the file has counts
  layers.layers.push_back(String("depth"));
  ASSERT_TRUE(run->Set("layerSet", layers).ok());
  EXPECT_EQ(Sample(*run, At(0.5, 0.5)), (ColorA{0.75, 0.75, 0.75, 1}));
  EXPECT_EQ(Sample(*Runner(path), At(0.5, 0.5)), (ColorA{0.25, 0.25, 0.25, 1}));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, SearchPathsFindRelativeNames) {
  ASSERT_EQ(WriteImage(folder_.File("found.exr"), 2, 2, 3, [](int, int, int) { return 0.75f; }), "");
  SearchPathsType paths;
  paths.urls.push_back(Url("/definitely/not/here"));
  paths.urls.push_back(Url(folder_.path().string()));
  auto run = Runner("textures/found.exr");
  ShadingContext ctx = At(0.5, 0.5);
  ctx.searchpaths = &paths;
  EXPECT_EQ(Sample(*run, ctx), (ColorA{0.75, 0.75, 0.75, 1}));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(ImageNodeTest, FootprintAndBlurWidenTheFilter) {
  // A 64-pixel checker of single pixels: a wide footprint with "mip" sees
  // grey, a point sample sees black or white.
  ASSERT_EQ(WriteImage(folder_.File("fine.exr"), 64, 64, 3,
                       [](int x, int y, int) { return static_cast<float>((x + y) % 2); }), "");
  auto point = Runner(folder_.File("fine.exr"));
  ASSERT_TRUE(point->Set("interpolation", CanonicalId("mip")).ok());
  const double p = Sample(*point, At(32.5 / 64, 32.5 / 64)).r;
  EXPECT_TRUE(p < 0.05 || p > 0.95) << p;

  auto blurred = Runner(folder_.File("fine.exr"));
  ASSERT_TRUE(blurred->Set("interpolation", CanonicalId("mip")).ok());
  ASSERT_TRUE(blurred->Set("blur", 0.25).ok());
  EXPECT_NEAR(Sample(*blurred, At(0.5 + 0.25 / 64, 0.5 + 0.25 / 64)).r, 0.5, 0.02);

  auto wide = Runner(folder_.File("fine.exr"));
  ASSERT_TRUE(wide->Set("interpolation", CanonicalId("mip")).ok());
  ShadingContext ctx = At(0.5 + 0.25 / 64, 0.5 + 0.25 / 64);
  ctx.uvwdx.x += 0.25;
  ctx.uvwdy.y += 0.25;
  EXPECT_NEAR(Sample(*wide, ctx).r, 0.5, 0.02);
}

}  // namespace
}  // namespace tessaroc::pattern
