#include "pattern/string/lettercase_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kString, kMode, kResult };

String Capitalize(const String& s) {
  String out = s.GetPart(0, 1).ToUpper();
  const String rest = s.GetPart(1, -1).ToLower();
  // Should the append fail, the capital alone is still the best answer.
  if (!rest.IsNull()) (void)out.Append(rest);
  return out;
}

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  static const InternedId kLower = InternedId::Intern("lowercase");
  static const InternedId kUpper = InternedId::Intern("uppercase");
  static const InternedId kCapitalize = InternedId::Intern("capitalize");
  const String s = ports.In<String>(kString);
  const InternedId& mode = ports.In<InternedId>(kMode);
  String out;
  if (mode == kLower) {
    out = s.ToLower();
  } else if (mode == kUpper) {
    out = s.ToUpper();
  } else if (mode == kCapitalize) {
    out = Capitalize(s);
  } else {
    out = s;  // unchanged: the same handle
  }
  String& result = ports.Out<String>(kResult);
  if (!result.SameHandle(out)) result = out;
}

constexpr PortDecl kPorts[] = {
    {"string", PortDir::kIn, &kStringType},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kStringType},
};
constexpr AccessDecl kAccess[] = {{kString, "string"}, {kMode, "mode"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kCaseId, "source/pattern/string/lettercase_node", true, kPorts, kMicro};

}  // namespace

Result RegisterCaseNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
