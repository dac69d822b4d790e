#include "pattern/conversion/splitvectorcomponents_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kVector, kIndex, kXyz, kXy, kX, kY, kZ, kW, kIndexedComponent };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const Vector4d v = ports.In<Vector4d>(kVector);
  ports.Out<Vector>(kXyz) = {v.x, v.y, v.z};
  ports.Out<Vector2d>(kXy) = {v.x, v.y};
  ports.Out<double>(kX) = v.x;
  ports.Out<double>(kY) = v.y;
  ports.Out<double>(kZ) = v.z;
  ports.Out<double>(kW) = v.w;
  // An index outside 0..3 (negative ones included, read unsigned) leaves
  // indexedComponent as its storage held it.
  const uint64_t index = static_cast<uint64_t>(ports.In<int64_t>(kIndex));
  if (index < 4) {
    const double components[4] = {v.x, v.y, v.z, v.w};
    ports.Out<double>(kIndexedComponent) = components[index];
  }
}

constexpr PortDecl kPorts[] = {
    {"vector", PortDir::kIn, &kVector4dType},
    {"index", PortDir::kIn, &kInt64Type},
    {"xyz", PortDir::kOut, &kVectorType},
    {"xy", PortDir::kOut, &kVector2dType},
    {"x", PortDir::kOut, &kFloat64Type},
    {"y", PortDir::kOut, &kFloat64Type},
    {"z", PortDir::kOut, &kFloat64Type},
    {"w", PortDir::kOut, &kFloat64Type},
    {"indexedComponent", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {
    {kVector, "vector"}, {kIndex, "index"}, {kXyz, "xyz"},
    {kXy, "xy"},         {kX, "x"},         {kY, "y"},
    {kZ, "z"},           {kW, "w"},         {kIndexedComponent, "indexedComponent"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSplitVectorComponentsId, "source/pattern/conversion/splitvectorcomponents_node", true,
                             kPorts, kMicro};

}  // namespace

Result RegisterSplitVectorComponentsNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
