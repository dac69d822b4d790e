#include "pattern/context/placement3d_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/context/pass_context.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

constinit const DataType kPlacement3dDataType =
    MakeDataType<Placement3dData>("net.zovan.render.datatype.placement3ddata", "Placement3dData");

namespace {

struct OrderName {
  Id id;
  int32_t code;
};
// A global order is the local order of the reversed axes.
constexpr OrderName kOrders[] = {
    {"yxzlocal", 0},  {"xyzlocal", 1},  {"zxylocal", 2},  {"xzylocal", 3},  {"yzxlocal", 4},  {"zyxlocal", 5},
    {"zxyglobal", 0}, {"zyxglobal", 1}, {"yxzglobal", 2}, {"yzxglobal", 3}, {"xzyglobal", 4}, {"xyzglobal", 5},
};
// The axes of each code's local name, first letter first: 0 x, 1 y, 2 z.
constexpr int kAxes[6][3] = {{1, 0, 2}, {0, 1, 2}, {2, 0, 1}, {0, 2, 1}, {1, 2, 0}, {2, 1, 0}};

Matrix3 Multiply(const Matrix3& a, const Matrix3& b) {
  Matrix3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
  return r;
}

// The right-handed rotation by t about one axis.
Matrix3 AxisRotation(int axis, double t) {
  const double c = std::cos(t), s = std::sin(t);
  switch (axis) {
    case 0: return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
    case 1: return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
    default: return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
  }
}

double Component(const Vector& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }

}  // namespace

int32_t RotationOrderCode(const Id& order) {
  for (const OrderName& o : kOrders)
    if (o.id == order) return o.code;
  return 0;
}

Matrix3 RotationMatrix(const Vector& angles, int32_t code) {
  if (angles.x == 0.0 && angles.y == 0.0 && angles.z == 0.0) return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  const int* axes = kAxes[code >= 0 && code < 6 ? code : 0];
  Matrix3 r = AxisRotation(axes[0], -Component(angles, axes[0]));
  r = Multiply(r, AxisRotation(axes[1], -Component(angles, axes[1])));
  return Multiply(r, AxisRotation(axes[2], -Component(angles, axes[2])));
}

Placement3dData BuildPlacement3d(const Placement3dParams& p) {
  Placement3dData out;
  out.rotationOrder = RotationOrderCode(p.rotationOrder);
  const Matrix3 r = RotationMatrix(p.rotation, out.rotationOrder);
  // The linear part L = R * diag(scale); P(x) = pivot + position + L (x - pivot).
  const double sc[3] = {p.scale.x, p.scale.y, p.scale.z};
  double l[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) l[i][j] = r.m[i][j] * sc[j];
  const double lp[3] = {l[0][0] * p.pivot.x + l[0][1] * p.pivot.y + l[0][2] * p.pivot.z,
                        l[1][0] * p.pivot.x + l[1][1] * p.pivot.y + l[1][2] * p.pivot.z,
                        l[2][0] * p.pivot.x + l[2][1] * p.pivot.y + l[2][2] * p.pivot.z};
  const double t[3] = {p.pivot.x + p.position.x - lp[0], p.pivot.y + p.position.y - lp[1],
                       p.pivot.z + p.position.z - lp[2]};

  // Inverse by cofactors.
  double c[3][3];
  c[0][0] = l[1][1] * l[2][2] - l[1][2] * l[2][1];
  c[0][1] = l[1][2] * l[2][0] - l[1][0] * l[2][2];
  c[0][2] = l[1][0] * l[2][1] - l[1][1] * l[2][0];
  c[1][0] = l[0][2] * l[2][1] - l[0][1] * l[2][2];
  c[1][1] = l[0][0] * l[2][2] - l[0][2] * l[2][0];
  c[1][2] = l[0][1] * l[2][0] - l[0][0] * l[2][1];
  c[2][0] = l[0][1] * l[1][2] - l[0][2] * l[1][1];
  c[2][1] = l[0][2] * l[1][0] - l[0][0] * l[1][2];
  c[2][2] = l[0][0] * l[1][1] - l[0][1] * l[1][0];
  const double det = l[0][0] * c[0][0] + l[0][1] * c[0][1] + l[0][2] * c[0][2];
  if (det == 0.0) {
    // A flattened space has no inverse: leave the coordinate where it is.
    out.offset = {};
    out.axisX = {1, 0, 0};
    out.axisY = {0, 1, 0};
    out.axisZ = {0, 0, 1};
  } else {
    // inv[i][j] = cofactor[j][i] / det
    double inv[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) inv[i][j] = c[j][i] / det;
    out.axisX = {inv[0][0], inv[1][0], inv[2][0]};
    out.axisY = {inv[0][1], inv[1][1], inv[2][1]};
    out.axisZ = {inv[0][2], inv[1][2], inv[2][2]};
    out.offset = {-(inv[0][0] * t[0] + inv[0][1] * t[1] + inv[0][2] * t[2]),
                  -(inv[1][0] * t[0] + inv[1][1] * t[1] + inv[1][2] * t[2]),
                  -(inv[2][0] * t[0] + inv[2][1] * t[1] + inv[2][2] * t[2])};
  }
  out.built = true;
  return out;
}

Vector ApplyPlacement3d(const Placement3dData& d, const Vector& p) {
  return {d.offset.x + d.axisX.x * p.x + d.axisY.x * p.y + d.axisZ.x * p.z,
          d.offset.y + d.axisX.y * p.x + d.axisY.y * p.y + d.axisZ.y * p.z,
          d.offset.z + d.axisX.z * p.x + d.axisY.z * p.y + d.axisZ.z * p.z};
}

namespace {

enum Access {
  kContext,
  kEnable,
  kPosition,
  kScale,
  kRotation,
  kOrder,
  kPivot,
  kResult,
  kData,
  kPositionCached,
  kScaleCached,
  kRotationCached,
  kOrderCached,
  kPivotCached,
};

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& in = ports.In<ShadingContext>(kContext);
  ShadingContext& out = ports.Out<ShadingContext>(kResult);
  // Enabled or not, what it writes below is among the moved fields.
  PassContext(ports, kContext, out);
  if (*static_cast<const uint8_t*>(ports.slot(kEnable).value) == 0) return;

  Placement3dParams p;
  p.position = ports.In<Vector>(kPosition);
  p.scale = ports.In<Vector>(kScale);
  p.rotation = ports.In<Vector>(kRotation);
  p.rotationOrder = ports.In<Id>(kOrder);
  p.pivot = ports.In<Vector>(kPivot);

  // Built again only when a parameter changed; see placement2d.
  Placement3dData& data = ports.Out<Placement3dData>(kData);
  Vector& position = ports.Out<Vector>(kPositionCached);
  Vector& scale = ports.Out<Vector>(kScaleCached);
  Vector& rotation = ports.Out<Vector>(kRotationCached);
  Id& order = ports.Out<Id>(kOrderCached);
  Vector& pivot = ports.Out<Vector>(kPivotCached);
  if (!data.built || !SameBits(p.position, position) || !SameBits(p.scale, scale) || !SameBits(p.rotation, rotation) ||
      !SameBits(p.pivot, pivot) || !(p.rotationOrder == order)) {
    data = BuildPlacement3d(p);
    position = p.position, scale = p.scale, rotation = p.rotation, order = p.rotationOrder, pivot = p.pivot;
  }

  out.uvw = ApplyPlacement3d(data, in.uvw);
  out.uvwdx = ApplyPlacement3d(data, in.uvwdx);
  out.uvwdy = ApplyPlacement3d(data, in.uvwdy);
}

constexpr uint32_t kPrivate = MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP;

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"enableSpaceTransformation", PortDir::kIn, &kBoolType},
    {"spacePosition", PortDir::kIn, &kVectorType},
    {"spaceScale", PortDir::kIn, &kVectorType},
    {"spaceRotation", PortDir::kIn, &kVectorType},
    {"spaceRotationOrder", PortDir::kIn, &kIdType},
    {"pivot", PortDir::kIn, &kVectorType},
    {"result", PortDir::kOut, &kShadingContextType},
    {"pdata", PortDir::kOut, &kPlacement3dDataType, kPrivate},
    {"spacePositionCached", PortDir::kOut, &kVectorType, kPrivate},
    {"spaceScaleCached", PortDir::kOut, &kVectorType, kPrivate},
    {"spaceRotationCached", PortDir::kOut, &kVectorType, kPrivate},
    {"spaceRotationOrderCached", PortDir::kOut, &kIdType, kPrivate},
    {"pivotCached", PortDir::kOut, &kVectorType, kPrivate},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kEnable, "enableSpaceTransformation"},
    {kPosition, "spacePosition"},
    {kScale, "spaceScale"},
    {kRotation, "spaceRotation"},
    {kOrder, "spaceRotationOrder"},
    {kPivot, "pivot"},
    {kResult, "result"},
    {kData, "pdata"},
    {kPositionCached, "spacePositionCached"},
    {kScaleCached, "spaceScaleCached"},
    {kRotationCached, "spaceRotationCached"},
    {kOrderCached, "spaceRotationOrderCached"},
    {kPivotCached, "pivotCached"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kPlacement3dId, "source/pattern/context/placement3d_node", false, kPorts, kMicro};

}  // namespace

Result RegisterPlacement3dNode(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kPlacement3dDataType));
  return RegisterDeclaredNode<kNode>(registry);
}

}  // namespace tessaroc::pattern
