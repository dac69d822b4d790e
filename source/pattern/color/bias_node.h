// The biasgain colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kBiasGainId = "net.zovan.pattern.corenode.effect.biasgain";

// The effect before the mask: Schlick's rational bias, then gain, per channel, clamped to [0, 1]; alpha
// runs through the same with bias 1 and gain 1 (so alpha 0 gives NaN).
ColorA BiasGainEffect(const ColorA& c, double bias, double gain);

Result RegisterBiasGainNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
