// Material setup on the graph model, and the pass-through template.
#include <gtest/gtest.h>

#include <tuple>

#include "graph/description_finalizers.h"
#include "graph/graph_model.h"
#include "graph/material_setup.h"
#include "graph/passthrough_node.h"

namespace tessaroc::graph {
namespace {

// A node with a context input and a placed-context input, as the document
// loader makes them.
GraphNode* AddPatternNode(GraphNode& parent, const char* name) {
  GraphNode* n = nullptr;
  EXPECT_TRUE(parent.AddChild(name, NodeKind::kAsset, "net.zovan.pattern.node.generator.checkerboard", n).ok());
  const std::tuple<bool, const char*, const DataType*> ports[] = {{false, "context", &kShadingContextType},
                                                                  {false, "contextlocal", &kShadingContextType},
                                                                  {false, "color1", &kColorAType},
                                                                  {true, "result", &kColorAType}};
  for (const auto& [output, name, type] : ports) {
    GraphPort* p = nullptr;
    EXPECT_TRUE((output ? n->outputs() : n->inputs()).FindOrAddChild(name, p).ok());
    p->SetDataType(type);
  }
  return n;
}

size_t CountWires(const GraphNode& n) {
  size_t count = 0;
  for (const auto& p : n.inputs().ports()) count += p->incoming().size();
  for (const auto& p : n.outputs().ports()) count += p->incoming().size();
  for (const auto& c : n.children()) count += CountWires(*c);
  return count;
}

size_t CountPorts(const GraphNode& n) {
  size_t count = n.inputs().ports().size() + n.outputs().ports().size();
  for (const auto& c : n.children()) count += CountPorts(*c);
  return count;
}

void ExpectEveryContextReachesRoot(const GraphNode& n) {
  for (const auto& p : n.inputs().ports())
    if (p->dataType() == &kShadingContextType && n.parent() != nullptr) {
      EXPECT_TRUE(ReachesRootShadingContext(*p)) << p->Path().ToString();
    }
  for (const auto& c : n.children()) ExpectEveryContextReachesRoot(*c);
}

// A pattern node at the root, one in a group and one in a group inside that.
void AddNestedNodes(GraphNode& root) {
  AddPatternNode(root, "board");
  GraphNode *group = nullptr, *deeper = nullptr;
  ASSERT_TRUE(root.AddChild("group", NodeKind::kGroup, "", group).ok());
  AddPatternNode(*group, "inner");
  ASSERT_TRUE(group->AddChild("deeper", NodeKind::kGroup, "", deeper).ok());
  AddPatternNode(*deeper, "innermost");
}

// The material output is fed from the layers; a second run, or its steps
// run again, add no port and no wire.
TEST(MaterialSetup, EveryContextInputOfNestedNodesReachesTheRootOnce) {
  NodeSystem system;
  GraphNode& root = system.root();
  AddNestedNodes(root);
  ASSERT_TRUE(SetupMaterial(root).ok());
  ExpectEveryContextReachesRoot(root);
  GraphPort *out = nullptr, *layers = nullptr;
  ASSERT_TRUE(root.outputs().FindChild("materialout", out).ok());
  ASSERT_TRUE(root.inputs().FindChild("layers", layers).ok());
  ASSERT_NE(out, nullptr);
  ASSERT_NE(layers, nullptr);
  ASSERT_EQ(out->incoming().size(), 1u);
  EXPECT_EQ(out->incoming()[0].source, layers);
  EXPECT_EQ(out->incoming()[0].word, kWireContext);

  const size_t ports = CountPorts(root), wires = CountWires(root);
  ASSERT_TRUE(SetupMaterial(root).ok());
  ASSERT_TRUE(CreateForwardingWires(root).ok());
  ASSERT_TRUE(SetupContext(root).ok());
  EXPECT_EQ(CountPorts(root), ports);
  EXPECT_EQ(CountWires(root), wires);
}

TEST(MaterialSetup, ContextAndPlacedContextGetTheirWireWords) {
  NodeSystem system;
  GraphNode* board = AddPatternNode(system.root(), "board");
  ASSERT_TRUE(SetupContext(system.root()).ok());
  GraphPort *ctx = nullptr, *local = nullptr;
  ASSERT_TRUE(board->inputs().FindChild("context", ctx).ok());
  ASSERT_TRUE(board->inputs().FindChild("contextlocal", local).ok());
  ASSERT_EQ(ctx->incoming().size(), 1u);
  EXPECT_EQ(ctx->incoming()[0].word, kWireContext);
  ASSERT_EQ(local->incoming().size(), 1u);
  EXPECT_EQ(local->incoming()[0].word, kWireContextLocal);
}

TEST(MaterialSetup, APlacedContextIsNotOverwritten) {
  NodeSystem system;
  GraphNode* place = nullptr;
  ASSERT_TRUE(system.root().AddChild("place", NodeKind::kAsset, "placement2d", place).ok());
  GraphPort* placed = nullptr;
  ASSERT_TRUE(place->outputs().FindOrAddChild("result", placed).ok());
  placed->SetDataType(&kShadingContextType);
  GraphNode* board = AddPatternNode(system.root(), "board");
  GraphPort* local = nullptr;
  ASSERT_TRUE(board->inputs().FindChild("contextlocal", local).ok());
  ASSERT_TRUE(Connect(placed, local, kWireValue).ok());
  ASSERT_TRUE(SetupMaterial(system.root()).ok());
  ASSERT_EQ(local->incoming().size(), 1u);
  EXPECT_EQ(local->incoming()[0].source, placed);
}

TEST(MaterialSetup, ForwardingWiresReachTheRootToo) {
  NodeSystem system;
  AddNestedNodes(system.root());
  ASSERT_TRUE(CreateForwardingWires(system.root()).ok());
  ExpectEveryContextReachesRoot(system.root());
}

// The setup steps and the description finalisers work inside a node system
// only; a detached root fails and gets no material output.
TEST(MaterialSetup, EveryStepNeedsANodeSystem) {
  std::unique_ptr<GraphNode> detached = NodeSystem::MakeDetachedNode("root");
  const std::pair<const char*, Result (*)(GraphNode&)> steps[] = {
      {"SetupMaterial", SetupMaterial},
      {"SetupContext", SetupContext},
      {"CreateForwardingWires", CreateForwardingWires},
      {"FinalizeGradientDescription", FinalizeGradientDescription},
      {"FinalizeSplineDescription", FinalizeSplineDescription}};
  for (const auto& [name, step] : steps) {
    const Result r = step(*detached);
    EXPECT_TRUE(r.Is(errors::kIllegalState)) << name;
    EXPECT_EQ(r.message(), "Illegal state: Condition this->GetNodeSystem() not fulfilled.") << name;
  }
  EXPECT_TRUE(detached->outputs().ports().empty());
}

TEST(GraphModel, WiresAcrossSystemsAreIllegalArguments) {
  NodeSystem a, b;
  GraphPort *pa = nullptr, *pb = nullptr;
  ASSERT_TRUE(a.root().outputs().FindOrAddChild("x", pa).ok());
  ASSERT_TRUE(b.root().inputs().FindOrAddChild("y", pb).ok());
  Result r = Connect(pa, pb, kWireValue);
  EXPECT_TRUE(r.Is(errors::kIllegalArgument));
  EXPECT_EQ(r.message(), "Illegal argument: Condition nodeSystem not fulfilled.");
}

TEST(GraphModel, FindOrAddFindsWhatItAdded) {
  NodeSystem s;
  GraphPort *p = nullptr, *q = nullptr, *none = nullptr;
  ASSERT_TRUE(s.root().inputs().FindOrAddChild("layers", p).ok());
  ASSERT_TRUE(s.root().inputs().FindOrAddChild("layers", q).ok());
  EXPECT_EQ(p, q);
  ASSERT_TRUE(s.root().inputs().FindChild("nosuch", none).ok());
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(p->Path().ToString(), "/root/layers");
  PortList* list = nullptr;
  EXPECT_TRUE(s.root().GetPortList(2, list).Is(errors::kIllegalArgument));
}

TEST(PassThrough, TemplateHasTheTwoPortsWithTheirAttributes) {
  ASSERT_TRUE(RegisterPassThroughNode().ok());
  NodeSystem s;
  GraphNode* n = nullptr;
  BuiltinBuilder build = FindBuiltinNode(kPassThroughId);
  ASSERT_NE(build, nullptr);
  ASSERT_TRUE(build(s.root(), "through", &kVectorType, n).ok());
  EXPECT_EQ(n->kind(), NodeKind::kBuiltin);
  GraphPort *in = nullptr, *out = nullptr;
  ASSERT_TRUE(n->inputs().FindChild("color", in).ok());
  ASSERT_TRUE(n->outputs().FindChild("passthrough", out).ok());
  ASSERT_NE(in, nullptr);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(in->dataType(), &kVectorType);
  EXPECT_EQ(out->dataType(), in->dataType());
  EXPECT_TRUE(out->HasAttribute(kAttrDefaultValue));
  std::unique_ptr<GraphNode> detached = NodeSystem::MakeDetachedNode("x");
  EXPECT_TRUE(build(*detached, "t", nullptr, n).Is(errors::kIllegalState));
  ASSERT_TRUE(UnregisterPassThroughNode().ok());
}

}  // namespace
}  // namespace tessaroc::graph
