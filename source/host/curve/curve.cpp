#include "host/curve/curve.h"

#include <algorithm>
#include <utility>
#include <cmath>
#include <new>

namespace tessaroc::host {

using pattern::SplineMapperKnot;

void Curve::SetTension(double tension) { tension_ = std::isnan(tension) ? 0.0 : std::clamp(tension, 0.0, 1.0); }

void Curve::SetRange(const Vector2d& min, const Vector2d& max) {
  min_ = min;
  max_ = max;
}

Vector2d Curve::ClampPosition(const Vector2d& p) const {
  Vector2d r = p;
  if (min_.x <= max_.x) r.x = std::clamp(p.x, min_.x, max_.x);
  if (min_.y <= max_.y) r.y = std::clamp(p.y, min_.y, max_.y);
  return r;
}

// An insertion sort: stable like std::stable_sort, but in place, so that a
// curve refilled at every sample allocates nothing; curves have few knots.
void Curve::SortKnots() {
  for (size_t i = 1; i < knots_.size(); ++i)
    for (size_t j = i; j > 0 && knots_[j].pos.x < knots_[j - 1].pos.x; --j) std::swap(knots_[j], knots_[j - 1]);
}

double Curve::CardinalSlope(size_t i) const {
  const size_t n = knots_.size();
  const size_t lo = i > 0 ? i - 1 : i;
  const size_t hi = i + 1 < n ? i + 1 : i;
  const double dx = knots_[hi].pos.x - knots_[lo].pos.x;
  if (!(dx > 0.0)) return 0.0;
  return (1.0 - tension_) * (knots_[hi].pos.y - knots_[lo].pos.y) / dx;
}

double Curve::Segment(size_t i, double x) const {
  const SplineMapperKnot& a = knots_[i];
  const SplineMapperKnot& b = knots_[i + 1];
  const double dx = b.pos.x - a.pos.x;
  const double t = (x - a.pos.x) / dx;
  switch (a.interpolation) {
    case pattern::SPLINEMAPPER_KNOT_INTERPOLATION_LINEAR: return a.pos.y + (b.pos.y - a.pos.y) * t;
    case pattern::SPLINEMAPPER_KNOT_INTERPOLATION_CUBIC: {
      const double t2 = t * t, t3 = t2 * t;
      const double h00 = 2.0 * t3 - 3.0 * t2 + 1.0;
      const double h10 = t3 - 2.0 * t2 + t;
      const double h01 = -2.0 * t3 + 3.0 * t2;
      const double h11 = t3 - t2;
      return h00 * a.pos.y + h10 * dx * CardinalSlope(i) + h01 * b.pos.y + h11 * dx * CardinalSlope(i + 1);
    }
    case pattern::SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE: break;
  }
  const double k = 1.0 - tension_;
  const double x0 = a.pos.x, x3 = b.pos.x;
  const double x1 = std::clamp(x0 + a.tangentRight.x * k, x0, x3);
  const double x2 = std::clamp(x3 + b.tangentLeft.x * k, x0, x3);
  const double y0 = a.pos.y, y1 = y0 + a.tangentRight.y * k;
  const double y3 = b.pos.y, y2 = y3 + b.tangentLeft.y * k;
  auto bezier = [](double p0, double p1, double p2, double p3, double s) {
    const double o = 1.0 - s;
    return o * o * o * p0 + 3.0 * o * o * s * p1 + 3.0 * o * s * s * p2 + s * s * s * p3;
  };
  // With the inner x inside [x0, x3] the x of the Bezier never falls, so the
  // parameter for x is found by bisection.
  double lo = 0.0, hi = 1.0;
  for (int it = 0; it < 64; ++it) {
    const double mid = 0.5 * (lo + hi);
    if (bezier(x0, x1, x2, x3, mid) < x) lo = mid;
    else hi = mid;
  }
  return bezier(y0, y1, y2, y3, 0.5 * (lo + hi));
}

Vector2d Curve::GetPoint(double x) const {
  const size_t n = knots_.size();
  if (n == 0) return {x, 0.0};
  if (!(x > knots_.front().pos.x)) return {x, knots_.front().pos.y};  // NaN too
  if (x >= knots_.back().pos.x) return {x, knots_.back().pos.y};
  // The segment whose left knot is the last one at or before x.
  const auto it = std::upper_bound(knots_.begin(), knots_.end(), x,
                                   [](double v, const SplineMapperKnot& k) { return v < k.pos.x; });
  const size_t i = static_cast<size_t>(it - knots_.begin()) - 1;
  if (x == knots_[i].pos.x) return {x, knots_[i].pos.y};
  return {x, Segment(i, x)};
}

Result CurveClass::Alloc(std::unique_ptr<pattern::SplineMapper>& out) const {
  out.reset(new (std::nothrow) Curve);
  if (!out) return Result::Fail(errors::kOutOfMemory, "cannot allocate a curve");
  return Result::Ok();
}

Result InstallCurve() {
  static const CurveClass curveClass;
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&pattern::kSplineMapperKnotType));
  pattern::SetSplineMapperClass(&curveClass);
  return Result::Ok();
}

}  // namespace tessaroc::host
