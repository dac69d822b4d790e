#include "pattern/math/transform2d_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

Vector2d Transform2d(const Vector2d& point, const Vector2d& translate, double rotate, const Vector2d& scale,
                     const Vector2d& pivot) {
  const double c = std::cos(rotate), s = std::sin(rotate);
  const double qx = point.x - pivot.x - translate.x;
  const double qy = point.y - pivot.y - translate.y;
  return {(qx * c - qy * s) * scale.x + pivot.x, (qx * s + qy * c) * scale.y + pivot.y};
}

namespace {

enum Access { kPoint, kTranslate, kRotate, kScale, kPivot, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<Vector2d>(kResult) =
      Transform2d(ports.In<Vector2d>(kPoint), ports.In<Vector2d>(kTranslate), ports.In<double>(kRotate),
                  ports.In<Vector2d>(kScale), ports.In<Vector2d>(kPivot));
}

constexpr PortDecl kPorts[] = {
    {"point", PortDir::kIn, &kVector2dType}, {"translate", PortDir::kIn, &kVector2dType},
    {"rotate", PortDir::kIn, &kFloat64Type}, {"scale", PortDir::kIn, &kVector2dType},
    {"pivot", PortDir::kIn, &kVector2dType}, {"result", PortDir::kOut, &kVector2dType},
};
constexpr AccessDecl kAccess[] = {
    {kPoint, "point"}, {kTranslate, "translate"}, {kRotate, "rotate"},
    {kScale, "scale"}, {kPivot, "pivot"},         {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kTransform2dId, "source/pattern/math/transform2d_node", true, kPorts, kMicro};

}  // namespace

Result RegisterTransform2dNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
