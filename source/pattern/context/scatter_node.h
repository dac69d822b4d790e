// Scatter: stamps `count` randomly placed, rotated and scaled copies of an
// item over the UV square and tells each sample which item covers it and
// where in that item it lies. At the first evaluation the node builds a table
// of splats and a 16 x 16 grid of buckets in private ports; each sample then
// tests only the splats of its bucket, lowest item first.
#pragma once

#include <cstdint>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kScatterId = "net.zovan.pattern.corenode.generator.scatter";

// One placed copy of an item. A copy made for tiling has its centre outside [0, 1).
struct Splat {
  double centerX = 0, centerY = 0;
  double rotation = 0;  // radians
  double invScaleX = 0, invScaleY = 0;
  uint32_t item = 0;                              // 0 .. count - 1, shared by an item's tiled copies
  double minX = 0, minY = 0, maxX = 0, maxY = 0;  // bounding box in UV
};

// The places in the splat table of the splats that touch one grid cell, in
// order of creation.
using ScatterCachedBucketData = std::vector<int64_t>;
using ScatterBuckets = std::vector<ScatterCachedBucketData>;
using ScatterSplats = std::vector<Splat>;

inline constexpr int kScatterGrid = 16;
inline constexpr double kScatterCell = 0.0625;

extern const DataType kScatterCachedBucketDataType;
extern const DataType kScatterBucketsType;
extern const DataType kScatterSplatsType;

// The node is built per item count: the count is the group's first (and only)
// parameter, e.g. CoreNodeRegistry::GetGroup(kScatterId, {count}, group). A
// group built without it has no items.
Result RegisterScatterNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
