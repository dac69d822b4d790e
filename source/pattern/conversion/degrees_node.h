// Convert degrees: radians to degrees and back.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kConvertDegreesId = "net.zovan.pattern.corenode.conversion.convertdegrees";

Result RegisterConvertDegreesNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
