#include "pattern/generator/keyer_node.h"

#include <algorithm>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

double KeyerMatte(const ColorA& color, const Color& key, double toleranceMin, double toleranceMax) {
  if (toleranceMax == toleranceMin) return 0.0;
  const double dr = color.r - key.r;
  const double dg = color.g - key.g;
  const double db = color.b - key.b;
  // Squared distance: the tolerances are compared against it as they are.
  const double s = (db * db) + ((dr * dr) + (dg * dg));
  const double m = (s - toleranceMin) / (toleranceMax - toleranceMin);
  if (0.0 > m) return 0.0;
  return 1.0 < m ? 1.0 : m;  // a NaN stays
}

namespace {

enum Access { kColor, kKey, kToleranceMin, kToleranceMax, kMode, kResult, kMask };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  static const InternedId kKeyIn = InternedId::Intern("keyin");
  const ColorA c = ports.In<ColorA>(kColor);
  double m = KeyerMatte(c, ports.In<Color>(kKey), ports.In<double>(kToleranceMin), ports.In<double>(kToleranceMax));
  if (ports.In<InternedId>(kMode) == kKeyIn) m = 1.0 - m;
  // The colour's own alpha is dropped: alpha is the matte.
  ports.Out<ColorA>(kResult) = {c.r * m, c.g * m, c.b * m, m};
  ports.Out<double>(kMask) = m;
}

constexpr PortDecl kPorts[] = {
    {"color", PortDir::kIn, &kColorAType},         {"key", PortDir::kIn, &kColorType},
    {"toleranceMin", PortDir::kIn, &kFloat64Type}, {"toleranceMax", PortDir::kIn, &kFloat64Type},
    {"mode", PortDir::kIn, &kInternedIdType},      {"result", PortDir::kOut, &kColorAType},
    {"mask", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},
    {kKey, "key"},
    {kToleranceMin, "toleranceMin"},
    {kToleranceMax, "toleranceMax"},
    {kMode, "mode"},
    {kResult, "result"},
    {kMask, "mask"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kKeyerId, "source/pattern/generator/keyer_node", true, kPorts, kMicro};

}  // namespace

Result RegisterKeyerNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
