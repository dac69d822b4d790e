// Small numeric conversions the generators and placements share.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace tessaroc::pattern {

// Whether two values made of doubles hold the same bits, so that what was
// built from one is what the other would build: -0 and 0 differ (they can
// give zeros of other signs), a NaN matches itself.
template <class T>
bool SameBits(const T& a, const T& b) {
  static_assert(std::is_trivially_copyable_v<T> && sizeof(T) % sizeof(double) == 0);
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Truncation toward zero to Int64 as the hardware conversion does it: a value
// out of range, or a NaN, gives the lowest Int64.
inline int64_t TruncateToInt64(double x) {
  if (!(x > -9223372036854775808.0 && x < 9223372036854775808.0)) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(x);
}

// The same for Int32: out of range or NaN gives the lowest Int32.
inline int32_t TruncateToInt32(double x) {
  if (!(x > -2147483649.0 && x < 2147483648.0)) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(x);
}

// A whole number held in a Float as a saturated Int64: the largest value at or
// above 2^63, the smallest at or below -2^63 (and for a NaN).
inline int64_t SaturateToInt64(double f) {
  if (f >= 9223372036854775808.0) return std::numeric_limits<int64_t>::max();
  if (!(f > -9223372036854775808.0)) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(f);
}

// x - floor(x); 0 for |x| at or above 2^52, where every Float is whole (also
// for an infinity, where the plain difference would be NaN).
inline double FractionOrZero(double x) {
  if (std::fabs(x) >= 4503599627370496.0) return 0.0;
  return x - std::floor(x);
}

// The smoothstep that the soft edges use: (3 - 2e) e^2, written as the
// kernels need it for the last bits.
inline double SmoothCurve(double e) { return (3.0 - (e + e)) * (e * e); }

}  // namespace tessaroc::pattern
