// Strength: a colour scaled by a factor, alpha kept.
#pragma once

#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kStrengthId = "net.zovan.pattern.corenode.strength";

Result RegisterStrengthNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
