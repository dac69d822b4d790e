// Prefix and suffix: prefix + string + suffix.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kPrefixSuffixId = "net.zovan.pattern.corenode.string.prefixsuffix";

Result RegisterPrefixSuffixNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
