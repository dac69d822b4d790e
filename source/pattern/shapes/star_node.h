// Star: `spikes` spikes around the middle of the UV square; `cutout` deepens
// the notches between them.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"
#include "pattern/shapes/shape.h"

namespace tessaroc::pattern {

inline constexpr const char* kStarId = "net.zovan.pattern.corenode.shape.star";

// `spikes` must be above 2; the node draws nothing otherwise.
ShapeSample StarSample(double u, double v, double scale, int64_t spikes, double innerSoftness, double outerSoftness,
                       double cutout);

Result RegisterStarNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
