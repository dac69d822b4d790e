// Vector to float: a component or a measure of a four-component vector.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kVectorToFloatId = "net.zovan.pattern.corenode.conversion.vectortofloat";

// One number from the four components by `mode`. luminance is an accepted
// value without a measure of its own: like empty and unknown modes it gives 0.
double VectorToFloat(const Vector4d& v, const InternedId& mode);

Result RegisterVectorToFloatNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
