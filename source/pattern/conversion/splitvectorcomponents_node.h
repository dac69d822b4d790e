// Split vector components: a Vector4d into its parts, and one component by index.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kSplitVectorComponentsId = "net.zovan.pattern.corenode.conversion.splitvectorcomponents";

Result RegisterSplitVectorComponentsNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
