// Colour space conversion between RGB, HSV, HSL, XYZ and CMY, through RGB.
#pragma once

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kColorSpaceId = "net.zovan.pattern.corenode.conversion.colorspace";

// kNone stands for an empty or unknown id.
enum class ColorSpace { kNone, kRgb, kHsv, kHsl, kXyz, kCmy };

ColorSpace ColorSpaceFromId(const InternedId& id);

// r, g, b read as coordinates of `from`, returned as coordinates of `to`.
// Unknown or equal spaces return the input. Alpha is passed on.
ColorA ConvertColorSpace(const ColorA& c, ColorSpace from, ColorSpace to);

Result RegisterColorSpaceNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
