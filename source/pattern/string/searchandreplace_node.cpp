#include "pattern/string/searchandreplace_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kSearch, kReplace, kResult };

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  String copy = ports.In<String>(kString);
  copy.MakeUnique();
  Result replaced = copy.Replace(ports.In<String>(kSearch), ports.In<String>(kReplace));
  if (replaced.failed()) {
    result = replaced;  // result port not written
    return;
  }
  ports.Out<String>(kResult) = copy;
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"search", PortDir::kIn, &kStringType},
    {"replace", PortDir::kIn, &kStringType},
    {"result", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kSearch, "search"}, {kReplace, "replace"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSearchAndReplaceId, "source/pattern/string/searchandreplace_node", true, kPorts, kMicro};

}  // namespace

Result RegisterSearchAndReplaceNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
