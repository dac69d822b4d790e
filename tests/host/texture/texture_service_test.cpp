// The texture service's lookups on known images: each wrap mode, each
// filter, and a minified checker that must not alias.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include <OpenImageIO/imagebufalgo.h>

#include "../imageio/ocio_test_config.h"
#include "host/color/color_transform.h"
#include "host/texture/box_filter.h"
#include "host/texture/texture_service.h"
#include "test_images.h"

namespace tessaroc::host {
namespace {

using pattern::kInterpAniso;
using pattern::kInterpBicubic;
using pattern::kInterpBilinear;
using pattern::kInterpClosest;
using pattern::kInterpMip;
using pattern::kInterpSat;
using tessaroc::testing::TempFolder;
using tessaroc::testing::WriteFlat;
using tessaroc::testing::WriteImage;

class TextureServiceTest : public ::testing::Test {
 protected:
  // Loads a file (a path, or a name looked up in `paths`) into texture_.
  Result Try(const std::string& file, bool force32bit = false, const LayerSet& layers = {},
             const SearchPathsType* paths = nullptr) {
    TimeValue time = 0;
    return OiioTextureService().LoadTexture(Url(file), paths, force32bit, layers, time, nullptr, texture_);
  }
  pattern::ThreadedTextureRef Load(const std::string& name, bool force32bit = false, const LayerSet& layers = {}) {
    Result r = Try(folder_.File(name), force32bit, layers);
    EXPECT_TRUE(r.ok()) << r.ToString();
    return Threaded();
  }
  pattern::ThreadedTextureRef Threaded() {
    pattern::ThreadedTextureRef threaded;
    EXPECT_TRUE(OiioTextureService().AllocThreadedTexture(threaded).ok());
    EXPECT_TRUE(threaded->Init(texture_).ok());
    return threaded;
  }
  // 4 x 4 pixels: red = (column + 1) / 4, green = (row from the top + 1) / 4.
  pattern::ThreadedTextureRef Ramp4() {
    EXPECT_EQ(WriteImage(folder_.File("ramp4.exr"), 4, 4, 3,
                         [](int x, int y, int c) { return c == 0   ? (x + 1) / 4.0f
                                                          : c == 1 ? (y + 1) / 4.0f
                                                                   : 0.0f; }),
              "");
    return Load("ramp4.exr");
  }
  static ColorA At(const pattern::ThreadedTexture& t, double u, double v, int interp, uint8_t wu = kWrapExtend,
                   uint8_t wv = kWrapExtend, double du = 0, double dv = 0) {
    return t.Sample(u, v, du, dv, wu, wv, interp, false, pattern::kAlphaStraight, false);
  }
  // A lookup at (u, 0.5) under extend that decodes the file's colours (unless
  // `convert` is false), with alpha read as `alpha`.
  static ColorA Decoded(const pattern::ThreadedTexture& t, double u, int interp, int alpha = pattern::kAlphaStraight,
                        bool convert = true, double du = 0) {
    return t.Sample(u, 0.5, du, 0, kWrapExtend, kWrapExtend, interp, convert, alpha, false);
  }
  TempFolder folder_;
  pattern::TextureRef texture_;
};

TEST_F(TextureServiceTest, ClosestReadsExactPixelsWithVUpAndBilinearMixesNeighbours) {
  auto t = Ramp4();
  ASSERT_NE(t->GetImage(), nullptr);
  for (int x = 0; x < 4; ++x) {
    for (int y = 0; y < 4; ++y) {
      // Anywhere inside a pixel, not only at its centre.
      const ColorA c = At(*t, (x + 0.3) / 4, 1 - (y + 0.8) / 4, kInterpClosest);
      EXPECT_EQ(c.r, (x + 1) / 4.0);
      EXPECT_EQ(c.g, (y + 1) / 4.0);
      EXPECT_EQ(c.a, 1.0);
    }
  }
  // Half-way between the centres of columns 0 and 1 (u = 0.25).
  EXPECT_NEAR(At(*t, 0.25, 0.5, kInterpBilinear).r, 0.375, 1e-6);
  EXPECT_NEAR(At(*t, 0.3125, 0.5, kInterpBilinear).r, 0.4375, 1e-6);
  // Repeat mixes the last column with the first across the edge.
  EXPECT_NEAR(At(*t, 1.0, 0.5, kInterpBilinear, kWrapRepeat).r, (1.0 + 0.25) / 2, 1e-6);
}

TEST_F(TextureServiceTest, EachWrapModeOutsideTheSquare) {
  auto t = Ramp4();
  // u = 1.375: repeat lands on column 1, mirror on column 2, extend holds
  // column 3, clamp is black.
  const double u = 1.375, v = 0.5;
  EXPECT_EQ(At(*t, u, v, kInterpClosest, kWrapExtend).r, 1.0);
  EXPECT_EQ(At(*t, u, v, kInterpClosest, kWrapClamp).r, 0.0);
  EXPECT_EQ(At(*t, u, v, kInterpClosest, kWrapRepeat).r, 0.5);
  EXPECT_EQ(At(*t, u, v, kInterpClosest, kWrapMirror).r, 0.75);
  // Negative u, and the v axis on its own.
  EXPECT_EQ(At(*t, -0.125, v, kInterpClosest, kWrapRepeat).r, 1.0);
  EXPECT_EQ(At(*t, -0.125, v, kInterpClosest, kWrapMirror).r, 0.25);
  EXPECT_EQ(At(*t, -0.125, v, kInterpClosest, kWrapExtend).r, 0.25);
  EXPECT_EQ(At(*t, 0.5, 1.125, kInterpClosest, kWrapRepeat, kWrapRepeat).g, 1.0);   // past the top: bottom row
  EXPECT_EQ(At(*t, 0.5, 1.125, kInterpClosest, kWrapRepeat, kWrapMirror).g, 0.25);  // mirrored: top row
  EXPECT_EQ(At(*t, 0.5, 1.125, kInterpClosest, kWrapRepeat, kWrapClamp).g, 0.0);
  // Unknown codes extend.
  EXPECT_EQ(At(*t, u, v, kInterpClosest, 7).r, 1.0);
}

TEST_F(TextureServiceTest, ClampIsTransparentOutsideImagesWithoutAlpha) {
  // Three channels and one: as if the file had an alpha of 1, which every
  // filter fades with the colour across the edge.
  ASSERT_EQ(WriteFlat(folder_.File("grey4.exr"), 4, 4, 1, 0.5f), "");
  // A layer with channels after it: there is none to fill, so alpha says
  // whether the point is on the image.
  ASSERT_EQ(WriteImage(folder_.File("two.exr"), 4, 4, 6, [](int, int, int c) { return 0.25f * c; },
                       OIIO::TypeDesc::FLOAT, {"a.R", "a.G", "a.B", "b.R", "b.G", "b.B"}),
            "");
  auto layer = Load("two.exr", false, LayerSet{{String("a")}});
  for (int interp : {kInterpClosest, kInterpSat}) {
    EXPECT_EQ(At(*layer, 1.375, 0.5, interp, kWrapClamp, kWrapClamp), (ColorA{0, 0, 0, 0})) << interp;
    EXPECT_EQ(At(*layer, 0.375, 0.5, interp, kWrapClamp, kWrapClamp), (ColorA{0, 0.25, 0.5, 1})) << interp;
  }
  for (auto t : {Ramp4(), Load("grey4.exr")}) {
    for (int interp : {kInterpClosest, kInterpBilinear, kInterpMip, kInterpAniso, kInterpSat, kInterpBicubic}) {
      SCOPED_TRACE(interp);
      EXPECT_EQ(At(*t, 1.375, 0.5, interp, kWrapClamp, kWrapClamp), (ColorA{0, 0, 0, 0}));
      EXPECT_EQ(At(*t, 0.5, -0.375, interp, kWrapExtend, kWrapClamp), (ColorA{0, 0, 0, 0}));
      EXPECT_EQ(At(*t, 0.375, 0.5, interp, kWrapClamp, kWrapClamp).a, 1.0);
      EXPECT_EQ(At(*t, 1.375, 0.5, interp, kWrapRepeat, kWrapClamp).a, 1.0);
    }
    // On the edge a one-pixel filter is half inside: half the last column, half covered.
    for (int interp : {kInterpBilinear, kInterpSat}) {
      const ColorA edge = At(*t, 1.0, 0.5, interp, kWrapClamp, kWrapClamp);
      EXPECT_NEAR(edge.a, 0.5, 1e-6) << interp;
      EXPECT_NEAR(edge.b, At(*t, 0.9, 0.5, kInterpClosest).b * 0.5, 1e-6) << interp;
    }
  }
}

TEST_F(TextureServiceTest, BicubicReproducesARampInside) {
  ASSERT_EQ(WriteImage(folder_.File("ramp16.exr"), 16, 16, 1, [](int x, int, int) { return x / 15.0f; }), "");
  auto t = Load("ramp16.exr");
  for (double u : {0.4, 0.45, 0.5, 0.55, 0.6}) {
    // A cubic filter reproduces a linear function between pixel centres.
    const double want = (u * 16 - 0.5) / 15;
    EXPECT_NEAR(At(*t, u, 0.5, kInterpBicubic).r, want, 1e-5) << u;
  }
  // One channel reads as grey with opaque alpha.
  const ColorA c = At(*t, 0.5, 0.5, kInterpBicubic);
  EXPECT_EQ(c.r, c.g);
  EXPECT_EQ(c.r, c.b);
  EXPECT_EQ(c.a, 1.0);
}

TEST(BoxFilterTest, AveragesPixelsUnderEachWrapModeWithoutAnImageFile) {
  // The 4 x 4 ramp of Ramp4 in memory: red = (column + 1) / 4, green = (row from the top + 1) / 4.
  std::vector<float> pixels;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) pixels.insert(pixels.end(), {(x + 1) / 4.0f, (y + 1) / 4.0f, 0.0f});
  const texture::SummedAreaTable table = texture::SummedAreaTable::Build(pixels.data(), 4, 4, 3);
  auto at = [&](double u, double v, uint8_t wu = kWrapExtend, uint8_t wv = kWrapExtend, double du = 0, double dv = 0) {
    float px[3] = {-1, -1, -1};
    texture::BoxFilter(table, u, v, du, dv, wu, wv, 3, px);
    return std::array<double, 2>{px[0], px[1]};
  };
  // A box over columns 0 and 1 and all rows.
  EXPECT_NEAR(at(0.25, 0.5, kWrapExtend, kWrapExtend, 0.5, 1.0)[0], 0.375, 1e-9);
  EXPECT_NEAR(at(0.25, 0.5, kWrapExtend, kWrapExtend, 0.5, 1.0)[1], 0.625, 1e-9);
  // A box over the right edge: columns 2, 3 and two columns beyond.
  const double want[] = {(0.75 + 1 + 1 + 1) / 4, (0.75 + 1 + 0 + 0) / 4, (0.75 + 1 + 0.25 + 0.5) / 4,
                         (0.75 + 1 + 1 + 0.75) / 4};
  for (uint8_t wrap = 0; wrap < 4; ++wrap)
    EXPECT_NEAR(at(1.0, 0.5, wrap, kWrapExtend, 1.0, 0.25)[0], want[wrap], 1e-9) << int(wrap);
  // Two whole periods of repeat average the whole image.
  EXPECT_NEAR(at(3.0, 0.5, kWrapRepeat, kWrapExtend, 2.0, 0.25)[0], 0.625, 1e-9);
  // With no footprint the box is one pixel wide: the bilinear value.
  EXPECT_NEAR(at(0.25, 0.5)[0], 0.375, 1e-9);
  // Far out under repeat and mirror the box lands where it does in the first
  // periods, to the bit that the coordinate keeps.
  EXPECT_NEAR(at(1e12 + 0.25, 0.5, kWrapRepeat, kWrapExtend, 0.5, 1.0)[0], 0.375, 1e-9);
  EXPECT_NEAR(at(-1e12 + 0.25, 0.5, kWrapMirror, kWrapExtend, 0.5, 1.0)[0], 0.375, 1e-9);
  // A box of 1e300 periods is the image's mean; u * width past the largest
  // double, or a box as wide, leave the result alone.
  EXPECT_NEAR(at(1e300, 1e300, kWrapRepeat, kWrapRepeat, 1e300, 2.0)[0], 0.625, 1e-6);
  for (uint8_t wrap = 0; wrap < 4; ++wrap) {
    EXPECT_EQ(at(1.7e308, 0.5, wrap, wrap)[0], -1) << int(wrap);
    EXPECT_EQ(at(0.5, -1.7e308, wrap, wrap)[1], -1) << int(wrap);
    EXPECT_EQ(at(0.5, 0.5, wrap, wrap, 1e308, 1e308)[0], -1) << int(wrap);
  }
}

// The mean and variance of the red channel over many lookups in a region,
// each with a footprint of `footprint` in u and v.
void Stats(const pattern::ThreadedTexture& t, int interp, double footprint, double& mean, double& var) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> pos(0.55, 0.95);
  double sum = 0, sum2 = 0;
  const int n = 400;
  for (int i = 0; i < n; ++i) {
    const double r =
        t.Sample(pos(gen), pos(gen), footprint, footprint, kWrapRepeat, kWrapRepeat, interp, false, 0, false).r;
    sum += r;
    sum2 += r * r;
  }
  mean = sum / n;
  var = sum2 / n - mean * mean;
}

TEST_F(TextureServiceTest, MinifiedCheckerDoesNotAliasWithPrefilteringModes) {
  // 256 x 256, checks of 2 pixels: 0 and 1 in equal shares.
  ASSERT_EQ(WriteImage(folder_.File("checker.exr"), 256, 256, 1,
                       [](int x, int y, int) { return static_cast<float>((x / 2 + y / 2) % 2); }),
            "");
  auto t = Load("checker.exr");
  const double footprint = 32.0 / 256;  // 32 texels per sample
  double mean = 0, var = 0;
  // Point filters alias: each sample is black or white.
  Stats(*t, kInterpClosest, footprint, mean, var);
  EXPECT_GT(var, 0.2);
  for (int interp : {kInterpMip, kInterpAniso, kInterpSat}) {
    Stats(*t, interp, footprint, mean, var);
    EXPECT_NEAR(mean, 0.5, 0.02) << interp;
    EXPECT_LT(var, 0.002) << interp;
  }
}

TEST_F(TextureServiceTest, AnisotropicKeepsTheSharpAxisSharp) {
  // Stripes along v: only u varies. A footprint long in v and short in u
  // keeps the stripes; trilinear MIP, which takes the larger axis, greys them.
  ASSERT_EQ(WriteImage(folder_.File("stripes.exr"), 256, 256, 1,
                       [](int x, int, int) { return static_cast<float>((x / 8) % 2); }),
            "");
  auto t = Load("stripes.exr");
  const double u = (8 * 5 + 4) / 256.0;  // the middle of a white stripe
  EXPECT_GT(At(*t, u, 0.5, kInterpAniso, kWrapRepeat, kWrapRepeat, 1.0 / 256, 16.0 / 256).r, 0.9);
  EXPECT_LT(At(*t, u, 0.5, kInterpMip, kWrapRepeat, kWrapRepeat, 1.0 / 256, 16.0 / 256).r, 0.8);
}

TEST_F(TextureServiceTest, ThreadsSharingATextureSeeWhatOneThreadSees) {
  ASSERT_EQ(WriteImage(folder_.File("shared.exr"), 128, 96, 4,
                       [](int x, int y, int c) { return static_cast<float>((x * 7 + y * 3 + c) % 11) / 10; }),
            "");
  for (int interp : {kInterpSat, kInterpMip, kInterpBicubic}) {
    // Fresh texture each time, so the first lookups (the summed-area table,
    // the MIP levels) happen on several threads at once.
    auto t = Load("shared.exr");
    const int n = 2000;
    std::vector<ColorA> got[4];
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
      threads.emplace_back([&, k] {
        got[k].resize(n);
        for (int i = 0; i < n; ++i)
          got[k][i] = At(*t, i * 0.00731, i * 0.00419, interp, kWrapRepeat, kWrapMirror, 0.02, 0.01);
      });
    for (std::thread& th : threads) th.join();
    for (int i = 0; i < n; ++i) {
      const ColorA one = At(*t, i * 0.00731, i * 0.00419, interp, kWrapRepeat, kWrapMirror, 0.02, 0.01);
      for (int k = 0; k < 4; ++k) ASSERT_EQ(got[k][i], one) << interp << " " << i;
    }
  }
}

TEST_F(TextureServiceTest, NonFiniteCoordinatesAreHarmless) {
  auto t = Ramp4();
  const double nan = std::nan(""), inf = HUGE_VAL;
  for (int interp : {kInterpClosest, kInterpBilinear, kInterpMip, kInterpAniso, kInterpSat, kInterpBicubic})
    for (uint8_t wrap = 0; wrap < 4; ++wrap)
      for (double bad : {nan, inf, -inf, 1e300}) {
        const ColorA c = At(*t, bad, 0.5, interp, wrap, wrap, 0.1, 0.1);
        const ColorA d = At(*t, 0.5, 0.5, interp, wrap, wrap, bad, bad);
        // No crash, and nothing outside what the image and black hold.
        for (double x : {c.r, c.g, d.r, d.g})
          EXPECT_TRUE(std::isnan(x) || (x >= 0 && x <= 1)) << interp << " " << int(wrap) << " " << bad;
      }
}

TEST_F(TextureServiceTest, DetailsEmptyTexturesAndLoadFailures) {
  ASSERT_EQ(WriteFlat(folder_.File("wide.exr"), 6, 3, 4, 1.0f), "");
  auto t = Load("wide.exr", true);
  pattern::TextureDetails d;
  ASSERT_TRUE(t->GetDetails(d).ok());
  EXPECT_EQ(d.width, 6);
  EXPECT_EQ(d.height, 3);
  EXPECT_EQ(d.fps, 0.0);
  EXPECT_EQ(d.length, 0.0);

  pattern::TextureRef empty;
  ASSERT_TRUE(OiioTextureService().AllocTexture(empty).ok());
  pattern::ThreadedTextureRef none;
  ASSERT_TRUE(OiioTextureService().AllocThreadedTexture(none).ok());
  ASSERT_TRUE(none->Init(empty).ok());
  EXPECT_EQ(none->GetImage(), nullptr);
  EXPECT_TRUE(none->GetDetails(d).failed());
  EXPECT_EQ(none->Sample(0.5, 0.5, 0, 0, 0, 0, kInterpMip, true, 0, false), (ColorA{0, 0, 0, 0}));

  // Load failures say what went wrong.
  Result r = Try(folder_.File("absent.tif"));
  EXPECT_TRUE(r.Is(errors::kIo));
  EXPECT_NE(r.message().find("absent.tif"), std::string_view::npos);
  EXPECT_TRUE(Try("").failed());
}

TEST_F(TextureServiceTest, StripsAndSixteenBitFilesReadWithForce32bit) {
  // A ramp 0, 1, 2, 3 as a row and as a column; halfway between the middle
  // texels is 1.5 (this used to abort inside the library).
  ASSERT_EQ(WriteImage(folder_.File("row.exr"), 4, 1, 1, [](int x, int, int) { return float(x); }), "");
  ASSERT_EQ(WriteImage(folder_.File("column.exr"), 1, 4, 1, [](int, int y, int) { return float(3 - y); }), "");
  for (const char* name : {"row.exr", "column.exr"})
    EXPECT_NEAR(At(*Load(name, true), 0.5, 0.5, kInterpBilinear).r, 1.5, 1e-6) << name;
  // Half, 16-bit and 8-bit files, filtered across their MIP levels (these
  // aborted inside the library too): a flat image stays flat at every level.
  for (auto [name, format] : {std::pair{"half.exr", OIIO::TypeDesc::HALF},
                              {"short.tif", OIIO::TypeDesc::UINT16},
                              {"byte.tif", OIIO::TypeDesc::UINT8}}) {
    ASSERT_EQ(WriteImage(
                  folder_.File(name), 64, 48, 3, [](int, int, int c) { return 0.25f * (c + 1); }, format),
              "");
    auto t = Load(name, true);
    for (int interp : {kInterpBilinear, kInterpMip, kInterpAniso, kInterpBicubic})
      for (double footprint : {0.0, 0.05, 0.3, 2.0})
        for (double v : {0.02, 0.5, 0.97}) {
          const ColorA c = At(*t, 0.43, v, interp, kWrapRepeat, kWrapRepeat, footprint, footprint);
          EXPECT_NEAR(c.g, 0.5, 3e-3) << name << " " << interp << " " << footprint << " " << v;
        }
  }
}

TEST_F(TextureServiceTest, DeclaredSizesAreCheckedBeforeAnythingIsAllocated) {
  // Small files whose headers claim more than their bytes: the claim is
  // refused with the size in the message, whatever filter would read it.
  for (const auto& [name, w, h] :
       {std::tuple{"huge.png", 100000, 100000}, {"many.png", 16384, 16384}, {"long.png", 65536, 2}}) {
    ASSERT_EQ(WriteFlat(folder_.File(name), 4, 4, 3, 0.5f, OIIO::TypeDesc::UINT8), "");
    ASSERT_EQ(testing::DeclarePngSize(folder_.File(name), w, h), "");
  }
  // 4G pixels, and a side past what the library counts in an int.
  std::ofstream(folder_.File("square.pgm"), std::ios::binary) << "P5\n65536 65536\n255\n" << std::string(64, 'x');
  std::ofstream(folder_.File("line.pgm"), std::ios::binary) << "P5\n4294967296 1\n255\n" << std::string(64, 'x');
  // Pixels in a display window of another size, from which the cache would
  // make the missing MIP levels: 800M x 800M, and one that fails the
  // library's power-of-two wrap.
  for (const auto& [name, fw, fh] : {std::tuple{"window.exr", 800000000, 800000000}, {"wrap.exr", 4112, 12}}) {
    const auto window = [fw, fh](OIIO::ImageSpec& layout) {
      layout.full_width = fw;
      layout.full_height = fh;
    };
    ASSERT_EQ(WriteFlat(folder_.File(name), 16, 12, 3, 0.5f, OIIO::TypeDesc::HALF, window), "");
  }
  // A data window 16 M pixels wide: the EXR reader would size its line
  // buffers from it on opening the file.
  ASSERT_EQ(WriteFlat(folder_.File("wide.exr"), 16, 12, 3, 0.5f, OIIO::TypeDesc::HALF), "");
  {
    std::ifstream in(folder_.File("wide.exr"), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    const std::string window("dataWindow\0box2i\0\x10\0\0\0", 21);
    const size_t at = bytes.find(window);
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at + window.size() + 8, 4, std::string("\x0f\0\0\x01", 4));  // xMax = 16777231
    std::ofstream(folder_.File("wide.exr"), std::ios::binary) << bytes;
  }
  const std::pair<const char*, const char*> cases[] = {{"huge.png", "100000 x 100000"},
                                                       {"wide.exr", "16777232 x 12"},
                                                       {"many.png", "16384 x 16384"},
                                                       {"square.pgm", "65536 x 65536"},
                                                       {"line.pgm", " x 1 pixels"},
                                                       {"window.exr", "display window of 800000000 x 800000000"},
                                                       {"wrap.exr", "display window of 4112 x 12 around its 16 x 12"}};
  for (const auto& [name, size] : cases)
    for (bool force32bit : {false, true}) {
      const Result r = Try(folder_.File(name), force32bit);
      ASSERT_TRUE(r.Is(errors::kIo)) << name << ": " << r.ToString();
      EXPECT_NE(r.message().find(size), std::string_view::npos) << r.message();
      EXPECT_NE(r.message().find(name), std::string_view::npos) << r.message();
    }
  // The largest side a file without MIP levels may have, when the other is small.
  EXPECT_TRUE(Try(folder_.File("long.png")).ok());
}

// An OpenEXR header whose attribute claims more bytes than the file holds is
// refused before the reader allocates what it claims (2 GB here).
TEST_F(TextureServiceTest, DamagedExrHeadersAreRefusedBeforeTheReaderAllocates) {
  const std::string good = folder_.File("good.exr"), bad = folder_.File("bad.exr");
  ASSERT_EQ(WriteFlat(good, 4, 4, 3, 0.5f, OIIO::TypeDesc::HALF), "");
  std::ifstream in(good, std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(in), {});
  const std::string attribute("channels\0chlist\0", 16);
  const size_t at = bytes.find(attribute);
  ASSERT_NE(at, std::string::npos);
  bytes.replace(at + attribute.size(), 4, "\xff\xff\xff\x7f");
  std::ofstream(bad, std::ios::binary) << bytes;
  for (const auto& [file, ok] : {std::pair{good, true}, {bad, false}}) {
    const Result r = Try(file);
    EXPECT_EQ(r.ok(), ok) << file << ": " << r.ToString();
    if (!ok) { EXPECT_NE(r.message().find("is a damaged OpenEXR file"), std::string_view::npos) << r.message(); }
  }
}

// The sRGB decoding of a code in [0, 1], written out here as the reference.
double decode(double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); }

TEST_F(TextureServiceTest, EncodedFilesAreFilteredInLinearLight) {
  // 8-bit sRGB, 4 x 2: two black columns, then two of code 128. Halfway between the two middle columns:
  const double code = 128 / 255.0;
  const double inLinear = decode(code) / 2;  // the mean of the light: 0.1079
  const double ofCodes = decode(code / 2);   // the mean of the codes, then decoded: 0.0513
  const auto halves = [](int x, int, int) { return x > 1 ? 128 / 255.0f : 0.0f; };
  ASSERT_EQ(WriteImage(folder_.File("halves.png"), 4, 2, 3, halves, OIIO::TypeDesc::UINT8), "");
  // The same as a tiled texture with its own MIP levels (averaged in sRGB) and a fingerprint,
  // and as an untagged TIFF of strips (whose reader used to stop after the cache's look for a
  // second subimage, leaving transparent black).
  OIIO::ImageSpec config;
  ASSERT_TRUE(OIIO::ImageBufAlgo::make_texture(OIIO::ImageBufAlgo::MakeTxTexture, folder_.File("halves.png"),
                                               folder_.File("halves.tx"), config))
      << OIIO::geterror();
  ASSERT_EQ(WriteImage(folder_.File("halves.tif"), 4, 2, 3, halves, OIIO::TypeDesc::UINT8), "");
  for (const char* name : {"halves.png", "halves.tx", "halves.tif"})
    for (bool force32bit : {false, true}) {
      SCOPED_TRACE(std::string(name) + (force32bit ? " force32bit" : " native"));
      auto t = Load(name, force32bit);
      EXPECT_NEAR(Decoded(*t, 0.5, kInterpBilinear).r, inLinear, 1e-6);
      EXPECT_NEAR(Decoded(*t, 0.5, kInterpSat).r, inLinear, 1e-6);
      // Minified to one texel, the MIP level holds the mean light too.
      EXPECT_NEAR(Decoded(*t, 0.5, kInterpMip, pattern::kAlphaStraight, true, 4.0).r, inLinear, 1e-3);
      // Single texels are decoded exactly.
      EXPECT_NEAR(Decoded(*t, 0.8, kInterpClosest).r, decode(code), 1e-6);
      // Unconverted reads filter the codes; colours premultiplied in the file's
      // encoding are filtered as stored and decoded after.
      EXPECT_NEAR(Decoded(*t, 0.5, kInterpBilinear, pattern::kAlphaStraight, false).r, code / 2, 1e-6);
      EXPECT_NEAR(Decoded(*t, 0.5, kInterpBilinear, pattern::kAlphaPremultipliedColorSpace).r, ofCodes, 1e-6);
    }

  // A file tagged with a gamma of 2.2: the same columns, decoded by the power.
  // The library names the gamma of a file's gamma chunk "Gamma2.2".
  for (const char* space : {"GammaCorrected2.2", "Gamma2.2"}) {
    SCOPED_TRACE(space);
    const std::string name = std::string(space) + ".png";
    ASSERT_EQ(WriteImage(folder_.File(name), 4, 2, 1, halves, OIIO::TypeDesc::UINT8, {},
                         [space](OIIO::ImageSpec& layout) { layout.attribute("oiio:ColorSpace", space); }),
              "");
    auto gamma = Load(name);
    const double powered = std::pow(code, 2.2) / 2;  // the mean of the light
    EXPECT_NEAR(Decoded(*gamma, 0.5, kInterpBilinear).r, powered, 1e-6);
  }

  // Tagged with a colour space of the OpenColorIO config: decoded through it
  // (squared, then the inverse matrix mixes the channels), also where alpha
  // was premultiplied in the file's space. Without the config, as stored.
  ASSERT_EQ(WriteImage(folder_.File("mixed.png"), 4, 2, 3, halves, OIIO::TypeDesc::UINT8, {},
                       [](OIIO::ImageSpec& layout) { layout.attribute("oiio:ColorSpace", "mixed"); }),
            "");
  std::ofstream(folder_.File("test.ocio")) << testing::kOcioConfig;
  ASSERT_TRUE(UseColorConfig(folder_.File("test.ocio")).ok());
  auto mixed = Load("mixed.png");
  ASSERT_TRUE(UseColorConfig("").ok());
  const double squared = code * code;
  for (int alpha : {pattern::kAlphaStraight, pattern::kAlphaPremultipliedColorSpace}) {
    const ColorA c = Decoded(*mixed, 0.5, kInterpBilinear, alpha);
    EXPECT_NEAR(c.r, 1.5 * squared / 2, 1e-5) << alpha;  // (2 - 0.25 * 2) v^2
    EXPECT_NEAR(c.g, squared / 2, 1e-5) << alpha;
    EXPECT_NEAR(c.b, 0.5 * squared / 2, 1e-5) << alpha;
  }
  auto plain = Load("mixed.png", true);  // a load without the config (force32bit: a reading of its own)
  EXPECT_NEAR(Decoded(*plain, 0.5, kInterpBilinear).g, code / 2, 1e-6);
}

TEST_F(TextureServiceTest, StraightAlphaOfEncodedFilesIsDecodedAsStored) {
  // 8-bit sRGB texels of colour (255, 200, 0) and alpha 128, stored straight.
  const float texel[4] = {1.0f, 200 / 255.0f, 0.0f, 128 / 255.0f};
  ASSERT_EQ(WriteImage(
                folder_.File("straight.png"), 2, 2, 4, [&](int, int, int c) { return texel[c]; }, OIIO::TypeDesc::UINT8,
                {}, [](OIIO::ImageSpec& layout) { layout.attribute("oiio:UnassociatedAlpha", 1); }),
            "");
  const double a = 128 / 255.0;
  struct Case {
    int alpha;
    double r, g;
  } cases[] = {
      {pattern::kAlphaStraight, 1.0, decode(200 / 255.0)},
      // Divided by alpha after decoding, or before it in the file's encoding.
      {pattern::kAlphaPremultiplied, 1.0 / a, decode(200 / 255.0) / a},
      {pattern::kAlphaPremultipliedColorSpace, decode(1.0 / a), decode(200 / 255.0 / a)},
  };
  for (bool force32bit : {false, true}) {
    auto t = Load("straight.png", force32bit);
    for (const Case& c : cases) {
      for (int interp : {kInterpClosest, kInterpBilinear}) {
        SCOPED_TRACE(::testing::Message() << force32bit << " alpha " << c.alpha << " interp " << interp);
        const ColorA got = Decoded(*t, 0.5, interp, c.alpha);
        EXPECT_NEAR(got.r, c.r, 1e-6);
        EXPECT_NEAR(got.g, c.g, 1e-6);
        EXPECT_NEAR(got.a, a, 1e-6);
      }
    }
  }
}

TEST_F(TextureServiceTest, TileSetsReadTheTileUnderEachSampleOrElseTheirFirstTile) {
  // Tiles 1001 (u in [0, 1)), 1002 (u in [1, 2)) and 1011 (v in [1, 2)), each of one red; the last column of
  // 1001 is white, which a filter that wraps around inside the tile would reach from its left edge.
  std::filesystem::create_directories(folder_.File("set"));
  const std::pair<int, float> tiles[] = {{1001, 0.25f}, {1002, 0.5f}, {1011, 0.75f}};
  for (const auto& [tile, red] : tiles)
    ASSERT_EQ(
        WriteImage(folder_.File("set/tex." + std::to_string(tile) + ".exr"), 4, 4, 3,
                   [tile, red](int x, int, int c) { return c == 0 ? (tile == 1001 && x == 3 ? 1.0f : red) : 0.0f; }),
        "");
  // Names that are not tiles; reading any of them would fail the load.
  for (const char* decoy : {"set/tex.0999.exr", "set/tex.1001.exr.bak", "set/tex.10a1.exr", "set/tex.12345.exr"})
    std::ofstream(folder_.File(decoy)) << "not an image";

  SearchPathsType paths;
  paths.urls.emplace_back(folder_.File("set"));
  ASSERT_TRUE(Try("tex.<UDIM>.exr", false, {}, &paths).ok());
  const pattern::ThreadedTextureRef t = Threaded();
  auto across = [&](double u, double v, int interp = kInterpClosest) {
    return t->Sample(u, v, 0, 0, kWrapRepeat, kWrapRepeat, interp, false, pattern::kAlphaStraight, true);
  };
  EXPECT_EQ(across(0.3, 0.5).r, 0.25);
  EXPECT_EQ(across(1.5, 0.5).r, 0.5);
  EXPECT_EQ(across(0.5, 1.5).r, 0.75);
  for (const auto& [u, v] : {std::pair{2.5, 0.5}, {1.5, 1.5}, {-0.5, 0.5}, {0.5, -0.5}, {10.5, 0.5}})
    EXPECT_EQ(across(u, v), (ColorA{0, 0, 0, 0})) << u << ", " << v;
  // Held at the tile's edge whatever the wrap codes say.
  EXPECT_EQ(across(0.02, 0.5, kInterpBilinear).r, 0.25);
  // Not across tiles: the first tile, repeated by the wrap codes.
  EXPECT_EQ(
      t->Sample(1.5, 0.5, 0, 0, kWrapRepeat, kWrapRepeat, kInterpClosest, false, pattern::kAlphaStraight, false).r,
      0.25);
  pattern::TextureDetails d;
  ASSERT_TRUE(t->GetDetails(d).ok());
  EXPECT_EQ(d.width, 4);

  Result none = Try("other.<UDIM>.exr", false, {}, &paths);
  EXPECT_TRUE(none.Is(errors::kIo));
  EXPECT_NE(none.message().find("Image file not found"), std::string_view::npos) << none.message();
  EXPECT_TRUE(Try("<UDIM>/tex.exr", false, {}, &paths).Is(errors::kIllegalArgument));
}

}  // namespace
}  // namespace tessaroc::host
