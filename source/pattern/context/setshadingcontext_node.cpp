#include "pattern/context/setshadingcontext_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/context/pass_context.h"

namespace tessaroc::pattern {

namespace {

// Access order; `time` is created after `uvwdelta` but read before `uvw`.
enum Access { kContext, kRayOrigin, kRayDirection, kTime, kUvw, kUvwDelta, kShadingNormal, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ShadingContext& out = ports.Out<ShadingContext>(kResult);
  // What is written below depends on which inputs have values, the same on
  // every run, as passing on a moved context needs.
  PassContext(ports, kContext, out);

  if (ports.HasValue(kRayOrigin)) {
    const Vector& o = ports.In<Vector>(kRayOrigin);
    out.rayorigin = o;
    out.rayorigindx = o;
    out.rayorigindy = o;
  }
  if (ports.HasValue(kRayDirection)) {
    const Vector& d = ports.In<Vector>(kRayDirection);
    out.raydirection = d;
    out.raydirectiondx = d;
    out.raydirectiondy = d;
  }
  if (ports.HasValue(kUvw)) {
    const Vector& p = ports.In<Vector>(kUvw);
    out.uvw = p;
    out.uvwdx = p;
    out.uvwdy = p;
  }
  if (ports.HasValue(kUvwDelta)) {
    // The delta's z goes to the y neighbour alone.
    const Vector& d = ports.In<Vector>(kUvwDelta);
    const Vector p = out.uvw;
    out.uvwdx = {p.x + d.x, p.y, p.z};
    out.uvwdy = {p.x, p.y + d.y, p.z + d.z};
    out.uvwvalid = 1;
  }
  if (ports.HasValue(kShadingNormal)) {
    const Vector& n = ports.In<Vector>(kShadingNormal);
    const double len = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
    if (len == 0.0) {
      out.shadingnormal = {0.0, 0.0, 0.0};
    } else {
      const double inv = 1.0 / len;
      out.shadingnormal = {n.x * inv, n.y * inv, n.z * inv};
    }
  }
  if (ports.HasValue(kTime)) out.time = ports.In<TimeValue>(kTime);
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"rayorigin", PortDir::kIn, &kVectorType},
    {"raydirection", PortDir::kIn, &kVectorType},    {"uvw", PortDir::kIn, &kVectorType},
    {"uvwdelta", PortDir::kIn, &kVectorType},        {"time", PortDir::kIn, &kTimeValueType},
    {"shadingnormal", PortDir::kIn, &kVectorType},   {"result", PortDir::kOut, &kShadingContextType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"}, {kRayOrigin, "rayorigin"}, {kRayDirection, "raydirection"},   {kTime, "time"},
    {kUvw, "uvw"},         {kUvwDelta, "uvwdelta"},   {kShadingNormal, "shadingnormal"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSetShadingContextId, "source/pattern/context/setshadingcontext_node", false, kPorts,
                             kMicro};

}  // namespace

Result RegisterSetShadingContextNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
