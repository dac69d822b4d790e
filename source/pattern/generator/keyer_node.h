// Keyer: a matte from the closeness of a colour to a key colour.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kKeyerId = "net.zovan.pattern.corenode.effect.keyer";

// The matte before the mode: the squared RGB distance to the key ramped from
// toleranceMin (0) to toleranceMax (1), clamped; 0 when the two are equal.
double KeyerMatte(const ColorA& color, const Color& key, double toleranceMin, double toleranceMax);

Result RegisterKeyerNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
