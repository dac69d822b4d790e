// Writing rendered pixels through OpenImageIO. Pixels are linear light; 8-bit
// formats (PNG, JPEG, ...) get the sRGB encode, float formats (EXR, TIFF, HDR)
// stay linear.
#pragma once

#include <string>
#include <vector>

#include "tessaroc/core/result.h"

namespace tessaroc::host {

struct Image {
  int width = 0;
  int height = 0;
  int channels = 4;           // RGBA
  std::vector<float> pixels;  // row-major, row 0 at the top
};

// True for formats that are written as 8-bit sRGB.
bool WritesEightBit(const std::string& path);
// The sRGB encode of one linear value, before quantising.
float EncodeSrgb(float linear);

// Fails unless some writer takes this file name, so a render can stop before
// it starts rather than after.
Result CheckImageWriter(const std::string& path);
Result WriteImage(const std::string& path, const Image& image);
// Reads any image OpenImageIO reads, as linear floats (8-bit files decoded
// from sRGB), for tests and comparisons.
Result ReadImage(const std::string& path, Image& out);

}  // namespace tessaroc::host
