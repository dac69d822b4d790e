// The whitebalance colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kWhiteBalanceId = "net.zovan.pattern.corenode.effect.whitebalance";

// The effect before the mask: each channel over the white point's; a zero component sends its channel
// to black. No alpha effect.
ColorA WhiteBalanceEffect(const ColorA& c, const Color& whitePoint);

Result RegisterWhiteBalanceNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
