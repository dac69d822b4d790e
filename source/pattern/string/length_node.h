// Length: the number of characters of a string.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kLengthId = "net.zovan.pattern.corenode.string.length";

Result RegisterLengthNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
