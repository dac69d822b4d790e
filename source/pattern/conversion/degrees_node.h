// Convert degrees: radians to degrees and back.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kConvertDegreesId = "net.zovan.pattern.corenode.conversion.convertdegrees";

Result RegisterConvertDegreesNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
