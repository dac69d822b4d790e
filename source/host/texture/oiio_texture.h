// A file the texture service loaded: where it lives in the caches, which
// subimage and channels are read, and how its values are encoded.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/texture.h>

#include "host/texture/box_filter.h"
#include "host/texture/color_encoding.h"
#include "pattern/generator/texture_service.h"

namespace tessaroc::host::texture {

class OiioTexture final : public pattern::Texture {
 public:
  bool hasImage = false;
  OIIO::TextureSystem* ts = nullptr;
  OIIO::ImageCache* cache = nullptr;
  OIIO::ustring filename;
  OIIO::TextureSystem::TextureHandle* handle = nullptr;
  int subimage = 0;
  int firstChannel = 0;
  int channels = 0;  // 1 to 4
  // One or three channels, the last of the file: a lookup asks for one more,
  // which the library fills with 1 on the image, so that alpha is the filter's
  // coverage under clamp.
  bool coverage = false;
  int width = 0, height = 0;
  int xOrigin = 0, yOrigin = 0;
  double fps = 0;
  double length = 0;
  Encoding encoding = Encoding::kLinear;
  double gamma = 1;
  std::shared_ptr<const ColorTransform> config;  // for Encoding::kConfig

  // The linear reading of an encoded file, or null. It holds floats already,
  // so it lives in the native cache whatever the load asked for.
  OIIO::ustring linearName;
  OIIO::TextureSystem::TextureHandle* linearHandle = nullptr;

  // The summed-area table of a reading, built at the first box-filtered lookup.
  const SummedAreaTable& Sat(bool linear) const;

 private:
  SummedAreaTable BuildSat(OIIO::ImageCache* from, OIIO::ustring name) const;

  struct Table {
    std::once_flag once;
    SummedAreaTable sums;
  };
  mutable Table tables_[2];
};

// What a texture may declare, checked before the caches see the file: a
// header can claim any size, and the caches would allocate for it (or the
// library abort on sides past what it counts in an int).
inline constexpr int64_t kMaxTextureSide = 65536;
// Pixels of a file without MIP levels of its own, whose levels the caches
// make in memory (16384 x 8192).
inline constexpr int64_t kMaxUnmippedPixels = int64_t{1} << 27;
// Values of a summed-area table (doubles, 512 MiB): a larger image builds its
// table from its first MIP level that fits.
inline constexpr int64_t kMaxSatValues = int64_t{1} << 26;

// Fails with a message for the user when the file's header declares more
// than the limits above; a file the library cannot open passes (the caches
// report it).
Result CheckDeclaredSize(const std::string& path);

// Reads one file (the frame of a movie at `time`, the layer asked for).
Result LoadFile(const std::string& path, bool force32bit, const LayerSet& layers, const TimeValue& time,
                std::shared_ptr<OiioTexture>& out);

}  // namespace tessaroc::host::texture
