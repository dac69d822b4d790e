#include "pattern/string/concat_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kResult, kStrings };

void Kernel(Result&, const MicroNodeImpl& impl, const PortAccess& ports) {
  const ArrayPortWords& strings = ArrayWords(impl, 0);
  String& result = ports.Out<String>(kResult);
  if (strings.count <= 0) {
    result = String();
    return;
  }
  String joined;
  for (int64_t i = 0; i < strings.count; ++i) {
    // A failed append drops what was joined so far; the next entry starts afresh.
    if (joined.Append(ports.In<String>(static_cast<int>(strings.firstIndex + i))).failed()) joined = String();
  }
  result = joined;
}

constexpr PortDecl kPorts[] = {
    {"result", PortDir::kOut, &kStringType},
    {"strings", PortDir::kIn, &kStringType, 0, true},
};
constexpr AccessDecl kAccess[] = {{kResult, "result"}, {kStrings, "strings"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kConcatId, "source/pattern/string/concat_node", true, kPorts, kMicro};

}  // namespace

Result RegisterConcatNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
