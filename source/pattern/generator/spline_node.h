// The spline: maps one number through a curve drawn with knots. The knots
// arrive as variadic port groups, one instance per knot; the curve object
// comes from the host (see splinemapper.h).
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kSplineId = "net.zovan.pattern.corenode.generator.spline";

// The groups in the order the node declares them; a group is built for
// eleven equal counts, one per knot.
inline constexpr int kSplineKnotGroups = 11;

Result RegisterSplineNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
