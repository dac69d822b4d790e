// The curve object behind the spline node, as the node sees it: knots with
// a position, an interpolation for the segment that starts at the knot, and
// left and right tangent handles. The host supplies the implementation
// (host/curve) and puts its class in the slot below.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

enum SPLINEMAPPER_KNOT_INTERPOLATION_TYPE : uint32_t {
  SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE = 0,  // Bezier segment through the knots' tangent handles
  SPLINEMAPPER_KNOT_INTERPOLATION_LINEAR = 1,
  SPLINEMAPPER_KNOT_INTERPOLATION_CUBIC = 2,  // smooth through the neighbouring knots, handles ignored
};

enum SPLINEMAPPER_KNOT_FLAGS : uint32_t { SPLINEMAPPER_KNOT_FLAGS_NONE = 0 };

struct SplineMapperKnot {
  Vector2d pos;
  SPLINEMAPPER_KNOT_INTERPOLATION_TYPE interpolation = SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE;
  Vector2d tangentLeft;   // handle towards the previous knot, relative to pos
  Vector2d tangentRight;  // handle towards the next knot, relative to pos
  SPLINEMAPPER_KNOT_FLAGS flags = SPLINEMAPPER_KNOT_FLAGS_NONE;
};
extern const DataType kSplineMapperKnotType;

// One curve y(x). Not shared between threads while it is being set up.
class SplineMapper {
 public:
  virtual ~SplineMapper() = default;
  // How much the curve is pulled straight: 0 keeps the handles, 1 removes them.
  virtual void SetTension(double tension) = 0;
  // The box that ClampPosition brings positions into.
  virtual void SetRange(const Vector2d& min, const Vector2d& max) = 0;
  // The knots for writing; GetPoint expects them sorted (SortKnots).
  virtual std::vector<SplineMapperKnot>& GetKnotsRW() = 0;
  virtual Vector2d ClampPosition(const Vector2d& position) const = 0;
  // Sorts the knots by x; knots of equal x keep their order.
  virtual void SortKnots() = 0;
  // The point of the curve at x.
  virtual Vector2d GetPoint(double x) const = 0;
};

// Makes curves.
class SplineMapperClass {
 public:
  virtual ~SplineMapperClass() = default;
  virtual Result Alloc(std::unique_ptr<SplineMapper>& out) const = 0;
};

// The host's curve class; null until the host installs one. Set it before
// rendering, not while nodes run.
const SplineMapperClass* GetSplineMapperClass();
void SetSplineMapperClass(const SplineMapperClass* cls);

}  // namespace tessaroc::pattern
