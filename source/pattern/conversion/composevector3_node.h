// Compose vector: a 3-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "core/id.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector3Id = "net.zovan.pattern.corenode.conversion.composevector3";

Result RegisterComposeVector3Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
