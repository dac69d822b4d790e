#include "pattern/conversion/colortofloat_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

double ColorToFloat(const ColorA& c, const InternedId& mode, bool useAlpha) {
  static const InternedId kRed = InternedId::Intern("red");
  static const InternedId kGreen = InternedId::Intern("green");
  static const InternedId kBlue = InternedId::Intern("blue");
  static const InternedId kAlpha = InternedId::Intern("alpha");
  static const InternedId kAverage = InternedId::Intern("average");
  static const InternedId kLength = InternedId::Intern("length");
  static const InternedId kSquaredLength = InternedId::Intern("squaredlength");
  static const InternedId kLuminance = InternedId::Intern("luminance");
  static const InternedId kSum = InternedId::Intern("sum");
  static const InternedId kMin = InternedId::Intern("min");
  static const InternedId kMax = InternedId::Intern("max");
  if (mode == kRed) return c.r;
  if (mode == kGreen) return c.g;
  if (mode == kBlue) return c.b;
  if (mode == kAlpha) return c.a;
  if (mode == kAverage) return useAlpha ? (c.r + c.g + c.b + c.a) * 0.25 : (c.r + c.g + c.b) * 0.3333333333333333;
  if (mode == kSum) return useAlpha ? c.r + c.g + c.b + c.a : c.r + c.g + c.b;
  if (mode == kMin) {
    const double m = std::min(std::min(c.r, c.g), c.b);
    return useAlpha ? std::min(m, c.a) : m;
  }
  if (mode == kMax) {
    const double m = std::max(std::max(c.r, c.g), c.b);
    return useAlpha ? std::max(m, c.a) : m;
  }
  // Its own weights, and alpha never takes part.
  if (mode == kLuminance) return 0.2125 * c.r + 0.7154 * c.g + 0.0721 * c.b;
  const bool length = mode == kLength;
  if (length || mode == kSquaredLength) {
    double s = c.r * c.r + c.g * c.g + c.b * c.b;
    if (useAlpha) s = s + c.a * c.a;
    return length ? std::sqrt(s) : s;
  }
  return 0.0;
}

namespace {

enum Access { kColor, kMode, kUseAlpha, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<double>(kResult) =
      ColorToFloat(ports.In<ColorA>(kColor), ports.In<InternedId>(kMode), ReadBool(ports, kUseAlpha));
}

constexpr PortDecl kPorts[] = {
    {"color", PortDir::kIn, &kColorAType},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"useAlpha", PortDir::kIn, &kBoolType},
    {"result", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {{kColor, "color"}, {kMode, "mode"}, {kUseAlpha, "useAlpha"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kColorToFloatId, "source/pattern/conversion/colortofloat_node", true, kPorts, kMicro};

}  // namespace

Result RegisterColorToFloatNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
