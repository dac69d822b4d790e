// How a file's pixel values are encoded (linear, sRGB, a gamma, a colour
// space of the OpenColorIO config), and decoding them to linear.
#pragma once

#include <OpenImageIO/imageio.h>

#include <memory>

#include "host/color/color_transform.h"

namespace tessaroc::host::texture {

enum class Encoding { kLinear, kSrgb, kGamma, kConfig };

// The encoding of a file's layout; `gamma` is set for kGamma, `config` for
// kConfig: a file tagged with a colour space of the process's config is
// decoded through the config, whose names win over the built-in ones.
Encoding EncodingOf(const OIIO::ImageSpec& layout, double& gamma, std::shared_ptr<const ColorTransform>& config);

// One channel value to linear, for the encodings that decode each channel
// alone (kConfig goes through DecodePixels).
double Decode(Encoding encoding, double gamma, double x);

// `count` pixels of `channels` floats to linear, in place; alpha (channel
// `alpha`, or none for -1) is kept. A config's transform mixes R, G and B;
// a file of one or two channels goes through it as a grey.
void DecodePixels(Encoding encoding, double gamma, const ColorTransform* config, float* px, size_t count, int channels,
                  int alpha);

}  // namespace tessaroc::host::texture
