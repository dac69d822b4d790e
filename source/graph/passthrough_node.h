// The pass-through node: a builtin node with one input `color` and one output
// `passthrough` of a free data type, settled by what it is wired to. No kernel
// stands behind it: the value goes through bit for bit.
#pragma once

#include <string_view>

#include "graph/graph_model.h"

namespace tessaroc::graph {

inline constexpr const char* kPassThroughId = "net.zovan.pattern.node.utility.passthrough";
inline constexpr const char* kBuiltinNodesRegistryId = "net.zovan.node.registry.builtinnodes";

// Builds a node template in a group: `type` may be null and set later.
using BuiltinBuilder = Result (*)(GraphNode& parent, const Id& name, const DataType* type, GraphNode*& out);

Result RegisterPassThroughNode();
Result UnregisterPassThroughNode();
// The builder of a registered builtin node, or null.
BuiltinBuilder FindBuiltinNode(std::string_view id);

Result BuildPassThrough(GraphNode& parent, const Id& name, const DataType* type, GraphNode*& out);

}  // namespace tessaroc::graph
