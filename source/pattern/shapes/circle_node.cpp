#include "pattern/shapes/circle_node.h"

#include <cmath>

namespace tessaroc::pattern {

ShapeSample CircleSample(double u, double v, double scale, double inner, double outer) {
  const Centred c = CentreUv(u, v);
  const double k = scale > 1e-6 ? (1.0 / scale) + (1.0 / scale) : 2000000.0;
  const double x = (c.p * k + 0.5) - 0.5;
  const double y = (c.q * k + 0.5) - 0.5;
  const double r = std::sqrt(x * x + y * y);
  return {SoftEdge(r - 0.5, 0.5 - inner, 0.5 + outer), r};
}

namespace {

enum Access { kScale = kShapeFirstOwn, kInner, kOuter, kMask, kDistance, kResult };

ShapeSample Sample(double u, double v, const PortAccess& ports) {
  return CircleSample(u, v, ports.In<double>(kScale), ports.In<double>(kInner), ports.In<double>(kOuter));
}

constexpr PortDecl kPorts[] = {
    kShapeContextPort,
    kShapeContextLocalPort,
    kShapeExteriorPort,
    kShapeFillPort,
    {"scale", PortDir::kIn, &kFloat64Type},
    {"innersoftness", PortDir::kIn, &kFloat64Type},
    {"outersoftness", PortDir::kIn, &kFloat64Type},
    kShapeMaskPort,
    kShapeDistancePort,
    kShapeResultPort,
};
constexpr AccessDecl kAccess[] = {
    {kShapeContext, "context"},
    {kShapeContextLocal, "contextLocal"},
    {kShapeExterior, "exterior"},
    {kShapeFill, "fill"},
    {kScale, "scale"},
    {kInner, "innersoftness"},
    {kOuter, "outersoftness"},
    {kMask, "mask"},
    {kDistance, "distance"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ShapeKernel<&Sample, 3>}};
constexpr CoreNodeDecl kNode{kCircleId, "source/pattern/shapes/circle_node", false, kPorts, kMicro};

}  // namespace

Result RegisterCircleNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
