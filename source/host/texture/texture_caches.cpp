#include "host/texture/texture_caches.h"

namespace tessaroc::host::texture {

namespace {

void Configure(OIIO::ImageCache* cache) {
  // Images without MIP levels get them on the fly, in tiles, so that the MIP
  // and anisotropic filters work on any file.
  cache->attribute("automip", 1);
  cache->attribute("autotile", 64);
  // Keep the file's alpha as it is stored: the node's alpha setting says how
  // to read it.
  cache->attribute("unassociatedalpha", 1);
}

}  // namespace

// Made once and never destroyed: the library's own teardown at exit must not
// race textures that still point into the caches.
Systems& Caches() {
  static Systems* systems = [] {
    auto* s = new Systems;
    s->sharedCache = OIIO::ImageCache::create(true);
    Configure(s->sharedCache);
    s->shared = OIIO::TextureSystem::create(true);
    s->floatCache = OIIO::ImageCache::create(false);
    Configure(s->floatCache);
    s->floatCache->attribute("forcefloat", 1);
    s->floats = OIIO::TextureSystem::create(false, s->floatCache);
    return s;
  }();
  return *systems;
}

}  // namespace tessaroc::host::texture
