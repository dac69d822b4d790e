#include "pattern/string/truncate_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kCount, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  int64_t count = ports.In<int64_t>(kCount);
  if (count < 0) count = 0;
  if (count > 4611686018427387903) count = 4611686018427387903;
  const String part = ports.In<String>(kString).GetPartByCount(0, count);
  ports.Out<String>(kResult) = part;  // a null part clears result
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"count", PortDir::kIn, &kInt64Type},
    {"result", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kCount, "count"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kTruncateId, "source/pattern/string/truncate_node", true, kPorts, kMicro};

}  // namespace

Result RegisterTruncateNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
