// Blackbody: the colour of a radiating body, integrated over the visible
// spectrum against the CIE 1931 colour matching functions.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kBlackbodyId = "net.zovan.pattern.corenode.generator.blackbody";

// X, Y, Z of the node's radiance curve, scaled so that the largest is 1.
// `temperature` is multiplied by the radian-to-degree factor before use: a
// port value of 100 stands for about 5730 K.
struct BlackbodyXyz {
  double x, y, z;
};
BlackbodyXyz BlackbodyToXyz(double temperature);

// Linear RGB, not clamped: out-of-gamut colours have negative channels.
Color BlackbodyColor(double temperature);

Result RegisterBlackbodyNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
