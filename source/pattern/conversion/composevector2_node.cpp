#include "pattern/conversion/composevector2_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/conversion/compose_batch.h"

namespace tessaroc::pattern {

namespace {

constexpr PortDecl kPorts[] = {
    {"x", PortDir::kIn, &kFloat64Type},
    {"y", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kVector2dType},
};
constexpr AccessDecl kAccess[] = {{0, "x"}, {1, "y"}, {2, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &ComposeBatchKernel<Vector2d, 2>, MicroNode::BATCH}};
constexpr CoreNodeDecl kNode{kComposeVector2Id, "source/pattern/conversion/composevector2_node", true, kPorts, kMicro};

}  // namespace

Result RegisterComposeVector2Node(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
