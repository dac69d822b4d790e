#include "host/texture/texture_service.h"

#include <cmath>
#include <memory>
#include <string>

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>
#include <OpenImageIO/texture.h>

#include "host/texture/clips_and_layers.h"
#include "host/texture/file_lookup.h"
#include "host/texture/linear_reader.h"
#include "host/texture/oiio_texture.h"
#include "host/texture/texture_caches.h"
#include "host/texture/tile_set.h"

namespace tessaroc::host {

namespace {

using OIIO::ustring;
using texture::BoxFilter;
using texture::Caches;
using texture::ClipOf;
using texture::Decode;
using texture::Encoding;
using texture::kLinearSuffix;
using texture::kUdimToken;
using texture::LoadFile;
using texture::LoadTileSet;
using texture::OiioTexture;
using texture::OiioTileSet;
using texture::Systems;

// ---- lookups

OIIO::TextureOpt::Wrap WrapOf(uint8_t code) {
  switch (code) {
    case kWrapClamp: return OIIO::TextureOpt::WrapBlack;
    case kWrapRepeat: return OIIO::TextureOpt::WrapPeriodic;
    case kWrapMirror: return OIIO::TextureOpt::WrapMirror;
    default: return OIIO::TextureOpt::WrapClamp;
  }
}

// One lookup in one file.
ColorA SampleFile(const OiioTexture& t, double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV,
                  int interpolation, bool convertColors, int alpha) {
  // Converted colours come from the linear reading, filtered in linear, except
  // where alpha must be undone in the file's own encoding first. A colour
  // config's decoding is only ever applied to whole rows of the reading (the
  // library allocates per call): there alpha is undone after decoding.
  const bool linear = convertColors && t.linearHandle != nullptr &&
                      (alpha != pattern::kAlphaPremultipliedColorSpace || t.encoding == Encoding::kConfig);
  const int count = t.channels + (t.coverage ? 1 : 0);
  float px[5] = {0, 0, 0, 0, 0};
  if (interpolation == pattern::kInterpSat) {
    BoxFilter(t.Sat(linear), u, v, du, dv, wrapU, wrapV, count, px);
  } else {
    OIIO::TextureOpt opt;
    opt.subimage = t.subimage;
    opt.firstchannel = t.firstChannel;
    opt.swrap = WrapOf(wrapU);
    opt.twrap = WrapOf(wrapV);
    opt.fill = 1;  // the coverage channel
    switch (interpolation) {
      case pattern::kInterpBilinear:
        opt.mipmode = OIIO::TextureOpt::MipModeNoMIP;
        opt.interpmode = OIIO::TextureOpt::InterpBilinear;
        break;
      case pattern::kInterpMip:
        opt.mipmode = OIIO::TextureOpt::MipModeTrilinear;
        opt.interpmode = OIIO::TextureOpt::InterpBilinear;
        break;
      case pattern::kInterpAniso:
        opt.mipmode = OIIO::TextureOpt::MipModeAniso;
        opt.interpmode = OIIO::TextureOpt::InterpBilinear;
        break;
      case pattern::kInterpBicubic:
        opt.mipmode = OIIO::TextureOpt::MipModeTrilinear;
        opt.interpmode = OIIO::TextureOpt::InterpBicubic;
        break;
      default:
        opt.mipmode = OIIO::TextureOpt::MipModeNoMIP;
        opt.interpmode = OIIO::TextureOpt::InterpClosest;
        break;
    }
    // Image rows run downwards; v runs upwards.
    const float s = static_cast<float>(u), tt = static_cast<float>(1.0 - v);
    OIIO::TextureSystem* ts = linear ? Caches().shared : t.ts;
    if (!ts->texture(linear ? t.linearHandle : t.handle, ts->get_perthread_info(), opt, s, tt, static_cast<float>(du),
                     0.0f, 0.0f, static_cast<float>(dv), count, px)) {
      (void)ts->geterror();
      return ColorA{};
    }
  }
  // Without alpha in the file: the coverage, or for a layer with channels
  // after it, whether the point lies on the image where clamp leaves it.
  auto inside = [](double x, uint8_t wrap) { return wrap != kWrapClamp || (x >= 0 && x <= 1); };
  const double cover = t.coverage ? px[t.channels] : (inside(u, wrapU) && inside(v, wrapV) ? 1.0 : 0.0);
  ColorA c;
  switch (t.channels) {
    case 1: c = {px[0], px[0], px[0], cover}; break;
    case 2: c = {px[0], px[0], px[0], px[1]}; break;
    case 3: c = {px[0], px[1], px[2], cover}; break;
    default: c = {px[0], px[1], px[2], px[3]}; break;
  }
  auto unpremultiply = [&c] {
    if (c.a != 0) c = {c.r / c.a, c.g / c.a, c.b / c.a, c.a};
  };
  if (alpha == pattern::kAlphaNone) c.a = 1.0;
  if (alpha == pattern::kAlphaPremultipliedColorSpace) unpremultiply();
  if (convertColors && !linear && t.encoding != Encoding::kLinear)
    c = {Decode(t.encoding, t.gamma, c.r), Decode(t.encoding, t.gamma, c.g), Decode(t.encoding, t.gamma, c.b), c.a};
  if (alpha == pattern::kAlphaPremultiplied) unpremultiply();
  return c;
}

// ---- the threaded texture

class OiioThreadedTexture final : public pattern::ThreadedTexture {
 public:
  Result Init(const pattern::TextureRef& texture) override {
    auto tiles = std::dynamic_pointer_cast<const OiioTileSet>(texture);
    auto t = tiles ? tiles->home : std::dynamic_pointer_cast<const OiioTexture>(texture);
    if (texture && !t) return Result::Fail(errors::kIllegalArgument, "not a texture of this service");
    texture_ = std::move(t);
    tiles_ = std::move(tiles);
    return Result::Ok();
  }

  const void* GetImage() const override { return texture_ && texture_->hasImage ? texture_.get() : nullptr; }

  ColorA Sample(double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV, int interpolation,
                bool convertColors, int alpha, bool sampleAcrossTiles) const override {
    if (!GetImage()) return ColorA{};
    if (tiles_ && sampleAcrossTiles) {
      // Each tile is read on its own square and held at its edges, so that
      // filters never reach into the far side of a tile; where no tile is,
      // nothing is.
      const OiioTexture* tile = tiles_->TileAt(u, v);
      if (tile == nullptr || !tile->hasImage) return ColorA{};
      return SampleFile(*tile, u - std::floor(u), v - std::floor(v), du, dv, kWrapExtend, kWrapExtend, interpolation,
                        convertColors, alpha);
    }
    return SampleFile(*texture_, u, v, du, dv, wrapU, wrapV, interpolation, convertColors, alpha);
  }

  Result GetDetails(pattern::TextureDetails& details) const override {
    if (!GetImage()) return Result::Fail(errors::kIllegalState, "the texture holds no image");
    details.width = texture_->width;
    details.height = texture_->height;
    details.fps = texture_->fps;
    details.length = texture_->length;
    return Result::Ok();
  }

 private:
  std::shared_ptr<const OiioTexture> texture_;  // the file, or the tile set's home tile
  std::shared_ptr<const OiioTileSet> tiles_;
};

// ---- the service

class Service final : public pattern::TextureService {
 public:
  Result LoadTexture(const Url& url, const SearchPathsType* searchPaths, bool force32bit, const LayerSet& layers,
                     TimeValue& time, pattern::MovieTimeDelegate* delegate, pattern::TextureRef& out) override {
    Systems& caches = Caches();
    OIIO::TextureSystem* ts = force32bit ? caches.floats : caches.shared;
    if (url.IsEmpty()) return Result::Fail(errors::kIllegalArgument, "No image file given.");
    Url name = url;
    // The clip's length, when the named file exists, for the delegate.
    double length = 0;
    if (const std::string found = FindFile(name, searchPaths);
        !found.empty() && texture::CheckDeclaredSize(found).ok()) {
      auto* h = ts->get_texture_handle(ustring(found));
      if (const OIIO::ImageSpec* layout = h ? ts->imagespec(h, nullptr, 0) : nullptr)
        length = ClipOf(ts, h, *layout).length;
      else (void)ts->geterror();
    }
    if (delegate) TESSAROC_RETURN_IF_FAILED(delegate->ResolveMovieTime(length, name, time));
    if (name.view().find(kUdimToken) != std::string_view::npos)
      return LoadTileSet(name, searchPaths, force32bit, layers, time, out);
    const std::string path = FindFile(name, searchPaths);
    if (path.empty()) return Result::Fail(errors::kIo, "Image file not found: \"" + name.str() + "\".");
    std::shared_ptr<OiioTexture> t;
    TESSAROC_RETURN_IF_FAILED(LoadFile(path, force32bit, layers, time, t));
    out = std::move(t);
    return Result::Ok();
  }

  bool FileExists(const Url& url, const SearchPathsType* searchPaths) override {
    return !FindFile(url, searchPaths).empty();
  }

  Result AllocTexture(pattern::TextureRef& out) override {
    out = std::make_shared<OiioTexture>();
    return Result::Ok();
  }

  Result AllocThreadedTexture(pattern::ThreadedTextureRef& out) override {
    out = std::make_shared<OiioThreadedTexture>();
    return Result::Ok();
  }
};

}  // namespace

pattern::TextureService& OiioTextureService() {
  static Service service;
  return service;
}

void InstallTextureService() { pattern::SetTextureService(&OiioTextureService()); }

void InvalidateTextureFile(const std::string& path) {
  Systems& caches = Caches();
  for (const std::string& name : {path, path + std::string(kLinearSuffix)}) {
    caches.shared->invalidate(ustring(name), true);
    caches.floats->invalidate(ustring(name), true);
  }
}

bool MovieReaderAvailable() {
  std::string formats;
  if (!OIIO::getattribute("input_format_list", formats)) return false;
  for (const auto& f : OIIO::Strutil::splitsv(formats, ","))
    if (f == "FFmpeg" || f == "ffmpeg") return true;
  return false;
}

}  // namespace tessaroc::host
