#include "pattern/2d/baked_image.h"

#include <cmath>
#include <limits>
#include <new>

#include "pattern/2d/parallel_loop.h"

namespace tessaroc {

constinit const DataType kBakedImageDataType =
    MakeDataType<BakedImageRef>("net.zovan.render.datatype.bakedimagedata", "zovan::BakedImageData");

}  // namespace tessaroc

namespace tessaroc::pattern {

namespace {

bool CountMatches(const BakedImageData& image) {
  const uint64_t n = uint64_t{image.width} * image.height;
  return n != 0 && n == image.pixels.size();
}

// floor() to an index; a NaN or a value past the int64 range has no pixel,
// and 0 keeps the lookup in bounds (its weight carries the NaN on).
int64_t FloorIndex(float f) {
  if (!(std::fabs(f) < 9.0e18f)) return 0;
  return static_cast<int64_t>(f);
}

}  // namespace

BakedImageData* EnsureBakedImage(BakedImageRef& ref, Result& result) {
  if (!ref) {
    try {
      ref = std::make_shared<BakedImageData>();
    } catch (const std::bad_alloc&) {
      result = Result::Fail(errors::kOutOfMemory, "cannot allocate the baked image record");
      return nullptr;
    }
  }
  return ref.get();
}

Result ResizeBakedImage(BakedImageData& image, uint32_t w, uint32_t h) {
  // The size is stored first: a failed resize leaves a record whose count
  // does not match, which every reader turns into opaque black.
  image.width = w;
  image.height = h;
  try {
    image.pixels.resize(size_t{w} * h, kOpaqueBlack);
  } catch (const std::bad_alloc&) {
    return Result::Fail(errors::kOutOfMemory,
                        "cannot allocate a baked image of " + std::to_string(w) + " x " + std::to_string(h));
  } catch (const std::length_error&) { return Result::Fail(errors::kOutOfMemory, "baked image too large"); }
  return Result::Ok();
}

void PrecomputePortData(const SearchPathsType* searchPaths, uint32_t width, uint32_t height, Vector2d halfPixel,
                        const FunctionInterface* fn, BakedImageData& image) {
  if (width == 0 || height == 0 || image.pixels.size() < size_t{width} * height) return;
  auto rows = [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) {
      ShadingContext ctx;  // one fresh record per row, reused for its pixels
      ctx.searchpaths = searchPaths;
      ColorA* row = image.pixels.data() + static_cast<size_t>(y) * width;
      const double v = static_cast<double>(y) / height + halfPixel.y;
      for (uint32_t x = 0; x < width; ++x) {
        const double u = static_cast<double>(x) / width + halfPixel.x;
        ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{u, v, 0.0};
        ColorA out;
        if (InvokeColor(fn, ctx, out).failed()) break;  // dropped: the row's rest stays
        row[x] = out;
      }
    }
  };
  ParallelFor(height, rows);
}

ColorA SampleBakedLinear(float u, float v, const BakedImageData& image) {
  if (!CountMatches(image)) return kOpaqueBlack;
  const float w = static_cast<float>(image.width);
  const float h = static_cast<float>(image.height);
  u = u - std::floor(u);
  v = v - std::floor(v);
  const float fx = u * w - 0.5f;
  const float fy = v * h - 0.5f;
  const float x0 = std::floor(fx);
  const float y0 = std::floor(fy);
  const float tx = fx - x0;
  const float ty = fy - y0;
  const int64_t ix = FloorIndex(x0), iy = FloorIndex(y0);
  const int64_t xa = WrapIndex(ix, image.width), xb = WrapIndex(ix + 1, image.width);
  const int64_t ya = WrapIndex(iy, image.height), yb = WrapIndex(iy + 1, image.height);
  auto p = [&](int64_t x, int64_t y) -> const ColorA& {
    return image.pixels[static_cast<size_t>(y * image.width + x)];
  };
  const double dtx = tx, dty = ty;
  auto mix = [&](double aa, double ba, double ab, double bb) {
    const double top = aa + (ba - aa) * dtx;
    const double bottom = ab + (bb - ab) * dtx;
    return top + (bottom - top) * dty;
  };
  const ColorA &a = p(xa, ya), &b = p(xb, ya), &c = p(xa, yb), &d = p(xb, yb);
  return {mix(a.r, b.r, c.r, d.r), mix(a.g, b.g, c.g, d.g), mix(a.b, b.b, c.b, d.b), mix(a.a, b.a, c.a, d.a)};
}

ColorA SampleBakedNearest(float u, float v, const BakedImageData& image) {
  if (!CountMatches(image)) return kOpaqueBlack;
  u = u - std::floor(u);
  v = v - std::floor(v);
  const float x = std::floor(u * static_cast<float>(image.width));
  const float y = std::floor(v * static_cast<float>(image.height));
  // A NaN fails both tests.
  if (x >= 0.0f && y >= 0.0f && x < static_cast<float>(image.width) && y < static_cast<float>(image.height))
    return image.pixels[static_cast<size_t>(y) * image.width + static_cast<size_t>(x)];
  return kOpaqueBlack;
}

}  // namespace tessaroc::pattern
