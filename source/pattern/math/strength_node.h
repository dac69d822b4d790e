// Strength: a colour scaled by a factor, alpha kept.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kStrengthId = "net.zovan.pattern.corenode.strength";

Result RegisterStrengthNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
