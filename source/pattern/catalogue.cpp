#include "pattern/catalogue.h"

#include "pattern/2d/area_average_node.h"
#include "pattern/2d/blur_node.h"
#include "pattern/2d/cache_node.h"
#include "pattern/2d/kernel_node.h"
#include "pattern/color/bias_node.h"
#include "pattern/color/colortemperature_node.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/premultiply_node.h"
#include "pattern/color/unpremultiply_node.h"
#include "pattern/color/whitebalance_node.h"
#include "pattern/generator/image_node.h"

namespace tessaroc::pattern {

namespace {
constexpr CatalogueUnit kUnits[] = {
    {"source/pattern/2d/area_average_node", &RegisterAreaAverageNode},
    {"source/pattern/2d/blur_node", &RegisterBlurNodes},
    {"source/pattern/2d/cache_node", &RegisterCacheNodes},
    {"source/pattern/2d/kernel_node", &RegisterKernelNode},
    {"source/pattern/color/bias_node", &RegisterBiasGainNode},
    {"source/pattern/color/colortemperature_node", &RegisterColorTemperatureNode},
    {"source/pattern/color/contrast_node", &RegisterContrastNode},
    {"source/pattern/color/exposure_node", &RegisterExposureNode},
    {"source/pattern/color/invert_color_node", &RegisterInvertColorNode},
    {"source/pattern/color/premultiply_node", &RegisterPremultiplyNode},
    {"source/pattern/color/unpremultiply_node", &RegisterUnpremultiplyNode},
    {"source/pattern/color/whitebalance_node", &RegisterWhiteBalanceNode},
    {"source/pattern/generator/image_node", &RegisterImageNode},
};
}  // namespace

std::span<const CatalogueUnit> CatalogueUnits() { return kUnits; }

Result RegisterCatalogue(CoreNodeRegistry& registry) {
  for (const CatalogueUnit& unit : kUnits) TESSAROC_RETURN_IF_FAILED(unit.registerNodes(registry));
  return Result::Ok();
}

}  // namespace tessaroc::pattern
