// Baked images: a colour function evaluated once per pixel of a grid over the
// UV square, and the two lookups the 2D filters read it with.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc {

// Row-major pixels, (x, y) at y * width + x; row 0 is v = 0. Readers check
// that the pixel count is width * height, since a failed resize can leave it
// otherwise.
struct BakedImageData {
  std::vector<ColorA> pixels;
  uint32_t width = 0;
  uint32_t height = 0;
};

// What a port carries: a shared reference, empty until a pre node first runs.
using BakedImageRef = std::shared_ptr<BakedImageData>;

extern const DataType kBakedImageDataType;  // net.zovan.render.datatype.bakedimagedata

}  // namespace tessaroc

namespace tessaroc::pattern {

// The render-mode codes the bakers test.
inline constexpr uint32_t kRenderModeFull = 0;
inline constexpr uint32_t kRenderModeNoBake = 1;
inline constexpr uint32_t kRenderModePreview = 2;
inline constexpr uint32_t kPreviewCap = 128;

// i wrapped once into [0, n): one period either way, anything further is 0.
inline int64_t WrapIndex(int64_t i, int64_t n) {
  if (i >= n) {
    i -= n;
    if (i >= n) i = 0;
  }
  if (i < 0) {
    i += n;
    if (i < 0) i = 0;
  }
  return i;
}

// The port's record, made on first use. Null, with `result` failed, when
// memory runs out.
BakedImageData* EnsureBakedImage(BakedImageRef& ref, Result& result);

// Sets the record's size to w by h and its pixel count to match; new pixels
// are (0, 0, 0, 1), old ones keep their colours. Out of memory fails and
// leaves the old pixels under the new size.
Result ResizeBakedImage(BakedImageData& image, uint32_t w, uint32_t h);

// Evaluates `fn` at the centre of every pixel (x / width + halfPixel.x,
// y / height + halfPixel.y) through the parallel loop, one job per row range.
// A failing call ends its row; the rest of that row keeps its former colours.
// `fn` is called from several threads at once.
void PrecomputePortData(const SearchPathsType* searchPaths, uint32_t width, uint32_t height, Vector2d halfPixel,
                        const FunctionInterface* fn, BakedImageData& image);

// Lookups at (u, v) as 32-bit floats; the image repeats. A record whose pixel
// count is not width * height, or is 0, gives (0, 0, 0, 1).
ColorA SampleBakedLinear(float u, float v, const BakedImageData& image);
ColorA SampleBakedNearest(float u, float v, const BakedImageData& image);

}  // namespace tessaroc::pattern
