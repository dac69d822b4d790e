#include "host/texture/color_encoding.h"

#include <cmath>
#include <string>

#include <OpenImageIO/strutil.h>

#include "core/srgb.h"

namespace tessaroc::host::texture {

Encoding EncodingOf(const OIIO::ImageSpec& layout, double& gamma, std::shared_ptr<const ColorTransform>& config) {
  const std::string space = layout.get_string_attribute("oiio:ColorSpace");
  config = ColorTransform::FromConfigSpace(space);
  if (config) return Encoding::kConfig;
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

void DecodePixels(Encoding encoding, double gamma, const ColorTransform* config, float* px, size_t count, int channels,
                  int alpha) {
  if (encoding != Encoding::kConfig) {
    for (size_t i = 0; i < count * channels; ++i)
      if (static_cast<int>(i % channels) != alpha) px[i] = static_cast<float>(Decode(encoding, gamma, px[i]));
    return;
  }
  // The colour channels: the first three that are not alpha, or one grey.
  int colour[3], n = 0;
  for (int c = 0; c < channels && n < 3; ++c)
    if (c != alpha) colour[n++] = c;
  if (n == 3 && colour[2] == 2) {
    config->Apply(px, count, channels);
    return;
  }
  for (size_t p = 0; p < count && n > 0; ++p) {
    float* v = px + p * channels;
    float rgb[3] = {v[colour[0]], v[colour[n == 3 ? 1 : 0]], v[colour[n == 3 ? 2 : 0]]};
    config->Apply(rgb, 1, 3);
    for (int i = 0; i < (n == 3 ? 3 : 1); ++i) v[colour[i]] = rgb[i];
  }
}

}  // namespace tessaroc::host::texture
