#include "graph/preview/shapes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "graph/preview/vector_math.h"

namespace tessaroc::graph {

using namespace vmath;

namespace {

constexpr double kHalf = 0.5;        // half the edge of the box every shape fills
constexpr double kTorusRing = 0.35;  // from the axis to the tube's centre
constexpr double kTorusTube = 0.15;  // the tube's radius
constexpr double kTwoPi = 2.0 * std::numbers::pi;

// u of a point on a surface of revolution round z: 0.5 facing -y, growing
// toward +x, the seam at the back.
double Longitude(const Vector& p) { return 0.5 + std::atan2(p.x, -p.y) / kTwoPi; }
// The derivative of such a point by that u.
Vector AroundZ(const Vector& p) { return kTwoPi * Vector{-p.y, p.x, 0.0}; }

// Where a ray meets a ball round the origin: the entry and exit distances.
// Measured from the ray's closest point to the centre, which keeps grazing
// rays accurate.
bool BallSpan(const Ray& ray, double radius, double& near, double& far) {
  const double b = Dot(ray.origin, ray.direction);
  const Vector closest = ray.origin - b * ray.direction;
  const double h2 = radius * radius - Dot(closest, closest);
  if (!(h2 >= 0)) return false;
  const double h = std::sqrt(h2);
  near = -b - h;
  far = -b + h;
  return true;
}

// p(t) = c[0] + c[1] t + ... + c[n] t^n, and its derivative.
double Polynomial(const double* c, int n, double t, double* slope = nullptr) {
  double v = c[n], d = 0;
  for (int i = n - 1; i >= 0; --i) {
    d = d * t + v;
    v = v * t + c[i];
  }
  if (slope) *slope = d;
  return v;
}

// The root of p in [lo, hi], where p(lo) has the sign of `flo` and p(hi) the
// other one: Newton steps while they stay inside the bracket, halving otherwise.
double BracketedRoot(const double* c, int n, double lo, double hi, double flo) {
  double t = 0.5 * (lo + hi);
  for (int i = 0; i < 200; ++i) {
    double slope = 0;
    const double f = Polynomial(c, n, t, &slope);
    if (f == 0) return t;
    if ((f < 0) == (flo < 0)) lo = t;
    else hi = t;
    double next = slope != 0 ? t - f / slope : lo;
    if (!(next > lo && next < hi)) next = 0.5 * (lo + hi);
    if (next == t || next <= lo || next >= hi) return t;
    t = next;
  }
  return t;
}

// The real roots of p in [lo, hi] in ascending order, found between the
// roots of its derivative, where p is monotonic. A root where p touches zero
// without crossing it is found only if it lands on a critical point exactly.
int RootsIn(const double* c, int n, double lo, double hi, double* roots) {
  while (n > 0 && c[n] == 0) --n;
  if (n == 0) return 0;
  if (n == 1) {
    const double t = -c[0] / c[1];
    if (!(t >= lo && t <= hi)) return 0;
    roots[0] = t;
    return 1;
  }
  double d[4] = {0, 0, 0, 0};
  for (int i = 1; i <= n; ++i) d[i - 1] = i * c[i];
  double critical[8];
  const int k = RootsIn(d, n - 1, lo, hi, critical);
  int count = 0;
  double a = lo, fa = Polynomial(c, n, lo);
  if (fa == 0) roots[count++] = lo;
  for (int i = 0; i <= k && count < n; ++i) {
    const double b = i < k ? critical[i] : hi;
    const double fb = Polynomial(c, n, b);
    if (fb == 0) {
      if (count == 0 || roots[count - 1] != b) roots[count++] = b;
    } else if (fa != 0 && (fa < 0) != (fb < 0)) {
      roots[count++] = BracketedRoot(c, n, a, b, fa);
    }
    a = b;
    fa = fb;
  }
  return count;
}

}  // namespace

std::string_view ShapeName(Shape shape) {
  switch (shape) {
    case Shape::kPlane: return "plane";
    case Shape::kSphere: return "sphere";
    case Shape::kCube: return "cube";
    case Shape::kCylinder: return "cylinder";
    case Shape::kTorus: return "torus";
  }
  return "plane";
}

bool ParseShape(std::string_view name, Shape& out) {
  for (Shape s : {Shape::kPlane, Shape::kSphere, Shape::kCube, Shape::kCylinder, Shape::kTorus})
    if (ShapeName(s) == name) {
      out = s;
      return true;
    }
  return false;
}

bool HitSphere(const Ray& ray, SurfacePoint& out) {
  double near = 0, far = 0;
  if (!BallSpan(ray, kHalf, near, far) || !(near > 0)) return false;
  const Vector p = ray.origin + near * ray.direction;
  const double rho = std::hypot(p.x, p.y);
  // The direction of the longitude (sin, -cos); either at the poles.
  const double sx = rho > 0 ? p.x / rho : 0.0, cy = rho > 0 ? -p.y / rho : 1.0;
  out.distance = near;
  out.position = p;
  out.normal = Normalize(p);
  out.uvw = {Longitude(p), 0.5 + std::atan2(p.z, rho) / std::numbers::pi, 0.0};
  out.dpdu = AroundZ(p);
  out.dpdv = std::numbers::pi * Vector{-p.z * sx, p.z * cy, rho};
  return true;
}

bool HitCube(const Ray& ray, SurfacePoint& out) {
  const double o[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
  const double d[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
  double near = -std::numeric_limits<double>::infinity(), far = std::numeric_limits<double>::infinity();
  int axis = -1, side = 0;
  for (int i = 0; i < 3; ++i) {
    if (d[i] == 0) {
      if (!(std::fabs(o[i]) <= kHalf)) return false;
      continue;
    }
    const double t1 = (-kHalf - o[i]) / d[i], t2 = (kHalf - o[i]) / d[i];
    const double enter = std::min(t1, t2), leave = std::max(t1, t2);
    if (enter > near) {
      near = enter;
      axis = i;
      side = d[i] > 0 ? -1 : 1;
    }
    far = std::min(far, leave);
  }
  if (axis < 0 || !(near > 0) || near > far) return false;
  // Each face's u and v directions; their cross product is the face's normal.
  // clang-format off
  static constexpr Vector kFaces[3][2][2] = {
      {{{0, -1, 0}, {0, 0, 1}}, {{0, 1, 0}, {0, 0, 1}}},    // -x, +x
      {{{1, 0, 0}, {0, 0, 1}}, {{-1, 0, 0}, {0, 0, 1}}},    // -y (front), +y
      {{{1, 0, 0}, {0, -1, 0}}, {{1, 0, 0}, {0, 1, 0}}},    // -z, +z
  };
  // clang-format on
  const Vector& du = kFaces[axis][side > 0][0];
  const Vector& dv = kFaces[axis][side > 0][1];
  Vector p = ray.origin + near * ray.direction;
  double* onFace[3] = {&p.x, &p.y, &p.z};
  *onFace[axis] = side * kHalf;  // exactly on the face, whatever the rounding
  Vector n;
  double* nAxis[3] = {&n.x, &n.y, &n.z};
  *nAxis[axis] = side;
  out.distance = near;
  out.position = p;
  out.normal = n;
  out.uvw = {0.5 + Dot(p, du), 0.5 + Dot(p, dv), 0.0};
  out.dpdu = du;
  out.dpdv = dv;
  return true;
}

bool HitCylinder(const Ray& ray, SurfacePoint& out) {
  const Vector& o = ray.origin;
  const Vector& d = ray.direction;
  double best = std::numeric_limits<double>::infinity();
  bool side = false;
  // The side, in the xy plane, from the ray's closest point to the axis.
  const double a = d.x * d.x + d.y * d.y;
  if (a > 0) {
    const double tc = -(o.x * d.x + o.y * d.y) / a;
    const double qx = o.x + tc * d.x, qy = o.y + tc * d.y;
    const double h2 = kHalf * kHalf - (qx * qx + qy * qy);
    if (h2 >= 0) {
      const double t = tc - std::sqrt(h2 / a);
      if (t > 0 && std::fabs(o.z + t * d.z) <= kHalf) best = t, side = true;
    }
  }
  // The cap that faces the ray's origin.
  const double capZ = o.z > kHalf ? kHalf : o.z < -kHalf ? -kHalf : 0.0;
  if (capZ != 0 && d.z != 0) {
    const double t = (capZ - o.z) / d.z;
    const double x = o.x + t * d.x, y = o.y + t * d.y;
    if (t > 0 && t < best && x * x + y * y <= kHalf * kHalf) best = t, side = false;
  }
  if (!std::isfinite(best)) return false;
  Vector p = o + best * d;
  out.distance = best;
  if (side) {
    out.normal = Normalize({p.x, p.y, 0.0});
    out.uvw = {Longitude(p), 0.5 + p.z, 0.0};
    out.dpdu = AroundZ(p);
    out.dpdv = {0, 0, 2 * kHalf};
  } else {
    p.z = capZ;
    const double up = capZ > 0 ? 1.0 : -1.0;
    out.normal = {0, 0, up};
    out.uvw = {0.5 + p.x, 0.5 + up * p.y, 0.0};
    out.dpdu = {1, 0, 0};
    out.dpdv = {0, up, 0};
  }
  out.position = p;
  return true;
}

bool HitTorus(const Ray& ray, SurfacePoint& out) {
  constexpr double R = kTorusRing, r = kTorusTube;
  double near = 0, far = 0;
  if (!BallSpan(ray, R + r, near, far) || !(far > 0)) return false;
  // Solve from where the ray enters the bounding ball, so that the quartic's
  // coefficients stay near 1 however far away the camera is.
  const double start = std::max(near, 0.0);
  const Vector o = ray.origin + start * ray.direction;
  const Vector& d = ray.direction;
  // (|p|^2 + R^2 - r^2)^2 = 4 R^2 (x^2 + y^2) along p = o + s d, |d| = 1.
  const double m = Dot(o, o), n = Dot(o, d), k = m + R * R - r * r;
  const double a = d.x * d.x + d.y * d.y, b = o.x * d.x + o.y * d.y, c = o.x * o.x + o.y * o.y;
  const double coef[5] = {k * k - 4 * R * R * c, 4 * n * k - 8 * R * R * b, 4 * n * n + 2 * k - 4 * R * R * a, 4 * n,
                          1.0};
  double roots[8];
  // A root at s = 0 is the ray grazing the ball, which the torus lies inside.
  if (RootsIn(coef, 4, 0.0, far - start, roots) == 0) return false;
  const double s = roots[0];
  const Vector p = o + s * d;
  const double rho = std::hypot(p.x, p.y);
  const double sx = p.x / rho, cy = -p.y / rho;  // rho >= R - r on the torus
  out.distance = start + s;
  out.position = p;
  out.normal = Normalize({(rho - R) * sx, -(rho - R) * cy, p.z});
  out.uvw = {Longitude(p), 0.5 + std::atan2(p.z, rho - R) / kTwoPi, 0.0};
  out.dpdu = AroundZ(p);
  out.dpdv = kTwoPi * Vector{-p.z * sx, p.z * cy, rho - R};
  return true;
}

bool Hit(Shape shape, const Ray& ray, SurfacePoint& out) {
  switch (shape) {
    case Shape::kSphere: return HitSphere(ray, out);
    case Shape::kCube: return HitCube(ray, out);
    case Shape::kCylinder: return HitCylinder(ray, out);
    case Shape::kTorus: return HitTorus(ray, out);
    case Shape::kPlane: break;
  }
  return false;
}

double BoundingRadius(Shape shape) {
  switch (shape) {
    case Shape::kCube: return std::sqrt(3.0) * kHalf;
    case Shape::kCylinder: return std::sqrt(2.0) * kHalf;
    case Shape::kSphere:
    case Shape::kTorus:
    case Shape::kPlane: break;
  }
  return kHalf;
}

}  // namespace tessaroc::graph
