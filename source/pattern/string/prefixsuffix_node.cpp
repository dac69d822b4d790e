#include "pattern/string/prefixsuffix_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kPrefix, kSuffix, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  String joined = ports.In<String>(kPrefix);
  // A failed append leaves result as it was.
  if (joined.Append(ports.In<String>(kString)).failed()) return;
  if (joined.Append(ports.In<String>(kSuffix)).failed()) return;
  ports.Out<String>(kResult) = joined;
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"prefix", PortDir::kIn, &kStringType},
    {"suffix", PortDir::kIn, &kStringType},
    {"result", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kPrefix, "prefix"}, {kSuffix, "suffix"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kPrefixSuffixId, "source/pattern/string/prefixsuffix_node", true, kPorts, kMicro};

}  // namespace

Result RegisterPrefixSuffixNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
