#include "core/plan_passes.h"

#include <algorithm>
#include <cstring>

namespace tessaroc::passes {

namespace {

// Kahn's algorithm over `users`; `pending` counts each node's unmet inputs
// and is left with the counts of the nodes that never became ready.
void Kahn(const std::vector<std::vector<int>>& users, std::vector<int>& pending, std::vector<int>& order) {
  for (size_t k = 0; k < order.size(); ++k)
    for (int u : users[order[k]])
      if (--pending[u] == 0) order.push_back(u);
}

}  // namespace

Result OrderByLinks(const PlanGraph& graph, std::vector<int>& order) {
  const int n = static_cast<int>(graph.nodes.size());
  std::vector<std::vector<int>> users(n);
  std::vector<int> pending(n, 0);
  for (int i = 0; i < n; ++i)
    for (const PortBinding& b : graph.nodes[i].ports)
      if (b.kind == Binding::kLink) {
        users[b.srcNode].push_back(i);
        ++pending[i];
      }
  order.clear();
  for (int i = 0; i < n; ++i)
    if (pending[i] == 0) order.push_back(i);
  Kahn(users, pending, order);
  for (int i = 0; i < n; ++i)
    if (pending[i] > 0)
      return Result::Fail(errors::kIllegalState, "the plan has a cycle through " + graph.nodes[i].label);
  return Result::Ok();
}

Result ClassifyVarying(const PlanGraph& graph, std::span<const int> order, std::vector<bool>& varying) {
  const std::vector<PlanNode>& nodes = graph.nodes;
  varying.assign(nodes.size(), false);
  for (int i : order)
    for (const PortBinding& b : nodes[i].ports)
      if (b.kind == Binding::kContext || (b.kind == Binding::kLink && varying[b.srcNode])) varying[i] = true;
  for (size_t i = 0; i < nodes.size(); ++i)
    for (const PortBinding& b : nodes[i].ports)
      if (b.kind == Binding::kLink && varying[b.srcNode] && nodes[b.srcNode].sub != nodes[i].sub)
        return Result::Fail(errors::kIllegalState, nodes[i].label + " reads a per-sample value of " +
                                                       nodes[b.srcNode].label + " across a function boundary");
  return Result::Ok();
}

BlockLayout LayoutBlock(const PlanGraph& graph) {
  BlockLayout layout;
  size_t slots = 0;
  for (const PlanNode& n : graph.nodes) {
    layout.firstSlot.push_back(slots);
    slots += n.ports.size();
  }
  layout.storage.reserve(slots);
  size_t offset = SlotOffset(slots);
  for (const PlanNode& n : graph.nodes)
    for (size_t p = 0; p < n.ports.size(); ++p) {
      const DataType* t = n.group->ports()[p].dataType;
      offset = AlignUp(offset, t->align);
      layout.storage.push_back({offset, t});
      if (n.ports[p].kind == Binding::kFunctionBody) layout.functionSlots.push_back({offset, n.ports[p].body});
      offset += t->size;
    }
  layout.blockSize = AlignUp(offset, kBlockAlign);
  return layout;
}

AccessTables BuildAccessTables(const PlanGraph& graph, const BlockLayout& layout) {
  AccessTables tables;
  const int n = static_cast<int>(graph.nodes.size());
  for (int i = 0; i < n; ++i)
    for (const MicroNodeEntry& m : graph.nodes[i].group->microNodes())
      for (int port : m.portOfAccess)
        tables.offsets.push_back(static_cast<int32_t>(SlotOffset(layout.SlotOf(i, port))));
  // Only now that the offsets no longer move can the steps point into them.
  size_t next = 0;
  for (int i = 0; i < n; ++i) {
    tables.firstStep.push_back(tables.steps.size());
    for (const MicroNodeEntry& m : graph.nodes[i].group->microNodes()) {
      tables.steps.push_back({m.impl, tables.offsets.data() + next});
      next += m.portOfAccess.size();
    }
  }
  tables.firstStep.push_back(tables.steps.size());
  return tables;
}

std::vector<std::vector<int>> UniformReadsOfBodies(const PlanGraph& graph, const std::vector<bool>& varying) {
  const std::vector<PlanNode>& nodes = graph.nodes;
  const size_t bodies = graph.bodies.size();
  std::vector<std::vector<int>> bodyNodes(bodies);
  for (size_t i = 0; i < nodes.size(); ++i) bodyNodes[nodes[i].sub].push_back(static_cast<int>(i));
  std::vector<std::vector<int>> reads(bodies);
  for (size_t body = 1; body < bodies; ++body) {
    std::vector<int>& result = reads[body];
    std::vector<int> stack{static_cast<int>(body)};
    std::vector<bool> seen(bodies, false);
    while (!stack.empty()) {
      const int s = stack.back();
      stack.pop_back();
      if (seen[s]) continue;
      seen[s] = true;
      // The result may be a uniform node outside the body: the graph makes
      // uniform values once, in the main plan.
      const int resultNode = graph.bodies[s].resultNode;
      if (resultNode >= 0 && !varying[resultNode]) result.push_back(resultNode);
      for (int i : bodyNodes[s]) {
        if (!varying[i]) result.push_back(i);
        for (const PortBinding& b : nodes[i].ports) {
          if (b.kind == Binding::kLink && !varying[b.srcNode]) result.push_back(b.srcNode);
          if (b.kind == Binding::kFunctionBody) stack.push_back(b.body);
        }
      }
    }
  }
  return reads;
}

Result OrderUniform(const PlanGraph& graph, const std::vector<bool>& varying,
                    const std::vector<std::vector<int>>& bodyReads, std::vector<UniformStep>& order) {
  const std::vector<PlanNode>& nodes = graph.nodes;
  const int n = static_cast<int>(nodes.size());
  std::vector<std::vector<int>> users(n);
  std::vector<int> pending(n, 0);
  for (int i = 0; i < n; ++i) {
    if (varying[i]) continue;
    for (const PortBinding& b : nodes[i].ports) {
      if (b.kind == Binding::kLink) {
        users[b.srcNode].push_back(i);
        ++pending[i];
      } else if (b.kind == Binding::kFunctionBody) {
        for (int w : bodyReads[b.body]) {
          if (w == i) return Result::Fail(errors::kIllegalState, nodes[i].label + " calls a function that reads it");
          users[w].push_back(i);
          ++pending[i];
        }
      }
    }
  }
  std::vector<int> ready;
  for (int i = 0; i < n; ++i)
    if (!varying[i] && pending[i] == 0) ready.push_back(i);
  Kahn(users, pending, ready);
  for (int i = 0; i < n; ++i)
    if (!varying[i] && pending[i] > 0)
      return Result::Fail(errors::kIllegalState,
                          "uniform nodes depend on each other in a cycle through " + nodes[i].label);
  std::vector<std::vector<int>> reads(n);
  for (int w = 0; w < n; ++w)
    for (int u : users[w]) reads[u].push_back(w);
  order.clear();
  for (int i : ready) order.push_back({i, std::move(reads[i])});
  return Result::Ok();
}

std::vector<SubPlanSchedule> ScheduleSubPlans(const PlanGraph& graph, std::span<const int> order,
                                              const std::vector<bool>& varying, const BlockLayout& layout,
                                              const AccessTables& access) {
  std::vector<SubPlanSchedule> subs(graph.bodies.size());
  for (int i : order) {
    if (!varying[i]) continue;
    const PlanNode& n = graph.nodes[i];
    SubPlanSchedule& s = subs[n.sub];
    const std::span<const Step> steps = access.StepsOf(i);
    s.steps.insert(s.steps.end(), steps.begin(), steps.end());
    s.stepNodes.insert(s.stepNodes.end(), steps.size(), i);
    for (size_t p = 0; p < n.ports.size(); ++p)
      if (n.ports[p].kind == Binding::kContext)
        s.contextSlots.push_back(SlotOffset(layout.SlotOf(i, static_cast<int>(p))));
  }
  for (size_t s = 1; s < subs.size(); ++s)
    subs[s].resultStorage = layout.ValueOffset(graph.bodies[s].resultNode, graph.bodies[s].resultPort);
  return subs;
}

std::vector<std::vector<int>> SubPlanReads(const PlanGraph& graph, const std::vector<bool>& varying,
                                           const std::vector<std::vector<int>>& bodyReads) {
  const std::vector<PlanNode>& nodes = graph.nodes;
  std::vector<std::vector<int>> reads(graph.bodies.size());
  for (size_t i = 0; i < nodes.size(); ++i) {
    if (nodes[i].sub != 0 || !varying[i]) continue;
    for (const PortBinding& b : nodes[i].ports)
      if (b.kind == Binding::kLink && !varying[b.srcNode]) reads[0].push_back(b.srcNode);
  }
  for (size_t i = 0; i < nodes.size(); ++i) {
    if (varying[i] || nodes[i].sub != 0) continue;
    if (std::any_of(nodes[i].ports.begin(), nodes[i].ports.end(), [](const PortBinding& b) { return b.external; }))
      reads[0].push_back(static_cast<int>(i));
  }
  for (size_t s = 1; s < reads.size(); ++s) {
    std::vector<int> deps = bodyReads[s];
    std::sort(deps.begin(), deps.end());
    deps.erase(std::unique(deps.begin(), deps.end()), deps.end());
    reads[s] = std::move(deps);
  }
  return reads;
}

std::vector<std::vector<StorageEntry>> BodyUniformOutputs(const PlanGraph& graph, const BlockLayout& layout,
                                                          const std::vector<std::vector<int>>& subReads) {
  std::vector<std::vector<StorageEntry>> outputs(subReads.size());
  for (size_t s = 1; s < subReads.size(); ++s)
    for (int d : subReads[s]) {
      const std::vector<Port>& ports = graph.nodes[d].group->ports();
      for (size_t p = 0; p < ports.size(); ++p)
        if (!ports[p].IsInput()) outputs[s].push_back(layout.storage[layout.SlotOf(d, static_cast<int>(p))]);
    }
  return outputs;
}

namespace {

// Equal bytes are an equal value for any type the plan holds; unequal bytes
// (two strings with their own buffers) only cost a missed twin.
bool SameConstant(const Data& a, const Data& b) {
  return a.type() == b.type() && !a.empty() && std::memcmp(a.get(), b.get(), a.type()->size) == 0;
}

// Whether main-plan node j computes what body node i computes, given the
// twins found so far.
bool SameInputs(const PlanNode& i, const PlanNode& j, const std::vector<int>& twins) {
  if (i.group != j.group) return false;
  for (size_t p = 0; p < i.ports.size(); ++p) {
    if (!i.group->ports()[p].IsInput()) continue;
    const PortBinding &a = i.ports[p], &b = j.ports[p];
    if (a.kind != b.kind) return false;
    switch (a.kind) {
      case Binding::kNone:
      case Binding::kContext: break;
      case Binding::kConstant:
        if (!SameConstant(a.constant, b.constant)) return false;
        break;
      case Binding::kLink:
        if (a.srcPort != b.srcPort || (a.srcNode != b.srcNode && twins[a.srcNode] != b.srcNode)) return false;
        break;
      case Binding::kExternalFunction:
        if (a.function != b.function) return false;
        break;
      case Binding::kFunctionBody: return false;  // each reads a body of its own
    }
  }
  return true;
}

}  // namespace

std::vector<int> FindMainTwins(const PlanGraph& graph, std::span<const int> order, const std::vector<bool>& varying) {
  const std::vector<PlanNode>& nodes = graph.nodes;
  std::vector<int> twins(nodes.size(), -1);
  // The one node calling each body; a body called from two places, or from a
  // uniform node at prepare time, keeps every node of its own.
  std::vector<int> caller(graph.bodies.size(), -1), callers(graph.bodies.size(), 0);
  for (size_t i = 0; i < nodes.size(); ++i)
    for (const PortBinding& b : nodes[i].ports)
      if (b.kind == Binding::kFunctionBody) {
        caller[b.body] = static_cast<int>(i);
        ++callers[b.body];
      }
  std::vector<size_t> position(nodes.size(), 0);
  for (size_t k = 0; k < order.size(); ++k) position[order[k]] = k;
  for (int i : order) {
    const PlanNode& n = nodes[i];
    if (n.sub == 0 || !varying[i]) continue;
    const int c = caller[n.sub];
    if (callers[n.sub] != 1 || nodes[c].sub != 0 || !varying[c]) continue;
    for (int j : order) {
      if (position[j] >= position[c]) break;
      if (nodes[j].sub == 0 && varying[j] && SameInputs(n, nodes[j], twins)) {
        twins[i] = j;
        break;
      }
    }
  }
  return twins;
}

std::vector<BodyShortcut> BuildBodyShortcuts(const PlanGraph& graph, const std::vector<int>& twins,
                                             const BlockLayout& layout, const std::vector<SubPlanSchedule>& subs) {
  std::vector<BodyShortcut> shortcuts(subs.size());
  for (size_t s = 1; s < subs.size(); ++s) {
    BodyShortcut& sc = shortcuts[s];
    const SubPlanSchedule& full = subs[s];
    for (size_t k = 0; k < full.steps.size(); ++k) {
      const int node = full.stepNodes[k];
      if (twins[node] >= 0) {
        sc.usable = true;
        continue;
      }
      sc.steps.push_back(full.steps[k]);
      sc.stepNodes.push_back(node);
    }
    const PlanBody& body = graph.bodies[s];
    const int resultTwin = twins[body.resultNode];
    sc.resultStorage = resultTwin >= 0 ? layout.ValueOffset(resultTwin, body.resultPort) : full.resultStorage;
    if (!sc.usable) continue;
    for (size_t i = 0; i < graph.nodes.size(); ++i) {
      const PlanNode& n = graph.nodes[i];
      if (static_cast<size_t>(n.sub) != s || twins[i] >= 0) continue;
      for (size_t p = 0; p < n.ports.size(); ++p) {
        const PortBinding& b = n.ports[p];
        if (b.kind != Binding::kLink || twins[b.srcNode] < 0) continue;
        sc.redirects.push_back({SlotOffset(layout.SlotOf(static_cast<int>(i), static_cast<int>(p))),
                                layout.ValueOffset(twins[b.srcNode], b.srcPort),
                                layout.ValueOffset(b.srcNode, b.srcPort)});
      }
    }
  }
  return shortcuts;
}

}  // namespace tessaroc::passes
