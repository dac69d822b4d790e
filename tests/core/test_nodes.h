// Small nodes that exercise the contract where the catalogue's nodes do not:
// access order unlike creation order, function calls, pre-node state,
// PERMANENT storage, BATCH kernels and array ports.
#pragma once

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/registry.h"

#include <atomic>

namespace tessaroc::testing {

// The record a test pre node builds: what it was built for, and how often.
struct CounterTable {
  uint32_t seed = 0;
  bool built = false;
  int builds = 0;
};
extern const DataType kCounterTableType;

inline constexpr const char* kOrderNode = "test.order";            // context, rayorigin, uvw, time -> result
inline constexpr const char* kCallColorNode = "test.callcolor";    // calls `color` at uvw + shift
inline constexpr const char* kUvwColorNode = "test.uvwcolor";      // (u, v, w, 1) of its context
inline constexpr const char* kCounterPreNode = "test.counterpre";  // seed -> table (PERMANENT)
inline constexpr const char* kCounterUseNode = "test.counteruse";  // table, context -> builds
inline constexpr const char* kPermanentNode = "test.permanent";    // counts its own evaluations
inline constexpr const char* kBatchNode = "test.batch";            // BATCH: (x, y) -> Vector2d
inline constexpr const char* kArrayNode = "test.array";            // values#i -> sum, count
inline constexpr const char* kAddNode = "test.add";                // a + b, uniform
inline constexpr const char* kFlagsNode = "test.flags";            // reports its port flags
inline constexpr const char* kFailNode = "test.fail";              // no inputs; fails with illegalstate
inline constexpr const char* kBakeNode = "test.bake";              // calls `color` from 4 threads, sums u's
inline constexpr const char* kMovedNode = "test.moved";            // context, gate -> moved (its context's flag)

// Kernel calls of every test node, process-wide (tests run one at a time).
std::atomic<int>& KernelCalls();

Result RegisterTestNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::testing
