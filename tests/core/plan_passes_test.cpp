// The compiler passes on hand-made graphs: link order and cycles, uniform and
// varying through links and function bodies, the block layout, the order of
// uniform work and what each sub-plan reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "core/plan_passes.h"
#include "test_nodes.h"

namespace tessaroc::passes {
namespace {

// A graph for the passes that look only at bindings: nodes without groups,
// one binding per call.
class Graph {
 public:
  explicit Graph(int bodies = 1) { g_.bodies.resize(bodies); }
  int Add(int sub = 0) {
    g_.nodes.push_back({nullptr, "n" + std::to_string(g_.nodes.size()), sub, {}});
    return static_cast<int>(g_.nodes.size()) - 1;
  }
  void Link(int dst, int src) { Bind(dst, Binding::kLink).srcNode = src; }
  void Context(int node) { Bind(node, Binding::kContext); }
  void Calls(int node, int body) { Bind(node, Binding::kFunctionBody).body = body; }
  void External(int node) { Bind(node, Binding::kNone).external = true; }
  void SetResult(int body, int node) { g_.bodies[body].resultNode = node; }
  const PlanGraph& get() const { return g_; }

 private:
  PortBinding& Bind(int node, Binding kind) {
    PortBinding& b = g_.nodes[node].ports.emplace_back();
    b.kind = kind;
    b.srcPort = 0;
    return b;
  }
  PlanGraph g_;
};

// Orders and classifies; fails the test on an error.
std::vector<bool> Varying(const PlanGraph& g) {
  std::vector<int> order;
  std::vector<bool> varying;
  EXPECT_TRUE(OrderByLinks(g, order).ok());
  EXPECT_TRUE(ClassifyVarying(g, order, varying).ok());
  return varying;
}

TEST(PlanPasses, OrderByLinksPutsSourcesFirstAndRejectsCycles) {
  struct Case {
    const char* name;
    std::vector<std::pair<int, int>> links;  // (dst, src)
    bool cycle;
  };
  const Case cases[] = {
      {"chain added backwards", {{0, 1}, {1, 2}, {2, 3}}, false},
      {"diamond", {{0, 1}, {0, 2}, {1, 3}, {2, 3}}, false},
      {"self link", {{2, 2}}, true},
      {"cycle with a tail", {{0, 1}, {1, 2}, {2, 1}, {3, 0}}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Graph g;
    for (int i = 0; i < 4; ++i) g.Add();
    for (auto [dst, src] : c.links) g.Link(dst, src);
    std::vector<int> order;
    const Result r = OrderByLinks(g.get(), order);
    if (c.cycle) {
      EXPECT_TRUE(r.Is(errors::kIllegalState));
      EXPECT_NE(r.message().find("cycle through n"), std::string_view::npos);
      continue;
    }
    ASSERT_TRUE(r.ok());
    ASSERT_EQ(order.size(), 4u);
    auto at = [&](int n) { return std::find(order.begin(), order.end(), n) - order.begin(); };
    for (auto [dst, src] : c.links) EXPECT_LT(at(src), at(dst)) << src << " before " << dst;
  }
}

TEST(PlanPasses, ContextMakesVaryingThroughLinksButNotThroughFunctionCalls) {
  {  // links in the reverse order of the nodes: the pass must follow link order
    Graph g;
    for (int i = 0; i < 5; ++i) g.Add();
    g.Link(0, 1);
    g.Link(1, 2);
    g.Context(2);
    g.Link(4, 3);
    EXPECT_EQ(Varying(g.get()), (std::vector<bool>{true, true, true, false, false}));
  }
  {  // a caller of a per-sample body, and what reads the caller, stay uniform
    Graph g(2);
    const int caller = g.Add(), inBody = g.Add(1), reader = g.Add();
    g.Calls(caller, 1);
    g.Context(inBody);
    g.SetResult(1, inBody);
    g.Link(reader, caller);
    EXPECT_EQ(Varying(g.get()), (std::vector<bool>{false, true, false}));
  }
  // A body may read a uniform value of the main plan, not a per-sample one.
  for (bool perSample : {false, true}) {
    Graph g(2);
    const int outside = g.Add(), inside = g.Add(1);
    if (perSample) g.Context(outside);
    g.Link(inside, outside);
    g.SetResult(1, inside);
    std::vector<int> order;
    std::vector<bool> varying;
    ASSERT_TRUE(OrderByLinks(g.get(), order).ok());
    const Result r = ClassifyVarying(g.get(), order, varying);
    EXPECT_EQ(r.ok(), !perSample) << r.ToString();
    if (perSample) { EXPECT_NE(r.message().find("across a function boundary"), std::string_view::npos); }
  }
}

TEST(PlanPasses, LayoutAlignsEveryValueAfterTheSlotsAndRecordsFunctionPorts) {
  CoreNodeRegistry registry;
  ASSERT_TRUE(testing::RegisterTestNodes(registry).ok());
  PlanGraph g;
  g.bodies.resize(2);
  // A 4-byte and a 12-byte value, then a context: the context needs padding.
  for (const char* id : {testing::kCounterPreNode, testing::kCounterUseNode, testing::kBakeNode}) {
    const MicroNodeGroup* group = nullptr;
    ASSERT_TRUE(registry.GetGroup(id, group).ok());
    g.nodes.push_back({group, id, 0, std::vector<PortBinding>(group->ports().size())});
  }
  g.nodes[2].ports[0].kind = Binding::kFunctionBody;
  g.nodes[2].ports[0].body = 1;

  const BlockLayout layout = LayoutBlock(g);
  EXPECT_EQ(layout.firstSlot, (std::vector<size_t>{0, 2, 5}));
  ASSERT_EQ(layout.slotCount(), 7u);
  size_t end = SlotOffset(layout.slotCount()), padding = 0;
  for (size_t s = 0; s < layout.slotCount(); ++s) {
    const StorageEntry& e = layout.storage[s];
    EXPECT_EQ(e.offset % e.type->align, 0u) << "slot " << s;
    EXPECT_GE(e.offset, end) << "slot " << s;
    padding += e.offset - end;
    end = e.offset + e.type->size;
  }
  EXPECT_GT(padding, 0u);
  EXPECT_GE(layout.blockSize, end);
  EXPECT_EQ(layout.blockSize % kBlockAlign, 0u);
  ASSERT_EQ(layout.functionSlots.size(), 1u);
  EXPECT_EQ(layout.functionSlots[0].storage, layout.ValueOffset(2, 0));
  EXPECT_EQ(layout.functionSlots[0].body, 1);
}

TEST(PlanPasses, UniformWorkWaitsForWhatTheFunctionsItCallsRead) {
  struct Case {
    const char* name;
    std::function<void(Graph&)> build;
    std::vector<std::pair<int, int>> waits;  // (node, what it waits for)
    const char* error;
  };
  const Case cases[] = {
      {"a body's own uniform node and what it links from",
       [](Graph& g) {
         const int caller = g.Add(), own = g.Add(1), sampled = g.Add(1), outside = g.Add();
         g.Calls(caller, 1);
         g.Context(sampled);
         g.Link(sampled, outside);
         g.Link(sampled, own);
         g.SetResult(1, sampled);
       },
       {{0, 1}, {0, 3}},
       nullptr},
      {"through a nested body",
       [](Graph& g) {
         const int caller = g.Add(), middle = g.Add(1), deep = g.Add(2);
         g.Calls(caller, 1);
         g.Calls(middle, 2);
         g.Context(middle);
         g.SetResult(1, middle);
         g.SetResult(2, deep);
       },
       {{0, 2}},
       nullptr},
      {"a result outside the body, directly and through a nested body",
       [](Graph& g) {
         // Uniform values that feed a function are made once, in the main plan.
         const int nested = g.Add(), middle = g.Add(1), value = g.Add(), direct = g.Add();
         g.Calls(nested, 1);
         g.Calls(middle, 2);
         g.Context(middle);
         g.SetResult(1, middle);
         g.SetResult(2, value);
         g.Calls(direct, 2);
       },
       {{0, 2}, {3, 2}},
       nullptr},
      {"a function that reads its caller",
       [](Graph& g) {
         const int caller = g.Add(), inside = g.Add(1);
         g.Calls(caller, 1);
         g.Link(inside, caller);
         g.SetResult(1, inside);
       },
       {},
       "calls a function that reads it"},
      {"two callers reading each other",
       [](Graph& g) {
         const int a = g.Add(), b = g.Add(), inA = g.Add(1), inB = g.Add(2);
         g.Calls(a, 1);
         g.Calls(b, 2);
         g.Link(inA, b);
         g.Link(inB, a);
         g.SetResult(1, inA);
         g.SetResult(2, inB);
       },
       {},
       "depend on each other in a cycle"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Graph g(3);
    c.build(g);
    const std::vector<bool> varying = Varying(g.get());
    std::vector<UniformStep> order;
    const Result r = OrderUniform(g.get(), varying, UniformReadsOfBodies(g.get(), varying), order);
    if (c.error) {
      EXPECT_NE(r.message().find(c.error), std::string_view::npos) << r.ToString();
      continue;
    }
    ASSERT_TRUE(r.ok()) << r.ToString();
    auto at = [&](int n) {
      return std::find_if(order.begin(), order.end(), [&](const UniformStep& u) { return u.node == n; }) -
             order.begin();
    };
    for (size_t i = 0; i < varying.size(); ++i) EXPECT_EQ(at(static_cast<int>(i)) < std::ssize(order), !varying[i]);
    for (auto [node, first] : c.waits) {
      ASSERT_LT(at(node), std::ssize(order));
      EXPECT_LT(at(first), at(node)) << node << " after " << first;
      const std::vector<int>& reads = order[at(node)].reads;
      EXPECT_NE(std::find(reads.begin(), reads.end(), first), reads.end()) << node << " reads " << first;
    }
  }
}

TEST(PlanPasses, SubPlansReadTheUniformResultsTheyNeedAndNothingElse) {
  Graph g(3);
  const int requested = g.Add(), linked = g.Add(), sampled = g.Add();
  g.Add();  // uniform, read by nobody
  g.External(requested);
  g.Context(sampled);
  g.Link(sampled, linked);
  // Body 1: a uniform result, a per-sample node reading the main plan and
  // calling body 2, whose result is a uniform node of the main plan.
  const int result1 = g.Add(1), sampled1 = g.Add(1), outside = g.Add(), result2 = g.Add();
  g.SetResult(1, result1);
  g.Context(sampled1);
  g.Link(sampled1, outside);
  g.Calls(sampled1, 2);
  g.SetResult(2, result2);

  const std::vector<bool> varying = Varying(g.get());
  std::vector<std::vector<int>> reads = SubPlanReads(g.get(), varying, UniformReadsOfBodies(g.get(), varying));
  ASSERT_EQ(reads.size(), 3u);
  std::sort(reads[0].begin(), reads[0].end());
  EXPECT_EQ(reads[0], (std::vector<int>{requested, linked}));
  EXPECT_EQ(reads[1], (std::vector<int>{result1, outside, result2}));
  EXPECT_EQ(reads[2], (std::vector<int>{result2}));
}

}  // namespace
}  // namespace tessaroc::passes
