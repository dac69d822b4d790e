// Compose vector: a 3-component vector from floats, run as a batch kernel over a range of evaluations.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kComposeVector3Id = "net.zovan.pattern.corenode.conversion.composevector3";

Result RegisterComposeVector3Node(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
