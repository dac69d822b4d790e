// Hash: repeatable random values of seed and salt, in every port type at once.
#pragma once

#include <cstdint>

#include "core/micronode.h"
#include "core/registry.h"
#include "core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kHashId = "net.zovan.pattern.corenode.generator.hash";

// The four draws of a 32-bit key, each scaled into [minimum, maximum).
struct RandomDraws {
  double d[4];
};
RandomDraws DrawFromKey(uint32_t key, double minimum, double maximum);

// The key of hash: seed + salt in 32 bits.
uint32_t HashKey(int64_t seed, int64_t salt);

// Writes the seven result ports of hash and random, which stand at
// consecutive access indices from `first`: ColorA, Color, Float, Int,
// Vector, Vector2d, Bool.
void WriteDraws(const RandomDraws& r, const PortAccess& ports, int first);

Result RegisterHashNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
