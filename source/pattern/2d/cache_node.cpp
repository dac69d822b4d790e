#include "pattern/2d/cache_node.h"

#include <algorithm>
#include <cmath>

#include "core/node_decl.h"
#include "pattern/2d/baked_image.h"

namespace tessaroc::pattern {

namespace {

const InternedId& Nearest() { return Interned<"nearest">(); }
const InternedId& Linear() { return Interned<"linear">(); }

// ---- cachepre

enum PreAccess { kPreColor, kPreWidth, kPreHeight, kPreRenderMode, kPreSearchPaths, kPreImageData };

void PreKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  BakedImageData* record = EnsureBakedImage(ports.Out<BakedImageRef>(kPreImageData), result);
  if (!record) return;
  BakedImageData& image = *record;
  const uint32_t renderMode = ports.In<uint32_t>(kPreRenderMode);
  if (renderMode == kRenderModeNoBake) {
    std::vector<ColorA>().swap(image.pixels);
    return;
  }
  uint32_t w = ports.In<uint32_t>(kPreWidth);
  uint32_t h = ports.In<uint32_t>(kPreHeight);
  if (renderMode == kRenderModePreview) {
    w = std::min(w, kPreviewCap);
    h = std::min(h, kPreviewCap);
  }
  if (!ports.HasValue(kPreColor)) return;
  // The bake stands while the size does; a changed function alone is not seen.
  if (!image.pixels.empty() && image.width == w && image.height == h) return;
  result = ResizeBakedImage(image, w, h);
  if (result.failed()) return;
  const auto& paths = ports.In<SearchPathsType>(kPreSearchPaths);
  PrecomputePortData(&paths, w, h, {0.5 / w, 0.5 / h}, ports.In<FunctionRef>(kPreColor), image);
}

constexpr PortDecl kPrePorts[] = {
    {"color", PortDir::kIn, &kColorFunctionType},
    {"width", PortDir::kIn, &kUInt32Type},
    {"height", PortDir::kIn, &kUInt32Type},
    {"renderMode", PortDir::kIn, &kRenderModeType},
    {"searchPaths", PortDir::kIn, &kSearchPathsType},
    {"imageData", PortDir::kOut, &kBakedImageDataType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kPreAccess[] = {
    {kPreColor, "color"},
    {kPreWidth, "width"},
    {kPreHeight, "height"},
    {kPreRenderMode, "renderMode"},
    {kPreSearchPaths, "searchPaths"},
    {kPreImageData, "imageData"},
};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &PreKernel}};
constexpr CoreNodeDecl kPreNode{kCachePreId, "source/pattern/2d/cache_node", false, kPrePorts, kPreMicro};

// ---- cache

enum Access { kColor, kContext, kInterpolation, kImageData, kResult };

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  ColorA& out = ports.Out<ColorA>(kResult);
  const BakedImageRef& ref = ports.In<BakedImageRef>(kImageData);
  if (!ref) {
    out = kOpaqueBlack;
    return;
  }
  const ShadingContext& ctx = ports.In<ShadingContext>(kContext);
  if (ref->pixels.empty()) {
    ColorA c;
    result = InvokeColor(ports.In<FunctionRef>(kColor), ctx, c);
    if (result.ok()) out = c;
    return;
  }
  // The baked image repeats whatever the context's wrap modes say.
  const float u = static_cast<float>(ctx.uvw.x - std::floor(ctx.uvw.x));
  const float v = static_cast<float>(ctx.uvw.y - std::floor(ctx.uvw.y));
  const InternedId& mode = ports.In<InternedId>(kInterpolation);
  if (mode == Linear()) out = SampleBakedLinear(u, v, *ref);
  else if (mode == Nearest()) out = SampleBakedNearest(u, v, *ref);
}

constexpr PortDecl kPorts[] = {
    {"color", PortDir::kIn, &kColorFunctionType},      {"context", PortDir::kIn, &kShadingContextType},
    {"interpolation", PortDir::kIn, &kInternedIdType}, {"imageData", PortDir::kIn, &kBakedImageDataType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kContext, "context"}, {kInterpolation, "interpolation"},
    {kImageData, "imageData"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kCacheId, "source/pattern/2d/cache_node", false, kPorts, kMicro};

}  // namespace

Result RegisterCacheNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
