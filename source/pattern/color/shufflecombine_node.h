// Shuffle combine: a colour built from the channels of two colours.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kShuffleCombineId = "net.zovan.pattern.corenode.effect.shufflecombine";

// red1 .. alpha1 read the first colour, red2 .. alpha2 the second, one gives 1;
// zero, empty and unknown ids give 0.
double ShuffleCombineComponent(const ColorA& c1, const ColorA& c2, const InternedId& component);

Result RegisterShuffleCombineNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
