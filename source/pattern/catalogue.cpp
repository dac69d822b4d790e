#include "pattern/catalogue.h"

#include "pattern/color/bias_node.h"
#include "pattern/color/colortemperature_node.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/premultiply_node.h"
#include "pattern/color/unpremultiply_node.h"
#include "pattern/color/whitebalance_node.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/grid_node.h"
#include "pattern/generator/hash_node.h"
#include "pattern/generator/random_node.h"
#include "pattern/generator/scratches_node.h"
#include "pattern/math/transform2d_node.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shading/fresnel_node.h"
#include "pattern/shapes/circle_node.h"
#include "pattern/shapes/line_node.h"
#include "pattern/shapes/ngon_node.h"
#include "pattern/shapes/spiral_node.h"
#include "pattern/shapes/star_node.h"

namespace tessaroc::pattern {

namespace {
constexpr CatalogueUnit kUnits[] = {
    {"source/pattern/color/bias_node", &RegisterBiasGainNode},
    {"source/pattern/color/colortemperature_node", &RegisterColorTemperatureNode},
    {"source/pattern/color/contrast_node", &RegisterContrastNode},
    {"source/pattern/color/exposure_node", &RegisterExposureNode},
    {"source/pattern/color/invert_color_node", &RegisterInvertColorNode},
    {"source/pattern/color/premultiply_node", &RegisterPremultiplyNode},
    {"source/pattern/color/unpremultiply_node", &RegisterUnpremultiplyNode},
    {"source/pattern/color/whitebalance_node", &RegisterWhiteBalanceNode},
    {"source/pattern/context/distort_node", &RegisterDistorterNode},
    {"source/pattern/context/placement2d_node", &RegisterPlacement2dNode},
    {"source/pattern/context/placement3d_node", &RegisterPlacement3dNode},
    {"source/pattern/context/setshadingcontext_node", &RegisterSetShadingContextNode},
    {"source/pattern/generator/checkerboard_node", &RegisterCheckerboardNode},
    {"source/pattern/generator/grid_node", &RegisterGridNode},
    {"source/pattern/generator/hash_node", &RegisterHashNode},
    {"source/pattern/generator/random_node", &RegisterRandomNode},
    {"source/pattern/generator/scratches_node", &RegisterScratchesNode},
    {"source/pattern/math/transform2d_node", &RegisterTransform2dNode},
    {"source/pattern/shading/bump_node", &RegisterBumpNode},
    {"source/pattern/shading/fresnel_node", &RegisterFresnelNodes},
    {"source/pattern/shapes/circle_node", &RegisterCircleNode},
    {"source/pattern/shapes/line_node", &RegisterLineNode},
    {"source/pattern/shapes/ngon_node", &RegisterNgonNode},
    {"source/pattern/shapes/spiral_node", &RegisterSpiralNode},
    {"source/pattern/shapes/star_node", &RegisterStarNode},
};
}  // namespace

std::span<const CatalogueUnit> CatalogueUnits() { return kUnits; }

Result RegisterCatalogue(CoreNodeRegistry& registry) {
  for (const CatalogueUnit& unit : kUnits) TESSAROC_RETURN_IF_FAILED(unit.registerNodes(registry));
  return Result::Ok();
}

}  // namespace tessaroc::pattern
