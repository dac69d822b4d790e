// The contrast colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kContrastId = "net.zovan.pattern.corenode.effect.contrast";

// The effect before the mask: (c - 0.5) * (contrast + 1) + 0.5, raised to 0; alpha max(1, 2A - 1).
ColorA ContrastEffect(const ColorA& c, double contrast);

Result RegisterContrastNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
