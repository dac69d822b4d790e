// Compose vector: a 4-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector4Id = "net.zovan.pattern.corenode.conversion.composevector4";

Result RegisterComposeVector4Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
