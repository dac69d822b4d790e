// The command line as a user runs it: exit status, one-line errors, and eval
// output that reads back to the same values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <Imath/half.h>
#include <cstring>

#include "../host/imageio/ocio_test_config.h"
#include "../host/texture/test_images.h"
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

// What a shell command prints on its standard output, and its exit status.
Outcome Shell(const std::string& cmd) {
  Outcome run{};
  FILE* p = popen(cmd.c_str(), "r");
  std::array<char, 4096> buf{};
  for (size_t n; (n = fread(buf.data(), 1, buf.size(), p)) > 0;) run.out.append(buf.data(), n);
  const int raw = pclose(p);
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return run;
}

// Runs the tool with `args`; `shell` goes before it in the same shell (a
// limit, a variable).
Outcome Tool(const std::string& args, const std::string& shell = "") {
  const fs::path errFile = fs::temp_directory_path() / ("tessaroc_cli_err_" + std::to_string(::getpid()));
  Outcome run = Shell(shell + std::string(TESSAROC_TOOL) + " " + args + " 2>" + errFile.string());
  std::ifstream e(errFile);
  run.err.assign(std::istreambuf_iterator<char>(e), std::istreambuf_iterator<char>());
  fs::remove(errFile);
  return run;
}

// A mistake: status 1 and one line `tessaroc: error: ...` that holds `message`.
void ExpectError(const Outcome& r, const std::string& message, const std::string& what) {
  EXPECT_EQ(r.status, 1) << what;
  EXPECT_EQ(r.err.rfind("tessaroc: error: ", 0), 0u) << what << ": " << r.err;
  EXPECT_NE(r.err.find(message), std::string::npos) << what << ": " << r.err;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << what << ": " << r.err;
}

// A folder of its own for one test's documents and images.
struct Scratch : tessaroc::testing::TempFolder {
  std::string operator/(const std::string& name) const { return File(name); }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(path() / name) << text;
    return File(name);
  }
  size_t Files() const { return std::distance(fs::directory_iterator(path()), {}); }
};

// A noise through a placement into a checkerboard: every pixel different.
const char* kBoard = R"({"tessaroc": 1, "nodes": {
    "place": {"node": "placement2d", "inputs": {"localrepetitions": [3, 2], "localrotation": 0.3}},
    "grain": {"node": "noise", "inputs": {"noisetype": "fbm", "contextlocal": {"link": "place.result"}}},
    "board": {"node": "checkerboard", "inputs": {"color1": {"link": "grain.result"}, "color2": [0.1, 0.2, 0.6, 0.5],
                                                 "contextlocal": {"link": "place.result"}}}},
    "output": {"link": "board.result"}})";

tessaroc::host::Image Read(const std::string& path) {
  tessaroc::host::Image image;
  EXPECT_TRUE(tessaroc::host::ReadImage(path, image).ok()) << path;
  return image;
}

bool SameBits(const tessaroc::host::Image& a, const tessaroc::host::Image& b) {
  return a.pixels.size() == b.pixels.size() &&
         std::memcmp(a.pixels.data(), b.pixels.data(), a.pixels.size() * sizeof(float)) == 0;
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
  Scratch dir;
  r = Tool("eval --node fresneldielectric --set ior=1.5 --uv 0.3,0.4 --context " +
           dir.Write("ctx.json", R"({"shadingnormal": [1, 0, 0]})"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(nlohmann::json::parse(r.out)["result"].get<double>(), 1.0);
}

// Mistakes of the tool's own and those the argument parser finds.
TEST(Cli, MistakesGiveOneLineAndAFailingStatus) {
  const struct {
    const char* args;
    std::string message;
  } cases[] = {
      {"eval --node nosuchnode", ""},
      {"eval --node exposure --set nosuchport=1", ""},
      {"eval --node exposure --set exposure=bright", ""},
      {"describe nosuchnode", ""},
      {"render /nonexistent.json -o /tmp/x.png", ""},
      {"eval --node fresneldielectric --shape sphere", ""},                              // no pixel to look through
      {"eval --node fresneldielectric --shape sphere --pixel 0,0 --size 64", ""},        // a background pixel
      {"eval --node fresneldielectric --pixel 64,0 --size 64", ""},                      // outside the image
      {"eval --node fresneldielectric --shape sphere --pixel 1,1 --camera 30,0.2", ""},  // inside the sphere
      {"eval --node fresneldielectric --shape cone --pixel 1,1", ""},
      {"eval --node fresneldielectric --pixel 1,1 --camera 30", ""},  // the plane has no camera
      {"eval --node fresneldielectric --shape torus --pixel 1,1 --orbit 10", ""},
      {"", "A subcommand is required; see tessaroc --help"},
      {"render", "graph is required; see tessaroc render --help"},
      {"render --bogus", "The following argument was not expected: --bogus; see tessaroc render --help"},
      {"nodes --bogus", "The following argument was not expected: --bogus; see tessaroc nodes --help"},
      {"eval --node exposure --uv", "--uv: 1 required"},
      {"render /nonexistent.json -o x.png", "/nonexistent.json"},
      {"render examples/road.json -o x.exr --frame 1 --frames 1-2", "--frame excludes --frames"},
  };
  for (const auto& c : cases)
    ExpectError(Tool(c.args, std::string("cd ") + TESSAROC_SOURCE_DIR + " && "), c.message, c.args);
  EXPECT_EQ(Tool("--help").status, 0);
  // An unknown enumeration value is no mistake: one warning, and the node's own answer (no noise).
  Outcome odd = Tool("eval --node noise --set noisetype=turbulense");
  EXPECT_EQ(odd.status, 0) << odd.err;
  EXPECT_EQ(odd.err,
            "tessaroc: warning: --set noisetype: unknown value \"turbulense\", passed on as it is; did you "
            "mean \"turbulence\"?\n");
  EXPECT_EQ(odd.out, "{\"result\":0.0}\n");
}

TEST(Cli, RenderWritesTheImageAndSaysWhere) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", R"({"tessaroc": 1, "nodes": {
      "board": {"node": "checkerboard", "inputs": {"color1": [1, 0, 0, 1], "color2": [0, 0, 1, 1]}}},
      "output": {"link": "board.result"}})");
  for (const char* ext : {".png", ".exr"}) {
    const std::string out = dir / (std::string("img") + ext);
    Outcome r = Tool("render " + graph + " -o " + out + " --size 16x8");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(fs::exists(out)) << ext;
    EXPECT_NE(r.out.find("rendered 16x8"), std::string::npos) << r.out;
    EXPECT_EQ(r.err, "");  // no progress bar when not on a terminal
  }
  // --stats prints its table even when quiet: a row per node, whose calls
  // are the samples here.
  Outcome stats = Tool("render " + graph + " -o " + (dir / "s.exr") + " --size 16x8 -q --stats");
  EXPECT_EQ(stats.status, 0) << stats.err;
  EXPECT_EQ(stats.out.find("rendered"), std::string::npos) << stats.out;
  const size_t row = stats.out.find("\nboard ");
  ASSERT_NE(row, std::string::npos) << stats.out;
  const std::string line = stats.out.substr(row + 1, stats.out.find('\n', row + 1) - row - 1);
  EXPECT_NE(line.find(" checkerboard "), std::string::npos) << line;
  EXPECT_NE(line.find(" per sample "), std::string::npos) << line;
  EXPECT_NE(line.find(" 128 "), std::string::npos) << line;
  Outcome format = Tool("render " + graph + " -o " + (dir / "x.nosuchformat"));
  ExpectError(format, "no image format", "x.nosuchformat");
  EXPECT_EQ(format.out, "");  // stopped before rendering
}

// eval --pixel evaluates what that pixel of the render shows, and prints the
// context it used in the form --context reads back.
TEST(Cli, EvalOnAShapeIsTheRendersPixelAndPrintsItsContext) {
  Scratch dir;
  const std::string graph =
      dir.Write("glass.json", R"({"tessaroc": 1, "nodes": {"f": {"node": "fresneldielectric", "inputs": {"ior": 1.5}}},
                                 "output": {"link": "f.result"}})");
  const std::string view = " --shape sphere --size 48x40 --orbit 10,20";
  for (const char* ext : {".exr", ".png"}) {
    Outcome r = Tool("render " + graph + " -o " + (dir / "img") + ext + view + " --quiet");
    ASSERT_EQ(r.status, 0) << r.err;
  }
  const auto exr = Read(dir / "img.exr"), png = Read(dir / "img.png");
  EXPECT_EQ(exr.pixels[3], 0.0f);  // a missed corner: transparent in EXR
  EXPECT_EQ(png.pixels[3], 1.0f);  // and opaque in PNG

  Outcome e = Tool("eval " + graph + view + " --pixel 30,15 --print-context");
  ASSERT_EQ(e.status, 0) << e.err;
  const std::string contextLine = e.out.substr(0, e.out.find('\n'));
  const std::string resultLine = e.out.substr(contextLine.size() + 1);
  const auto context = nlohmann::json::parse(contextLine);
  EXPECT_EQ(context["pixelx"], 30);
  EXPECT_EQ(context["pixely"], 15);
  const double result = nlohmann::json::parse(resultLine)["result"].get<double>();
  EXPECT_EQ(static_cast<float>(result), exr.pixels[(15 * 48 + 30) * exr.channels]);
  EXPECT_GT(result, 0.04);  // off the centre: more than head-on

  Outcome again = Tool("eval " + graph + " --context " + dir.Write("ctx.json", contextLine));
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, resultLine);
}

TEST(Cli, NodesListsTheCatalogue) {
  // The names a document uses, with group and what each does; core ids apart.
  Outcome r = Tool("nodes");
  ASSERT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("\ncheckerboard           generator   Two colours on a board"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("corenode"), std::string::npos);
  EXPECT_NE(r.out.find("\npassthrough            builtin     "), std::string::npos) << r.out;
  Outcome core = Tool("nodes --core");
  ASSERT_EQ(core.status, 0);
  EXPECT_NE(core.out.find("net.zovan.pattern.corenode.effect.invertcolor\n"), std::string::npos);
  Outcome described = Tool("describe checkerboard --json");
  ASSERT_EQ(described.status, 0) << described.err;
  EXPECT_EQ(nlohmann::json::parse(described.out)["id"], "net.zovan.pattern.node.generator.checkerboard");
  Outcome j = Tool("nodes --json");
  ASSERT_EQ(j.status, 0) << j.err;
  const auto doc = nlohmann::json::parse(j.out);
  EXPECT_GE(doc["assets"].size(), 40u);
  EXPECT_EQ(doc["corenodes"].size(), 77u);
}

// A farm renders bands or windows on different machines; pasted at their
// data windows (here and with oiiotool) they are the whole picture, bit for bit.
TEST(Cli, TilesPastedTogetherAreTheWholeRender) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  const std::string size = " --size 50x37 -q";
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "full.exr") + size).status, 0);
  const auto full = Read(dir / "full.exr");
  // The four bands, pasted as docs/cli.md says, are every row once.
  std::string paste = "oiiotool";
  for (int i = 1; i <= 4; ++i) {
    const std::string part = dir / ("part" + std::to_string(i) + ".exr");
    Outcome r = Tool("render " + graph + " -o " + part + size + " --tile " + std::to_string(i) + "/4");
    ASSERT_EQ(r.status, 0) << i << ": " << r.err;
    paste += " " + part + (i == 1 ? " --create 50x37 4 --paste -" : " --swap --paste -");
  }
  ASSERT_EQ(std::system((paste + " -d float -o " + (dir / "pasted.exr")).c_str()), 0) << paste;
  EXPECT_TRUE(SameBits(Read(dir / "pasted.exr"), full));
  // A window is stored where it lies in the whole picture (whose pixels it
  // holds, as the render tests check), with the whole size beside it.
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "crop.exr") + size + " --crop 7,3,40,30").status, 0);
  const auto crop = Read(dir / "crop.exr");
  EXPECT_EQ(crop.fullWidth, 50);
  EXPECT_EQ(crop.fullHeight, 37);
  EXPECT_EQ(crop.x, 7);
  EXPECT_EQ(crop.y, 3);
  EXPECT_EQ(crop.width, 40 - 7);
  EXPECT_EQ(crop.height, 30 - 3);
  // Other formats hold the window alone.
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "part.png") + size + " --tile 2/4").status, 0);
  const auto band = Read(dir / "part.png");
  EXPECT_EQ(band.width, 50);
  EXPECT_EQ(band.height, 37 * 2 / 4 - 37 / 4);
  EXPECT_EQ(band.fullHeight, band.height);
}

// A frame range compiles once and writes each frame as its own --frame
// render would; the sequence example shows a different picture each frame.
TEST(Cli, FrameRangesWriteEachFrameAtItsTime) {
  Scratch dir;
  const std::string graph = std::string(TESSAROC_SOURCE_DIR) + "/examples/sequence.json";
  Outcome r = Tool("render " + graph + " -o " + (dir / "f.####.exr") + " --size 16 --fps 2 --frames 1-4x2,7");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 3) << r.out;
  EXPECT_NE(r.out.find("-> " + (dir / "f.0007.exr")), std::string::npos) << r.out;
  std::vector<tessaroc::host::Image> frames;
  for (const char* n : {"1", "3", "7"}) {
    ASSERT_TRUE(fs::exists(dir / ("f.000" + std::string(n) + ".exr"))) << n;
    ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "one.exr") + " --size 16 --fps 2 -q --frame " + n).status, 0);
    frames.push_back(Read(dir / ("f.000" + std::string(n) + ".exr")));
    EXPECT_TRUE(SameBits(frames.back(), Read(dir / "one.exr"))) << n;
  }
  EXPECT_EQ(dir.Files(), 4u);                    // no frame 2, 4 or 5
  EXPECT_FALSE(SameBits(frames[0], frames[1]));  // the frames are pictures of their times
  // printf's form, with as many digits as it says.
  r = Tool("render " + graph + " -o " + (dir / "g.%03d.png") + " --size 8 --frames=-1-0 -q");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(fs::exists(dir / "g.-01.png"));
  EXPECT_TRUE(fs::exists(dir / "g.000.png"));
}

// Two AOVs become channels of the EXR beside RGBA; the picture of an AOV is
// that of the output it names.
TEST(Cli, AovsAreChannelsOfTheExrAndFilesBesideOthers) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  std::string grain = kBoard;
  grain.replace(grain.rfind("board.result"), 12, "grain.result");  // the output
  const std::string grainGraph = dir.Write("grain.json", grain);
  const std::string aovs = " --aov height=grain.result --aov tint=board.result --size 20x12";
  Outcome r = Tool("render " + graph + " -o " + (dir / "a.exr") + aovs);
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(Tool("render " + grainGraph + " -o " + (dir / "grain.exr") + " --size 20x12 -q").status, 0) << grain;
  const auto image = Read(dir / "a.exr");
  const auto height = Read(dir / "grain.exr");
  const std::vector<std::string> names = {"R", "G", "B", "A", "height.Y", "tint.R", "tint.G", "tint.B", "tint.A"};
  ASSERT_EQ(image.channelNames.size(), names.size());
  std::map<std::string, int> at;
  for (size_t c = 0; c < names.size(); ++c) at[image.channelNames[c]] = static_cast<int>(c);
  for (const std::string& n : names) ASSERT_TRUE(at.count(n)) << n;
  for (int p = 0; p < 20 * 12; ++p) {
    const float* px = &image.pixels[p * image.channels];
    ASSERT_EQ(px[at["height.Y"]], height.pixels[p * 4]) << p;
    for (const char* c : {"R", "G", "B", "A"}) ASSERT_EQ(px[at[std::string("tint.") + c]], px[at[c]]) << p;
  }
  r = Tool("render " + graph + " -o " + (dir / "a.png") + aovs);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("-> " + (dir / "a.png") + ", " + (dir / "a.height.png") + ", " + (dir / "a.tint.png")),
            std::string::npos)
      << r.out;
  EXPECT_EQ(Read(dir / "a.height.png").channels, 1);
}

// Half floats are the float render rounded to half; the OpenColorIO config's
// transforms give the values worked out by hand, from --ocio or $OCIO.
TEST(Cli, DepthAndColourManagementGiveTheValuesAskedFor) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "float.exr") + " --size 9 -q").status, 0);
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "half.exr") + " --size 9 -q --depth half").status, 0);
  const auto single = Read(dir / "float.exr"), half = Read(dir / "half.exr");
  ASSERT_EQ(single.pixels.size(), half.pixels.size());
  for (size_t i = 0; i < single.pixels.size(); ++i)
    ASSERT_EQ(half.pixels[i], static_cast<float>(Imath::half(single.pixels[i]))) << i;
  EXPECT_LT(fs::file_size(dir / "half.exr"), fs::file_size(dir / "float.exr"));

  const std::string flat = dir.Write(
      "flat.json",
      R"({"tessaroc": 1, "nodes": {"c": {"node": "composecolora", "inputs": {"rgb": [0.2, 0.4, 0.3], "alpha": 0.5}}},
          "output": {"link": "c.result"}})");
  const std::string config = dir.Write("test.ocio", tessaroc::testing::kOcioConfig);
  const auto want = tessaroc::testing::Mixed(0.2, 0.4, 0.3);
  const struct {
    std::string shell, args;
  } cases[] = {{"", "--ocio " + config + " --colorspace mixed"},
               {"", "--ocio " + config + " --display screen --view half-gamma"},
               {"OCIO=" + config + " ", "--colorspace mixed"}};
  for (const auto& c : cases) {
    Outcome r = Tool("render " + flat + " -o " + (dir / "c.exr") + " --size 2 -q " + c.args, c.shell);
    ASSERT_EQ(r.status, 0) << c.args << ": " << r.err;
    const auto image = Read(dir / "c.exr");
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(image.pixels[i], want[i], 1e-5) << c.args;
    EXPECT_EQ(image.pixels[3], 0.5f);
  }
}

// A write that fails (here at a file size limit) leaves the file that was
// there as it was, removes its temporary file and says so on one line.
TEST(Cli, FailedWritesKeepThePreviousFile) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  for (const char* ext : {".png", ".exr", ".jpg", ".tif"}) {
    const std::string out = dir / (std::string("out") + ext);
    ASSERT_EQ(Tool("render " + graph + " -o " + out + " --size 8 -q").status, 0) << ext;
    std::ifstream before(out, std::ios::binary);
    const std::string previous((std::istreambuf_iterator<char>(before)), std::istreambuf_iterator<char>());
    // 8 blocks of 512 bytes: far less than the picture needs.
    Outcome r = Tool("render " + graph + " -o " + out + " --size 200 -q", "ulimit -f 8; ");
    ExpectError(r, "the previous file is left as it was\n", ext);
    EXPECT_EQ(r.err.rfind("tessaroc: error: " + out + ": writing failed: ", 0), 0u) << r.err;
    std::ifstream after(out, std::ios::binary);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(after)), std::istreambuf_iterator<char>()), previous) << ext;
  }
  EXPECT_EQ(dir.Files(), 5u);  // the document and the four pictures
}

TEST(Cli, RenderMistakesGiveOneLineAndWriteNothing) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  std::string many;  // more than any machine's memory at the largest size
  for (int i = 0; i < 20; ++i) many += " --aov a" + std::to_string(i) + "=board.result";
  const struct {
    std::string args, message;
  } cases[] = {
      {"-o x.exr --size 70000", "--size: expected W or WxH with whole numbers from 1 to 65536"},
      {"-o x.png --size 0", "--size"},
      {"-o x.png --shape sphere --background purple", "--background"},
      {"-o x.exr --size 65536" + many, "are available; render it in parts"},
      {"-o x.exr --frames 5-1", "the range 5-1 ends before it starts"},
      {"-o x.exr --frames 1-3", "several frames need a frame number in the file name"},
      {"-o x.####.exr", "give --frame or --frames"},
      {"-o x.exr --size 8 --tile 0/4", "--tile 0/4: expected I/N with 1 <= I <= N <= 8"},
      {"-o x.exr --size 8 --crop 0,0,0,5", "--crop 0,0,0,5: expected X0,Y0,X1,Y1"},
      {"-o x.exr --aov =board.result", "expected NAME=NODE.PORT"},
      {"-o x.exr --aov a=board.result --aov a=grain.result", "--aov a is given twice"},
      {"-o x.exr --aov a=nosuch.result", "output nosuch.result: expected NODE.PORT with a node of the document"},
      {"-o x.exr --aov a=bord.result", "with a node of the document; did you mean \"board\"?"},
      {"-o x.exr --aov a=board.nosuch", "board has no output nosuch; it has result"},
      {"-o x.exr --depth 12", "--depth: unknown depth \"12\"; half, float, 8 or 16"},
      {"-o x.jpg --depth 16", "x.jpg: JPEG files take no depth 16; 8"},
      {"-o x.exr --compression fast", "compression \"fast\": EXR files take none, rle"},
      {"-o x.exr --colorspace nosuch", "--colorspace: unknown colour space \"nosuch\""},
      {"-o x.exr --display screen --view raw", "--display: a display and view come from an OpenColorIO config"},
      {"-o nosuchfolder/x.exr", "there is no folder"},
      {"-o x.exr --set board.colr1=1", "--set board.colr1: unknown port; board has "},
      {"-o x.exr --set board.colr1=1", "; did you mean \"color1\"?"},
      {"-o x.exr --set bord.color1=1", "--set bord.color1: the document has no node \"bord\"; did you mean \"board\"?"},
      {"-o x.exr --set board.color1=1,2", "--set board.color1: expected 3 or 4 numbers, got 2"},
      {"-o x.exr --set color1=1", "--set color1=1: expected NODE.PORT=VALUE"},
  };
  for (const auto& c : cases)
    ExpectError(Tool("render " + graph + " -q " + c.args, "cd " + (dir / "") + " && "), c.message, c.args);
  EXPECT_EQ(dir.Files(), 1u);  // the document alone
}

// The schema `tessaroc schema` prints is the one the examples name, accepts
// every example (checked by a validator of its own, Debian's
// python3-jsonschema) and rejects a misspelt port, node or value.
TEST(Cli, SchemaAcceptsEveryExampleAndRejectsMisspellings) {
  Scratch dir;
  Outcome r = Tool("schema");
  ASSERT_EQ(r.status, 0) << r.err;
  std::ifstream committed(std::string(TESSAROC_SOURCE_DIR) + "/schema/graph.schema.json");
  EXPECT_EQ(r.out, std::string(std::istreambuf_iterator<char>(committed), {}))
      << "schema/graph.schema.json is out of date: `tessaroc schema > schema/graph.schema.json`";
  const std::string schema = dir.Write("graph.schema.json", r.out);
  // Prints each file the schema rejects, with the reason, and how many it read.
  const std::string check = dir.Write("check.py", R"(import glob, json, sys, jsonschema
validator = jsonschema.Draft202012Validator(json.load(open(sys.argv[1])))
jsonschema.Draft202012Validator.check_schema(validator.schema)
files = sorted(glob.glob(sys.argv[2] + "/**/*.json", recursive=True)) + sys.argv[3:]
for f in files:
    for e in validator.iter_errors(json.load(open(f))):
        print(f.split("/")[-1], e.message)
print(len(files), "read")
)");
  const std::string examples = std::string(TESSAROC_SOURCE_DIR) + "/examples";
  std::vector<std::string> bad;
  for (const auto& [from, to] :
       std::vector<std::pair<std::string, std::string>>{{"\"color1\"", "\"colr1\""},
                                                        {"\"checkerboard\"", "\"checkerbord\""},
                                                        {"\"tessaroc\": 1", "\"tessaroc\": 2"}}) {
    std::ifstream in(examples + "/checker.json");
    std::string text(std::istreambuf_iterator<char>(in), {});
    ASSERT_NE(text.find(from), std::string::npos) << from;
    text.replace(text.find(from), from.size(), to);
    bad.push_back(dir.Write("bad" + std::to_string(bad.size()) + ".json", text));
  }
  const Outcome checked =
      Shell("/usr/bin/python3 " + check + " " + schema + " " + examples + " " + bad[0] + " " + bad[1] + " " + bad[2]);
  const std::string& out = checked.out;
  ASSERT_EQ(checked.status, 0) << out;
  size_t files = 0;  // the tutorial's too
  for (const auto& e : fs::recursive_directory_iterator(examples)) files += e.path().extension() == ".json";
  std::istringstream lines(out);
  std::string line;
  const std::vector<std::string> want = {
      "bad0.json Additional properties are not allowed ('colr1' was unexpected)",
      "bad1.json 'checkerbord' is not one of ['blend', ",  // then every name
      "bad2.json 1 was expected",
      std::to_string(files + 3) + " read",
  };
  for (const std::string& w : want) {
    ASSERT_TRUE(std::getline(lines, line)) << out;
    EXPECT_EQ(line.substr(0, w.size()), w);
  }
  EXPECT_FALSE(std::getline(lines, line)) << line;
}

// The documents of docs/tutorial.md do what the tutorial says of them.
TEST(Cli, TheTutorialsMaterialsAreWhatItSays) {
  Scratch dir;
  const std::string folder = std::string(TESSAROC_SOURCE_DIR) + "/examples/tutorial/";
  for (const char* name : {"marble", "bricks"}) {
    Outcome r = Tool("render " + folder + name + ".json -o " + (dir / name) + ".exr --size 64 -q");
    ASSERT_EQ(r.status, 0) << name << ": " << r.err;
    EXPECT_EQ(r.err, "") << name;
  }
  // Marble: stone and veins, every value a colour of the ramp, not one grey.
  const auto marble = Read(dir / "marble.exr");
  const auto [low, high] = std::minmax_element(marble.pixels.begin(), marble.pixels.end());
  EXPECT_GE(*low, 0.25f * 0.75f);
  EXPECT_LE(*high, 1.0f);
  EXPECT_GT(*high - *low, 0.4f);
  // Bricks: a brick is the brick colour and the mortar the mortar colour,
  // each times its cell's own shade from 0.6 to 1.
  auto at = [&](double u, double v) {
    Outcome r = Tool("eval " + folder + "bricks.json --uv " + std::to_string(u) + "," + std::to_string(v));
    EXPECT_EQ(r.status, 0) << r.err;
    return nlohmann::json::parse(r.out)["result"].get<std::vector<double>>();
  };
  const auto brick = at(0.125, 0.0625), next = at(0.375, 0.0625), mortar = at(0.25, 0.3);
  for (const auto& c : {brick, next}) {
    EXPECT_NEAR(c[0] / c[1], 0.45 / 0.15, 1e-9);
    EXPECT_GE(c[0] / 0.45, 0.6);
    EXPECT_LE(c[0] / 0.45, 1.0);
  }
  EXPECT_NE(brick[0], next[0]);  // each brick its own shade
  EXPECT_NEAR(mortar[0] / mortar[1], 0.55 / 0.53, 1e-9);
}

// --set replaces exactly the port it names: the render equals that of the
// document edited by hand, in the value notation or as a JSON literal; text
// is taken whole, commas and all.
TEST(Cli, SettingsOverrideExactlyThatPort) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  std::string edited = kBoard;
  edited.replace(edited.find("[0.1, 0.2, 0.6, 0.5]"), 20, "[0.9, 0.3, 0.1, 1]");
  const std::string editedGraph = dir.Write("edited.json", edited);
  const std::string size = " --size 12x9 -q";
  ASSERT_EQ(Tool("render " + graph + " -o " + (dir / "plain.exr") + size).status, 0);
  ASSERT_EQ(Tool("render " + editedGraph + " -o " + (dir / "edited.exr") + size).status, 0);
  for (const char* value : {"board.color2=0.9,0.3,0.1", "'board.color2=[0.9, 0.3, 0.1, 1]'"}) {
    Outcome r = Tool("render " + graph + " -o " + (dir / "set.exr") + size + " --set " + value);
    ASSERT_EQ(r.status, 0) << value << ": " << r.err;
    EXPECT_TRUE(SameBits(Read(dir / "set.exr"), Read(dir / "edited.exr"))) << value;
    EXPECT_FALSE(SameBits(Read(dir / "set.exr"), Read(dir / "plain.exr"))) << value;
  }
  // eval of a document takes them too, links included.
  Outcome e = Tool("eval " + graph + " --uv 0.01,0.01 --set 'board.color2=[1, 0, 0, 1]'");
  ASSERT_EQ(e.status, 0) << e.err;
  EXPECT_EQ(e.out, "{\"result\":[1.0,0.0,0.0,1.0]}\n");
  ExpectError(Tool("eval " + graph + " --uv 0.01,0.01 --set 'board.color1={\"link\": \"place.result\"}'"),
              "--set board.color1: type mismatch: place.result is shadingcontext", "linked");
  const std::string words =
      dir.Write("words.json", R"({"tessaroc": 1, "nodes": {"s": {"node": "concat", "inputs": {"strings": ["a", "b"]}}},
                       "output": "s.result"})");
  // The concatenation of ["one,two"], and of ["x,y", "z"].
  const struct {
    std::string set, joined;
  } text[] = {{"s.strings=one,two", "one,two"}, {R"('s.strings=["x,y", "z"]')", "x,yz"}};
  for (const auto& t : text) {
    Outcome r = Tool("eval " + words + " --set " + t.set);
    ASSERT_EQ(r.status, 0) << t.set << ": " << r.err;
    EXPECT_EQ(nlohmann::json::parse(r.out)["result"], t.joined) << t.set;
  }
  Outcome odd = Tool("eval " + graph + " --set grain.noisetype=fbm,perlin");
  EXPECT_EQ(odd.status, 0);
  EXPECT_EQ(odd.err.rfind("tessaroc: warning: --set grain.noisetype: unknown value \"fbm,perlin\"", 0), 0u) << odd.err;
}

// What used to give a wrong picture without a word now fails loudly or works.
TEST(Cli, NoSilentWrongResults) {
  Scratch dir;
  // A missing image is a message; with --strict an error, and nothing written.
  const std::string image =
      dir.Write("image.json", R"({"tessaroc": 1, "nodes": {"i": {"node": "image", "inputs": {"url": "missing.png"}}},
                                 "output": "i.result"})");
  Outcome lenient = Tool("render " + image + " -o " + (dir / "a.png") + " --size 4 -q --threads 2");
  EXPECT_EQ(lenient.status, 0);
  EXPECT_EQ(lenient.err, "tessaroc: Image file not found: \"missing.png\".\n");
  for (const std::string& command :
       {"render " + image + " -o " + (dir / "b.png") + " --size 4 --strict", "eval " + image + " --strict"}) {
    Outcome strict = Tool(command);
    ExpectError(strict, "", command);
    EXPECT_EQ(strict.err.rfind("tessaroc: error: --strict: Image file not found: \"missing.png\"", 0), 0u)
        << strict.err;
    EXPECT_EQ(strict.out, "");
  }
  EXPECT_FALSE(fs::exists(dir / "b.png"));
  // A context file with a point and no neighbours samples that point, as --uv does.
  const std::string ctx = dir.Write("ctx.json", R"({"uvw": [0.3, 0.4, 0]})");
  Outcome point = Tool("eval --node noise --uv 0.3,0.4");
  Outcome fromFile = Tool("eval --node noise --context " + ctx);
  ASSERT_EQ(fromFile.status, 0) << fromFile.err;
  EXPECT_EQ(fromFile.out, point.out);
  EXPECT_NE(point.out, "{\"result\":0.5}\n");
  // Lists of different lengths, a core node that needs its pre node, an
  // output without a colour, a broken context file: one line each.
  const struct {
    std::string args, message;
  } cases[] = {
      {"render " + dir.Write("knots.json", R"({"tessaroc": 1, "nodes": {"g": {"node": "gradient", "inputs": {
           "position": [0, 0.5, 1], "color": [[1, 0, 0, 1], [0, 1, 0, 1]]}}}, "output": "g.result"})") +
           " -o " + (dir / "k.png"),
       "knots.json: /nodes/g/inputs/color: 2 elements where position has 3"},
      {"eval --node net.zovan.pattern.corenode.generator.noise",
       "core node net.zovan.pattern.corenode.generator.noise reads noisetable, which a pre node makes inside an "
       "asset; name the asset \"noise\" instead"},
      {"render " +
           dir.Write("words.json", R"({"tessaroc": 1, "nodes": {"s": {"node": "concat"}}, "output": "s.result"})") +
           " -o " + (dir / "w.png"),
       "the output result is of type string, which has no colour; eval prints it"},
      {"eval --node noise --context " + dir.Write("cut.json", R"({"uvw": [0.3, 0.4)"),
       "cut.json: line 1, column 18: invalid JSON (the text ends early: unexpected end of input; expected ']')"},
  };
  for (const auto& c : cases) ExpectError(Tool(c.args), c.message, c.args);
  EXPECT_FALSE(fs::exists(dir / "k.png"));
}

// Hostile input, as fuzzers and careless scripts give it: each ends within
// seconds in one `tessaroc: error:` line and status 1, or where the node
// defines a value, in that value and status 0. Limits are those of
// docs/documents.md.
TEST(Cli, HostileInputEndsInOneLineOrTheDefinedValue) {
  Scratch dir;
  const std::string graph = dir.Write("g.json", kBoard);
  auto document = [](const std::string& nodes, const std::string& output) {
    return R"({"tessaroc": 1, "nodes": {)" + nodes + R"(}, "output": {"link": ")" + output + R"("}})";
  };
  std::string chain = R"("n0": {"node": "exposure"})";
  for (int i = 1; i < 20000; ++i)
    chain += ", \"n" + std::to_string(i) + R"(": {"node": "exposure", "inputs": {"color": {"link": "n)" +
             std::to_string(i - 1) + R"(.result"}}})";
  auto knots = [&](int n) {
    std::string position, color;
    for (int i = 0; i < n; ++i) {
      position += (i ? "," : "") + std::to_string(i / (n - 1.0));
      color += std::string(i ? "," : "") + "[" + std::to_string(i / (n - 1.0)) + ",0,0,1]";
    }
    return dir.Write(
        "knots" + std::to_string(n) + ".json",
        document(R"("g": {"node": "gradient", "inputs": {"position": [)" + position + "], \"color\": [" + color + "]}}",
                 "g.result"));
  };
  const std::string stochastic =
      dir.Write("stochastic.json",
                document(R"("b": {"node": "blur", "inputs": {"mode": "stochastic", "radius": 0.1, "staticnoise": false,
                                               "color": {"link": "c.result"}}},
                  "c": {"node": "checkerboard"})",
                         "b.result"));
  const struct {
    std::string args, message;
    int status;
  } cases[] = {
      // A number too large for a double, in a document and in a context file.
      {"eval " +
           dir.Write("huge.json", document(R"("e": {"node": "exposure", "inputs": {"exposure": 1e400}})", "e.result")),
       "huge.json: line 1, column 76: invalid JSON (number overflow parsing '1e400'", 1},
      {"eval --node exposure --context " + dir.Write("huge_ctx.json", R"({"time": -1e400})"),
       "huge_ctx.json: line 1, column 10: invalid JSON (number overflow parsing '-1e400'", 1},
      // Text that is not UTF-8 in a setting.
      {"eval --node exposure --set \"exposure=$(printf '\\377')\"", "--set exposure: the value is not valid UTF-8", 1},
      // Deep nesting, long chains, huge and endless files.
      {"eval " +
           dir.Write("deep.json", R"({"tessaroc": 1, "x": )" + std::string(5000, '[') + std::string(5000, ']') + "}"),
       "deep.json: line 1, column 277: arrays and objects nested more than 256 deep", 1},
      {"eval " + dir.Write("chain.json", document(chain, "n19999.result")), "chain more than 1000 nodes deep", 1},
      {"eval /dev/zero", "/dev/zero: larger than 64 MiB", 1},
      {"eval --node exposure --context /dev/zero", "/dev/zero: larger than 64 MiB", 1},
      {"render " + graph + " -o " + (dir / "x.png") + " --threads 2147483647",
       "--threads 2147483647: expected 0 (every core) to 1024", 1},
      // Numbers past their port's range, checked before any conversion.
      {"eval --node noise --set seed=9223372036854775808", "--set seed: number out of range", 1},
      {"eval --node noise --set seed=1e19", "--set seed: number out of range", 1},
      // Costs past their limits.
      {"eval --node blur --set mode=stochastic --set radius=0.1 --set samples=2147483647",
       "blur: samples 2147483647 is more than the 65536 a stochastic blur takes", 1},
      {"eval --node thinfilm --set spectralsamples=400000000",
       "thinfilm: spectralsamples 400000000 is more than the 1000000 wavelength bins a film takes", 1},
      // Wrapping seeds: the largest time and pixel indices give a colour.
      {"eval " + stochastic + " --context " + dir.Write("late.json", R"({"time": 1e300, "framerate": 24})"),
       "{\"result\":[", 0},
      {"render " + stochastic + " -o " + (dir / "late.png") + " --size 4 --time 1e300", "rendered 4x4 in ", 0},
      {"eval " + stochastic + " --context " +
           dir.Write("far.json", R"({"pixelx": 9223372036854775807, "pixely": 9223372036854775807})"),
       "{\"result\":[", 0},
      // A sequence whose frame fields span every int64: the default colour of the missing file.
      {"eval " +
           dir.Write("frames.json", document(R"("i": {"node": "image", "inputs": {"url": "none.0001.png",
                                       "framestart": -9223372036854775808, "frameend": 9223372036854775807,
                                       "playbackmode": "pingpong", "defaultcolor": [1, 0, 1, 1]}})",
                                             "i.result")) +
           " --context " + dir.Write("frame_time.json", R"({"time": 1e300})"),
       "{\"result\":[1.0,0.0,1.0,1.0],", 0},
      // Gradients of many knots read in linear time.
      {"eval " + knots(16000) + " --uv 0.25,0", "{\"result\":[0.25", 0},
      {"eval " + knots(100000) + " --uv 0.75,0", "{\"result\":[0.75", 0},
  };
  for (const auto& c : cases) {
    Outcome r = Tool(c.args, "cd " + (dir / "") + " && ");
    const std::string shown = c.args.substr(0, 120);
    if (c.status != 0) {
      ExpectError(r, c.message, shown);
    } else {
      EXPECT_EQ(r.status, 0) << shown << ": " << r.err;
      EXPECT_EQ(r.out.rfind(c.message, 0), 0u) << shown << ": " << r.out << r.err;
    }
  }
}

}  // namespace
