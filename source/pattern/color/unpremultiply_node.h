// The unpremultiply colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kUnpremultiplyId = "net.zovan.pattern.corenode.effect.unpremultiply";

// The effect before the mask: r, g, b divided by alpha, unchanged at alpha 0; no alpha effect.
ColorA UnpremultiplyEffect(const ColorA& c);

Result RegisterUnpremultiplyNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
