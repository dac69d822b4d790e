#include "pattern/color/layer_node.h"

#include <algorithm>
#include <new>
#include <string>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

constinit const DataType kCachedBlendModesType = MakeDataType<CachedBlendModes>(
    "net.zovan.pattern.datatype.cachedblendmodes", "tessaroc::pattern::CachedBlendModes");

namespace {

enum Access { kResult, kCache, kFirstArray };
enum Arrays { kColors, kStrengths, kActives, kModes };

Result NoModeError(int64_t layer) {
  return Result::Fail(errors::kNullPtr, "layer " + std::to_string(layer) + " is active but has no blend mode");
}

// Brings the entry of an active layer to its mode: one id compare when the
// mode is unchanged, otherwise a lookup without any default and a new handler.
// An empty mode on an entry that never had one matches and makes no handler.
Result UpdateEntry(BlendModeCacheEntry& entry, const Id& mode) {
  if (mode == entry.mode && (entry.handler || mode.empty())) return Result::Ok();
  entry.mode = mode;
  entry.blendClass = BlendModeClasses().Find(mode);
  // Until a handler is made for the new mode the old one must not be used.
  entry.handler.reset();
  return MakeBlendPixelHandler(entry.blendClass, entry.handler);
}

void LayerKernel(Result& result, const MicroNodeImpl& impl, const PortAccess& ports) {
  const ArrayPortWords& colors = ArrayWords(impl, kColors);
  const ArrayPortWords& strengths = ArrayWords(impl, kStrengths);
  const ArrayPortWords& actives = ArrayWords(impl, kActives);
  const ArrayPortWords& modes = ArrayWords(impl, kModes);
  // The four arrays are built with one count; should they differ, the
  // shortest decides.
  const int64_t n = std::min({colors.count, strengths.count, actives.count, modes.count});
  auto color = [&](int64_t i) { return ports.In<ColorA>(static_cast<int>(colors.firstIndex + i)); };
  auto strength = [&](int64_t i) { return ports.In<double>(static_cast<int>(strengths.firstIndex + i)); };
  auto active = [&](int64_t i) { return ReadBool(ports, static_cast<int>(actives.firstIndex + i)); };
  auto mode = [&](int64_t i) -> const Id& { return ports.In<Id>(static_cast<int>(modes.firstIndex + i)); };

  CachedBlendModes& cache = ports.Out<CachedBlendModes>(kCache);
  if (cache.size() != static_cast<size_t>(n)) {
    try {
      cache.resize(static_cast<size_t>(n));
    } catch (const std::bad_alloc&) {
      result = Result::Fail(errors::kOutOfMemory, "cannot grow the layer cache");
      return;
    }
  }
  if (n == 0) {
    ports.Out<ColorA>(kResult) = ColorA{0.0, 0.0, 0.0, 0.0};
    return;
  }

  // Every active layer's handler is ready before any strength is looked at.
  for (int64_t i = 0; i < n; ++i) {
    if (!active(i)) continue;
    Result r = UpdateEntry(cache[static_cast<size_t>(i)], mode(i));
    if (r.failed()) {
      result = std::move(r);
      return;
    }
  }

  // Layer 0 is the top: composite from the last layer up.
  ColorA accumulator{0.0, 0.0, 0.0, 0.0};
  for (int64_t i = n - 1; i >= 0; --i) {
    const double s = strength(i);
    if (!active(i) || !(s > 0.0)) continue;
    const BlendPixelHandlerRef& handler = cache[static_cast<size_t>(i)].handler;
    if (!handler) {
      result = NoModeError(i);
      return;
    }
    ColorA c = color(i);
    c.a = c.a * s;
    Result r = handler.Blend(accumulator, accumulator, c);
    if (r.failed()) {
      result = std::move(r);
      return;
    }
  }
  ports.Out<ColorA>(kResult) = accumulator;
}

constexpr PortDecl kPorts[] = {
    {"result", PortDir::kOut, &kColorAType},
    {"cachedBlendModes", PortDir::kOut, &kCachedBlendModesType,
     MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP},
    {"color", PortDir::kIn, &kColorAType, 0, true},
    {"strength", PortDir::kIn, &kFloat64Type, 0, true},
    {"active", PortDir::kIn, &kBoolType, 0, true},
    {"mode", PortDir::kIn, &kIdType, 0, true},
};
constexpr AccessDecl kAccess[] = {
    {kResult, "result"}, {kCache, "cachedBlendModes"}, {2, "color"}, {3, "strength"}, {4, "active"}, {5, "mode"},
};
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &LayerKernel}};
constexpr CoreNodeDecl kNode{kLayerId, "source/pattern/color/layer_node", false, kPorts, kMicro};

}  // namespace

Result RegisterLayerNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
