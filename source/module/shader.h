// Data types the module declares for baked data and search paths.
#pragma once

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/result.h"

namespace tessaroc::module {

Result RegisterShaderDataTypes();
Result UnregisterShaderDataTypes();

}  // namespace tessaroc::module
