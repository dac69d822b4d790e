// The gradient: a colour ramp whose knot colours, biases and interpolations
// are functions of the shading context. `gradientpre` keeps the knots sorted
// by position; `gradient` looks up the span around the input per sample and
// calls only the functions of the knots that span needs.
#pragma once

#include <string_view>

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"
#include "pattern/generator/gradientmath.h"

namespace tessaroc::pattern {

inline constexpr const char* kGradientPreId = "net.zovan.pattern.corenode.generator.gradientpre";
inline constexpr const char* kGradientId = "net.zovan.pattern.corenode.generator.gradient";

// The diagnostic given to the render's messages for a colour space that is
// neither "srgb" nor "linear"; '@' stands for the id.
inline constexpr std::string_view kUnsupportedColorSpaceText = "Stop: Unsupported color space in gradient: @";

// How the ramp treats a `colorspace` id. A lookalike has the text of a known
// space but is not the registered constant.
enum class GradientSpace { kSrgb, kLinear, kSrgbLookalike, kLinearLookalike, kUnknown };
GradientSpace ClassifyGradientSpace(const Id& id);

// Linear to sRGB and back, on r, g and b; alpha is untouched.
ColorA GradientLinearToSrgb(const ColorA& c);
ColorA GradientSrgbToLinear(const ColorA& c);

// The checksum of the knot positions in port order, as gradientpre computes it.
uint32_t KnotPositionsCrc(std::span<const double> positions);

// Registers gradientpre and gradient.
Result RegisterGradientNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
