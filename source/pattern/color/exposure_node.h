// The exposure colour effect.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kExposureId = "net.zovan.pattern.corenode.effect.exposure";

// The effect before the mask: c * 2^exposure + offset, then gamma unless it is exactly 0 or 1; alpha A + 1.
ColorA ExposureEffect(const ColorA& c, double exposure, double offset, double gamma);

Result RegisterExposureNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
