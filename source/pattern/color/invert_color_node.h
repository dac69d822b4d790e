// The invertcolor colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kInvertColorId = "net.zovan.pattern.corenode.effect.invertcolor";

// The effect before the mask: 1 - r, 1 - g, 1 - b and 1 - a.
ColorA InvertColorEffect(const ColorA& c);

Result RegisterInvertColorNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
