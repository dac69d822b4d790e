#include "shader.h"

#include "core/data_types.h"

namespace tessaroc::module {

Result RegisterShaderDataTypes() { return RegisterDataType(&kSearchPathsType); }

Result UnregisterShaderDataTypes() { return UnregisterDataType(&kSearchPathsType); }

}  // namespace tessaroc::module
