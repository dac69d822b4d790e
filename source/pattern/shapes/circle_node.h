// Circle: a disc of diameter `scale` around the middle of the UV square.
#pragma once

#include "tessaroc/core/registry.h"
#include "pattern/shapes/shape.h"

namespace tessaroc::pattern {

inline constexpr const char* kCircleId = "net.zovan.pattern.corenode.shape.circle";

ShapeSample CircleSample(double u, double v, double scale, double innerSoftness, double outerSoftness);

Result RegisterCircleNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
