// Split colour components: a ColorA into its channels, and one channel by index.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kSplitColorComponentsId = "net.zovan.pattern.corenode.conversion.splitcolorcomponents";

Result RegisterSplitColorComponentsNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
