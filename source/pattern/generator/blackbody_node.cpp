#include "pattern/generator/blackbody_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/color_math.h"
#include "pattern/generator/cie1931_tables.h"

namespace tessaroc::pattern {

BlackbodyXyz BlackbodyToXyz(double temperature) {
  const double t = temperature * 57.29577951308232;
  double x = 0.0, y = 0.0, z = 0.0;
  for (size_t i = 0; i < kCie1931_5nmCount; ++i) {
    const double lambda = static_cast<double>(i) * 5.0 + 380.0;
    // Trapezoid weights: the two end samples count half.
    const double w = (i == 0 || i == kCie1931_5nmCount - 1) ? 0.5 : 1.0;
    const double p = std::pow(lambda, 5.0);
    // The 1 is subtracted inside the exponential: this curve, not Planck's
    // exp(x) - 1, gives the node its colours.
    const double e = std::exp(14387686.6 / (lambda * t) - 1.0);
    const double m = ((3.7417748794402714e29 / p) / e) * w;
    x = x + kCie1931_5nm[i].x * m;
    y = y + kCie1931_5nm[i].y * m;
    z = z + kCie1931_5nm[i].z * m;
  }
  const double largest = std::max(std::max(x, y), z);
  return {x / largest, y / largest, z / largest};
}

Color BlackbodyColor(double temperature) {
  const BlackbodyXyz xyz = BlackbodyToXyz(temperature);
  return XyzToRgb(xyz.x, xyz.y, xyz.z);
}

namespace {

enum Access { kTemperature, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  ports.Out<Color>(kResult) = BlackbodyColor(ports.In<double>(kTemperature));
}

constexpr PortDecl kPorts[] = {
    {"temperature", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorType},
};
constexpr AccessDecl kAccess[] = {{kTemperature, "temperature"}, {kResult, "result"}};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kBlackbodyId, "source/pattern/generator/blackbody_node", true, kPorts, kMicro};

}  // namespace

Result RegisterBlackbodyNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
