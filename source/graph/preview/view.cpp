#include "graph/preview/view.h"

#include <algorithm>
#include <cmath>

#include "graph/preview/vector_math.h"

namespace tessaroc::graph {

using namespace vmath;

namespace {

constexpr double kAmbient = 0.2;
constexpr double kKey = 0.8;
// The key light in camera axes (right, up, toward the camera).
constexpr Vector kKeyFromCamera{-0.45, 0.55, 0.7};
constexpr double kCheckerDark = 0.1, kCheckerLight = 0.18;
constexpr int kCheckerSquares = 8;  // across the shorter side of the image

// The point where a neighbouring pixel's ray meets the tangent plane of the
// hit. A ray that runs along or away from that plane (next to a silhouette)
// goes as far as the sample's own ray; the step is held to the shape's size.
Vector Neighbour(const Vector& origin, const Vector& direction, const SurfacePoint& hit, double limit) {
  const double t = Dot(hit.position - origin, hit.normal) / Dot(direction, hit.normal);
  Vector step = (origin + ((t > 0 && std::isfinite(t)) ? t : hit.distance) * direction) - hit.position;
  const double length = Length(step);
  if (length > limit) step = (limit / length) * step;
  return hit.position + step;
}

// `v` made unit length; where it is zero (the sphere's poles for dpdu), the
// direction `instead` made unit length.
Vector UnitOr(const Vector& v, const Vector& instead) {
  const double length = Length(v);
  return length > 0 ? (1.0 / length) * v : Normalize(instead);
}

// The change of (u, v) that moves the point by `step` in the tangent plane:
// the least-squares solution on dpdu and dpdv. Where the frame degenerates (a
// pole) the direction that remains is used.
Vector UvStep(const SurfacePoint& hit, const Vector& step) {
  const double a = Dot(hit.dpdu, hit.dpdu), b = Dot(hit.dpdu, hit.dpdv), c = Dot(hit.dpdv, hit.dpdv);
  const double e = Dot(hit.dpdu, step), f = Dot(hit.dpdv, step);
  const double det = a * c - b * b;
  if (det > 1e-12 * a * c) return {(c * e - b * f) / det, (a * f - b * e) / det, 0.0};
  return {a > 0 ? e / a : 0.0, c > 0 ? f / c : 0.0, 0.0};
}

}  // namespace

namespace {

// The fields of a sample of the plane that change from pixel to pixel. The
// points come by value and are written from there: read back from the
// context, each would wait for the stores just made to it.
void SetPlanePoint(const Vector uvw, const Vector uvwdx, const Vector uvwdy, ShadingContext& c) {
  c.uvw = uvw;
  c.uvwdx = uvwdx;
  c.uvwdy = uvwdy;
  c.position = uvw;
  c.positiondx = uvwdx;
  c.positiondy = uvwdy;
  // An orthographic camera one unit above the plane, looking down.
  c.rayorigin = {uvw.x, uvw.y, 1};
  c.rayorigindx = {uvwdx.x, uvwdx.y, 1};
  c.rayorigindy = {uvwdy.x, uvwdy.y, 1};
}

Vector PlaneUv(double px, double py, double w, double h) { return Vector{(px + 0.5) / w, 1.0 - (py + 0.5) / h, 0.0}; }

}  // namespace

ShadingContext SurfaceContext(const Vector& uvw, const Vector& uvwdx, const Vector& uvwdy) {
  ShadingContext c;
  SetPlanePoint(uvw, uvwdx, uvwdy, c);
  c.uvwvalid = 1;
  c.geometricnormal = {0, 0, 1};
  c.shadingnormal = {0, 0, 1};
  c.tangent = {1, 0, 0};
  c.bitangent = {0, 1, 0};
  c.raydirection = c.raydirectiondx = c.raydirectiondy = {0, 0, -1};
  c.raymindistance = 0;
  return c;
}

ShadingContext PlaneContext(int x, int y, int width, int height) {
  const double w = width, h = height;
  return SurfaceContext(PlaneUv(x, y, w, h), PlaneUv(x + 1, y, w, h), PlaneUv(x, y + 1, w, h));
}

void MovePlaneContext(int x, int y, int width, int height, ShadingContext& c) {
  const double w = width, h = height;
  if (c.pixely == y && c.pixelx + 1 == x) {
    // The next pixel of the row: its point is the last one's x neighbour and
    // its rows are the same, so one division makes the new neighbour. The
    // values are those PlaneUv gives, computed the same way.
    const Vector uvw = c.uvwdx;
    SetPlanePoint(uvw, {(static_cast<double>(x + 1) + 0.5) / w, uvw.y, 0.0}, {uvw.x, c.uvwdy.y, 0.0}, c);
    return;
  }
  SetPlanePoint(PlaneUv(x, y, w, h), PlaneUv(x + 1, y, w, h), PlaneUv(x, y + 1, w, h), c);
}

Result ViewSampler::Create(const View& view, int width, int height, ViewSampler& out) {
  if (width < 1 || height < 1) return Result::Fail(errors::kIllegalArgument, "the image size must be at least 1x1");
  out.view_ = view;
  out.width_ = width;
  out.height_ = height;
  out.checker_ = std::max(1, std::min(width, height) / kCheckerSquares);
  Vector right{1, 0, 0}, up{0, 1, 0}, back{0, 0, 1};  // the plane's camera
  if (view.shape != Shape::kPlane) {
    TESSAROC_RETURN_IF_FAILED(PlaceCamera(view.camera, view.shape, width, height, out.camera_));
    right = out.camera_.right;
    up = out.camera_.up;
    back = -1.0 * out.camera_.forward;
  }
  out.light_ = Normalize(kKeyFromCamera.x * right + kKeyFromCamera.y * up + kKeyFromCamera.z * back);
  return Result::Ok();
}

bool ViewSampler::Surface(int x, int y, ShadingContext& ctx) const {
  if (view_.shape == Shape::kPlane) {
    ctx = PlaneContext(x, y, width_, height_);
    return true;
  }
  const Ray ray{camera_.position, camera_.Direction(x + 0.5, y + 0.5)};
  SurfacePoint hit;
  if (!Hit(view_.shape, ray, hit)) return false;
  const Vector dx = camera_.Direction(x + 1.5, y + 0.5), dy = camera_.Direction(x + 0.5, y + 1.5);
  const double limit = 2 * BoundingRadius(view_.shape);
  ctx = ShadingContext();
  ctx.position = hit.position;
  ctx.positiondx = Neighbour(ray.origin, dx, hit, limit);
  ctx.positiondy = Neighbour(ray.origin, dy, hit, limit);
  ctx.geometricnormal = ctx.shadingnormal = hit.normal;
  ctx.tangent = UnitOr(hit.dpdu, Cross(hit.dpdv, hit.normal));
  ctx.bitangent = UnitOr(hit.dpdv, Cross(hit.normal, hit.dpdu));
  ctx.uvw = hit.uvw;
  ctx.uvwdx = hit.uvw + UvStep(hit, ctx.positiondx - hit.position);
  ctx.uvwdy = hit.uvw + UvStep(hit, ctx.positiondy - hit.position);
  ctx.rayorigin = ctx.rayorigindx = ctx.rayorigindy = ray.origin;
  ctx.raydirection = ray.direction;
  ctx.raydirectiondx = dx;
  ctx.raydirectiondy = dy;
  return true;
}

void ViewSampler::BackgroundPixel(int x, int y, double rgba[4]) const {
  const Background& b = view_.background;
  if (b.kind == Background::Kind::kColor) {
    rgba[0] = b.color.r, rgba[1] = b.color.g, rgba[2] = b.color.b;
  } else {
    const double grey = ((x / checker_ + y / checker_) & 1) ? kCheckerLight : kCheckerDark;
    rgba[0] = rgba[1] = rgba[2] = grey;
  }
  rgba[3] = b.alpha;
}

void ViewSampler::Light(const ShadingContext& ctx, const Vector* normal, double rgba[4]) const {
  Vector n = ctx.shadingnormal;
  if (normal != nullptr) {
    const double length = Length(*normal);
    if (length > 0 && std::isfinite(length)) n = *normal;
  }
  const double length = Length(n);
  const double facing = length > 0 ? Dot(n, light_) / length : 0.0;
  const double k = kAmbient + kKey * std::max(0.0, facing);
  for (int i = 0; i < 3; ++i) rgba[i] *= k;
}

}  // namespace tessaroc::graph
