// N-gon: a regular polygon with `sides` corners around the middle of the UV square.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"
#include "pattern/shapes/shape.h"

namespace tessaroc::pattern {

inline constexpr const char* kNgonId = "net.zovan.pattern.corenode.shape.ngon";

// `sides` must be above 2; the node draws nothing otherwise.
ShapeSample NgonSample(double u, double v, double scale, int64_t sides, double innerSoftness, double outerSoftness);

Result RegisterNgonNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
