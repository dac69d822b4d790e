// Hash: repeatable random values of seed and salt, in every port type at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/micronode.h"
#include "core/node_decl.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

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

// The result ports hash and random share, in creation and access order.
inline constexpr PortDecl kRandomResultPorts[] = {
    {"resultColorA", PortDir::kOut, &kColorAType},  {"resultColor", PortDir::kOut, &kColorType},
    {"resultFloat", PortDir::kOut, &kFloat64Type},  {"resultInt", PortDir::kOut, &kInt64Type},
    {"resultVector3", PortDir::kOut, &kVectorType}, {"resultVector2", PortDir::kOut, &kVector2dType},
    {"resultBool", PortDir::kOut, &kBoolType},
};
inline constexpr size_t kRandomResultCount = std::size(kRandomResultPorts);

// Their access lines, from access index `first` on.
template <int First>
constexpr std::array<AccessDecl, kRandomResultCount> RandomResultAccess() {
  std::array<AccessDecl, kRandomResultCount> out{};
  for (size_t i = 0; i < kRandomResultCount; ++i) out[i] = {First + static_cast<int>(i), kRandomResultPorts[i].id};
  return out;
}

// A node's own lines followed by the shared ones.
template <class T, size_t N, size_t M>
constexpr std::array<T, N + M> Join(const T (&a)[N], const std::array<T, M>& b) {
  std::array<T, N + M> out{};
  for (size_t i = 0; i < N; ++i) out[i] = a[i];
  for (size_t i = 0; i < M; ++i) out[N + i] = b[i];
  return out;
}
template <class T, size_t N, size_t M>
constexpr std::array<T, N + M> Join(const T (&a)[N], const T (&b)[M]) {
  std::array<T, M> bb{};
  for (size_t i = 0; i < M; ++i) bb[i] = b[i];
  return Join(a, bb);
}

Result RegisterHashNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
