// Split colour components: a ColorA into its channels, and one channel by index.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kSplitColorComponentsId = "net.zovan.pattern.corenode.conversion.splitcolorcomponents";

Result RegisterSplitColorComponentsNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
