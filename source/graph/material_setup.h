// Material setup: the three published functions that turn an edited graph into
// one a renderer can run. They give the root the ports the shading context
// travels through, wire every node's context input down from it, and hook up
// the material's output. A second run finds what the first made and adds
// nothing.
#pragma once

#include <string_view>
#include <vector>

#include "tessaroc/core/data_types.h"
#include "graph/graph_model.h"

namespace tessaroc::graph {

inline constexpr const char* kSetupContextId = "net.zovan.tessaroc.SetupContext@8a2aabf02a6d53f9";
inline constexpr const char* kSetupMaterialId = "net.zovan.tessaroc.SetupMaterial@8a2aabf02a6d53f9";
inline constexpr const char* kCreateForwardingWiresId = "net.zovan.tessaroc.CreateForwardingWires@8a2aabf02a6d53f9";

// The BSDF layer a material stacks at its "layers" port. Nothing here computes
// with it; ports only carry it.
struct BsdfLayer {
  Id bsdftype;
  ColorA weight{1, 1, 1, 1};
  friend bool operator==(const BsdfLayer&, const BsdfLayer&) = default;
};
extern const DataType kBsdfLayerType;  // net.zovan.render.datatype.bsdflayer
// The argument type of the three functions.
inline constexpr const char* kMutableRootTypeId = "net.zovan.node.datatype.mutableroot";

Result SetupContext(GraphNode& root);
Result SetupMaterial(GraphNode& root);
Result CreateForwardingWires(GraphNode& root);

// True when following wires backwards from the port leads to the
// "shadingcontext" port of the root of its system.
bool ReachesRootShadingContext(const GraphPort& port);

// The reflection registry of published functions: id -> function of a root.
using PublishedFunction = Result (*)(GraphNode& root);
struct PublishedEntry {
  const char* id;
  const char* argumentName;  // "root"
  const char* argumentType;  // kMutableRootTypeId
  PublishedFunction function;
};
Result PublishFunction(const PublishedEntry& entry);
Result UnpublishFunction(std::string_view id);
const PublishedEntry* FindPublishedFunction(std::string_view id);
std::vector<PublishedEntry> PublishedFunctions();

}  // namespace tessaroc::graph
