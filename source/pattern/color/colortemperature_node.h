// The colortemperature colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorTemperatureId = "net.zovan.pattern.corenode.effect.colortemperature";

// The effect before the mask: a plain shift in display units: r + t/10, g - tint/10, b - t/10. No
// alpha effect.
ColorA ColorTemperatureEffect(const ColorA& c, double temperature, double tint);

Result RegisterColorTemperatureNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
