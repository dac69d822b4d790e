// Description finalisers: code that completes a node template's description
// when a graph makes the node, for what resources cannot say alone, such as
// the first two knots of a ramp. Registered by node asset id in
// net.zovan.node.registry.descriptionfinalizers.
#pragma once

#include <string_view>

#include "graph/graph_model.h"

namespace tessaroc::graph {

inline constexpr const char* kDescriptionFinalizersRegistryId = "net.zovan.node.registry.descriptionfinalizers";
inline constexpr const char* kGradientAssetId = "net.zovan.pattern.node.generator.gradient";
inline constexpr const char* kSplineAssetId = "net.zovan.pattern.node.generator.spline";

using DescriptionFinalizer = Result (*)(GraphNode& node);

Result RegisterDescriptionFinalizer(std::string_view assetId, DescriptionFinalizer finalizer);
Result UnregisterDescriptionFinalizer(std::string_view assetId);
DescriptionFinalizer FindDescriptionFinalizer(std::string_view assetId);

// The ramp's first knot is black at 0; both first knots interpolate linearly.
Result FinalizeGradientDescription(GraphNode& node);
// The remap curve's first two knots get tangent handles of 0.2 and the second
// sits at (1, 1).
Result FinalizeSplineDescription(GraphNode& node);

Result RegisterKnotFinalizers();
Result UnregisterKnotFinalizers();

}  // namespace tessaroc::graph
