// How a file's pixel values are encoded (linear, sRGB, a gamma), and
// decoding a value to linear.
#pragma once

#include <OpenImageIO/imageio.h>

namespace tessaroc::host::texture {

enum class Encoding { kLinear, kSrgb, kGamma };

// The encoding of a file's layout; `gamma` is set for kGamma.
Encoding EncodingOf(const OIIO::ImageSpec& layout, double& gamma);

// One channel value to linear.
double Decode(Encoding encoding, double gamma, double x);

}  // namespace tessaroc::host::texture
