// Movies and layers of a file: whether its subimages are the frames of a
// clip, and which subimage or channel group a layer set picks.
#pragma once

#include <OpenImageIO/texture.h>

#include "host/texture/oiio_texture.h"

namespace tessaroc::host::texture {

struct Clip {
  int frames = 1;
  double fps = 0;
  double length = 0;
  bool movie = false;
};

// A movie is a file whose subimages are frames at a frame rate.
Clip ClipOf(OIIO::TextureSystem* ts, OIIO::TextureSystem::TextureHandle* handle, const OIIO::ImageSpec& layout);

// Picks the subimage and channels of the first layer of the set the file
// has; `layout` becomes that subimage's. No layer of the set is an I/O error.
Result SelectLayer(OIIO::TextureSystem* ts, OiioTexture& t, const LayerSet& layers, const Clip& clip,
                   const OIIO::ImageSpec*& layout);

}  // namespace tessaroc::host::texture
