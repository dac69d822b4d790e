// Colour profile conversion: decode from one transfer curve to linear light,
// encode to another.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorProfileId = "net.zovan.pattern.corenode.conversion.colorprofile";

// The transfer curves. kLinear stands for linear, empty and unknown ids alike.
enum class Profile { kLinear, kSrgb, kGamma, kRec709, kCineon };

// The profile named by an enumeration value (srgb, gamma, linear, rec709, cineon).
Profile ProfileFromId(const InternedId& id);

struct ProfileParams {
  double gamma = 2.2;
  double filmGamma = 1.0;
  double blackPoint = 300.0;  // Cineon: code values per decade
  double whitePoint = 685.0;  // Cineon: code value of the curve's zero point
};

// One channel to linear light, and from linear light.
double DecodeProfile(Profile p, double x, const ProfileParams& params);
// Not called for gamma with gamma <= 0, which gives 0 on every channel.
double EncodeProfile(Profile p, double x, const ProfileParams& params);

// The effect before the mask: all four channels through both stages. With
// `forward` false the stages swap: decode with `out`, encode with `in`.
ColorA ColorProfileEffect(const ColorA& c, Profile in, Profile out, bool forward, const ProfileParams& params);

Result RegisterColorProfileNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
