#include "pattern/string/length_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<int64_t>(kResult) = ports.In<String>(kString).GetLength();
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"result", PortDir::kOut, &kInt64Type},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kLengthId, "source/pattern/string/length_node", true, kPorts, kMicro};

}  // namespace

Result RegisterLengthNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
