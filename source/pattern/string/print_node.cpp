#include "pattern/string/print_node.h"

#include <source_location>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/services.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kPassthrough };

constexpr int kLogTarget = 8;
constexpr int kLogMeta = 1;

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const String& s = ports.In<String>(kString);
  if (s.empty()) return;  // null or no characters: nothing logged, passthrough not written
  // Logged once per evaluation; without a logger the text is dropped.
  if (Logger* logger = DefaultLogger())
    logger->Write(kLogTarget, s.view(), SourceLocation::From(std::source_location::current()), kLogMeta);
  String& out = ports.Out<String>(kPassthrough);
  if (!out.SameHandle(s)) out = s;
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"passthrough", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kPassthrough, "passthrough"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kPrintId, "source/pattern/string/print_node", false, kPorts, kMicro};

}  // namespace

Result RegisterPrintNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
