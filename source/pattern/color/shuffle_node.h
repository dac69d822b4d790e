// Shuffle: a colour rebuilt from its own channels, or from the channels of two
// colours (shufflecombine).
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kShuffleId = "net.zovan.pattern.corenode.effect.shuffle";

// The value one component port picks from a colour: red, green, blue, alpha,
// one; zero, empty and unknown ids give 0.
double ShuffleComponent(const ColorA& c, const InternedId& component);

Result RegisterShuffleNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
