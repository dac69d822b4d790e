// Spiral: `arms` arms winding out from the middle of the UV square; a larger
// `scale` gives more turns.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"
#include "pattern/shapes/shape.h"

namespace tessaroc::pattern {

inline constexpr const char* kSpiralId = "net.zovan.pattern.corenode.shape.spiral";

ShapeSample SpiralSample(double u, double v, double scale, int64_t arms, double innerSoftness, double outerSoftness);

Result RegisterSpiralNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
