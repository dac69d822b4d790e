// Substring: `count` characters from `start`, clamped to the string.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kSubstrId = "net.zovan.pattern.corenode.string.substr";

Result RegisterSubstrNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
