// The curve object for the spline node: a function y(x) through sorted knots.
//
// Each segment runs from knot i to knot i + 1 and is shaped by knot i's
// interpolation:
//  - linear: a straight line;
//  - cubic: a cardinal spline through the neighbouring knots (the handles are
//    not used); the slope at a knot is the slope between its neighbours, one
//    sided at the ends, scaled by (1 - tension);
//  - spline: a cubic Bezier from knot i to knot i + 1 with the control points
//    pos_i + tangentRight_i and pos_i+1 + tangentLeft_i+1, handles scaled by
//    (1 - tension). The control points' x are kept inside the segment so the
//    curve stays a function of x; the curve leaves knot i in the direction of
//    its right handle and arrives along its neighbour's left handle.
// Left of the first knot and right of the last the curve holds the end
// knot's y; with no knots it is 0.
#pragma once

#include <memory>
#include <vector>

#include "pattern/generator/splinemapper.h"

namespace tessaroc::host {

class Curve final : public pattern::SplineMapper {
 public:
  void SetTension(double tension) override;
  void SetRange(const Vector2d& min, const Vector2d& max) override;
  std::vector<pattern::SplineMapperKnot>& GetKnotsRW() override { return knots_; }
  // Each axis is clamped into [min, max] when min <= max on that axis.
  Vector2d ClampPosition(const Vector2d& position) const override;
  void SortKnots() override;
  Vector2d GetPoint(double x) const override;

  double tension() const { return tension_; }

 private:
  double Segment(size_t i, double x) const;
  double CardinalSlope(size_t i) const;

  std::vector<pattern::SplineMapperKnot> knots_;
  double tension_ = 0.0;  // clamped to [0, 1]
  Vector2d min_{0.0, 0.0};
  Vector2d max_{1.0, 1.0};
};

class CurveClass final : public pattern::SplineMapperClass {
 public:
  Result Alloc(std::unique_ptr<pattern::SplineMapper>& out) const override;
};

// Registers the curve class for the spline node and the knot data type.
Result InstallCurve();

}  // namespace tessaroc::host
