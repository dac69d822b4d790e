// Compose colour: a Color from three floats.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeColorId = "net.zovan.pattern.corenode.conversion.composecolor";

Result RegisterComposeColorNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
