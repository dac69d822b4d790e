// Small image files written at run time into a temporary folder, so the
// texture tests need no binary files in the repository.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

namespace tessaroc::testing {

// A folder of its own under the system's temporary folder, removed at the end.
class TempFolder {
 public:
  TempFolder() {
    static int counter = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("tessaroc-images-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string File(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Pixel (x, y, channel) of an image, row 0 at the top; with the frame of a
// file of several.
using PixelFn = std::function<float(int x, int y, int c)>;
using FramePixelFn = std::function<float(int frame, int x, int y, int c)>;

// Writes one subimage per layout (several need a multi-image format), the
// pixels given as floats. Returns an empty text on success.
inline std::string WriteSubimages(const std::string& path, const std::vector<OIIO::ImageSpec>& layouts,
                                  const FramePixelFn& pixel) {
  auto out = OIIO::ImageOutput::create(path);
  if (!out) return "no writer for " + path + ": " + OIIO::geterror();
  const int frames = static_cast<int>(layouts.size());
  if (!out->open(path, frames, layouts.data())) return out->geterror();
  for (int f = 0; f < frames; ++f) {
    const OIIO::ImageSpec& s = layouts[static_cast<size_t>(f)];
    if (f > 0 && !out->open(path, s, OIIO::ImageOutput::AppendSubimage)) return out->geterror();
    std::vector<float> data(static_cast<size_t>(s.width) * s.height * s.nchannels);
    for (size_t i = 0; i < data.size(); ++i) {
      const size_t texel = i / static_cast<size_t>(s.nchannels);
      data[i] = pixel(f, static_cast<int>(texel % s.width), static_cast<int>(texel / s.width),
                      static_cast<int>(i % static_cast<size_t>(s.nchannels)));
    }
    if (!out->write_image(OIIO::TypeDesc::FLOAT, data.data())) return out->geterror();
  }
  if (!out->close()) return out->geterror();
  return {};
}

// Writes one image; the format follows the file's suffix. 8-bit formats get
// the values scaled by 255 and rounded; `adjust` may change the layout (a
// colour space tag, a display window) before the file is opened. Returns an
// empty text on success.
inline std::string WriteImage(const std::string& path, int w, int h, int channels, const PixelFn& pixel,
                              OIIO::TypeDesc format = OIIO::TypeDesc::FLOAT,
                              const std::vector<std::string>& channelNames = {},
                              const std::function<void(OIIO::ImageSpec&)>& adjust = {}) {
  OIIO::ImageSpec layout(w, h, channels, format);
  if (!channelNames.empty()) layout.channelnames = channelNames;
  if (channels == 4 && channelNames.empty()) layout.alpha_channel = 3;
  if (adjust) adjust(layout);
  return WriteSubimages(path, {layout}, [&pixel](int, int x, int y, int c) { return pixel(x, y, c); });
}

// Writes a w x h image of `channels` channels that all hold `value`.
inline std::string WriteFlat(const std::string& path, int w, int h, int channels, float value,
                             OIIO::TypeDesc format = OIIO::TypeDesc::FLOAT,
                             const std::function<void(OIIO::ImageSpec&)>& adjust = {}) {
  return WriteImage(
      path, w, h, channels, [value](int, int, int) { return value; }, format, {}, adjust);
}

// Rewrites the size a PNG's header declares (its pixels stay as they are),
// with the header's checksum made anew. Returns an empty text on success.
inline std::string DeclarePngSize(const std::string& path, uint32_t w, uint32_t h) {
  std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
  unsigned char head[33];
  if (!f.read(reinterpret_cast<char*>(head), sizeof head) || std::string(head + 12, head + 16) != "IHDR")
    return "not a PNG: " + path;
  for (int i = 0; i < 4; ++i) {
    head[16 + i] = static_cast<unsigned char>(w >> (24 - 8 * i));
    head[20 + i] = static_cast<unsigned char>(h >> (24 - 8 * i));
  }
  uint32_t crc = 0xffffffffu;  // CRC-32 of the chunk's type and data
  for (int i = 12; i < 29; ++i) {
    crc ^= head[i];
    for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
  }
  crc ^= 0xffffffffu;
  for (int i = 0; i < 4; ++i) head[29 + i] = static_cast<unsigned char>(crc >> (24 - 8 * i));
  f.seekp(0);
  f.write(reinterpret_cast<const char*>(head), sizeof head);
  return f ? std::string() : "cannot rewrite " + path;
}

// Writes frames as subimages of one file at a frame rate (an animated GIF is
// the movie OIIO can write itself). Returns an empty text on success.
inline std::string WriteFrames(const std::string& path, int w, int h, int frames, int fps, const FramePixelFn& pixel) {
  OIIO::ImageSpec layout(w, h, 3, OIIO::TypeDesc::UINT8);
  const int rate[2] = {fps, 1};
  layout.attribute("FramesPerSecond", OIIO::TypeRational, rate);
  return WriteSubimages(path, std::vector<OIIO::ImageSpec>(static_cast<size_t>(frames), layout), pixel);
}

}  // namespace tessaroc::testing
