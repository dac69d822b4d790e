#include "module/shader.h"

#include "tessaroc/core/data_types.h"
#include "pattern/2d/baked_image.h"

namespace tessaroc::module {

Result RegisterShaderDataTypes() {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kBakedImageDataType));
  return RegisterDataType(&kSearchPathsType);
}

Result UnregisterShaderDataTypes() {
  TESSAROC_RETURN_IF_FAILED(UnregisterDataType(&kSearchPathsType));
  return UnregisterDataType(&kBakedImageDataType);
}

}  // namespace tessaroc::module
