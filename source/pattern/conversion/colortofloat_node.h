// Colour to float: a channel or a measure of a colour.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorToFloatId = "net.zovan.pattern.corenode.conversion.colortofloat";

// One number from a colour by `mode`; alpha takes part where `useAlpha` is
// set, except in luminance. Empty and unknown modes give 0.
double ColorToFloat(const ColorA& c, const InternedId& mode, bool useAlpha);

Result RegisterColorToFloatNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
