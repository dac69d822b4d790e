// Set shading context: overrides chosen fields of the context. An input that
// nothing feeds leaves its fields as they were.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kSetShadingContextId = "net.zovan.render.corenode.setshadingcontext";

Result RegisterSetShadingContextNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
