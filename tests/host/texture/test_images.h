// Small image files written at run time into a temporary folder, so the
// texture tests need no binary files in the repository.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <functional>
#include <initializer_list>
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

// Pixel (x, y, channel) of an image, row 0 at the top.
using PixelFn = std::function<float(int x, int y, int c)>;

// Writes one image; the format follows the file's suffix. 8-bit formats get
// the values scaled by 255 and rounded; `colorSpace` tags the file. Returns an
// empty text on success.
inline std::string WriteImage(const std::string& path, int w, int h, int channels, const PixelFn& pixel,
                              OIIO::TypeDesc format = OIIO::TypeDesc::FLOAT,
                              const std::vector<std::string>& channelNames = {}, const std::string& colorSpace = "") {
  auto out = OIIO::ImageOutput::create(path);
  if (!out) return "no writer for " + path + ": " + OIIO::geterror();
  OIIO::ImageSpec layout(w, h, channels, format);
  if (!channelNames.empty()) layout.channelnames = channelNames;
  if (!colorSpace.empty()) layout.attribute("oiio:ColorSpace", colorSpace);
  if (channels == 4 && channelNames.empty()) layout.alpha_channel = 3;
  std::vector<float> data(static_cast<size_t>(w) * h * channels);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      for (int c = 0; c < channels; ++c) data[(static_cast<size_t>(y) * w + x) * channels + c] = pixel(x, y, c);
  if (!out->open(path, layout)) return out->geterror();
  if (!out->write_image(OIIO::TypeDesc::FLOAT, data.data())) return out->geterror();
  if (!out->close()) return out->geterror();
  return {};
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
inline std::string WriteFrames(const std::string& path, int w, int h, int frames, int fps,
                               const std::function<float(int frame, int x, int y, int c)>& pixel) {
  auto out = OIIO::ImageOutput::create(path);
  if (!out) return "no writer for " + path;
  if (!out->supports("multiimage") || !out->supports("appendsubimage")) return "no multi-image output for " + path;
  std::vector<OIIO::ImageSpec> layouts(static_cast<size_t>(frames), OIIO::ImageSpec(w, h, 3, OIIO::TypeDesc::UINT8));
  for (auto& s : layouts) {
    int rate[2] = {fps, 1};
    s.attribute("FramesPerSecond", OIIO::TypeRational, rate);
  }
  if (!out->open(path, frames, layouts.data())) return out->geterror();
  std::vector<float> data(static_cast<size_t>(w) * h * 3);
  for (int f = 0; f < frames; ++f) {
    if (f > 0 && !out->open(path, layouts[static_cast<size_t>(f)], OIIO::ImageOutput::AppendSubimage))
      return out->geterror();
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        for (int c = 0; c < 3; ++c) data[(static_cast<size_t>(y) * w + x) * 3 + c] = pixel(f, x, y, c);
    if (!out->write_image(OIIO::TypeDesc::FLOAT, data.data())) return out->geterror();
  }
  if (!out->close()) return out->geterror();
  return {};
}

// Writes a motion-JPEG AVI: each frame an RGB JPEG written by OIIO, wrapped
// in the plain RIFF layout that movie readers accept. OIIO reads movies but
// cannot write them, and this keeps movie files out of the repository.
// Width and height should be multiples of 16. Returns an empty text on success.
inline std::string WriteMjpegAvi(const std::string& path, int w, int h, int frames, int fps,
                                 const std::function<float(int frame, int x, int y, int c)>& pixel) {
  std::vector<std::string> jpegs;
  for (int f = 0; f < frames; ++f) {
    const std::string frame = path + ".frame" + std::to_string(f) + ".jpg";
    const std::string err = WriteImage(
        frame, w, h, 3, [&](int x, int y, int c) { return pixel(f, x, y, c); }, OIIO::TypeDesc::UINT8);
    if (!err.empty()) return err;
    std::ifstream in(frame, std::ios::binary);
    jpegs.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    std::filesystem::remove(frame);
  }
  std::string b;
  auto u32 = [&b](std::initializer_list<uint32_t> values) {
    for (uint32_t v : values)
      for (int i = 0; i < 4; ++i) b.push_back(static_cast<char>((v >> (8 * i)) & 0xff));
  };
  auto u16 = [&b](std::initializer_list<uint16_t> values) {
    for (uint16_t v : values) b.append({static_cast<char>(v & 0xff), static_cast<char>(v >> 8)});
  };
  auto fourcc = [&b](const char* c) { b.append(c, 4); };
  auto patch = [&b](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<char>((v >> (8 * i)) & 0xff);
  };
  const auto W = static_cast<uint32_t>(w), H = static_cast<uint32_t>(h), N = static_cast<uint32_t>(frames);
  const auto rate = static_cast<uint32_t>(fps);
  size_t biggest = 0;
  for (const auto& j : jpegs) biggest = std::max(biggest, j.size());
  const auto largest = static_cast<uint32_t>(biggest);
  fourcc("RIFF");
  const size_t riffSize = b.size();
  u32({0});
  fourcc("AVI ");
  fourcc("LIST");
  const size_t hdrlSize = b.size();
  u32({0});
  fourcc("hdrl");
  fourcc("avih");
  // Size, microseconds per frame, two unused, flags (has an index), frames,
  // initial frames, streams, buffer size, width, height, four reserved.
  u32({56, 1000000 / rate, 0, 0, 0x10, N, 0, 1, largest, W, H, 0, 0, 0, 0});
  fourcc("LIST");
  const size_t strlSize = b.size();
  u32({0});
  fourcc("strl");
  fourcc("strh");
  u32({56});
  fourcc("vids");
  fourcc("MJPG");
  u32({0});     // flags
  u16({0, 0});  // priority, language
  // Initial frames, scale, rate, start, length, buffer size, quality, sample size.
  u32({0, 1, rate, 0, N, largest, 0xffffffff, 0});
  u16({0, 0, static_cast<uint16_t>(w), static_cast<uint16_t>(h)});  // the frame rectangle
  fourcc("strf");
  u32({40, 40, W, H});  // chunk size, header size, width, height
  u16({1, 24});         // planes, bits per pixel
  fourcc("MJPG");
  u32({W * H * 3, 0, 0, 0, 0});  // image size, resolution and palette unused
  patch(strlSize, static_cast<uint32_t>(b.size() - strlSize - 4));
  patch(hdrlSize, static_cast<uint32_t>(b.size() - hdrlSize - 4));
  fourcc("LIST");
  const size_t moviSize = b.size();
  u32({0});
  const size_t moviStart = b.size();
  fourcc("movi");
  std::vector<std::pair<uint32_t, uint32_t>> index;
  for (const auto& j : jpegs) {
    index.emplace_back(static_cast<uint32_t>(b.size() - moviStart), static_cast<uint32_t>(j.size()));
    fourcc("00dc");
    u32({static_cast<uint32_t>(j.size())});
    b += j;
    if (j.size() % 2) b.push_back(0);
  }
  patch(moviSize, static_cast<uint32_t>(b.size() - moviSize - 4));
  fourcc("idx1");
  u32({static_cast<uint32_t>(16 * index.size())});
  for (const auto& [offset, size] : index) {
    fourcc("00dc");
    u32({0x10, offset, size});  // a key frame
  }
  patch(riffSize, static_cast<uint32_t>(b.size() - 8));
  std::ofstream out(path, std::ios::binary);
  out.write(b.data(), static_cast<std::streamsize>(b.size()));
  return out ? std::string() : "cannot write " + path;
}

}  // namespace tessaroc::testing
