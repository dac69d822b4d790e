// Concat: joins a variable number of strings (the array port `strings`).
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kConcatId = "net.zovan.pattern.corenode.string.concat";

Result RegisterConcatNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
