#include "pattern/conversion/vectortofloat_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

double VectorToFloat(const Vector4d& v, const InternedId& mode) {
  static const InternedId kX = InternedId::Intern("x");
  static const InternedId kY = InternedId::Intern("y");
  static const InternedId kZ = InternedId::Intern("z");
  static const InternedId kW = InternedId::Intern("w");
  static const InternedId kAverage = InternedId::Intern("average");
  static const InternedId kLength = InternedId::Intern("length");
  static const InternedId kSquaredLength = InternedId::Intern("squaredlength");
  static const InternedId kSum = InternedId::Intern("sum");
  static const InternedId kMin = InternedId::Intern("min");
  static const InternedId kMax = InternedId::Intern("max");
  if (mode == kX) return v.x;
  if (mode == kY) return v.y;
  if (mode == kZ) return v.z;
  if (mode == kW) return v.w;
  if (mode == kAverage) return (v.x + v.y + v.z + v.w) * 0.25;
  if (mode == kSum) return v.x + v.y + v.z + v.w;
  if (mode == kMin) return std::min(std::min(std::min(v.x, v.y), v.z), v.w);
  if (mode == kMax) return std::max(std::max(std::max(v.x, v.y), v.z), v.w);
  const double s = v.x * v.x + v.y * v.y + v.z * v.z + v.w * v.w;
  if (mode == kSquaredLength) return s;
  if (mode == kLength) return std::sqrt(s);
  // luminance stands in the enumeration without a branch: it reads as 0.
  return 0.0;
}

namespace {

enum Access { kVector, kMode, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<double>(kResult) = VectorToFloat(ports.In<Vector4d>(kVector), ports.In<InternedId>(kMode));
}

constexpr PortDecl kPorts[] = {
    {"vector", PortDir::kIn, &kVector4dType},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {{kVector, "vector"}, {kMode, "mode"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kVectorToFloatId, "source/pattern/conversion/vectortofloat_node", true, kPorts, kMicro};

}  // namespace

Result RegisterVectorToFloatNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
