// Scatter: stamps `count` randomly placed, rotated and scaled copies of an
// item over the UV square and tells each sample which item covers it and
// where in that item it lies. At the first evaluation the node builds a table
// of splats and a 16 x 16 grid of buckets in private ports; each sample then
// tests only the splats of its bucket, lowest item first.
#pragma once

#include <cstdint>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/data_types.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"

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

// A function port that may be left unset: then it is not called and no random
// number is drawn for it. Set but holding no function, calling it fails.
struct OptionalFunction {
  bool set = false;
  FunctionRef fn = nullptr;
};

struct ScatterSettings {
  int64_t count = 0;
  int32_t seed = 0;
  bool tile = false;            // items leaving the square come back on the other side
  bool removeOverlaps = false;  // an item overlapping an earlier one is left out
};

// The per-item functions of a build, called at each item's centre in this order.
struct ScatterItemFunctions {
  OptionalFunction skipProbability;
  FunctionRef rotation = nullptr, randomRotation = nullptr;  // radians
  FunctionRef scale = nullptr;                               // Vector2d
  FunctionRef uniformScale = nullptr;                        // Bool: one random factor for both axes
  FunctionRef randomScale = nullptr;                         // Vector2d, per axis
  FunctionRef randomScaleUniform = nullptr;                  // when uniform
};

// Places the items over the UV square: fills `splats` and the grid of
// `buckets`. The functions see `base` moved to each item's centre. On an error
// the buckets exist and the items made so far stay.
Result BuildScatter(const ScatterSettings& settings, const ShadingContext& base, const ScatterItemFunctions& functions,
                    ScatterBuckets& buckets, ScatterSplats& splats);

// What one sample finds.
struct ScatterHit {
  enum Kind {
    kOutside,  // the sample's cell lies beyond the grid: the outputs stay as they are
    kMiss,
    kHit,
  } kind = kMiss;
  Vector uvw;         // for kHit, the item's own coordinates at the sample
  int64_t index = 0;  // the item's number + 1
  Vector2d center;
};

// The first splat of the sample's bucket, in order of creation, that covers
// (u, v). `density` is called at the splat's centre and `shape` at the item's
// coordinates, each in a copy of `base`.
Result LookupScatter(const ScatterBuckets& buckets, const ScatterSplats& splats, int32_t seed,
                     const ShadingContext& base, double u, double v, const OptionalFunction& density,
                     const OptionalFunction& shape, ScatterHit& out);

extern const DataType kScatterCachedBucketDataType;
extern const DataType kScatterBucketsType;
extern const DataType kScatterSplatsType;

// The node is built per item count: the count is the group's first (and only)
// parameter, e.g. CoreNodeRegistry::GetGroup(kScatterId, {count}, group). A
// group built without it has no items.
Result RegisterScatterNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
