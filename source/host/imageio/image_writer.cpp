#include "host/imageio/image_writer.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "core/srgb.h"

namespace tessaroc::host {

namespace {
std::string Extension(const std::string& path) {
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}
}  // namespace

bool WritesEightBit(const std::string& path) {
  const std::string ext = Extension(path);
  return ext == ".png" || ext == ".jpg" || ext == ".jpeg" || ext == ".bmp" || ext == ".tga" || ext == ".webp" ||
         ext == ".gif";
}

float EncodeSrgb(float v) {
  if (!(v > 0.0f)) return 0.0f;
  if (v >= 1.0f) return 1.0f;
  return LinearToSrgb32(v);
}

Result CheckImageWriter(const std::string& path) {
  if (!OIIO::ImageOutput::create(path))
    return Result::Fail(errors::kIo,
                        path + ": no image format is written with this name; use .png, .jpg, .exr or .tif");
  return Result::Ok();
}

Result WriteImage(const std::string& path, const Image& image) {
  auto out = OIIO::ImageOutput::create(path);
  if (!out) return Result::Fail(errors::kIo, path + ": no writer for this file type (" + OIIO::geterror() + ")");
  const bool eight = WritesEightBit(path);
  int channels = image.channels;
  const std::string ext = Extension(path);
  if (ext == ".jpg" || ext == ".jpeg") channels = std::min(channels, 3);  // JPEG has no alpha
  OIIO::ImageSpec layout(image.width, image.height, channels, eight ? OIIO::TypeDesc::UINT8 : OIIO::TypeDesc::FLOAT);
  layout.attribute("oiio:ColorSpace", eight ? "sRGB" : "Linear");
  if (!out->open(path, layout)) return Result::Fail(errors::kIo, path + ": " + out->geterror());
  std::vector<float> data(static_cast<size_t>(image.width) * image.height * channels);
  for (size_t p = 0, n = static_cast<size_t>(image.width) * image.height; p < n; ++p)
    for (int c = 0; c < channels; ++c) {
      float v = image.pixels[p * image.channels + c];
      if (eight) v = c < 3 ? EncodeSrgb(v) : std::clamp(v, 0.0f, 1.0f);
      data[p * channels + c] = v;
    }
  // OIIO converts the floats to the file's 8 bits with rounding.
  if (!out->write_image(OIIO::TypeDesc::FLOAT, data.data()))
    return Result::Fail(errors::kIo, path + ": " + out->geterror());
  if (!out->close()) return Result::Fail(errors::kIo, path + ": " + out->geterror());
  return Result::Ok();
}

Result ReadImage(const std::string& path, Image& out) {
  auto in = OIIO::ImageInput::open(path);
  if (!in) return Result::Fail(errors::kIo, path + ": " + OIIO::geterror());
  const OIIO::ImageSpec layout = in->spec_dimensions(0);
  out.width = layout.width;
  out.height = layout.height;
  out.channels = layout.nchannels;
  out.pixels.resize(static_cast<size_t>(layout.width) * layout.height * layout.nchannels);
  if (!in->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, out.pixels.data()))
    return Result::Fail(errors::kIo, path + ": " + in->geterror());
  if (layout.format == OIIO::TypeDesc::UINT8)
    for (size_t i = 0; i < out.pixels.size(); ++i)
      if (static_cast<int>(i % out.channels) < 3) out.pixels[i] = SrgbToLinear32(out.pixels[i]);
  return Result::Ok();
}

}  // namespace tessaroc::host
