// cachepre bakes a colour function into an image once per graph instance;
// cache reads that image per sample, or calls the function when nothing was
// baked.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kCachePreId = "net.zovan.pattern.corenode.2d.cachepre";
inline constexpr const char* kCacheId = "net.zovan.pattern.corenode.2d.cache";

// Registers both nodes and the baked data types.
Result RegisterCacheNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
