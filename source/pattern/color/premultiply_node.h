// The premultiply colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kPremultiplyId = "net.zovan.pattern.corenode.effect.premultiply";

// The effect before the mask: r, g, b times alpha; no alpha effect.
ColorA PremultiplyEffect(const ColorA& c);

Result RegisterPremultiplyNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
