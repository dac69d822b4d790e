#include "pattern/conversion/composevector4_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/conversion/compose_batch.h"

namespace tessaroc::pattern {

namespace {

constexpr PortDecl kPorts[] = {
    {"x", PortDir::kIn, &kFloat64Type}, {"y", PortDir::kIn, &kFloat64Type},        {"z", PortDir::kIn, &kFloat64Type},
    {"w", PortDir::kIn, &kFloat64Type}, {"result", PortDir::kOut, &kVector4dType},
};
constexpr AccessDecl kAccess[] = {{0, "x"}, {1, "y"}, {2, "z"}, {3, "w"}, {4, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ComposeBatchKernel<Vector4d, 4>, MicroNode::BATCH}};
constexpr CoreNodeDecl kNode{kComposeVector4Id, "source/pattern/conversion/composevector4_node", true, kPorts, kMicro};

}  // namespace

Result RegisterComposeVector4Node(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
