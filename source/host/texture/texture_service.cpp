#include "host/texture/texture_service.h"

#include "host/texture/file_lookup.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>
#include <OpenImageIO/texture.h>

namespace tessaroc::host {

namespace {

namespace OIIO = OIIO_NAMESPACE;
using OIIO::ustring;

// ---- the caches

struct Systems {
  OIIO::TextureSystem* shared = nullptr;  // native pixel formats
  OIIO::ImageCache* sharedCache = nullptr;
  OIIO::TextureSystem* floats = nullptr;  // every pixel as a 32-bit float
  OIIO::ImageCache* floatCache = nullptr;
};

void Configure(OIIO::ImageCache* cache) {
  // Images without MIP levels get them on the fly, in tiles, so that the MIP
  // and anisotropic filters work on any file.
  cache->attribute("automip", 1);
  cache->attribute("autotile", 64);
  // Keep the file's alpha as it is stored: the node's alpha setting says how
  // to read it.
  cache->attribute("unassociatedalpha", 1);
}

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

// ---- colour encodings

enum class Encoding { kLinear, kSrgb, kGamma };

double SrgbToLinear(double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); }

// How a file's pixel values are encoded; `gamma` is set for kGamma.
Encoding EncodingOf(const OIIO::ImageSpec& layout, double& gamma) {
  const std::string space = layout.get_string_attribute("oiio:ColorSpace");
  if (OIIO::Strutil::iequals(space, "sRGB")) return Encoding::kSrgb;
  // "GammaCorrected2.2" as the library writes a gamma, "Gamma2.2" as it reads
  // a file's gamma chunk.
  if (OIIO::Strutil::istarts_with(space, "Gamma")) {
    const size_t digits = space.find_first_of("0123456789.");
    const float g = digits == std::string::npos ? layout.get_float_attribute("oiio:Gamma", 0.0f)
                                                : OIIO::Strutil::stof(space.substr(digits));
    gamma = g;
    return g > 0 ? Encoding::kGamma : Encoding::kLinear;
  }
  // Untagged 8-bit files are display-referred.
  if (space.empty() && layout.format == OIIO::TypeDesc::UINT8) return Encoding::kSrgb;
  return Encoding::kLinear;
}

double Decode(Encoding encoding, double gamma, double x) {
  if (encoding == Encoding::kSrgb) return SrgbToLinear(x);
  if (encoding == Encoding::kGamma) return x > 0 ? std::pow(x, gamma) : x;
  return x;
}

// ---- linear readings of encoded files

// An encoded file (sRGB, gamma) is also read through this reader, which
// hands the cache linear floats: filters and MIP levels then average light,
// not code values. It stands behind a name of its own, the file's path with
// this suffix, so that both readings live in the cache side by side. Alpha
// stays as stored. The reading is offered as untiled level 0 alone, so the
// cache builds its MIP levels from it, in linear, even for a file that
// brings its own (averaged in the encoding).
constexpr std::string_view kLinearSuffix = "#tessaroc-linear";

class LinearInput final : public OIIO::ImageInput {
 public:
  const char* format_name() const override { return "tessaroc-linear"; }

  // The encoding comes with the configuration the loader adds the reading with.
  bool open(const std::string& name, OIIO::ImageSpec& newspec, const OIIO::ImageSpec& config) override {
    if (!OIIO::Strutil::ends_with(name, kLinearSuffix)) return false;
    const std::string how = config.get_string_attribute("tessaroc:encoding");
    if (how != "srgb" && how != "gamma") return false;
    encoding_ = how == "srgb" ? Encoding::kSrgb : Encoding::kGamma;
    gamma_ = config.get_float_attribute("tessaroc:gamma", 1.0f);
    // Colour is decoded as stored: a reader that associated alpha first would
    // decode premultiplied codes.
    OIIO::ImageSpec straight;
    straight.attribute("oiio:UnassociatedAlpha", 1);
    file_ = OIIO::ImageInput::open(name.substr(0, name.size() - kLinearSuffix.size()), &straight);
    if (!file_) {
      errorfmt("{}", OIIO::geterror());
      return false;
    }
    if (!Seek(0)) return false;
    newspec = m_spec;
    return true;
  }

  bool open(const std::string&, OIIO::ImageSpec&) override { return false; }

  bool close() override {
    file_.reset();
    return true;
  }

  int current_subimage() const override { return subimage_; }

  bool seek_subimage(int subimage, int miplevel) override {
    if (miplevel != 0 || !file_) return false;
    return subimage == subimage_ || Seek(subimage);
  }

  bool read_native_scanline(int subimage, int miplevel, int y, int z, void* data) override {
    if (!seek_subimage(subimage, miplevel)) return false;
    const int n = m_spec.nchannels;
    const size_t row = static_cast<size_t>(m_spec.width) * n;
    float* px = static_cast<float*>(data);
    if (tileHeight_ == 0) {
      if (!file_->read_scanline(y, z, OIIO::TypeFloat, px)) {
        errorfmt("{}", file_->geterror());
        return false;
      }
    } else {
      // A tiled file is read a band of tiles at a time: the cache asks for
      // rows in order, a tile's height at a time.
      const int top = m_spec.y + (y - m_spec.y) / tileHeight_ * tileHeight_;
      if (top != bandTop_) {
        const int bottom = std::min(top + tileHeight_, m_spec.y + m_spec.height);
        band_.resize(row * static_cast<size_t>(bottom - top));
        bandTop_ = -1;
        if (!file_->read_tiles(subimage, 0, m_spec.x, m_spec.x + m_spec.width, top, bottom, z, z + 1, 0, n,
                               OIIO::TypeFloat, band_.data())) {
          errorfmt("{}", file_->geterror());
          return false;
        }
        bandTop_ = top;
      }
      std::copy_n(band_.data() + row * static_cast<size_t>(y - top), row, px);
    }
    for (int x = 0; x < m_spec.width; ++x)
      for (int c = 0; c < n; ++c)
        if (c != m_spec.alpha_channel) {
          float& v = px[static_cast<size_t>(x) * n + c];
          v = static_cast<float>(Decode(encoding_, gamma_, v));
        }
    return true;
  }

  static OIIO::ImageInput* Create() { return new LinearInput; }

 private:
  // The layout of the subimage as linear floats, untiled, one level. Its
  // metadata (a fingerprint among it) belongs to the file, not this reading,
  // and is left out.
  bool Seek(int subimage) {
    if (!file_->seek_subimage(subimage, 0)) return false;
    const OIIO::ImageSpec layout = file_->spec_dimensions(subimage, 0);
    if (layout.format == OIIO::TypeUnknown) return false;
    tileHeight_ = layout.tile_width > 0 ? layout.tile_height : 0;
    bandTop_ = -1;
    m_spec = layout;
    m_spec.set_format(OIIO::TypeDesc::FLOAT);
    m_spec.tile_width = m_spec.tile_height = m_spec.tile_depth = 0;
    m_spec.default_channel_names();
    m_spec.attribute("oiio:ColorSpace", "Linear");
    subimage_ = subimage;
    return true;
  }

  std::unique_ptr<OIIO::ImageInput> file_;
  int subimage_ = -1;
  int tileHeight_ = 0;  // of a tiled file, else 0
  int bandTop_ = -1;    // first row of the band of tiles in band_
  std::vector<float> band_;
  Encoding encoding_ = Encoding::kLinear;
  double gamma_ = 1;
};

// ---- the loaded file

class OiioTexture final : public pattern::Texture {
 public:
  bool hasImage = false;
  OIIO::TextureSystem* ts = nullptr;
  OIIO::ImageCache* cache = nullptr;
  ustring filename;
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

  // The linear reading of an encoded file, or null. It holds floats already,
  // so it lives in the native cache whatever the load asked for.
  ustring linearName;
  OIIO::TextureSystem::TextureHandle* linearHandle = nullptr;

  // The summed-area table of a reading: (width + 1) x (height + 1) sums per
  // channel, built at the first box-filtered lookup.
  const std::vector<double>& Sat(bool linear) const {
    Table& table = tables_[linear ? 1 : 0];
    std::call_once(table.once, [&] {
      table.sums = linear ? BuildSat(Caches().sharedCache, linearName) : BuildSat(cache, filename);
    });
    return table.sums;
  }

 private:
  std::vector<double> BuildSat(OIIO::ImageCache* from, ustring name) const {
    const size_t W = static_cast<size_t>(width), H = static_cast<size_t>(height), C = static_cast<size_t>(channels);
    std::vector<float> pixels(W * H * C);
    if (!from->get_pixels(name, subimage, 0, xOrigin, xOrigin + width, yOrigin, yOrigin + height, 0, 1, firstChannel,
                          firstChannel + channels, OIIO::TypeFloat, pixels.data())) {
      (void)from->geterror();
      return {};
    }
    std::vector<double> sat((W + 1) * (H + 1) * C, 0.0);
    for (size_t y = 0; y < H; ++y) {
      std::vector<double> row(C, 0.0);
      for (size_t x = 0; x < W; ++x) {
        for (size_t c = 0; c < C; ++c) {
          row[c] += pixels[(y * W + x) * C + c];
          sat[((y + 1) * (W + 1) + x + 1) * C + c] = sat[(y * (W + 1) + x + 1) * C + c] + row[c];
        }
      }
    }
    return sat;
  }

  struct Table {
    std::once_flag once;
    std::vector<double> sums;
  };
  mutable Table tables_[2];
};

// ---- the box filter on the summed-area table

// The integral over [0, x] of a line of n pixels extended by a wrap mode, as
// terms coef * G(at) of the integral G of the unwrapped line, 0 <= at <= n.
struct Term {
  double coef;
  double at;
};

int Decompose(double x, double n, uint8_t wrap, Term out[3]) {
  switch (wrap) {
    case 1:  // clamp: nothing outside
      out[0] = {1, std::clamp(x, 0.0, n)};
      return 1;
    case 2: {  // repeat
      const double k = std::floor(x / n);
      out[0] = {k, n};
      out[1] = {1, std::clamp(x - k * n, 0.0, n)};
      return 2;
    }
    case 3: {  // mirror: period 2n, the second half reversed
      const double p = 2 * n;
      const double k = std::floor(x / p);
      const double r = std::clamp(x - k * p, 0.0, p);
      out[0] = {2 * k, n};
      if (r <= n) {
        out[1] = {1, r};
        return 2;
      }
      out[1] = {2, n};
      out[2] = {-1, p - r};
      return 3;
    }
    default:  // extend: the edge pixels go on
      if (x < 0) {
        out[0] = {x, 1};
        return 1;
      }
      if (x <= n) {
        out[0] = {1, x};
        return 1;
      }
      out[0] = {1, n};
      out[1] = {x - n, n};
      out[2] = {n - x, n - 1};
      return 3;
  }
}

// The integral of channel c over [0, x] x [0, y] inside the image: bilinear
// in the table, since the image is constant over each pixel.
double TableIntegral(const OiioTexture& t, const std::vector<double>& sat, int c, double x, double y) {
  const int W = t.width, H = t.height, C = t.channels;
  const int ix = std::min(static_cast<int>(x), W - 1);
  const int iy = std::min(static_cast<int>(y), H - 1);
  const double fx = x - ix, fy = y - iy;
  auto s = [&](int i, int j) { return sat[(static_cast<size_t>(j) * (W + 1) + i) * C + c]; };
  const double top = s(ix, iy) + (s(ix + 1, iy) - s(ix, iy)) * fx;
  const double bottom = s(ix, iy + 1) + (s(ix + 1, iy + 1) - s(ix, iy + 1)) * fx;
  return top + (bottom - top) * fy;
}

// `count` channels into `result`: the image's, then the coverage of a file
// without alpha (a channel of ones) if asked for.
void SampleSat(const OiioTexture& t, bool linear, double u, double v, double du, double dv, uint8_t wrapU,
               uint8_t wrapV, int count, float* result) {
  const std::vector<double>& sat = t.Sat(linear);
  if (sat.empty() || !std::isfinite(u) || !std::isfinite(v) || !std::isfinite(du) || !std::isfinite(dv)) return;
  const double W = t.width, H = t.height;
  // Image rows run downwards; v runs upwards.
  const double x = u * W, y = (1 - v) * H;
  // At least one pixel wide: under magnification the box is a bilinear lookup.
  const double hx = std::max(std::fabs(du) * W, 1.0) * 0.5;
  const double hy = std::max(std::fabs(dv) * H, 1.0) * 0.5;
  Term xs[2][3], ys[2][3];
  const int nx0 = Decompose(x - hx, W, wrapU, xs[0]), nx1 = Decompose(x + hx, W, wrapU, xs[1]);
  const int ny0 = Decompose(y - hy, H, wrapV, ys[0]), ny1 = Decompose(y + hy, H, wrapV, ys[1]);
  const int nx[2] = {nx0, nx1}, ny[2] = {ny0, ny1};
  const double area = (2 * hx) * (2 * hy);
  for (int c = 0; c < count; ++c) {
    double box = 0;
    for (int a = 0; a < 2; ++a) {
      for (int b = 0; b < 2; ++b) {
        double corner = 0;
        for (int i = 0; i < nx[a]; ++i)
          for (int j = 0; j < ny[b]; ++j) {
            const double x = xs[a][i].at, y = ys[b][j].at;
            corner += xs[a][i].coef * ys[b][j].coef * (c < t.channels ? TableIntegral(t, sat, c, x, y) : x * y);
          }
        box += (a == b ? 1 : -1) * corner;
      }
    }
    result[c] = static_cast<float>(box / area);
  }
}

// ---- the threaded texture

OIIO::TextureOpt::Wrap WrapOf(uint8_t code) {
  switch (code) {
    case 1: return OIIO::TextureOpt::WrapBlack;
    case 2: return OIIO::TextureOpt::WrapPeriodic;
    case 3: return OIIO::TextureOpt::WrapMirror;
    default: return OIIO::TextureOpt::WrapClamp;
  }
}

// One lookup in one file.
ColorA SampleFile(const OiioTexture& t, double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV,
                  int interpolation, bool convertColors, int alpha) {
  // Converted colours come from the linear reading, filtered in linear, except
  // where alpha must be undone in the file's own encoding first.
  const bool linear = convertColors && t.linearHandle != nullptr && alpha != pattern::kAlphaPremultipliedColorSpace;
  const int count = t.channels + (t.coverage ? 1 : 0);
  float px[5] = {0, 0, 0, 0, 0};
  if (interpolation == pattern::kInterpSat) {
    SampleSat(t, linear, u, v, du, dv, wrapU, wrapV, count, px);
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
  auto inside = [](double x, uint8_t wrap) { return wrap != 1 || (x >= 0 && x <= 1); };
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

// ---- tile sets

// The token a file name carries in the place of its tile number.
constexpr std::string_view kUdimToken = "<UDIM>";
constexpr int kFirstTile = 1001;
constexpr int kTileSlots = 999;  // 1001 to 1999: ten tiles along u, as many rows along v as fit

// The files of a tile set (a name with <UDIM>): tile 1001 + iu + 10 * iv
// covers u in [iu, iu + 1) and v in [iv, iv + 1).
class OiioTileSet final : public pattern::Texture {
 public:
  std::vector<std::shared_ptr<const OiioTexture>> tiles = std::vector<std::shared_ptr<const OiioTexture>>(kTileSlots);
  // Tile 1001, or the lowest tile there is: what a lookup that does not
  // sample across tiles reads, and whose size the details give.
  std::shared_ptr<const OiioTexture> home;

  const OiioTexture* TileAt(double u, double v) const {
    if (!(u >= 0 && u < 10 && v >= 0 && v < 100)) return nullptr;
    const int slot = static_cast<int>(std::floor(u)) + 10 * static_cast<int>(std::floor(v));
    return slot < kTileSlots ? tiles[static_cast<size_t>(slot)].get() : nullptr;
  }
};

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
      return SampleFile(*tile, u - std::floor(u), v - std::floor(v), du, dv, 0, 0, interpolation, convertColors, alpha);
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

// ---- loading

double FramesPerSecond(const OIIO::ImageSpec& layout) {
  const OIIO::ParamValue* p = layout.find_attribute("FramesPerSecond");
  if (!p) return 0;
  if (p->type() == OIIO::TypeRational) {
    const int* r = static_cast<const int*>(p->data());
    return r[1] != 0 ? static_cast<double>(r[0]) / r[1] : 0.0;
  }
  return p->get_float(0.0f);
}

struct Clip {
  int frames = 1;
  double fps = 0;
  double length = 0;
  bool movie = false;
};

// A movie is a file whose subimages are frames at a frame rate.
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

void SetEncoding(const OIIO::ImageSpec& layout, OiioTexture& t) { t.encoding = EncodingOf(layout, t.gamma); }

// Picks the subimage and channels of the first layer of the set the file has.
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

// Reads one file (the frame of a movie at `time`, the layer asked for).
Result LoadFile(const std::string& path, bool force32bit, const LayerSet& layers, const TimeValue& time,
                std::shared_ptr<OiioTexture>& out) {
  Systems& caches = Caches();
  OIIO::TextureSystem* ts = force32bit ? caches.floats : caches.shared;
  auto t = std::make_shared<OiioTexture>();
  t->ts = ts;
  t->cache = force32bit ? caches.floatCache : caches.sharedCache;
  t->filename = ustring(path);
  t->handle = ts->get_texture_handle(t->filename);
  const OIIO::ImageSpec* layout = t->handle ? ts->imagespec(t->handle, nullptr, 0) : nullptr;
  if (layout && force32bit && (layout->width == 1) != (layout->height == 1)) {
    // OpenImageIO 2.4 aborts on bilinear lookups into a one-row or one-column
    // image held as floats; such strips are read in their own format.
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
  SetEncoding(*layout, *t);
  if (t->encoding != Encoding::kLinear) {
    // Without its linear reading the file still works, converted after filtering.
    OIIO::TextureSystem* native = Caches().shared;
    t->linearName = ustring(path + std::string(kLinearSuffix));
    OIIO::ImageSpec how;
    how.attribute("tessaroc:encoding", t->encoding == Encoding::kSrgb ? "srgb" : "gamma");
    how.attribute("tessaroc:gamma", static_cast<float>(t->gamma));
    if (Caches().sharedCache->add_file(t->linearName, &LinearInput::Create, &how))
      t->linearHandle = native->get_texture_handle(t->linearName);
    if (t->linearHandle != nullptr && native->imagespec(t->linearHandle, nullptr, t->subimage) == nullptr)
      t->linearHandle = nullptr;
    if (t->linearHandle == nullptr) (void)native->geterror();
  }
  t->hasImage = t->width > 0 && t->height > 0;
  out = std::move(t);
  return Result::Ok();
}

// The tile number of a file name made of `prefix`, four digits and `suffix`,
// or 0.
int TileNumber(const std::string& name, const std::string& prefix, const std::string& suffix) {
  if (name.size() != prefix.size() + 4 + suffix.size() || name.compare(0, prefix.size(), prefix) != 0 ||
      name.compare(prefix.size() + 4, suffix.size(), suffix) != 0)
    return 0;
  int tile = 0;
  for (size_t i = prefix.size(); i < prefix.size() + 4; ++i) {
    if (name[i] < '0' || name[i] > '9') return 0;
    tile = tile * 10 + (name[i] - '0');
  }
  return tile >= kFirstTile && tile < kFirstTile + kTileSlots ? tile : 0;
}

// Reads every tile of a tile set from the first folder that has any: the
// folders of the places a single file is looked for, in the same order.
Result LoadTileSet(const Url& url, const SearchPathsType* searchPaths, bool force32bit, const LayerSet& layers,
                   const TimeValue& time, pattern::TextureRef& out) {
  namespace fs = std::filesystem;
  const std::string text = url.str();
  const std::string file = fs::path(text).filename().string();
  const size_t at = file.find(kUdimToken);
  if (at == std::string::npos)
    return Result::Fail(errors::kIllegalArgument, "The tile number " + std::string(kUdimToken) +
                                                      " belongs in the file name, not a folder: \"" + text + "\".");
  const std::string prefix = file.substr(0, at), suffix = file.substr(at + kUdimToken.size());
  auto set = std::make_shared<OiioTileSet>();
  for (const fs::path& place : FilePlaces(url, searchPaths)) {
    const fs::path folder = place.parent_path().empty() ? fs::path(".") : place.parent_path();
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
      const int tile = TileNumber(it->path().filename().string(), prefix, suffix);
      if (tile == 0) continue;
      std::shared_ptr<OiioTexture> t;
      TESSAROC_RETURN_IF_FAILED(LoadFile(it->path().string(), force32bit, layers, time, t));
      set->tiles[static_cast<size_t>(tile - kFirstTile)] = std::move(t);
    }
    for (const auto& t : set->tiles)
      if (t) {
        set->home = t;
        break;
      }
    if (set->home) break;
  }
  if (!set->home) return Result::Fail(errors::kIo, "Image file not found: \"" + text + "\".");
  out = std::move(set);
  return Result::Ok();
}

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
    if (const std::string found = FindFile(name, searchPaths); !found.empty()) {
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
