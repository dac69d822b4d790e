// Compose vector: a 4-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector4Id = "net.zovan.pattern.corenode.conversion.composevector4";

Result RegisterComposeVector4Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
