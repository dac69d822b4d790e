#include "pattern/color/shuffle_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

double ShuffleComponent(const ColorA& c, const InternedId& component) {
  static const InternedId kRed = InternedId::Intern("red");
  static const InternedId kGreen = InternedId::Intern("green");
  static const InternedId kBlue = InternedId::Intern("blue");
  static const InternedId kAlpha = InternedId::Intern("alpha");
  static const InternedId kOne = InternedId::Intern("one");
  if (component == kRed) return c.r;
  if (component == kGreen) return c.g;
  if (component == kBlue) return c.b;
  if (component == kAlpha) return c.a;
  if (component == kOne) return 1.0;
  return 0.0;
}

namespace {

enum Access { kColor, kRedComponent, kGreenComponent, kBlueComponent, kAlphaComponent, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ColorA c = ports.In<ColorA>(kColor);
  ports.Out<ColorA>(kResult) = {ShuffleComponent(c, ports.In<InternedId>(kRedComponent)),
                                ShuffleComponent(c, ports.In<InternedId>(kGreenComponent)),
                                ShuffleComponent(c, ports.In<InternedId>(kBlueComponent)),
                                ShuffleComponent(c, ports.In<InternedId>(kAlphaComponent))};
}

constexpr PortDecl kPorts[] = {
    {"color", PortDir::kIn, &kColorAType},
    {"redComponent", PortDir::kIn, &kInternedIdType},
    {"greenComponent", PortDir::kIn, &kInternedIdType},
    {"blueComponent", PortDir::kIn, &kInternedIdType},
    {"alphaComponent", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},
    {kRedComponent, "redComponent"},
    {kGreenComponent, "greenComponent"},
    {kBlueComponent, "blueComponent"},
    {kAlphaComponent, "alphaComponent"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kShuffleId, "source/pattern/color/shuffle_node", true, kPorts, kMicro};

}  // namespace

Result RegisterShuffleNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
