// Line: a segment from `source` to `destination` in UV with a width and a
// soft falloff.
#pragma once

#include "tessaroc/core/registry.h"
#include "pattern/shapes/shape.h"

namespace tessaroc::pattern {

inline constexpr const char* kLineId = "net.zovan.pattern.corenode.shape.line";

ShapeSample LineSample(double u, double v, const Vector2d& source, const Vector2d& destination, double softness,
                       double width);

Result RegisterLineNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
