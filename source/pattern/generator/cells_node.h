// Cells in two steps: `pointgenerator` scatters a set of 2D points over the
// unit square once (pseudo-random or Halton, thinned by an optional density
// function), and `cells` finds per sample the nearest and second nearest
// point under one of seven metrics. Every sample visits every point, so the
// point count is also the price of a sample.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kPointGeneratorId = "net.zovan.pattern.corenode.2d.pointgenerator";
inline constexpr const char* kCellsId = "net.zovan.pattern.corenode.generator.cells";

// The accepted points (U, V) in order of acceptance, shared by reference.
using PointDistribution = std::vector<Vector2d>;
using PointDistributionRef = std::shared_ptr<PointDistribution>;
extern const DataType kPointDistributionRefType;

// The radical inverse of n in base 2, 3 or 5: digits from the lowest, each
// weighted by a factor that is multiplied by 1/b per digit.
double RadicalInverse(uint32_t n, uint32_t base);

enum class CellMetric { kEuclid, kSquared, kHexA, kHexB, kManhattan, kChebyshev, kMinkowski, kDefault };
// The metric of a `distanceMode` id ("0" .. "6"); anything else is kDefault.
CellMetric CellMetricOf(const InternedId& mode);
// The value of one point under a metric, with dx = u - px, dy = v - py.
double CellMetricValue(CellMetric metric, double dx, double dy, double exponent);

struct CellsResult {
  double distance = 0;
  Vector2d direction;
  Vector2d center;
  double f1 = 0;  // second nearest minus nearest
  double f2 = 0;  // second nearest
  int64_t index = 0;
};
// Nearest and second nearest of the points to (u, v); all zeros without points.
CellsResult NearestCells(const PointDistribution* points, double u, double v, CellMetric metric, double exponent);

Result RegisterCellsNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
