// The texture service's caches: one shared OpenImageIO texture system for
// native pixel formats, one that keeps every pixel as a 32-bit float.
#pragma once

#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/texture.h>

namespace tessaroc::host::texture {

struct Systems {
  OIIO::TextureSystem* shared = nullptr;  // native pixel formats
  OIIO::ImageCache* sharedCache = nullptr;
  OIIO::TextureSystem* floats = nullptr;  // every pixel as a 32-bit float
  OIIO::ImageCache* floatCache = nullptr;
};

// The process-wide caches, made at the first call.
Systems& Caches();

}  // namespace tessaroc::host::texture
