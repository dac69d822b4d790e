// Print: writes a non-empty string to the default logger and passes it on.
#pragma once

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kPrintId = "net.zovan.pattern.corenode.string.print";

Result RegisterPrintNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
