// The average colour of a function over a grid that covers the UV square,
// weighted by a mask: one colour for the whole surface.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kAreaAverageId = "net.zovan.pattern.corenode.2d.areaaverage";

Result RegisterAreaAverageNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
