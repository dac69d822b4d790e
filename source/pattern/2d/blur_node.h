// Blur of a colour function in the UV square, in three modes: "baked" (the
// pre node bakes a square image and blurs it with three box passes),
// "kernel" (a Gaussian over a pixel grid around the sample) and "stochastic"
// (random taps around the sample). The result goes through the mask block.
#pragma once

#include <array>

#include "tessaroc/core/registry.h"
#include "pattern/2d/baked_image.h"

namespace tessaroc::pattern {

inline constexpr const char* kBlurPreId = "net.zovan.pattern.corenode.2d.blurpre";
inline constexpr const char* kBlurId = "net.zovan.pattern.corenode.2d.blur";

// The widths of three box filters whose succession approximates a Gaussian
// of standard deviation sigma (in pixels).
std::array<int, 3> ThreeBoxSizes(double sigma);

// One horizontal (BoxBlurH) or vertical (BoxBlurT) box pass of radius r over
// an R by R image, with the edges extended by their last pixel; the rows (or
// columns) run through the parallel loop.
void BoxBlurH(const ColorA* source, ColorA* target, int32_t R, int32_t r, double scale);
void BoxBlurT(const ColorA* source, ColorA* target, int32_t R, int32_t r, double scale);

// Blurs a square image in place with the three boxes for sigma. Out of memory
// for the second buffer fails and leaves the image as it was.
Result ThreeBoxBlur(BakedImageData& image, double sigma);

// Half the width of the "kernel" mode's window, in grid pixels, for a
// Gaussian of `sigma` pixels: ceil(2.57 sigma), 0 for NaN. Only a window
// whose squared distances would overflow is held at a bound; summing it would
// never end.
int64_t KernelBlurHalfWidth(double sigma);

// The most taps the "stochastic" mode takes per sample; more is an error
// (samples are its cost: 2^31 of them would run for hours per sample).
inline constexpr int32_t kMaxStochasticSamples = 65536;

Result RegisterBlurNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
