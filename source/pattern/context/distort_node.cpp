#include "pattern/context/distort_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/context/pass_context.h"

namespace tessaroc::pattern {

void Distort(ShadingContext& ctx, double strength, double center, const Color& c) {
  const Vector d{(c.r - center) * strength, (c.g - center) * strength, (c.b - center) * strength};
  for (Vector* v : {&ctx.position, &ctx.positiondx, &ctx.positiondy, &ctx.uvw, &ctx.uvwdx, &ctx.uvwdy}) {
    v->x = v->x + d.x;
    v->y = v->y + d.y;
    v->z = v->z + d.z;
  }
}

namespace {

enum Access { kContext, kStrength, kCenter, kColor, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ShadingContext& out = ports.Out<ShadingContext>(kResult);
  PassContext(ports, kContext, out);
  Distort(out, ports.In<double>(kStrength), ports.In<double>(kCenter), ports.In<Color>(kColor));
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"strength", PortDir::kIn, &kFloat64Type},
    {"center", PortDir::kIn, &kFloat64Type},         {"color", PortDir::kIn, &kColorType},
    {"result", PortDir::kOut, &kShadingContextType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"}, {kStrength, "strength"}, {kCenter, "center"}, {kColor, "color"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kDistorterId, "source/pattern/context/distort_node", false, kPorts, kMicro};

}  // namespace

Result RegisterDistorterNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
