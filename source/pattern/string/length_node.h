// Length: the number of characters of a string.
#pragma once

#include "core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kLengthId = "net.zovan.pattern.corenode.string.length";

Result RegisterLengthNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
