// Case: a string in lower case, upper case, or capitalised (first letter upper, the rest lower).
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kCaseId = "net.zovan.pattern.corenode.string.case";

Result RegisterCaseNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
