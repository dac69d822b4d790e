// The few vector operations the preview geometry needs, on the context's
// Vector. Kept out of the core value types: kernels spell their arithmetic out.
#pragma once

#include <cmath>

#include "tessaroc/core/value_types.h"

namespace tessaroc::graph::vmath {

inline Vector operator+(const Vector& a, const Vector& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vector operator-(const Vector& a, const Vector& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vector operator*(double s, const Vector& a) { return {s * a.x, s * a.y, s * a.z}; }
inline double Dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vector Cross(const Vector& a, const Vector& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const Vector& a) { return std::sqrt(Dot(a, a)); }
inline Vector Normalize(const Vector& a) { return (1.0 / Length(a)) * a; }

}  // namespace tessaroc::graph::vmath
