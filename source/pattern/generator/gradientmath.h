// The arithmetic of the gradient: a table of knots sorted by position, the
// search for the span around a value, and the six ways to fill a span. Knot
// colours, biases and interpolation ids come from an accessor, so a knot's
// values are fetched only when the span needs them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

struct KnotEntry {
  int64_t index = 0;  // the knot's port index
  double position = 0.0;
};

// The knots in ascending (position, index) order, and for each port index the
// knot's place in that order.
struct SortedKnots {
  std::vector<KnotEntry> knots;
  std::vector<int64_t> rank;
};

// The table travels between the two micro nodes by reference; empty until the
// first build.
using SortedKnotsRef = std::shared_ptr<SortedKnots>;
extern const DataType kSortedKnotsRefType;

// The strict total order of the table: position, then index. NaN positions
// sort after every number, so a NaN never breaks the sort.
bool KnotLess(const KnotEntry& a, const KnotEntry& b);

// Rebuilds the table for positions in port order. Fails only when out of memory;
// the table may then be partly rebuilt.
Result BuildSortedKnots(std::span<const double> positions, SortedKnots& table);

// What the arithmetic asks of a knot. Colours come in the interpolation space.
class KnotAccessor {
 public:
  virtual Result Color(int64_t index, ColorA& out) const = 0;
  virtual Result Bias(int64_t index, double& out) const = 0;
  virtual Result Interpolation(int64_t index, Id& out) const = 0;

 protected:
  ~KnotAccessor() = default;
};

// Maps the bias point to 0.5 and keeps 0 and 1 in place; the result is in [0, 1].
double Bend(double s, double bias);

// The colour of the ramp at t; (0, 0, 0, 1) for an empty table. On an error
// `out` is (0, 0, 0, 1).
Result GradientColor(const SortedKnots& table, const KnotAccessor& knots, double t, ColorA& out);

}  // namespace tessaroc::pattern
