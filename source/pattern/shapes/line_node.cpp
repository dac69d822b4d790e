#include "pattern/shapes/line_node.h"

#include <cmath>

namespace tessaroc::pattern {

ShapeSample LineSample(double u, double v, const Vector2d& S, const Vector2d& D, double softness, double width) {
  const double dx = D.x - S.x, dy = D.y - S.y;
  const double px = u - S.x, py = v - S.y;
  // No guard for a segment of no length: NaN flows through, without an error.
  const double f = (dx * px + dy * py) / (dx * dx + dy * dy);
  double nx, ny;
  if (0.0 > f) {
    nx = dx * 0.0, ny = dy * 0.0;
  } else if (f > 1.0) {
    nx = dx, ny = dy;
  } else {
    nx = dx * f, ny = dy * f;
  }
  const double lx = px - nx, ly = py - ny;
  const double len = std::sqrt(lx * lx + ly * ly);
  // The edge is taken on the distance smoothed over [0, width], not on the
  // raw distance: that curve gives the line its falloff.
  const double c = SoftEdge(len, 0.0, width).t;
  const double lo = width * 0.5;
  return {SoftEdge(c, lo, softness * 0.5 + lo), c};
}

namespace {

enum Access { kSource = kShapeFirstOwn, kDestination, kSoftness, kWidth, kMask, kDistance, kResult };

ShapeSample Sample(double u, double v, const PortAccess& ports) {
  return LineSample(u, v, ports.In<Vector2d>(kSource), ports.In<Vector2d>(kDestination), ports.In<double>(kSoftness),
                    ports.In<double>(kWidth));
}

constexpr PortDecl kPorts[] = {
    kShapeContextPort,
    kShapeContextLocalPort,
    kShapeExteriorPort,
    kShapeFillPort,
    {"source", PortDir::kIn, &kVector2dType},
    {"destination", PortDir::kIn, &kVector2dType},
    {"softness", PortDir::kIn, &kFloat64Type},
    {"width", PortDir::kIn, &kFloat64Type},
    kShapeMaskPort,
    kShapeDistancePort,
    kShapeResultPort,
};
constexpr AccessDecl kAccess[] = {
    {kShapeContext, "context"},
    {kShapeContextLocal, "contextLocal"},
    {kShapeExterior, "exterior"},
    {kShapeFill, "fill"},
    {kSource, "source"},
    {kDestination, "destination"},
    {kSoftness, "softness"},
    {kWidth, "width"},
    {kMask, "mask"},
    {kDistance, "distance"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ShapeKernel<&Sample, 4>}};
constexpr CoreNodeDecl kNode{kLineId, "source/pattern/shapes/line_node", false, kPorts, kMicro};

}  // namespace

Result RegisterLineNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
