// Distorter: displaces the surface point and the texture coordinate of a
// context by a colour, centred on a grey level.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kDistorterId = "net.zovan.pattern.corenode.effect.distorter";

// Adds ((c - center) * strength) to position and uvw with their differentials.
void Distort(ShadingContext& ctx, double strength, double center, const Color& c);

Result RegisterDistorterNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
