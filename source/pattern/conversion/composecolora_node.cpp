#include "pattern/conversion/composecolora_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kRgb, kRed, kGreen, kBlue, kAlpha, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const Color& rgb = ports.In<Color>(kRgb);
  // A scalar port replaces its channel only when it has a value, so an
  // unconnected one leaves the channel of rgb.
  ports.Out<ColorA>(kResult) = {ports.HasValue(kRed) ? ports.In<double>(kRed) : rgb.r,
                                ports.HasValue(kGreen) ? ports.In<double>(kGreen) : rgb.g,
                                ports.HasValue(kBlue) ? ports.In<double>(kBlue) : rgb.b, ports.In<double>(kAlpha)};
}

constexpr PortDecl kPorts[] = {
    {"rgb", PortDir::kIn, &kColorType},     {"red", PortDir::kIn, &kFloat64Type},
    {"green", PortDir::kIn, &kFloat64Type}, {"blue", PortDir::kIn, &kFloat64Type},
    {"alpha", PortDir::kIn, &kFloat64Type}, {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {{kRgb, "rgb"},   {kRed, "red"},     {kGreen, "green"},
                                  {kBlue, "blue"}, {kAlpha, "alpha"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kComposeColorAId, "source/pattern/conversion/composecolora_node", true, kPorts, kMicro};

}  // namespace

Result RegisterComposeColorANode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
