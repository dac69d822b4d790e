#include "host/texture/linear_reader.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>

#include "host/texture/texture_caches.h"

namespace tessaroc::host::texture {

namespace {

class LinearInput final : public OIIO::ImageInput {
 public:
  const char* format_name() const override { return "tessaroc-linear"; }

  // The encoding comes with the configuration the loader adds the reading with.
  bool open(const std::string& name, OIIO::ImageSpec& newspec, const OIIO::ImageSpec& config) override {
    if (!OIIO::Strutil::ends_with(name, kLinearSuffix)) return false;
    const std::string how = config.get_string_attribute("tessaroc:encoding");
    if (how == "config") {
      encoding_ = Encoding::kConfig;
      config_ = ColorTransform::FromConfigSpace(config.get_string_attribute("tessaroc:colorspace"));
      if (!config_) return false;
    } else if (how == "srgb" || how == "gamma") {
      encoding_ = how == "srgb" ? Encoding::kSrgb : Encoding::kGamma;
      gamma_ = config.get_float_attribute("tessaroc:gamma", 1.0f);
    } else {
      return false;
    }
    path_ = name.substr(0, name.size() - kLinearSuffix.size());
    if (!Open()) return false;
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
    DecodePixels(encoding_, gamma_, config_.get(), px, m_spec.width, n, m_spec.alpha_channel);
    return true;
  }

  static OIIO::ImageInput* Create() { return new LinearInput; }

 private:
  // Colour is decoded as stored: a reader that associated alpha first would
  // decode premultiplied codes.
  bool Open() {
    OIIO::ImageSpec straight;
    straight.attribute("oiio:UnassociatedAlpha", 1);
    file_ = OIIO::ImageInput::open(path_, &straight);
    if (!file_) errorfmt("{}", OIIO::geterror());
    return file_ != nullptr;
  }

  // The layout of the subimage as linear floats, untiled, one level. Its
  // metadata (a fingerprint among it) belongs to the file, not this reading,
  // and is left out.
  bool Seek(int subimage) {
    if (!file_->seek_subimage(subimage, 0)) {
      // The cache asks for one subimage past the last. A TIFF reader that
      // failed to get there is left between directories and reads nothing
      // more: open the file again at the subimage being read.
      (void)file_->geterror();
      const int current = subimage_;
      subimage_ = -1;
      if (current >= 0 && Open() && file_->seek_subimage(current, 0)) subimage_ = current;
      return false;
    }
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

  std::string path_;
  std::unique_ptr<OIIO::ImageInput> file_;
  int subimage_ = -1;
  int tileHeight_ = 0;  // of a tiled file, else 0
  int bandTop_ = -1;    // first row of the band of tiles in band_
  std::vector<float> band_;
  Encoding encoding_ = Encoding::kLinear;
  double gamma_ = 1;
  std::shared_ptr<const ColorTransform> config_;
};

}  // namespace

OIIO::TextureSystem::TextureHandle* OpenLinearReading(const std::string& path, Encoding encoding, double gamma,
                                                      const std::string& space, int subimage, OIIO::ustring& name) {
  OIIO::TextureSystem* native = Caches().shared;
  name = OIIO::ustring(path + std::string(kLinearSuffix));
  OIIO::ImageSpec how;
  how.attribute("tessaroc:encoding", encoding == Encoding::kConfig ? "config"
                                     : encoding == Encoding::kSrgb ? "srgb"
                                                                   : "gamma");
  how.attribute("tessaroc:gamma", static_cast<float>(gamma));
  how.attribute("tessaroc:colorspace", space);
  OIIO::TextureSystem::TextureHandle* handle = nullptr;
  if (Caches().sharedCache->add_file(name, &LinearInput::Create, &how)) handle = native->get_texture_handle(name);
  if (handle != nullptr && native->imagespec(handle, nullptr, subimage) == nullptr) handle = nullptr;
  if (handle == nullptr) (void)native->geterror();
  return handle;
}

}  // namespace tessaroc::host::texture
