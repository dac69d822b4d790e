#include "pattern/generator/scratches_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

double Scratches(double u, double v, const ScratchParams& p) {
  const double sc = 0.01 * p.scale;
  const double inv = sc > 1e-7 ? 1.0 / sc : 10000000.0;
  const double U = u * inv, V = v * inv;
  const double step = p.frequencystep > 0.0 ? 1.0 / p.frequencystep : 0.0;
  if (p.layers <= 0) return 1.0;

  const uint32_t seed = static_cast<uint32_t>(p.seed);
  double freq = 1.0, acc = 0.0;
  for (int64_t layer = 1; layer <= p.layers; ++layer) {
    const uint32_t L = static_cast<uint32_t>(layer);
    const uint32_t a = 321u * L, b = 123u * L;
    const double su = U * freq, sv = V * freq;
    const double g0 = 0.01 * p.scale;
    const double g = g0 < 1e-7 ? 1e-7 : g0;
    const uint32_t ix = static_cast<uint32_t>(TruncateToInt32(std::floor(su / g) * g));
    const uint32_t iy = static_cast<uint32_t>(TruncateToInt32(std::floor(sv / g) * g));
    const uint32_t k = seed + L + ix + iy + (ix ^ iy);
    const uint32_t k2 = (ix | iy) + k;
    const uint32_t m = (iy + b) * (ix + a) + k2;

    LcgRandom rng;
    rng.Init(100);
    rng.Init(HashInt32(m - 12345u));
    double val = 0.0;
    const double r0 = rng.Next01();
    if (!(r0 > p.density)) {
      const double fu = su - std::floor(su), fv = sv - std::floor(sv);
      // The scratch's own numbers, always drawn in this order.
      const double rAngle = rng.Next01();
      const double angle = (2.0 * rAngle - 1.0) * 6.283185307179586 * p.rotation;
      const double s = std::sin(angle), c = std::cos(angle);
      double qa = s * fu + c * fv;
      double qb = c * fu - fv * s;
      const double o = 2.0 * rng.Next01() - 1.0;
      qb = qb + o;
      qa = o + qa;
      const double rBend = rng.Next01();
      const double bendAmt = p.bend * rBend * std::sin(3.141592653589793 * qa);
      const double rThick = rng.Next01();
      const double e = p.thickness * rThick * 0.05 - std::fabs((qb - 0.5) + bendAmt + bendAmt);
      if (e > 0.0) {
        const double z = (std::pow(qa, p.gamma) * qa * (1.0 - e) - 1.0) * p.depth + 1.0;
        if (0.0 > z) val = 1.0;
        else if (z > 1.0) val = 0.0;
        else val = 1.0 - z;
      }
    }
    // Not a sum: a value that doesn't exceed acc doubles it (a NaN too).
    acc = acc + (val > acc ? val : acc);
    freq = freq * step;
  }
  const double r = 1.0 - acc;
  if (0.0 > r) return 0.0;
  if (r > 1.0) return 1.0;
  return r;
}

namespace {

enum Access {
  kContext,
  kContextLocal,
  kSeed,
  kBend,
  kScale,
  kDensity,
  kLayers,
  kFrequencyStep,
  kRotation,
  kGamma,
  kThickness,
  kDepth,
  kResult,
};

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& local = ports.In<ShadingContext>(kContextLocal);
  ScratchParams p;
  p.seed = ports.In<int64_t>(kSeed);
  p.bend = ports.In<double>(kBend);
  p.scale = ports.In<double>(kScale);
  p.density = ports.In<double>(kDensity);
  p.layers = ports.In<int64_t>(kLayers);
  p.frequencystep = ports.In<double>(kFrequencyStep);
  p.rotation = ports.In<double>(kRotation);
  p.gamma = ports.In<double>(kGamma);
  p.thickness = ports.In<double>(kThickness);
  p.depth = ports.In<double>(kDepth);
  ports.Out<double>(kResult) = Scratches(local.uvw.x, local.uvw.y, p);
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"seed", PortDir::kIn, &kInt64Type},
    {"bend", PortDir::kIn, &kFloat64Type},
    {"scale", PortDir::kIn, &kFloat64Type},
    {"density", PortDir::kIn, &kFloat64Type},
    {"layers", PortDir::kIn, &kInt64Type},
    {"frequencystep", PortDir::kIn, &kFloat64Type},
    {"rotation", PortDir::kIn, &kFloat64Type},
    {"gamma", PortDir::kIn, &kFloat64Type},
    {"thickness", PortDir::kIn, &kFloat64Type},
    {"depth", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},     {kContextLocal, "contextLocal"},
    {kSeed, "seed"},           {kBend, "bend"},
    {kScale, "scale"},         {kDensity, "density"},
    {kLayers, "layers"},       {kFrequencyStep, "frequencystep"},
    {kRotation, "rotation"},   {kGamma, "gamma"},
    {kThickness, "thickness"}, {kDepth, "depth"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kScratchesId, "source/pattern/generator/scratches_node", false, kPorts, kMicro};

}  // namespace

Result RegisterScratchesNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
