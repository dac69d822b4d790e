#include "pattern/catalogue.h"
#include "pattern/color/bias_node.h"
#include "pattern/color/blend_node.h"
#include "pattern/color/colorcorrection_node.h"
#include "pattern/color/colorprofile_node.h"
#include "pattern/color/colorspace_node.h"
#include "pattern/color/colortemperature_node.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/layer_node.h"
#include "pattern/color/premultiply_node.h"
#include "pattern/color/selectivecolorcorrection_node.h"
#include "pattern/color/shuffle_node.h"
#include "pattern/color/shufflecombine_node.h"
#include "pattern/color/unpremultiply_node.h"
#include "pattern/color/whitebalance_node.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/context/reprojection_node.h"
#include "pattern/context/scatter_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/conversion/colortofloat_node.h"
#include "pattern/conversion/composecolor_node.h"
#include "pattern/conversion/composecolora_node.h"
#include "pattern/conversion/composevector2_node.h"
#include "pattern/conversion/composevector3_node.h"
#include "pattern/conversion/composevector4_node.h"
#include "pattern/conversion/degrees_node.h"
#include "pattern/conversion/splitcolorcomponents_node.h"
#include "pattern/conversion/splitvectorcomponents_node.h"
#include "pattern/conversion/vectortofloat_node.h"
#include "pattern/generator/blackbody_node.h"
#include "pattern/generator/cells_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/flakes_node.h"
#include "pattern/generator/gradient_node.h"
#include "pattern/generator/grid_node.h"
#include "pattern/generator/hash_node.h"
#include "pattern/generator/keyer_node.h"
#include "pattern/generator/noise_node.h"
#include "pattern/generator/random_node.h"
#include "pattern/generator/scratches_node.h"
#include "pattern/generator/spline_node.h"
#include "pattern/generator/thinfilm_node.h"
#include "pattern/generator/voronoinoise_node.h"
#include "pattern/math/strength_node.h"
#include "pattern/math/transform2d_node.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shading/fresnel_node.h"
#include "pattern/shapes/circle_node.h"
#include "pattern/shapes/line_node.h"
#include "pattern/shapes/ngon_node.h"
#include "pattern/shapes/spiral_node.h"
#include "pattern/shapes/star_node.h"
#include "pattern/string/concat_node.h"
#include "pattern/string/length_node.h"
#include "pattern/string/lettercase_node.h"
#include "pattern/string/prefixsuffix_node.h"
#include "pattern/string/print_node.h"
#include "pattern/string/searchandreplace_node.h"
#include "pattern/string/substr_node.h"
#include "pattern/string/truncate_node.h"

namespace tessaroc::pattern {

namespace {
constexpr CatalogueUnit kUnits[] = {
    {"source/pattern/color/bias_node", &RegisterBiasGainNode},
    {"source/pattern/color/blend_node", &RegisterBlendNode},
    {"source/pattern/color/colorcorrection_node", &RegisterColorHslNode},
    {"source/pattern/color/colorprofile_node", &RegisterColorProfileNode},
    {"source/pattern/color/colorspace_node", &RegisterColorSpaceNode},
    {"source/pattern/color/colortemperature_node", &RegisterColorTemperatureNode},
    {"source/pattern/color/contrast_node", &RegisterContrastNode},
    {"source/pattern/color/exposure_node", &RegisterExposureNode},
    {"source/pattern/color/invert_color_node", &RegisterInvertColorNode},
    {"source/pattern/color/layer_node", &RegisterLayerNode},
    {"source/pattern/color/premultiply_node", &RegisterPremultiplyNode},
    {"source/pattern/color/selectivecolorcorrection_node", &RegisterColorCorrectionNode},
    {"source/pattern/color/shuffle_node", &RegisterShuffleNode},
    {"source/pattern/color/shufflecombine_node", &RegisterShuffleCombineNode},
    {"source/pattern/color/unpremultiply_node", &RegisterUnpremultiplyNode},
    {"source/pattern/color/whitebalance_node", &RegisterWhiteBalanceNode},
    {"source/pattern/context/distort_node", &RegisterDistorterNode},
    {"source/pattern/context/placement2d_node", &RegisterPlacement2dNode},
    {"source/pattern/context/placement3d_node", &RegisterPlacement3dNode},
    {"source/pattern/context/reprojection_node", &RegisterGradientPlacementNode},
    {"source/pattern/context/scatter_node", &RegisterScatterNode},
    {"source/pattern/context/setshadingcontext_node", &RegisterSetShadingContextNode},
    {"source/pattern/conversion/colortofloat_node", &RegisterColorToFloatNode},
    {"source/pattern/conversion/composecolor_node", &RegisterComposeColorNode},
    {"source/pattern/conversion/composecolora_node", &RegisterComposeColorANode},
    {"source/pattern/conversion/composevector2_node", &RegisterComposeVector2Node},
    {"source/pattern/conversion/composevector3_node", &RegisterComposeVector3Node},
    {"source/pattern/conversion/composevector4_node", &RegisterComposeVector4Node},
    {"source/pattern/conversion/degrees_node", &RegisterConvertDegreesNode},
    {"source/pattern/conversion/splitcolorcomponents_node", &RegisterSplitColorComponentsNode},
    {"source/pattern/conversion/splitvectorcomponents_node", &RegisterSplitVectorComponentsNode},
    {"source/pattern/conversion/vectortofloat_node", &RegisterVectorToFloatNode},
    {"source/pattern/generator/blackbody_node", &RegisterBlackbodyNode},
    {"source/pattern/generator/cells_node", &RegisterCellsNodes},
    {"source/pattern/generator/checkerboard_node", &RegisterCheckerboardNode},
    {"source/pattern/generator/flakes_node", &RegisterFlakesNode},
    {"source/pattern/generator/gradient_node", &RegisterGradientNodes},
    {"source/pattern/generator/grid_node", &RegisterGridNode},
    {"source/pattern/generator/hash_node", &RegisterHashNode},
    {"source/pattern/generator/keyer_node", &RegisterKeyerNode},
    {"source/pattern/generator/noise_node", &RegisterNoiseNodes},
    {"source/pattern/generator/random_node", &RegisterRandomNode},
    {"source/pattern/generator/scratches_node", &RegisterScratchesNode},
    {"source/pattern/generator/spline_node", &RegisterSplineNode},
    {"source/pattern/generator/thinfilm_node", &RegisterThinFilmNodes},
    {"source/pattern/generator/voronoinoise_node", &RegisterVoronoiNoiseNodes},
    {"source/pattern/math/strength_node", &RegisterStrengthNode},
    {"source/pattern/math/transform2d_node", &RegisterTransform2dNode},
    {"source/pattern/shading/bump_node", &RegisterBumpNode},
    {"source/pattern/shading/fresnel_node", &RegisterFresnelNodes},
    {"source/pattern/shapes/circle_node", &RegisterCircleNode},
    {"source/pattern/shapes/line_node", &RegisterLineNode},
    {"source/pattern/shapes/ngon_node", &RegisterNgonNode},
    {"source/pattern/shapes/spiral_node", &RegisterSpiralNode},
    {"source/pattern/shapes/star_node", &RegisterStarNode},
    {"source/pattern/string/concat_node", &RegisterConcatNode},
    {"source/pattern/string/length_node", &RegisterLengthNode},
    {"source/pattern/string/lettercase_node", &RegisterCaseNode},
    {"source/pattern/string/prefixsuffix_node", &RegisterPrefixSuffixNode},
    {"source/pattern/string/print_node", &RegisterPrintNode},
    {"source/pattern/string/searchandreplace_node", &RegisterSearchAndReplaceNode},
    {"source/pattern/string/substr_node", &RegisterSubstrNode},
    {"source/pattern/string/truncate_node", &RegisterTruncateNode},
};
}  // namespace

std::span<const CatalogueUnit> CatalogueUnits() { return kUnits; }

Result RegisterCatalogue(CoreNodeRegistry& registry) {
  for (const CatalogueUnit& unit : kUnits) TESSAROC_RETURN_IF_FAILED(unit.registerNodes(registry));
  return Result::Ok();
}

}  // namespace tessaroc::pattern
