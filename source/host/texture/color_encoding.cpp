#include "host/texture/color_encoding.h"

#include <cmath>
#include <string>

#include <OpenImageIO/strutil.h>

#include "core/srgb.h"

namespace tessaroc::host::texture {

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

}  // namespace tessaroc::host::texture
