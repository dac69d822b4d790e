// Bump: bends the shading normal by the slope of a height function, found by
// finite differences at three taps. The group also holds "GetPhongNormal",
// which hands on the context's plain shading normal.
#pragma once

#include "tessaroc/core/function.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::pattern {

inline constexpr const char* kBumpId = "net.zovan.render.corenode.bump";
inline constexpr const char* kGetPhongNormalName = "GetPhongNormal";

// The bent normal for a height function (the sum of the colour's r, g, b).
// `height` must not be null; an error of it is returned at once.
Result BumpNormal(const FunctionInterface* height, const ShadingContext& ctx, double strength, double epsilonUv,
                  double epsilon3d, Vector& out);

Result RegisterBumpNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
