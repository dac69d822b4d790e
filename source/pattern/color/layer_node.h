// The layer node: a stack of colour layers, each with its own blend mode,
// strength and on/off switch, composited from the last layer up to the first.
#pragma once

#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "pattern/color/pixel_blend.h"

namespace tessaroc::pattern {

inline constexpr const char* kLayerId = "net.zovan.pattern.corenode.effect.layer";

// The per-layer array ports, in the order of their element counts when a group
// is built for a stack: GetGroup(kLayerId, {n, n, n, n}, group).
inline constexpr const char* kLayerArrayPorts[] = {"color", "strength", "active", "mode"};

// One layer's cached handler: the mode it was made for, the mode's class, and
// the handler made from it.
struct BlendModeCacheEntry {
  Id mode;
  const ImagePixelBlendInterface* blendClass = nullptr;
  BlendPixelHandlerRef handler;
};
using CachedBlendModes = std::vector<BlendModeCacheEntry>;
extern const DataType kCachedBlendModesType;

Result RegisterLayerNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
