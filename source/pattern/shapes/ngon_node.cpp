#include "pattern/shapes/ngon_node.h"

#include <cmath>

namespace tessaroc::pattern {

ShapeSample NgonSample(double u, double v, double scale, int64_t sides, double inner, double outer) {
  const Centred c = CentreUv(u, v);
  const double k = scale > 1e-6 ? 1.0 / scale : 1000000.0;
  const double sx = c.p * k + 0.5, sy = c.q * k + 0.5;
  const double x = (sx + sx) - 1.0, y = (sy + sy) - 1.0;
  // The angle counts from the +y axis.
  const double angle = std::atan2(x, y);
  const double seg = 6.283185307179586 / static_cast<double>(sides);
  const double g = 3.141592653589793 + angle;
  const double cs = std::cos(std::floor(g / seg + 0.5) * seg - g);
  const double r = std::sqrt(x * x + y * y);
  const double dd = cs * r;
  return {SoftEdge(dd - 0.5, 0.5 - inner, 0.5 + outer), dd};
}

namespace {

enum Access { kScale = kShapeFirstOwn, kSides, kInner, kOuter, kMask, kDistance, kResult };

ShapeSample Sample(double u, double v, const PortAccess& ports) {
  return NgonSample(u, v, ports.In<double>(kScale), ports.In<int64_t>(kSides), ports.In<double>(kInner),
                    ports.In<double>(kOuter));
}
bool TooFewSides(const PortAccess& ports) { return ports.In<int64_t>(kSides) <= 2; }

constexpr PortDecl kPorts[] = {
    kShapeContextPort,
    kShapeContextLocalPort,
    kShapeExteriorPort,
    kShapeFillPort,
    {"scale", PortDir::kIn, &kFloat64Type},
    {"sides", PortDir::kIn, &kInt64Type},
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
    {kSides, "sides"},
    {kInner, "innersoftness"},
    {kOuter, "outersoftness"},
    {kMask, "mask"},
    {kDistance, "distance"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ShapeKernel<&Sample, 4, &TooFewSides>}};
constexpr CoreNodeDecl kNode{kNgonId, "source/pattern/shapes/ngon_node", false, kPorts, kMicro};

}  // namespace

Result RegisterNgonNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
