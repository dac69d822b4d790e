// LcgRandom and HashInt32: the 32-bit sequence and integer mix behind the
// random-number nodes. Both are local values, so a sample's numbers depend on
// the sample alone.
#pragma once

#include <cstdint>

namespace tessaroc {

class LcgRandom {
 public:
  constexpr void Init(uint32_t seed) { state_ = seed * 69069u + 1u; }
  // Sets the state directly, for the kernels that seed without Init.
  constexpr void SetState(uint32_t state) { state_ = state; }
  constexpr uint32_t state() const { return state_; }

  // A value in [0, 1): the next state as an unsigned number times 2^-32.
  constexpr double Next01() {
    state_ = state_ * 69069u + 1u;
    return static_cast<double>(state_) * (1.0 / 4294967296.0);
  }
  constexpr double NextSigned() { return 2.0 * Next01() - 1.0; }

 private:
  uint32_t state_ = 0;
};

// The Jenkins-style mix with arithmetic (sign-keeping) right shifts.
constexpr uint32_t HashInt32(uint32_t x) {
  auto sar = [](uint32_t v, int n) { return static_cast<uint32_t>(static_cast<int32_t>(v) >> n); };
  uint32_t a = x + (x << 12) + 0x7ed55d16u;
  a = (a ^ sar(a, 19)) ^ 0xc761c23cu;
  a = a + (a << 5) + 0x165667b1u;
  a = (a + 0xd3a2646cu) ^ (a << 9);
  a = a * 9u + 0xfd7046c5u;
  return (a ^ sar(a, 16)) ^ 0xb55a4f09u;
}

}  // namespace tessaroc
