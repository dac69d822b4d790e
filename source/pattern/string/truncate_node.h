// Truncate: the first `count` characters of a string.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kTruncateId = "net.zovan.pattern.corenode.string.truncate";

Result RegisterTruncateNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
