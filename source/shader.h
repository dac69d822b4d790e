// Data types the module declares for baked data and search paths.
#pragma once

#include "core/data_type.h"
#include "core/result.h"

namespace tessaroc::module {

extern const DataType kSearchPathsDataType;  // net.zovan.render.datatype.searchpathstype

Result RegisterShaderDataTypes();
Result UnregisterShaderDataTypes();

}  // namespace tessaroc::module
