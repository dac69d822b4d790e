// Gradient placement: rewrites uvw so that a one-dimensional ramp read along u
// shows as a linear, radial, circular, box, star or n-cornered pattern.
#pragma once

#include <cstdint>

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::pattern {

inline constexpr const char* kGradientPlacementId = "net.zovan.render.corenode.gradientplacement";

enum class ReprojectionMode { kLinear, kAngular, kRadial, kCircular, kBox, kStar, kNAngle };

// The mode of an enumeration value; an unknown or empty id is the plain linear one.
ReprojectionMode ReprojectionModeOf(const InternedId& mode);

struct ReprojectionSettings {
  double rotation = 0.0;  // radians
  ReprojectionMode mode = ReprojectionMode::kLinear;
  bool tile = false;
  bool mirror = false;
  bool reverse = false;
  int64_t corners = 0;  // for kNAngle
  double repetitions = 1.0;
};

// The context with uvw, its differentials, uvwvalid and the wrap modes rewritten;
// every other field as it came in.
ShadingContext Reproject(const ShadingContext& in, const ReprojectionSettings& s);

Result RegisterGradientPlacementNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
