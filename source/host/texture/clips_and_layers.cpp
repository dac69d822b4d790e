#include "host/texture/clips_and_layers.h"

#include <algorithm>
#include <string>

#include <OpenImageIO/strutil.h>

namespace tessaroc::host::texture {

using OIIO::ustring;

namespace {

double FramesPerSecond(const OIIO::ImageSpec& layout) {
  const OIIO::ParamValue* p = layout.find_attribute("FramesPerSecond");
  if (!p) return 0;
  if (p->type() == OIIO::TypeRational) {
    const int* r = static_cast<const int*>(p->data());
    return r[1] != 0 ? static_cast<double>(r[0]) / r[1] : 0.0;
  }
  return p->get_float(0.0f);
}

}  // namespace

Clip ClipOf(OIIO::TextureSystem* ts, OIIO::TextureSystem::TextureHandle* handle, const OIIO::ImageSpec& layout) {
  Clip clip;
  int subimages = 1;
  if (!ts->get_texture_info(handle, nullptr, 0, ustring("subimages"), OIIO::TypeInt, &subimages)) (void)ts->geterror();
  clip.fps = FramesPerSecond(layout);
  clip.movie = (layout.get_int_attribute("oiio:Movie", 0) != 0 || subimages > 1) && clip.fps > 0;
  if (clip.movie) {
    clip.frames = std::max(1, subimages);
    clip.length = clip.frames / clip.fps;
  } else {
    clip.fps = 0;
  }
  return clip;
}

Result SelectLayer(OIIO::TextureSystem* ts, OiioTexture& t, const LayerSet& layers, const Clip& clip,
                   const OIIO::ImageSpec*& layout) {
  if (layers.layers.empty()) return Result::Ok();
  int subimages = 1;
  if (!ts->get_texture_info(t.handle, nullptr, 0, ustring("subimages"), OIIO::TypeInt, &subimages))
    (void)ts->geterror();
  for (const String& layer : layers.layers) {
    const std::string name = layer.str();
    if (name.empty()) continue;
    if (!clip.movie) {
      for (int s = 0; s < subimages; ++s) {
        const OIIO::ImageSpec* si = ts->imagespec(t.handle, nullptr, s);
        if (si && si->get_string_attribute("oiio:subimagename") == name) {
          t.subimage = s;
          t.firstChannel = 0;
          t.channels = std::min(si->nchannels, 4);
          layout = si;
          return Result::Ok();
        }
      }
    }
    const std::string prefix = name + ".";
    for (int c = 0; c < layout->nchannels; ++c) {
      if (!OIIO::Strutil::starts_with(layout->channelnames[static_cast<size_t>(c)], prefix)) continue;
      int n = 0;
      while (c + n < layout->nchannels && n < 4 &&
             OIIO::Strutil::starts_with(layout->channelnames[static_cast<size_t>(c + n)], prefix))
        ++n;
      t.firstChannel = c;
      t.channels = n;
      return Result::Ok();
    }
  }
  std::string names;
  for (const String& layer : layers.layers) names += (names.empty() ? "" : ", ") + layer.str();
  return Result::Fail(errors::kIo, "Image file \"" + t.filename.string() + "\" has no layer " + names + ".");
}

}  // namespace tessaroc::host::texture
