// The blend node: a background and a foreground through one blend mode of the
// registry, with the mask rule and a choice of how alpha is handled.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

inline constexpr const char* kBlendId = "net.zovan.pattern.corenode.effect.blend";

// The values of the alphaHandling port, in declared order.
inline constexpr const char* kAlphaHandlingNames[] = {"compositing", "blend", "background",
                                                      "foreground",  "zero",  "one"};

// What follows the handler's call: the mask rule on all four channels with
// the background as input and the blended colour as effect, then alpha by
// maskalpha and alphaHandling. An empty or unknown handling keeps the alpha
// the mask rule gave.
ColorA FinishBlend(const ColorA& background, const ColorA& foreground, const ColorA& blended, const MaskBlock& mask,
                   const InternedId& alphaHandling);

Result RegisterBlendNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
