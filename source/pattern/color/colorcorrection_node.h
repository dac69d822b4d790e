// Hue, saturation and value correction of a whole colour, or colourising it
// with one hue.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorHslId = "net.zovan.pattern.corenode.effect.colorhsl";

// The effect before the mask. `hue` is in radians. Negative channels are
// raised to 0 and alpha to at least 1 before anything else.
ColorA ColorHslEffect(const ColorA& c, double hue, double saturation, double value, bool colorize);

// Moves a channel towards white (amount > 0) or black (amount < 0).
inline double ApplyValueShift(double c, double amount) {
  // A NaN amount takes the second form.
  return amount >= 0.0 ? (1.0 - c) * amount + c : (0.0 - c) * (-amount) + c;
}

// u wrapped into [0, 1) by its fractional part.
double WrapHue(double u);

Result RegisterColorHslNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
