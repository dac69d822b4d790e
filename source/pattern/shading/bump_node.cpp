#include "pattern/shading/bump_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

Result Height(const FunctionInterface* fn, const ShadingContext& ctx, double& h) {
  ColorA c;
  Result r = InvokeFunction(fn, kColorAType, ctx, c, ColorA{0, 0, 0, 0});
  h = (c.r + c.g) + c.b;
  return r;
}

void Offset(Vector& v, double dx, double dy, double dz) {
  v.x = v.x + dx;
  v.y = v.y + dy;
  v.z = v.z + dz;
}

}  // namespace

Result BumpNormal(const FunctionInterface* height, const ShadingContext& ctx, double strength, double epsilonUv,
                  double epsilon3d, Vector& out) {
  // One local copy; an image node below reads it without colour conversion.
  ShadingContext L = ctx;
  L.imageflag = 1;
  double h0, h1, h2;
  TESSAROC_RETURN_IF_FAILED(Height(height, L, h0));

  const double eu = epsilonUv * 0.0001;
  const double e3 = epsilon3d * 0.01;
  const double k = (strength * 10000.0 * 0.1) / 6.0;
  const Vector T = L.tangent, B = L.bitangent;

  // First tap: along the tangent on the surface and along u in UV.
  for (Vector* p : {&L.position, &L.positiondx, &L.positiondy}) Offset(*p, e3 * T.x, e3 * T.y, e3 * T.z);
  for (Vector* p : {&L.uvw, &L.uvwdx, &L.uvwdy}) p->x = p->x + eu;
  TESSAROC_RETURN_IF_FAILED(Height(height, L, h1));

  // Second tap: from the first to the point + e3 B on the surface; in UV the
  // u step is kept, so this tap sits at (u + eu, v + eu).
  const Vector toB{e3 * B.x - e3 * T.x, e3 * B.y - e3 * T.y, e3 * B.z - e3 * T.z};
  for (Vector* p : {&L.position, &L.positiondx, &L.positiondy}) Offset(*p, toB.x, toB.y, toB.z);
  for (Vector* p : {&L.uvw, &L.uvwdx, &L.uvwdy}) p->y = p->y + eu;
  TESSAROC_RETURN_IF_FAILED(Height(height, L, h2));

  const double du = (h1 - h0) * k, dv = (h2 - h0) * k;
  // The two tangents work in opposite senses.
  const Vector& N = ctx.shadingnormal;
  const Vector n{N.x - (T.x * du - B.x * dv), N.y - (T.y * du - B.y * dv), N.z - (T.z * du - B.z * dv)};
  const double q = n.x * n.x + n.y * n.y + n.z * n.z;
  const double l = std::sqrt(q);
  const double inverse = l != 0.0 ? 1.0 / l : 0.0;
  out = {n.x * inverse, n.y * inverse, n.z * inverse};
  return Result::Ok();
}

namespace {

enum Access { kContext, kColor, kStrength, kEpsilonUv, kEpsilon3d, kResult };
enum PhongAccess { kPhongContext, kPhongResult };

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& ctx = ports.In<ShadingContext>(kContext);
  Vector& out = ports.Out<Vector>(kResult);
  if (ctx.uvwvalid == 0 || !ports.HasValue(kColor)) {
    out = Vector{0, 0, 0};
    return;
  }
  Vector n;
  result = BumpNormal(ports.In<FunctionRef>(kColor), ctx, ports.In<double>(kStrength), ports.In<double>(kEpsilonUv),
                      ports.In<double>(kEpsilon3d), n);
  if (result.ok()) out = n;
}

void PhongKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& ctx = ports.In<ShadingContext>(kPhongContext);
  ports.Out<Vector>(kPhongResult) = ctx.uvwvalid != 0 ? ctx.shadingnormal : Vector{0, 0, 0};
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"color", PortDir::kIn, &kColorFunctionType},
    {"strength", PortDir::kIn, &kFloat64Type},       {"epsilonuv", PortDir::kIn, &kFloat64Type},
    {"epsilon3d", PortDir::kIn, &kFloat64Type},      {"result", PortDir::kOut, &kVectorType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},     {kColor, "color"},         {kStrength, "strength"},
    {kEpsilonUv, "epsilonuv"}, {kEpsilon3d, "epsilon3d"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr AccessDecl kPhongAccess[] = {{kPhongContext, "context"}, {kPhongResult, "result"}};
static_assert(AccessInOrder(kPhongAccess));
// Both micro nodes write `result`, and the runtime runs a group's micro nodes
// in order: the plain normal goes first as the default, the bump then
// replaces it.
constexpr MicroNodeDecl kMicro[] = {
    {kGetPhongNormalName, kPhongAccess, &PhongKernel},
    {"", kAccess, &Kernel},
};
constexpr CoreNodeDecl kNode{kBumpId, "source/pattern/shading/bump_node", false, kPorts, kMicro};

}  // namespace

Result RegisterBumpNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode, 2>(registry); }

}  // namespace tessaroc::pattern
