// Compose vector: a 2-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector2Id = "net.zovan.pattern.corenode.conversion.composevector2";

Result RegisterComposeVector2Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
