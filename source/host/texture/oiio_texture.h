// A file the texture service loaded: where it lives in the caches, which
// subimage and channels are read, and how its values are encoded.
#pragma once

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

// Reads one file (the frame of a movie at `time`, the layer asked for).
Result LoadFile(const std::string& path, bool force32bit, const LayerSet& layers, const TimeValue& time,
                std::shared_ptr<OiioTexture>& out);

}  // namespace tessaroc::host::texture
