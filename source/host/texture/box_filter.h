// The box filter of the texture service: exact averages of an image over a
// box footprint under each wrap mode, from a summed-area table. Pure
// arithmetic on the pixels, apart from the image library.
#pragma once

#include <cstdint>
#include <vector>

namespace tessaroc::host::texture {

// The running sums of an image, (width + 1) x (height + 1) per channel,
// with row 0 of the pixels at the top.
struct SummedAreaTable {
  int width = 0, height = 0, channels = 0;
  std::vector<double> sums;  // empty when the pixels could not be read

  // From row-major pixels of `channels` floats each.
  static SummedAreaTable Build(const float* pixels, int width, int height, int channels);
};

// The mean of each channel over a box centred at (u, v) (v runs upwards)
// and du by dv wide, at least one pixel, the image continued past its edges
// by the wrap codes (a WrapCode each). `count` values
// go to `result`: the image's channels, then a channel of ones for any past
// them, which is the share of the box on the image. Nothing is written for
// an empty table or a coordinate that is not finite.
void BoxFilter(const SummedAreaTable& t, double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV,
               int count, float* result);

}  // namespace tessaroc::host::texture
