// Search and replace: every occurrence of `search` replaced by `replace`.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kSearchAndReplaceId = "net.zovan.pattern.corenode.string.searchandreplace";

Result RegisterSearchAndReplaceNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
