#include "pattern/color/shufflecombine_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

double ShuffleCombineComponent(const ColorA& c1, const ColorA& c2, const InternedId& component) {
  static const InternedId kRed1 = InternedId::Intern("red1");
  static const InternedId kRed2 = InternedId::Intern("red2");
  static const InternedId kGreen1 = InternedId::Intern("green1");
  static const InternedId kGreen2 = InternedId::Intern("green2");
  static const InternedId kBlue1 = InternedId::Intern("blue1");
  static const InternedId kBlue2 = InternedId::Intern("blue2");
  static const InternedId kAlpha1 = InternedId::Intern("alpha1");
  static const InternedId kAlpha2 = InternedId::Intern("alpha2");
  static const InternedId kOne = InternedId::Intern("one");
  if (component == kRed1) return c1.r;
  if (component == kRed2) return c2.r;
  if (component == kGreen1) return c1.g;
  if (component == kGreen2) return c2.g;
  if (component == kBlue1) return c1.b;
  if (component == kBlue2) return c2.b;
  if (component == kAlpha1) return c1.a;
  if (component == kAlpha2) return c2.a;
  if (component == kOne) return 1.0;
  return 0.0;
}

namespace {

enum Access { kColor1, kColor2, kRedComponent, kGreenComponent, kBlueComponent, kAlphaComponent, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ColorA c1 = ports.In<ColorA>(kColor1);
  const ColorA c2 = ports.In<ColorA>(kColor2);
  ports.Out<ColorA>(kResult) = {ShuffleCombineComponent(c1, c2, ports.In<InternedId>(kRedComponent)),
                                ShuffleCombineComponent(c1, c2, ports.In<InternedId>(kGreenComponent)),
                                ShuffleCombineComponent(c1, c2, ports.In<InternedId>(kBlueComponent)),
                                ShuffleCombineComponent(c1, c2, ports.In<InternedId>(kAlphaComponent))};
}

constexpr PortDecl kPorts[] = {
    {"color1", PortDir::kIn, &kColorAType},
    {"color2", PortDir::kIn, &kColorAType},
    {"redComponent", PortDir::kIn, &kInternedIdType},
    {"greenComponent", PortDir::kIn, &kInternedIdType},
    {"blueComponent", PortDir::kIn, &kInternedIdType},
    {"alphaComponent", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor1, "color1"},
    {kColor2, "color2"},
    {kRedComponent, "redComponent"},
    {kGreenComponent, "greenComponent"},
    {kBlueComponent, "blueComponent"},
    {kAlphaComponent, "alphaComponent"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kShuffleCombineId, "source/pattern/color/shufflecombine_node", true, kPorts, kMicro};

}  // namespace

Result RegisterShuffleCombineNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
