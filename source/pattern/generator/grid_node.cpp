#include "pattern/generator/grid_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

namespace {

// d is 0 on a line and 1 halfway between two; the thickness counts in units
// of that half period.
double AxisFactor(double s, double th, double softness) {
  const double f = FractionOrZero(s);
  const double d = std::fabs(2.0 * f - 1.0);
  const double lo = th - softness;
  if (lo >= d) return 0.0;
  const double span = th - lo;
  if (span == 0.0 || d >= th) return 1.0;
  return SmoothCurve((d - lo) / span);
}

}  // namespace

double GridFactor(const Vector& uvw, const Vector& thickness, double softness, const Vector& frequency) {
  // Z lines lie half a period away from where X and Y would put them.
  const double fx = AxisFactor(uvw.x * frequency.x + 0.5, thickness.x, softness);
  const double fy = AxisFactor(uvw.y * frequency.y + 0.5, thickness.y, softness);
  const double fz = AxisFactor(uvw.z * frequency.z, thickness.z, softness);
  double t = fx;
  if (fy < t) t = fy;
  if (fz < t) t = fz;
  return t;
}

int64_t GridIndex(double u, double v, const Vector& frequency) {
  return TruncateToInt64(std::floor(u * frequency.x) * frequency.y + std::floor(v * frequency.y));
}

namespace {

enum Access { kContext, kContextLocal, kLine, kFill, kThickness, kSoftness, kFrequency, kResult, kIndex };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& local = ports.In<ShadingContext>(kContextLocal);
  ColorA& out = ports.Out<ColorA>(kResult);
  int64_t& index = ports.Out<int64_t>(kIndex);
  if (local.uvwvalid == 0) {
    index = 0;
    out = ColorA{0, 0, 0, 0};
    return;
  }
  const Vector& freq = ports.In<Vector>(kFrequency);
  const double t = GridFactor(local.uvw, ports.In<Vector>(kThickness), ports.In<double>(kSoftness), freq);
  const ColorA& line = ports.In<ColorA>(kLine);
  const ColorA& fill = ports.In<ColorA>(kFill);
  out = ColorA{line.r + (fill.r - line.r) * t, line.g + (fill.g - line.g) * t, line.b + (fill.b - line.b) * t,
               line.a + (fill.a - line.a) * t};
  index = GridIndex(local.uvw.x, local.uvw.y, freq);
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"line", PortDir::kIn, &kColorAType},
    {"fill", PortDir::kIn, &kColorAType},
    {"thickness", PortDir::kIn, &kVectorType},
    {"softness", PortDir::kIn, &kFloat64Type},
    {"frequency", PortDir::kIn, &kVectorType},
    {"result", PortDir::kOut, &kColorAType},
    {"index", PortDir::kOut, &kInt64Type},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},     {kContextLocal, "contextLocal"}, {kLine, "line"},           {kFill, "fill"},
    {kThickness, "thickness"}, {kSoftness, "softness"},         {kFrequency, "frequency"}, {kResult, "result"},
    {kIndex, "index"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kGridId, "source/pattern/generator/grid_node", false, kPorts, kMicro};

}  // namespace

Result RegisterGridNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
