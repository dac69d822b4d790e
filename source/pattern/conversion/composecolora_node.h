// Compose colour with alpha: a ColorA from a Color whose channels connected scalar ports replace.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeColorAId = "net.zovan.pattern.corenode.conversion.composecolora";

Result RegisterComposeColorANode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
