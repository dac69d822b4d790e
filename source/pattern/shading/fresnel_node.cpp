#include "pattern/shading/fresnel_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

double FresnelCosine(const ShadingContext& ctx) {
  const Vector& D = ctx.raydirection;
  const Vector& G = ctx.geometricnormal;
  Vector N = ctx.shadingnormal;
  if (G.x * D.x + G.y * D.y + G.z * D.z > 0.0) N = {-N.x, -N.y, -N.z};
  return static_cast<double>(static_cast<float>(N.x * D.x + N.y * D.y + N.z * D.z));
}

double FresnelDielectric(double c, double eta) {
  double ci, sinI, eI, eT, ratio;
  if (c > 1.0) {
    ci = 1.0, sinI = 0.0, eI = eta, eT = 1.0, ratio = eta;
  } else if (c < -1.0) {
    ci = 1.0, sinI = 0.0, eI = 1.0, eT = eta, ratio = 1.0 / eta;
  } else {
    ci = std::fabs(c);
    const double s2 = 1.0 - c * c;
    sinI = s2 > 0.0 ? std::sqrt(s2) : 0.0;
    if (c >= 0.0) {
      eI = eta, eT = 1.0, ratio = eta;  // leaving the medium
    } else {
      eI = 1.0, eT = eta, ratio = 1.0 / eta;  // entering it
    }
  }
  const double sinT = sinI * ratio;
  if (sinT >= 1.0) return 1.0;  // total internal reflection
  const double c2 = 1.0 - sinT * sinT;
  const double cosT = c2 > 0.0 ? std::sqrt(c2) : 0.0;
  const double a = eT * ci, b = cosT * eI;
  const double rp = (a - b) / (a + b);
  const double e = ci * eI, f = cosT * eT;
  const double rs = (e - f) / (e + f);
  return (rp * rp + rs * rs) * 0.5;
}

ColorA FresnelConductor(double c, const Vector& ior, const Vector& absorption) {
  // The cosine as it is: not made absolute, not clamped.
  const double w = -c, w2 = w * w;
  auto channel = [&](double eta, double k) {
    const double s = eta * eta + k * k;
    const double t = (eta + eta) * w;
    const double u = (w2 * s - t + 1.0) / (w2 * s + t + 1.0);
    const double v = (s - t + w2) / (s + t + w2);
    return (v + u) * 0.5;
  };
  return {channel(ior.x, absorption.x), channel(ior.y, absorption.y), channel(ior.z, absorption.z), 1.0};
}

namespace {

enum DielectricAccess { kDContext, kDIor, kDResult };
enum ConductorAccess { kCContext, kCIor, kCAbsorption, kCResult };

void DielectricKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<double>(kDResult) =
      FresnelDielectric(FresnelCosine(ports.In<ShadingContext>(kDContext)), ports.In<double>(kDIor));
}

void ConductorKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<ColorA>(kCResult) = FresnelConductor(FresnelCosine(ports.In<ShadingContext>(kCContext)),
                                                 ports.In<Vector>(kCIor), ports.In<Vector>(kCAbsorption));
}

constexpr PortDecl kDielectricPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"ior", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kDielectricAccess[] = {{kDContext, "context"}, {kDIor, "ior"}, {kDResult, "result"}};
static_assert(AccessInOrder(kDielectricAccess));
constexpr MicroNodeDecl kDielectricMicro[] = {{"", kDielectricAccess, &DielectricKernel}};
constexpr CoreNodeDecl kDielectric{kFresnelDielectricId, "source/pattern/shading/fresnel_node", false, kDielectricPorts,
                                   kDielectricMicro};

constexpr PortDecl kConductorPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"ior", PortDir::kIn, &kVectorType},
    {"absorption", PortDir::kIn, &kVectorType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kConductorAccess[] = {
    {kCContext, "context"}, {kCIor, "ior"}, {kCAbsorption, "absorption"}, {kCResult, "result"}};
static_assert(AccessInOrder(kConductorAccess));
constexpr MicroNodeDecl kConductorMicro[] = {{"", kConductorAccess, &ConductorKernel}};
constexpr CoreNodeDecl kConductor{kFresnelConductorId, "source/pattern/shading/fresnel_node", false, kConductorPorts,
                                  kConductorMicro};

}  // namespace

// In catalogue order: the conductor comes before the dielectric.
Result RegisterFresnelNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kConductor>(registry));
  return RegisterDeclaredNode<kDielectric>(registry);
}

}  // namespace tessaroc::pattern
