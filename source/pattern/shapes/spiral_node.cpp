#include "pattern/shapes/spiral_node.h"

#include <cmath>

namespace tessaroc::pattern {

ShapeSample SpiralSample(double u, double v, double scale, int64_t arms, double inner, double outer) {
  const double x = u - 0.5, y = v - 0.5;
  const double r = std::sqrt(x * x + y * y);
  const double s = std::sin(20.0 * scale * r + std::atan2(y, x) * static_cast<double>(arms));
  // The edge straddles s = 0: its span and position are formed from the two
  // softnesses directly.
  return {SoftEdgeSpan(s, -inner, outer, outer + inner, inner + s), s};
}

namespace {

enum Access { kScale = kShapeFirstOwn, kArms, kInner, kOuter, kMask, kDistance, kResult };

ShapeSample Sample(double u, double v, const PortAccess& ports) {
  return SpiralSample(u, v, ports.In<double>(kScale), ports.In<int64_t>(kArms), ports.In<double>(kInner),
                      ports.In<double>(kOuter));
}

constexpr PortDecl kPorts[] = {
    kShapeContextPort,
    kShapeContextLocalPort,
    kShapeExteriorPort,
    kShapeFillPort,
    {"scale", PortDir::kIn, &kFloat64Type},
    {"arms", PortDir::kIn, &kInt64Type},
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
    {kArms, "arms"},
    {kInner, "innersoftness"},
    {kOuter, "outersoftness"},
    {kMask, "mask"},
    {kDistance, "distance"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ShapeKernel<&Sample, 4>}};
constexpr CoreNodeDecl kNode{kSpiralId, "source/pattern/shapes/spiral_node", false, kPorts, kMicro};

}  // namespace

Result RegisterSpiralNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
