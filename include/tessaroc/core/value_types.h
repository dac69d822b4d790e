// The plain value types that ports carry. All components are 64-bit floats.
#pragma once

#include <cstdint>

namespace tessaroc {

// Red, green, blue, alpha; straight (not premultiplied) unless a node says so.
struct ColorA {
  double r = 0, g = 0, b = 0, a = 0;
  friend bool operator==(const ColorA&, const ColorA&) = default;
};

struct Color {
  double r = 0, g = 0, b = 0;
  friend bool operator==(const Color&, const Color&) = default;
};

struct Vector {
  double x = 0, y = 0, z = 0;
  friend bool operator==(const Vector&, const Vector&) = default;
};

struct Vector2d {
  double x = 0, y = 0;
  friend bool operator==(const Vector2d&, const Vector2d&) = default;
};

struct Vector4d {
  double x = 0, y = 0, z = 0, w = 0;
  friend bool operator==(const Vector4d&, const Vector4d&) = default;
};

// Scene time in seconds. Stored as a plain Float.
using TimeValue = double;

// Render-mode code handed over by the host: 0 full quality, 1 and 2 reduced.
using RenderMode = uint32_t;

inline constexpr ColorA kOpaqueBlack{0, 0, 0, 1};

}  // namespace tessaroc
