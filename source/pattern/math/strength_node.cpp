#include "pattern/math/strength_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

enum Access { kInput, kStrength, kOutput };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ColorA c = ports.In<ColorA>(kInput);
  const double s = ports.In<double>(kStrength);
  ports.Out<ColorA>(kOutput) = {c.r * s, c.g * s, c.b * s, c.a};
}

constexpr PortDecl kPorts[] = {
    {"input", PortDir::kIn, &kColorAType},
    {"strength", PortDir::kIn, &kFloat64Type},
    {"output", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {{kInput, "input"}, {kStrength, "strength"}, {kOutput, "output"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kStrengthId, "source/pattern/math/strength_node", true, kPorts, kMicro};

}  // namespace

Result RegisterStrengthNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
