#include "pattern/conversion/degrees_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kValue, kMode, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  static const InternedId kDegToRad = InternedId::Intern("degtorad");
  static const InternedId kRadToDeg = InternedId::Intern("radtodeg");
  const InternedId& mode = ports.In<InternedId>(kMode);
  if (mode == kDegToRad) {
    ports.Out<double>(kResult) = ports.In<double>(kValue) * 0.017453292519943295;
  } else if (mode == kRadToDeg) {
    ports.Out<double>(kResult) = ports.In<double>(kValue) * 57.29577951308232;
  }
  // Any other mode leaves result as its storage held it.
}

constexpr PortDecl kPorts[] = {
    {"value", PortDir::kIn, &kFloat64Type},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {{kValue, "value"}, {kMode, "mode"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kConvertDegreesId, "source/pattern/conversion/degrees_node", true, kPorts, kMicro};

}  // namespace

Result RegisterConvertDegreesNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
