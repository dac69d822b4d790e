// The module's description entry: a hook that, once descriptions are wanted,
// registers the module's resource folder with the description database.
#pragma once

#include "tessaroc/core/result.h"

namespace tessaroc::module {

inline constexpr const char* kDatabaseIds[] = {"net.zovan.tessarocs.module", "net.zovan.patterns.module"};

Result RegisterDescriptionEntry();
Result UnregisterDescriptionEntry();

}  // namespace tessaroc::module
