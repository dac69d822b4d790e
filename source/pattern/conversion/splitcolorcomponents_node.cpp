#include "pattern/conversion/splitcolorcomponents_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kColor, kIndex, kRgb, kR, kG, kB, kA, kIndexedComponent };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ColorA c = ports.In<ColorA>(kColor);
  ports.Out<Color>(kRgb) = {c.r, c.g, c.b};
  ports.Out<double>(kR) = c.r;
  ports.Out<double>(kG) = c.g;
  ports.Out<double>(kB) = c.b;
  ports.Out<double>(kA) = c.a;
  // An index outside 0..3 (negative ones included, read unsigned) leaves
  // indexedComponent as its storage held it.
  const uint64_t index = static_cast<uint64_t>(ports.In<int64_t>(kIndex));
  if (index < 4) {
    const double channels[4] = {c.r, c.g, c.b, c.a};
    ports.Out<double>(kIndexedComponent) = channels[index];
  }
}

constexpr PortDecl kPorts[] = {
    {"color", PortDir::kIn, &kColorAType}, {"index", PortDir::kIn, &kInt64Type},
    {"rgb", PortDir::kOut, &kColorType},   {"r", PortDir::kOut, &kFloat64Type},
    {"g", PortDir::kOut, &kFloat64Type},   {"b", PortDir::kOut, &kFloat64Type},
    {"a", PortDir::kOut, &kFloat64Type},   {"indexedComponent", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"}, {kIndex, "index"}, {kRgb, "rgb"}, {kR, "r"},
    {kG, "g"},         {kB, "b"},         {kA, "a"},     {kIndexedComponent, "indexedComponent"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSplitColorComponentsId, "source/pattern/conversion/splitcolorcomponents_node", true,
                             kPorts, kMicro};

}  // namespace

Result RegisterSplitColorComponentsNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
