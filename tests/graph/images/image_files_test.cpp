// Image files through the whole engine: documents name files relative to
// their folder, a missing file shows the default colour and is reported once
// per render, and the render's time picks the frame of a numbered sequence or
// a movie.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "module_fixture.h"
#include "graph/render.h"
#include "host/messages/message_sink.h"
#include "host/texture/texture_service.h"
#include "test_images.h"

#ifndef TESSAROC_SOURCE_DIR
#define TESSAROC_SOURCE_DIR "."
#endif

namespace tessaroc::graph {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot(TESSAROC_SOURCE_DIR);

// Counts every call, so that a node reporting once per sample is caught even
// though the collecting sink keeps each distinct text only once.
class CountingSink final : public MessageSink {
 public:
  Result AddMessage(std::string_view text) override {
    ++calls;
    return collected.AddMessage(text);
  }
  std::atomic<int> calls{0};
  host::CollectingMessageSink collected;
};

using Scratch = testing::TempFolder;

// Writes `text` to the file `name` in `folder`; its path.
fs::path Write(const Scratch& folder, const std::string& name, const std::string& text) {
  std::ofstream(folder.path() / name) << text;
  return folder.path() / name;
}

const char* kMissing = R"({
  "tessaroc": 1,
  "nodes": {
    "picture": {"node": "image", "inputs": {"url": "no-such-picture.png", "interpolation": "linear",
                                            "defaultcolor": [0.25, 0.5, 0.75, 1]}}
  },
  "output": {"link": "picture.result"}
})";

class ImageFilesTest : public testing::ModuleTest {
 protected:
  // Renders a document file; by default as the command line does, with its
  // folder as the search path.
  static Result RenderFile(const fs::path& doc, int size, int threads, double time, MessageSink* sink, host::Image& out,
                           std::optional<fs::path> search = std::nullopt) {
    std::unique_ptr<Material> m;
    TESSAROC_RETURN_IF_FAILED(Material::FromFile(doc.string(), m));
    RenderSettings s;
    s.width = s.height = size;
    s.threads = threads;
    s.time = time;
    if (!search) search = doc.parent_path();
    if (!search->empty()) s.searchPaths.urls.emplace_back(search->string());
    s.messages = sink;
    return Render(*m, s, out);
  }

  // Which of the candidate pictures (same size as the render) the render is closest to.
  static int ClosestFrame(const host::Image& render, const std::vector<host::Image>& frames) {
    int best = -1;
    double bestDiff = 1e300;
    for (size_t f = 0; f < frames.size(); ++f) {
      double diff = 0;
      for (int p = 0; p < render.width * render.height; ++p)
        for (int c = 0; c < 3; ++c)
          diff += std::fabs(render.pixels[static_cast<size_t>(p) * 4 + c] -
                            frames[f].pixels[static_cast<size_t>(p) * frames[f].channels + c]);
      if (diff < bestDiff) bestDiff = diff, best = static_cast<int>(f) + 1;
    }
    return best;
  }

  // Renders an example at each time: no message, and the frame of the
  // sequence (numbered from 1) that the picture is closest to.
  static void ExpectFrames(const char* example, int threads, const std::vector<std::pair<double, int>>& cases) {
    std::vector<host::Image> frames(4);
    for (int n = 1; n <= 4; ++n) {
      const fs::path p = kRoot / "examples/images" / ("seq.000" + std::to_string(n) + ".png");
      ASSERT_TRUE(host::ReadImage(p.string(), frames[n - 1]).ok()) << p;
    }
    for (const auto& [time, frame] : cases) {
      SCOPED_TRACE("time " + std::to_string(time));
      CountingSink sink;
      host::Image image;
      Result r = RenderFile(kRoot / "examples" / example, 16, threads, time, &sink, image);
      ASSERT_TRUE(r.ok()) << r.ToString();
      EXPECT_EQ(sink.calls.load(), 0);
      EXPECT_EQ(ClosestFrame(image, frames), frame);
    }
  }
};

TEST_F(ImageFilesTest, AMissingFileShowsTheDefaultColourAndIsReportedOnce) {
  Scratch scratch;
  const fs::path doc = Write(scratch, "missing.json", kMissing);
  for (int threads : {1, 2}) {
    CountingSink sink;
    host::Image image;
    Result r = RenderFile(doc, 24, threads, 0.0, &sink, image);
    ASSERT_TRUE(r.ok()) << r.ToString();
    for (int p = 0; p < image.width * image.height; ++p) {
      const auto px = image.pixels.begin() + p * 4;
      ASSERT_EQ(std::vector<float>(px, px + 4), (std::vector<float>{0.25f, 0.5f, 0.75f, 1.0f})) << "pixel " << p;
    }
    EXPECT_EQ(sink.calls.load(), 1) << threads << " thread(s): the load failure is reported once per render";
    const auto messages = sink.collected.Messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find("no-such-picture.png"), std::string::npos) << messages[0];
  }
}

TEST_F(ImageFilesTest, RelativeFilesAreFoundFromAnywhereAlsoInsideABake) {
  // A picture named relative to the document, read directly, under a cache
  // and under a baked blur, whose bakes see no render context: found beside
  // the document or in the render's search path, whatever the working folder.
  const std::string image = R"("picture": {"node": "image", "inputs": {"url": "images/test.png",
      "interpolation": "linear", "defaultcolor": [0.25, 0.5, 0.75, 1]}})";
  const std::pair<const char*, std::string> readers[] = {
      {"image", "{" + image + R"(}, "output": {"link": "picture.result"})"},
      {"cache", "{" + image + R"(, "bake": {"node": "cache", "inputs": {"color": {"link": "picture.result"},
          "width": 16, "height": 16}}}, "output": {"link": "bake.result"})"},
      {"blur", "{" + image + R"(, "bake": {"node": "blur", "inputs": {"color": {"link": "picture.result"},
          "mode": "baked", "resolution": 16, "radius": 0}}}, "output": {"link": "bake.result"})"},
  };
  enum Where { kBesideTheDocument, kInASearchPath, kBesideTheDocumentWithoutSearchPaths };
  for (const auto& [name, nodes] : readers) {
    for (Where where : {kBesideTheDocument, kInASearchPath, kBesideTheDocumentWithoutSearchPaths}) {
      // A render that gives no search paths leaves sampled image nodes to its
      // working folder; a bake still looks beside the document. (The blur
      // also samples its input live, for the mask.)
      if (where == kBesideTheDocumentWithoutSearchPaths && std::string(name) != "cache") continue;
      SCOPED_TRACE(std::string(name) + " " + std::to_string(where));
      Scratch scratch;
      const fs::path pictures = scratch.path() / (where == kInASearchPath ? "library" : "documents");
      fs::create_directories(pictures / "images");
      fs::create_directories(scratch.path() / "documents");
      fs::copy_file(kRoot / "examples/images/test.png", pictures / "images/test.png");
      const fs::path doc = Write(scratch, "documents/found.json", R"({"tessaroc": 1, "nodes": )" + nodes + "}");
      CountingSink sink;
      host::Image out;
      Result r = RenderFile(doc, 16, 2, 0.0, &sink, out,
                            where == kBesideTheDocumentWithoutSearchPaths ? fs::path() : pictures);
      ASSERT_TRUE(r.ok()) << r.ToString();
      EXPECT_EQ(sink.calls.load(), 0);
      int defaults = 0;
      for (int p = 0; p < out.width * out.height; ++p)
        defaults +=
            out.pixels[static_cast<size_t>(p) * 4] == 0.25f && out.pixels[static_cast<size_t>(p) * 4 + 1] == 0.5f;
      EXPECT_EQ(defaults, 0);
    }
  }
}

TEST_F(ImageFilesTest, TheRenderTimePicksTheFrameOfASequence) {
  // The example plays four frames at 2 frames per second in a loop.
  ExpectFrames("sequence.json", 2, {{0.0, 1}, {0.49, 1}, {0.5, 2}, {1.0, 3}, {1.75, 4}, {2.0, 1}, {2.6, 2}});
}

TEST_F(ImageFilesTest, TheRenderTimePicksTheFrameOfAMovie) {
  if (!host::MovieReaderAvailable()) GTEST_SKIP() << "this OpenImageIO was built without its ffmpeg reader";
  // The movie holds the sequence's frames (JPEG-compressed) at 2 frames per
  // second and plays once: past its end it holds the last frame.
  ExpectFrames("movie.json", 1, {{0.0, 1}, {0.5, 2}, {1.2, 3}, {1.5, 4}, {9.0, 4}});
}

TEST_F(ImageFilesTest, ADocumentPicksTheLayerOfAMultiLayerFile) {
  Scratch scratch;
  // Channel c holds 0.1 * (c + 1): the main layer is (0.1, 0.2, 0.3), gloss (0.4, 0.5, 0.6).
  ASSERT_EQ(tessaroc::testing::WriteImage((scratch.path() / "layers.exr").string(), 2, 2, 6,
                                          [](int, int, int c) { return 0.1f * (c + 1); }, OIIO::TypeDesc::FLOAT,
                                          {"R", "G", "B", "gloss.R", "gloss.G", "gloss.B"}),
            "");
  auto document = [&](const std::string& layers) {
    return Write(scratch, "layers.json",
                 R"({"tessaroc": 1, "nodes": {"picture": {"node": "image", "inputs": {
        "url": "layers.exr", "interpolation": "none", "layerset": )" +
                     layers + R"(}}},
        "output": {"link": "picture.result"}})");
  };
  struct Case {
    const char* layers;
    float red;
  } cases[] = {{R"("gloss")", 0.4f}, {R"(["specular", "gloss"])", 0.4f}, {"[]", 0.1f}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.layers);
    host::Image out;
    CountingSink sink;
    ASSERT_TRUE(RenderFile(document(c.layers), 2, 1, 0, &sink, out).ok());
    EXPECT_NEAR(out.pixels[0], c.red, 1e-6);
    EXPECT_NEAR(out.pixels[2], c.red + 0.2f, 1e-6);
    EXPECT_EQ(sink.calls.load(), 0);
  }
  std::unique_ptr<Material> m;
  const Result wrong = Material::FromFile(document("3").string(), m);
  ASSERT_TRUE(wrong.failed());
  EXPECT_NE(wrong.message().find("/nodes/picture/inputs/layerset: expected a layer name"), std::string_view::npos)
      << wrong.message();
}

}  // namespace
}  // namespace tessaroc::graph
