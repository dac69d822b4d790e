// The command line as a user runs it: exit status, one-line errors, and eval
// output that reads back to the same values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>

#include "host/imageio/image_writer.h"

#ifndef TESSAROC_TOOL
#define TESSAROC_TOOL "tessaroc"
#endif

namespace {

namespace fs = std::filesystem;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome Tool(const std::string& args) {
  const fs::path errFile = fs::temp_directory_path() / ("tessaroc_cli_err_" + std::to_string(::getpid()));
  const std::string cmd = std::string(TESSAROC_TOOL) + " " + args + " 2>" + errFile.string();
  Outcome run{};
  FILE* p = popen(cmd.c_str(), "r");
  std::array<char, 4096> buf{};
  size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), p)) > 0) run.out.append(buf.data(), n);
  const int raw = pclose(p);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  std::ifstream e(errFile);
  run.err.assign(std::istreambuf_iterator<char>(e), std::istreambuf_iterator<char>());
  fs::remove(errFile);
  return run;
}

TEST(Cli, EvalOutputReadsBackToTheSameDoublesAndNanAsText) {
  Outcome r = Tool("eval --node exposure --set color=0.1,0.2,0.3,1 --set exposure=0.37 --set gamma=2.2");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = nlohmann::json::parse(r.out);
  ASSERT_TRUE(j.contains("result"));
  // The same arithmetic here: exposure scales, gamma 2.2 applies, mask blend 1.
  const double e = std::pow(2.0, 0.37);
  const double in[3] = {0.1, 0.2, 0.3};
  for (int c = 0; c < 3; ++c) {
    const double v = std::pow(in[c] * e + 0.0, 1.0 / 2.2);
    EXPECT_EQ(j["result"][c].get<double>(), (v - in[c]) * 1.0 + in[c]) << c;
  }
  // Printed digits reproduce the double exactly.
  const double printed = j["result"][0].get<double>();
  char text[64];
  std::snprintf(text, sizeof text, "%.17g", printed);
  EXPECT_EQ(std::strtod(text, nullptr), printed);
  // NaN and infinities print as text.
  r = Tool("eval --node exposure --set color=1,1,1,1 --set exposure=inf --set offset=nan");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"nan\""), std::string::npos) << r.out;
}

TEST(Cli, EvalSamplesASurfaceSeenFromAboveAndAContextFileOverridesIt) {
  // Straight on, glass reflects ((1.5 - 1) / (1.5 + 1))^2 = 0.04.
  Outcome r = Tool("eval --node fresneldielectric --set ior=1.5");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NEAR(nlohmann::json::parse(r.out)["result"].get<double>(), 0.04, 1e-12);
  // A normal across the ray is grazing light: everything is reflected.
  const fs::path ctx = fs::temp_directory_path() / ("tessaroc_cli_ctx_" + std::to_string(::getpid()) + ".json");
  std::ofstream(ctx) << R"({"shadingnormal": [1, 0, 0]})";
  r = Tool("eval --node fresneldielectric --set ior=1.5 --uv 0.3,0.4 --context " + ctx.string());
  fs::remove(ctx);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(nlohmann::json::parse(r.out)["result"].get<double>(), 1.0);
}

TEST(Cli, MistakesGiveOneLineAndAFailingStatus) {
  const char* cases[] = {
      "eval --node nosuchnode",
      "eval --node exposure --set nosuchport=1",
      "eval --node exposure --set exposure=bright",
      "describe nosuchnode",
      "render /nonexistent.json -o /tmp/x.png",
      "eval --node fresneldielectric --shape sphere",                              // no pixel to look through
      "eval --node fresneldielectric --shape sphere --pixel 0,0 --size 64",        // a background pixel
      "eval --node fresneldielectric --pixel 64,0 --size 64",                      // outside the image
      "eval --node fresneldielectric --shape sphere --pixel 1,1 --camera 30,0.2",  // inside the sphere
      "eval --node fresneldielectric --shape cone --pixel 1,1",
      "eval --node fresneldielectric --pixel 1,1 --camera 30",  // the plane has no camera
      "eval --node fresneldielectric --shape torus --pixel 1,1 --orbit 10",
  };
  for (const char* c : cases) {
    Outcome r = Tool(c);
    EXPECT_NE(r.status, 0) << c;
    EXPECT_FALSE(r.err.empty()) << c;
    if (std::string(c).rfind("render", 0) != 0) {  // CLI11 words its own usage errors
      EXPECT_EQ(r.err.rfind("tessaroc: error: ", 0), 0u) << c << ": " << r.err;
      EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c << ": " << r.err;
    }
  }
  // An unknown enumeration value is no mistake: one warning, and the node's own answer (no noise).
  Outcome odd = Tool("eval --node noise --set noisetype=turbulense");
  EXPECT_EQ(odd.status, 0) << odd.err;
  EXPECT_EQ(odd.err,
            "tessaroc: warning: --set noisetype: unknown value \"turbulense\", passed on as it is; did you "
            "mean \"turbulence\"?\n");
  EXPECT_EQ(odd.out, "{\"result\":0.0}\n");
}

TEST(Cli, RenderWritesTheImageAndSaysWhere) {
  const fs::path dir = fs::temp_directory_path() / ("tessaroc_cli_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const fs::path graph = dir / "g.json";
  std::ofstream(graph) << R"({"tessaroc": 1, "nodes": {
      "board": {"node": "checkerboard", "inputs": {"color1": [1, 0, 0, 1], "color2": [0, 0, 1, 1]}}},
      "output": {"link": "board.result"}})";
  for (const char* ext : {".png", ".exr"}) {
    const fs::path out = dir / (std::string("img") + ext);
    Outcome r = Tool("render " + graph.string() + " -o " + out.string() + " --size 16x8");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(fs::exists(out)) << ext;
    EXPECT_NE(r.out.find("rendered 16x8"), std::string::npos) << r.out;
    EXPECT_EQ(r.err, "");  // no progress bar when not on a terminal
  }
  Outcome bad = Tool("render " + graph.string() + " -o " + (dir / "x.png").string() + " --size 0");
  EXPECT_NE(bad.status, 0);
  EXPECT_NE(bad.err.find("--size"), std::string::npos);
  Outcome background =
      Tool("render " + graph.string() + " -o " + (dir / "x.png").string() + " --shape sphere --background purple");
  EXPECT_NE(background.status, 0);
  EXPECT_NE(background.err.find("--background"), std::string::npos) << background.err;
  Outcome format = Tool("render " + graph.string() + " -o " + (dir / "x.nosuchformat").string());
  EXPECT_NE(format.status, 0);
  EXPECT_NE(format.err.find("no image format"), std::string::npos) << format.err;
  EXPECT_EQ(format.out, "");  // stopped before rendering
  fs::remove_all(dir);
}

// eval --pixel evaluates what that pixel of the render shows, and prints the
// context it used in the form --context reads back.
TEST(Cli, EvalOnAShapeIsTheRendersPixelAndPrintsItsContext) {
  const fs::path dir = fs::temp_directory_path() / ("tessaroc_cli_shape_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  const fs::path graph = dir / "glass.json";
  std::ofstream(graph) << R"({"tessaroc": 1, "nodes": {"f": {"node": "fresneldielectric", "inputs": {"ior": 1.5}}},
                            "output": {"link": "f.result"}})";
  const std::string view = " --shape sphere --size 48x40 --orbit 10,20";
  for (const char* ext : {".exr", ".png"}) {
    Outcome r = Tool("render " + graph.string() + " -o " + (dir / "img").string() + ext + view + " --quiet");
    ASSERT_EQ(r.status, 0) << r.err;
  }
  tessaroc::host::Image exr, png;
  ASSERT_TRUE(tessaroc::host::ReadImage((dir / "img.exr").string(), exr).ok());
  ASSERT_TRUE(tessaroc::host::ReadImage((dir / "img.png").string(), png).ok());
  EXPECT_EQ(exr.pixels[3], 0.0f);  // a missed corner: transparent in EXR
  EXPECT_EQ(png.pixels[3], 1.0f);  // and opaque in PNG

  Outcome e = Tool("eval " + graph.string() + view + " --pixel 30,15 --print-context");
  ASSERT_EQ(e.status, 0) << e.err;
  const std::string contextLine = e.out.substr(0, e.out.find('\n'));
  const std::string resultLine = e.out.substr(contextLine.size() + 1);
  const auto context = nlohmann::json::parse(contextLine);
  EXPECT_EQ(context["pixelx"], 30);
  EXPECT_EQ(context["pixely"], 15);
  const double result = nlohmann::json::parse(resultLine)["result"].get<double>();
  EXPECT_EQ(static_cast<float>(result), exr.pixels[(15 * 48 + 30) * exr.channels]);
  EXPECT_GT(result, 0.04);  // off the centre: more than head-on

  const fs::path saved = dir / "ctx.json";
  std::ofstream(saved) << contextLine;
  Outcome again = Tool("eval " + graph.string() + " --context " + saved.string());
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, resultLine);
  fs::remove_all(dir);
}

TEST(Cli, NodesListsTheCatalogue) {
  Outcome r = Tool("nodes");
  ASSERT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("net.zovan.pattern.corenode.effect.invertcolor\n"), std::string::npos);
  Outcome j = Tool("nodes --json");
  ASSERT_EQ(j.status, 0) << j.err;
  const auto doc = nlohmann::json::parse(j.out);
  EXPECT_GE(doc["assets"].size(), 40u);
  EXPECT_EQ(doc["corenodes"].size(), 77u);
}

}  // namespace
