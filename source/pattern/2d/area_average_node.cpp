#include "pattern/2d/area_average_node.h"

#include <algorithm>

#include "core/node_decl.h"
#include "pattern/2d/baked_image.h"

namespace tessaroc::pattern {

namespace {

// The node reads its own `result` back as its cache, and a fresh port must
// read as not yet computed: (0, 0, 0, 1), whose channels sum to 1. So the
// port's storage starts there; it is stored and linked exactly like a ColorA.
constinit const DataType kAverageColorType = [] {
  DataType t = MakeDataType<ColorA>("zovan::Col4", "ColorA", nullptr, &kColorAType);
  t.construct = [](void* p) { new (p) ColorA(kOpaqueBlack); };
  return t;
}();

enum Access { kContext, kColor, kWidth, kHeight, kMask, kRenderMode, kResult };

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  ColorA& out = ports.Out<ColorA>(kResult);
  // The only cache: an average whose channels sum to exactly 1 (or the fresh
  // port) is computed again; anything else, NaN included, stands.
  if (!(out.r + out.g + out.b + out.a == 1.0)) return;
  uint32_t W = ports.In<uint32_t>(kWidth);
  uint32_t H = ports.In<uint32_t>(kHeight);
  const uint32_t renderMode = ports.In<uint32_t>(kRenderMode);
  if (renderMode == kRenderModeNoBake || renderMode == kRenderModePreview) {
    W = std::min(W, kPreviewCap);
    H = std::min(H, kPreviewCap);
  }
  ShadingContext local = ports.In<ShadingContext>(kContext);
  if (W == 0) {
    out = ColorA{};
    return;
  }
  const FunctionInterface* mask = ports.In<FunctionRef>(kMask);
  const FunctionInterface* color = ports.In<FunctionRef>(kColor);
  ColorA sum{};
  uint64_t n = 0;
  for (uint32_t x = 0; x < W; ++x) {
    for (uint32_t y = 0; y < H; ++y) {
      const double u = static_cast<double>(x) / W + (1.0 / W) * 0.5;
      const double v = static_cast<double>(y) / H + (1.0 / H) * 0.5;
      local.uvw = local.uvwdx = local.uvwdy = Vector{u, v, 0.0};
      double m = 0;
      result = InvokeFloat(mask, local, m);
      if (result.failed()) return;
      if (m <= 0) continue;
      ColorA c;
      result = InvokeColor(color, local, c);
      if (result.failed()) return;
      sum = ColorA{sum.r + c.r * m, sum.g + c.g * m, sum.b + c.b * m, sum.a + c.a * m};
      n = n + 1;
    }
  }
  if (n == 0) {
    out = ColorA{};
    return;
  }
  // Divided by the count of points with a positive mask, not by the mask's
  // total: a mask of 0.5 everywhere halves the colour.
  const double k = 1.0 / static_cast<double>(n);
  out = ColorA{sum.r * k, sum.g * k, sum.b * k, sum.a * k};
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"color", PortDir::kIn, &kColorFunctionType},
    {"width", PortDir::kIn, &kUInt32Type},           {"height", PortDir::kIn, &kUInt32Type},
    {"mask", PortDir::kIn, &kFloatFunctionType},     {"renderMode", PortDir::kIn, &kRenderModeType},
    {"result", PortDir::kOut, &kAverageColorType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"}, {kColor, "color"},           {kWidth, "width"},   {kHeight, "height"},
    {kMask, "mask"},       {kRenderMode, "renderMode"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kAreaAverageId, "source/pattern/2d/area_average_node", false, kPorts, kMicro};

}  // namespace

Result RegisterAreaAverageNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
