#include "host/texture/oiio_texture.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "host/texture/clips_and_layers.h"
#include "host/texture/linear_reader.h"
#include "host/texture/texture_caches.h"

namespace tessaroc::host::texture {

const SummedAreaTable& OiioTexture::Sat(bool linear) const {
  Table& table = tables_[linear ? 1 : 0];
  std::call_once(table.once,
                 [&] { table.sums = linear ? BuildSat(Caches().sharedCache, linearName) : BuildSat(cache, filename); });
  return table.sums;
}

SummedAreaTable OiioTexture::BuildSat(OIIO::ImageCache* from, OIIO::ustring name) const {
  // The first level whose table fits; each halves the sides, rounding down.
  int level = 0, w = width, h = height;
  auto values = [this](int64_t w, int64_t h) { return (w + 1) * (h + 1) * channels; };
  while (values(w, h) > kMaxSatValues && (w > 1 || h > 1)) {
    ++level;
    w = std::max(1, w / 2);
    h = std::max(1, h / 2);
  }
  const OIIO::ImageSpec* layout = level == 0 ? nullptr : from->imagespec(name, subimage, level);
  if (level > 0 && (layout == nullptr || layout->width != w || layout->height != h)) {
    (void)from->geterror();
    return SummedAreaTable{width, height, channels, {}};
  }
  const int x0 = layout ? layout->x : xOrigin, y0 = layout ? layout->y : yOrigin;
  std::vector<float> pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * static_cast<size_t>(channels));
  if (!from->get_pixels(name, subimage, level, x0, x0 + w, y0, y0 + h, 0, 1, firstChannel, firstChannel + channels,
                        OIIO::TypeFloat, pixels.data())) {
    (void)from->geterror();
    return SummedAreaTable{width, height, channels, {}};
  }
  return SummedAreaTable::Build(pixels.data(), w, h, channels);
}

namespace {

// What an OpenEXR header scan found: whether every attribute fits in the
// file, and the first data window wider or taller than a texture may be.
struct ExrHeaders {
  bool fit = true;
  bool oversized = false;
  int64_t width = 0, height = 0;  // of the oversized window
};

// The EXR reader sizes an attribute's value from the size the file gives it,
// before it reads: a few bytes that claim a string of 2 GB make it allocate
// and clear 2 GB. It also sizes its line buffers from the data window when it
// opens the file: a 700-byte file declaring 16 M pixels a row costs 100 MB.
// Both are read here first. Files of other formats pass.
ExrHeaders ScanExrHeaders(const std::string& path) {
  ExrHeaders found;
  std::ifstream in(path, std::ios::binary);
  char head[8];
  if (!in.read(head, sizeof head) || std::string_view(head, 4) != std::string_view("\x76\x2f\x31\x01", 4)) return found;
  in.seekg(0, std::ios::end);
  const std::streamoff fileSize = in.tellg();
  in.seekg(8);
  const bool multipart = (static_cast<uint8_t>(head[5]) & 0x10) != 0;  // bit 12 of the version field
  // A name or type is at most 255 bytes; a header ends with an empty name,
  // and the headers of a multi-part file with an empty header.
  auto text = [&in](std::string& out) {
    out.clear();
    for (char c; in.get(c);) {
      if (c == '\0') return true;
      if (out.size() == 255) return false;
      out.push_back(c);
    }
    return false;
  };
  auto int32 = [&in](int64_t& out) {
    unsigned char b[4];
    if (!in.read(reinterpret_cast<char*>(b), 4)) return false;
    out = static_cast<int32_t>(b[0] | b[1] << 8 | b[2] << 16 | uint32_t{b[3]} << 24);
    return true;
  };
  const auto damaged = [&found] {
    found.fit = false;
    return found;
  };
  std::string name, type;
  for (int headers = 0;; ++headers) {
    for (int attributes = 0;; ++attributes) {
      if (!text(name) || attributes > 100000) return damaged();
      if (name.empty()) break;
      int64_t bytes = 0;
      if (!text(type) || !int32(bytes)) return damaged();
      if (bytes < 0 || bytes > fileSize - in.tellg()) return damaged();
      if (name == "dataWindow" && type == "box2i" && bytes == 16) {
        int64_t x0, y0, x1, y1;
        if (!int32(x0) || !int32(y0) || !int32(x1) || !int32(y1)) return damaged();
        const int64_t w = x1 - x0 + 1, h = y1 - y0 + 1;
        if ((w > kMaxTextureSide || h > kMaxTextureSide) && !found.oversized)
          found.oversized = true, found.width = w, found.height = h;
      } else {
        in.seekg(bytes, std::ios::cur);
      }
    }
    if (!multipart || headers > 100000) return found;
    if (in.peek() == 0 || in.peek() == std::char_traits<char>::eof()) return found;
  }
}

Result RefuseDeclaredSize(const std::string& path, int64_t w, int64_t h, const std::string& why) {
  return Result::Fail(errors::kIo, "Image file \"" + path + "\" declares " + std::to_string(w) + " x " +
                                       std::to_string(h) + " pixels: " + why + ".");
}

std::string SideLimit() { return "images are read up to " + std::to_string(kMaxTextureSide) + " pixels a side"; }

}  // namespace

Result CheckDeclaredSize(const std::string& path) {
  const ExrHeaders exr = ScanExrHeaders(path);
  if (!exr.fit)
    return Result::Fail(errors::kIo, "Image file \"" + path +
                                         "\" is a damaged OpenEXR file: its header is cut "
                                         "short or declares more bytes than the file has.");
  if (exr.oversized) return RefuseDeclaredSize(path, exr.width, exr.height, SideLimit());
  auto file = OIIO::ImageInput::open(path);
  if (!file) {
    (void)OIIO::geterror();
    return Result::Ok();
  }
  // A movie's frames share one size: its first stands for all.
  const bool movie = file->spec().get_int_attribute("oiio:Movie", 0) != 0;
  for (int subimage = 0; (subimage == 0 || !movie) && file->seek_subimage(subimage, 0); ++subimage) {
    const OIIO::ImageSpec layout = file->spec_dimensions(subimage);  // sizes only, no metadata
    const int64_t w = layout.width, h = layout.height;
    const bool mipmapped = file->seek_subimage(subimage, 1);
    auto refuse = [&](const std::string& why) { return RefuseDeclaredSize(path, w, h, why); };
    if (w < 1 || h < 1 || layout.depth > 1) return refuse("not a flat image");
    if (w > kMaxTextureSide || h > kMaxTextureSide) return refuse(SideLimit());
    if (!mipmapped && w * h > kMaxUnmippedPixels)
      return refuse("images without MIP levels of their own are read up to " +
                    std::to_string(kMaxUnmippedPixels >> 20) + " M pixels");
    // The cache makes the MIP levels of a file without them from its display
    // window while the file's pixels are its data window: where the two
    // differ, the levels do not match the pixels, and some lookups abort inside
    // the library (a huge window overflows its tile count; others fail its
    // power-of-two wrap).
    const int64_t fw = layout.full_width, fh = layout.full_height;
    if (!mipmapped && (fw != w || fh != h))
      return Result::Fail(errors::kIo, "Image file \"" + path + "\" has a display window of " + std::to_string(fw) +
                                           " x " + std::to_string(fh) + " around its " + std::to_string(w) + " x " +
                                           std::to_string(h) +
                                           " pixels and no MIP levels: write it with MIP levels of its own (maketx) "
                                           "or with a display window the size of its pixels.");
  }
  (void)file->geterror();
  return Result::Ok();
}

Result LoadFile(const std::string& path, bool force32bit, const LayerSet& layers, const TimeValue& time,
                std::shared_ptr<OiioTexture>& out) {
  TESSAROC_RETURN_IF_FAILED(CheckDeclaredSize(path));
  Systems& caches = Caches();
  OIIO::TextureSystem* ts = force32bit ? caches.floats : caches.shared;
  auto t = std::make_shared<OiioTexture>();
  t->ts = ts;
  t->cache = force32bit ? caches.floatCache : caches.sharedCache;
  t->filename = OIIO::ustring(path);
  t->handle = ts->get_texture_handle(t->filename);
  const OIIO::ImageSpec* layout = t->handle ? ts->imagespec(t->handle, nullptr, 0) : nullptr;
  if (layout && force32bit && ((layout->width == 1) != (layout->height == 1) || layout->format.size() != 4)) {
    // OpenImageIO 2.4 aborts on bilinear lookups into a one-row or one-column
    // image held as floats, and into files of 8- or 16-bit values (integers
    // or half floats) held as floats. These are read in their own format:
    // their values become floats exactly, only the generated MIP levels keep
    // the file's depth.
    t->ts = ts = caches.shared;
    t->cache = caches.sharedCache;
    t->handle = ts->get_texture_handle(t->filename);
    layout = t->handle ? ts->imagespec(t->handle, nullptr, 0) : nullptr;
  }
  if (!layout) {
    std::string why = ts->geterror();
    if (why.empty()) why = "unknown format or unreadable file";
    return Result::Fail(errors::kIo, "Cannot read image file \"" + path + "\": " + why);
  }
  const Clip clip = ClipOf(ts, t->handle, *layout);
  if (clip.movie) {
    const int64_t frame = FrameNumber(time, clip.fps);
    t->subimage = static_cast<int>(std::clamp<int64_t>(frame, 0, clip.frames - 1));
    layout = ts->imagespec(t->handle, nullptr, t->subimage);
    if (!layout)
      return Result::Fail(
          errors::kIo, "Cannot read frame " + std::to_string(t->subimage) + " of \"" + path + "\": " + ts->geterror());
  }
  t->channels = std::min(layout->nchannels, 4);
  TESSAROC_RETURN_IF_FAILED(SelectLayer(ts, *t, layers, clip, layout));
  if (t->channels < 1) return Result::Fail(errors::kIo, "Image file \"" + path + "\" has no channels.");
  t->coverage = (t->channels == 1 || t->channels == 3) && t->firstChannel + t->channels == layout->nchannels;
  t->width = layout->width;
  t->height = layout->height;
  t->xOrigin = layout->x;
  t->yOrigin = layout->y;
  t->fps = clip.fps;
  t->length = clip.length;
  t->encoding = EncodingOf(*layout, t->gamma, t->config);
  if (t->encoding != Encoding::kLinear) {
    // Without its linear reading the file still works, converted after filtering.
    const std::string space = layout->get_string_attribute("oiio:ColorSpace");
    t->linearHandle = OpenLinearReading(path, t->encoding, t->gamma, space, t->subimage, t->linearName);
    // A config's decoding has no per-sample form (see SampleFile).
    if (t->linearHandle == nullptr && t->encoding == Encoding::kConfig)
      return Result::Fail(errors::kIo,
                          "Cannot decode image file \"" + path + "\" from the colour config's space " + space + ".");
  }
  t->hasImage = t->width > 0 && t->height > 0;
  out = std::move(t);
  return Result::Ok();
}

}  // namespace tessaroc::host::texture
