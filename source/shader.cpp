#include "shader.h"

#include "core/shading_context.h"

namespace tessaroc::module {

constinit const DataType kSearchPathsDataType =
    MakeDataType<SearchPathsType>("net.zovan.render.datatype.searchpathstype", "SearchPathsType");

Result RegisterShaderDataTypes() { return RegisterDataType(&kSearchPathsDataType); }

Result UnregisterShaderDataTypes() { return UnregisterDataType(&kSearchPathsDataType); }

}  // namespace tessaroc::module
