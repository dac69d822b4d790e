// A 3 by 3 convolution of a colour function around the sample, masked.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kKernelId = "net.zovan.pattern.corenode.2d.kernel";

Result RegisterKernelNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
