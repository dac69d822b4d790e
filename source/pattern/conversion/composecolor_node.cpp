#include "pattern/conversion/composecolor_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kRed, kGreen, kBlue, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<Color>(kResult) = {ports.In<double>(kRed), ports.In<double>(kGreen), ports.In<double>(kBlue)};
}

constexpr PortDecl kPorts[] = {
    {"red", PortDir::kIn, &kFloat64Type},
    {"green", PortDir::kIn, &kFloat64Type},
    {"blue", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorType},
};
constexpr AccessDecl kAccess[] = {{kRed, "red"}, {kGreen, "green"}, {kBlue, "blue"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kComposeColorId, "source/pattern/conversion/composecolor_node", true, kPorts, kMicro};

}  // namespace

Result RegisterComposeColorNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
