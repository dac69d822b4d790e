#include "pattern/2d/kernel_node.h"

#include "core/node_decl.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {

enum Access {
  kContext,
  kColor,
  kResolution,
  kK00,
  kK01,
  kK02,
  kK10,
  kK11,
  kK12,
  kK20,
  kK21,
  kK22,
  kNormalize,
  kMaskBlend,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kResult
};

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  ShadingContext local = ports.In<ShadingContext>(kContext);
  const double u = local.uvw.x, v = local.uvw.y, w = local.uvw.z;
  const Vector2d res = ports.In<Vector2d>(kResolution);
  const double sx = res.x > 1 ? 1 / res.x : 1;
  const double sy = res.y > 1 ? 1 / res.y : 1;
  const FunctionInterface* fn = ports.In<FunctionRef>(kColor);
  ColorA input;
  result = InvokeColor(fn, local, input);
  if (result.failed()) return;
  double k[9];
  for (int i = 0; i < 9; ++i) k[i] = ports.In<double>(kK00 + i);
  if (ReadBool(ports, kNormalize)) {
    double t = 0;
    for (double x : k) t += x;
    if (t > 0)
      for (double& x : k) x = x / t;
  }
  ColorA b{};
  // The first digit of a weight goes with u, the second with v; every tap is
  // evaluated, also at weight 0.
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      local.uvw = local.uvwdx = local.uvwdy = Vector{u + (i - 1) * sx, v + (j - 1) * sy, w};
      ColorA c;
      result = InvokeColor(fn, local, c);
      if (result.failed()) return;
      const double kw = k[3 * i + j];
      b = ColorA{b.r + c.r * kw, b.g + c.g * kw, b.b + c.b * kw, b.a + c.a * kw};
    }
  }
  ports.Out<ColorA>(kResult) = ApplyMask(input, b, ReadMask(ports, kMaskBlend), true);
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"context", PortDir::kIn, &kShadingContextType},
    {"color", PortDir::kIn, &kColorFunctionType},
    {"resolution", PortDir::kIn, &kVector2dType},
    {"kernel00", PortDir::kIn, &kFloat64Type},
    {"kernel01", PortDir::kIn, &kFloat64Type},
    {"kernel02", PortDir::kIn, &kFloat64Type},
    {"kernel10", PortDir::kIn, &kFloat64Type},
    {"kernel11", PortDir::kIn, &kFloat64Type},
    {"kernel12", PortDir::kIn, &kFloat64Type},
    {"kernel20", PortDir::kIn, &kFloat64Type},
    {"kernel21", PortDir::kIn, &kFloat64Type},
    {"kernel22", PortDir::kIn, &kFloat64Type},
    {"normalize", PortDir::kIn, &kBoolType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},     {kColor, "color"},         {kResolution, "resolution"}, {kK00, "kernel00"},
    {kK01, "kernel01"},        {kK02, "kernel02"},        {kK10, "kernel10"},          {kK11, "kernel11"},
    {kK12, "kernel12"},        {kK20, "kernel20"},        {kK21, "kernel21"},          {kK22, "kernel22"},
    {kNormalize, "normalize"}, {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},       {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},   {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kKernelId, "source/pattern/2d/kernel_node", false, kPorts, kMicro};

}  // namespace

Result RegisterKernelNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
