#include "pattern/shapes/star_node.h"

#include <cmath>

namespace tessaroc::pattern {

ShapeSample StarSample(double u, double v, double scale, int64_t spikes, double inner, double outer, double cutout) {
  const Centred c = CentreUv(u, v);
  const double k = scale > 1e-6 ? 2.0 / scale : 2000000.0;
  const double sx = (c.p * k + 0.5) - 0.5, sy = (c.q * k + 0.5) - 0.5;
  const double x = sx + sx, y = sy + sy;
  const double n = static_cast<double>(spikes);
  const double seg = 6.283185307179586 / n, half = seg * 0.5;
  const double q = std::atan2(x, y) / seg - 0.5;
  // The angle to the middle of the nearest spike.
  const double w = std::fabs((q - std::floor(q)) - 0.5) * seg;
  const double r = std::sqrt(x * x + y * y);
  const double A = (3.141592653589793 / n) * cutout + half;
  const double dd = (std::cos(w) * r - 0.5) * std::cos(A) + std::sin(w) * r * std::sin(A);
  return {SoftEdge(dd - 0.5, 0.5 - inner, 0.5 + outer), dd};
}

namespace {

enum Access { kScale = kShapeFirstOwn, kSpikes, kInner, kOuter, kCutout, kMask, kDistance, kResult };

ShapeSample Sample(double u, double v, const PortAccess& ports) {
  return StarSample(u, v, ports.In<double>(kScale), ports.In<int64_t>(kSpikes), ports.In<double>(kInner),
                    ports.In<double>(kOuter), ports.In<double>(kCutout));
}
bool TooFewSpikes(const PortAccess& ports) { return ports.In<int64_t>(kSpikes) <= 2; }

constexpr PortDecl kPorts[] = {
    kShapeContextPort,
    kShapeContextLocalPort,
    kShapeExteriorPort,
    kShapeFillPort,
    {"scale", PortDir::kIn, &kFloat64Type},
    {"spikes", PortDir::kIn, &kInt64Type},
    {"innersoftness", PortDir::kIn, &kFloat64Type},
    {"outersoftness", PortDir::kIn, &kFloat64Type},
    {"cutout", PortDir::kIn, &kFloat64Type},
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
    {kSpikes, "spikes"},
    {kInner, "innersoftness"},
    {kOuter, "outersoftness"},
    {kCutout, "cutout"},
    {kMask, "mask"},
    {kDistance, "distance"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ShapeKernel<&Sample, 5, &TooFewSpikes>}};
constexpr CoreNodeDecl kNode{kStarId, "source/pattern/shapes/star_node", false, kPorts, kMicro};

}  // namespace

Result RegisterStarNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
