// Compose vector: a 2-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector2Id = "net.zovan.pattern.corenode.conversion.composevector2";

Result RegisterComposeVector2Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
