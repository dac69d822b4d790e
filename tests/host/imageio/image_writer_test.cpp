// What the writer puts in a file reads back as the format's depth says, the
// layers land where their names say, and options a format cannot take are
// refused before anything is written.
#include <Imath/half.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "../texture/test_images.h"
#include "host/imageio/image_writer.h"

namespace tessaroc::host {
namespace {

// Values across and beyond [0, 1], a NaN, and alphas between 0 and 1.
Image TestImage(int width, int height, int channels) {
  Image image;
  image.width = width;
  image.height = height;
  image.channels = channels;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < channels; ++c)
        image.pixels.push_back(x == 1 && y == 0 && c == 0 ? NAN : ((x * 5 + y * 7 + c * 3) % 17) / 8.0f - 0.5f);
  return image;
}

// The value a file of this depth stores for `v`, as ReadImage gives it back.
float Stored(float v, Depth depth, bool color) {
  if (depth == Depth::kFloat) return v;
  if (depth == Depth::kHalf) return static_cast<float>(Imath::half(v));
  const float steps = depth == Depth::kUint8 ? 255.0f : 65535.0f;
  return std::round((color ? EncodeSrgb(v) : !(v > 0) ? 0.0f : std::min(v, 1.0f)) * steps) / steps;
}

// Integer files compare in codes (reading decodes sRGB); float ones in bits.
bool Same(float got, float want, Depth depth, bool color) {
  if (depth == Depth::kFloat || depth == Depth::kHalf)
    return std::memcmp(&got, &want, sizeof got) == 0 || (std::isnan(got) && std::isnan(want));
  const float steps = depth == Depth::kUint8 ? 255.0f : 65535.0f;
  return std::lround((color ? EncodeSrgb(got) : got) * steps) == std::lround(want * steps);
}

TEST(ImageWriter, FormatsKeepWhatTheirDepthHolds) {
  testing::TempFolder folder;
  const struct {
    const char* file;
    Depth depth;   // asked for
    Depth holds;   // what the file then holds
    int channels;  // read back
  } cases[] = {
      {"a.exr", Depth::kDefault, Depth::kFloat, 4}, {"b.exr", Depth::kHalf, Depth::kHalf, 4},
      {"c.tif", Depth::kDefault, Depth::kFloat, 4}, {"d.tif", Depth::kHalf, Depth::kHalf, 4},
      {"e.tif", Depth::kUint8, Depth::kUint8, 4},   {"f.tif", Depth::kUint16, Depth::kUint16, 4},
      {"g.png", Depth::kDefault, Depth::kUint8, 4}, {"h.png", Depth::kUint16, Depth::kUint16, 4},
  };
  const Image image = TestImage(7, 5, 4);
  for (const auto& c : cases) {
    WriteOptions options;
    options.depth = c.depth;
    const std::string path = folder.File(c.file);
    ASSERT_TRUE(CheckImageWriter(path, options).ok()) << c.file;
    Result r = WriteImage(path, image, options);
    ASSERT_TRUE(r.ok()) << c.file << ": " << r.ToString();
    Image back;
    ASSERT_TRUE(ReadImage(path, back).ok()) << c.file;
    ASSERT_EQ(back.channels, c.channels) << c.file;
    ASSERT_EQ(back.width, 7);
    int wrong = 0;
    for (size_t i = 0; i < image.pixels.size(); ++i) {
      // Colours straight, not divided by alpha: alpha is a channel like the others.
      const bool color = i % 4 < 3;
      wrong += !Same(back.pixels[i], Stored(image.pixels[i], c.holds, color), c.holds, color);
    }
    EXPECT_EQ(wrong, 0) << c.file;
  }
  // Nothing but the files themselves is left in the folder.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), std::size(cases));
}

// HEIF's writer reads past the end of rows narrower than its own; every size
// is written all the same (every width up to 64 and one past, with and
// without alpha: the sanitizer build checks that the reads stay in our rows).
TEST(ImageWriter, HeifTakesAnySize) {
  testing::TempFolder folder;
  std::vector<std::array<int, 3>> sizes;
  for (int w = 1; w <= 65; ++w) sizes.push_back({w, 1 + w % 3, 4});
  for (int w : {1, 2, 31, 63, 64}) sizes.push_back({w, 2, 3});
  for (const auto& [w, h, channels] : sizes) {
    Image image;
    image.width = w;
    image.height = h;
    image.channels = channels;
    image.pixels.assign(static_cast<size_t>(w) * h * channels, 0.2f);
    const std::string path = folder.File("x" + std::to_string(w) + "c" + std::to_string(channels) + ".heic");
    Result r = WriteImage(path, image);
    ASSERT_TRUE(r.ok()) << w << ": " << r.ToString();
    Image back;
    ASSERT_TRUE(ReadImage(path, back).ok());
    EXPECT_EQ(back.width, w);
    EXPECT_EQ(back.height, h);
    EXPECT_NEAR(back.pixels[0], 0.2f, 0.03f) << w;  // lossy
  }
}

// EXR holds every layer as NAME.R, ... channels, in the data window of the
// whole picture; other formats write a file per layer, data unencoded.
TEST(ImageWriter, LayersShareAnExrOrGetFilesOfTheirOwn) {
  testing::TempFolder folder;
  Image image = TestImage(6, 4, 8);
  image.layers = {{"", 0, 4, true}, {"mask", 4, 1, false}, {"albedo", 5, 3, true}};
  image.x = 10;
  image.y = 20;
  image.fullWidth = 32;
  image.fullHeight = 24;
  const std::string exr = folder.File("out.exr");
  ASSERT_EQ(ImageFiles(exr, image.layers), std::vector<std::string>{exr});
  ASSERT_TRUE(WriteImage(exr, image).ok());
  Image back;
  ASSERT_TRUE(ReadImage(exr, back).ok());
  EXPECT_EQ(back.x, 10);
  EXPECT_EQ(back.y, 20);
  EXPECT_EQ(back.fullWidth, 32);
  EXPECT_EQ(back.fullHeight, 24);
  const std::vector<std::string> names = {"R", "G", "B", "A", "mask.Y", "albedo.R", "albedo.G", "albedo.B"};
  ASSERT_EQ(back.channels, 8);
  std::map<std::string, int> at;
  for (int c = 0; c < 8; ++c) at[back.channelNames[c]] = c;
  for (int c = 0; c < 8; ++c) {
    ASSERT_TRUE(at.count(names[c])) << names[c];
    for (int p = 0; p < 24; ++p)
      EXPECT_TRUE(Same(back.pixels[p * 8 + at[names[c]]], image.pixels[p * 8 + c], Depth::kFloat, false)) << names[c];
  }

  const std::string png = folder.File("out.png");
  const std::vector<std::string> files = ImageFiles(png, image.layers);
  ASSERT_EQ(files, (std::vector<std::string>{png, folder.File("out.mask.png"), folder.File("out.albedo.png")}));
  ASSERT_TRUE(WriteImage(png, image).ok());
  const struct {
    int first, count;
    bool color;
  } layers[] = {{0, 4, true}, {4, 1, false}, {5, 3, true}};
  for (size_t f = 0; f < files.size(); ++f) {
    Image layer;
    ASSERT_TRUE(ReadImage(files[f], layer).ok());
    ASSERT_EQ(layer.channels, layers[f].count) << files[f];
    EXPECT_EQ(layer.x, 0);  // a plain picture
    for (int p = 0; p < 24; ++p)
      for (int c = 0; c < layers[f].count; ++c) {
        const bool color = layers[f].color && c < 3;
        EXPECT_TRUE(Same(layer.pixels[p * layers[f].count + c],
                         Stored(image.pixels[p * 8 + layers[f].first + c], Depth::kUint8, color), Depth::kUint8, color))
            << files[f] << " " << p << " " << c;
      }
  }
}

TEST(ImageWriter, OptionsAFormatCannotTakeAreRefusedBeforeWriting) {
  testing::TempFolder folder;
  const struct {
    const char* file;
    Depth depth;
    const char* compression;
    const char* message;  // null: accepted
  } cases[] = {
      {"a.exr", Depth::kHalf, "dwaa:45", nullptr},
      {"a.exr", Depth::kFloat, "zip:4", nullptr},
      {"a.png", Depth::kUint16, "zip:9", nullptr},
      {"a.jpg", Depth::kDefault, "jpeg:90", nullptr},
      {"a.tif", Depth::kUint16, "lzw", nullptr},
      {"a.exr", Depth::kUint8, "", "EXR files take no depth 8; float, half"},
      {"a.jpg", Depth::kUint16, "", "JPEG files take no depth 16; 8"},
      {"a.png", Depth::kHalf, "", "PNG files take no depth half"},
      {"a.exr", Depth::kDefault, "zip:10", "EXR files take none, rle, zips[:1-9]"},
      {"a.exr", Depth::kDefault, "lzw", "compression \"lzw\""},
      {"a.exr", Depth::kDefault, "piz:3", "compression \"piz:3\""},
      {"a.jpg", Depth::kDefault, "jpeg:0", "JPEG files take jpeg[:1-100]"},
      {"a.bmp", Depth::kDefault, "zip", "bmp files take no compression"},
      {"a.nosuchformat", Depth::kDefault, "", "no image format"},
      {"nosuchfolder/a.exr", Depth::kDefault, "", "there is no folder"},
  };
  for (const auto& c : cases) {
    WriteOptions options;
    options.depth = c.depth;
    options.compression = c.compression;
    Result r = CheckImageWriter(folder.File(c.file), options);
    if (c.message == nullptr) {
      EXPECT_TRUE(r.ok()) << c.file << " " << c.compression << ": " << r.ToString();
      continue;
    }
    ASSERT_TRUE(r.failed()) << c.file << " " << c.compression;
    EXPECT_NE(r.message().find(c.message), std::string_view::npos) << r.message();
  }
}

}  // namespace
}  // namespace tessaroc::host
