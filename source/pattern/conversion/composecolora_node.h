// Compose colour with alpha: a ColorA from a Color whose channels connected scalar ports replace.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeColorAId = "net.zovan.pattern.corenode.conversion.composecolora";

Result RegisterComposeColorANode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
