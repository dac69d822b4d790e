// Compose colour: a Color from three floats.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeColorId = "net.zovan.pattern.corenode.conversion.composecolor";

Result RegisterComposeColorNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
