// The passes that compile a built plan into what its instances run. Each pass
// reads plain per-node arrays and returns a result of its own, so that it can
// be tested on a hand-made graph; Plan::Finish runs them in order. Nothing
// here runs per sample: the passes lay out data that the per-sample loop only
// walks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tessaroc/core/data.h"
#include "tessaroc/core/function.h"
#include "tessaroc/core/micronode.h"
#include "tessaroc/core/result.h"

namespace tessaroc::passes {

// ---- The value block: a header, one slot per port, then the port values.

inline constexpr size_t kHeaderSize = sizeof(ValueBlockHead) + sizeof(BatchRange);
inline constexpr size_t kBlockAlign = 64;

constexpr size_t AlignUp(size_t v, size_t a) { return (v + a - 1) / a * a; }
// The byte offset of the slot with this global index.
constexpr size_t SlotOffset(size_t slot) { return kHeaderSize + slot * sizeof(PortSlot); }

// ---- What building a plan records.

enum class Binding { kNone, kConstant, kLink, kContext, kFunctionBody, kExternalFunction };

struct PortBinding {
  Binding kind = Binding::kNone;
  int srcNode = -1;
  int srcPort = -1;
  int body = -1;
  Data constant;
  const FunctionInterface* function = nullptr;
  bool requested = false;   // an output read from outside the plan or as a function body's result
  bool external = false;    // an output read from outside the plan
  bool linkedFrom = false;  // an output some input links to
};

struct PlanNode {
  const MicroNodeGroup* group = nullptr;  // only the layout and access passes look at it
  std::string label;
  int sub = 0;                     // the function body the node belongs to; 0 is the main plan
  std::vector<PortBinding> ports;  // one per port of the group, in port order
};

// A function body and where its result comes from; entry 0, the main plan, has none.
struct PlanBody {
  const DataType* resultType = nullptr;
  int resultNode = -1;
  int resultPort = -1;
};

struct PlanGraph {
  std::vector<PlanNode> nodes;
  std::vector<PlanBody> bodies;
};

// ---- Pass 1: every node after the nodes it links from (a cycle is an error).
Result OrderByLinks(const PlanGraph& graph, std::vector<int>& order);

// ---- Pass 2: a node is varying when a context reaches it through value
// links; everything else is uniform and runs once at prepare time. A function
// body may not read a per-sample value of another body or the main plan.
Result ClassifyVarying(const PlanGraph& graph, std::span<const int> order, std::vector<bool>& varying);

// ---- Pass 3: where each port's slot and value live.
struct StorageEntry {
  size_t offset;
  const DataType* type;
};
struct FunctionSlot {
  size_t storage;  // the value storage of the Function port
  int body;
};
struct BlockLayout {
  std::vector<size_t> firstSlot;            // per node: the global slot index of its port 0
  std::vector<StorageEntry> storage;        // per global slot: where its value lives
  std::vector<FunctionSlot> functionSlots;  // ports that receive a function body
  size_t blockSize = 0;

  size_t slotCount() const { return storage.size(); }
  size_t SlotOf(int node, int port) const { return firstSlot[node] + static_cast<size_t>(port); }
  size_t ValueOffset(int node, int port) const { return storage[SlotOf(node, port)].offset; }
};
BlockLayout LayoutBlock(const PlanGraph& graph);

// ---- Pass 4: per micro node the byte offsets of the slots it accesses, in
// access order, and the call that runs it.
struct Step {
  const MicroNodeImpl* impl;
  const int32_t* offsets;
};
struct AccessTables {
  std::vector<int32_t> offsets;   // every micro node's table, node after node
  std::vector<Step> steps;        // every micro node, node after node; points into `offsets`
  std::vector<size_t> firstStep;  // node n runs steps [firstStep[n], firstStep[n + 1])

  AccessTables() = default;
  AccessTables(AccessTables&&) = default;
  AccessTables& operator=(AccessTables&&) = default;
  AccessTables(const AccessTables&) = delete;  // the steps point into this object's offsets
  std::span<const Step> StepsOf(int node) const {
    return std::span<const Step>(steps).subspan(firstStep[node], firstStep[node + 1] - firstStep[node]);
  }
};
AccessTables BuildAccessTables(const PlanGraph& graph, const BlockLayout& layout);

// ---- Pass 5: the uniform nodes in dependency order. A node that calls a
// function body at prepare time comes after every uniform node that body
// reads; `reads` lists what a node waits for, so that a failure reaches it.
struct UniformStep {
  int node;
  std::vector<int> reads;
};
// Per function body, the uniform nodes it reads when called: its result when
// that is uniform, its own uniform nodes, the uniform nodes its nodes link
// from, and the same for the bodies it calls. Entry 0 (the main plan) stays empty.
std::vector<std::vector<int>> UniformReadsOfBodies(const PlanGraph& graph, const std::vector<bool>& varying);
Result OrderUniform(const PlanGraph& graph, const std::vector<bool>& varying,
                    const std::vector<std::vector<int>>& bodyReads, std::vector<UniformStep>& order);

// ---- Pass 6: per sub-plan the steps of its varying nodes in link order, the
// slots that receive its context and, for a body, where its result lies.
struct SubPlanSchedule {
  std::vector<Step> steps;
  std::vector<int> stepNodes;        // per step, the node it belongs to (for profiles)
  std::vector<size_t> contextSlots;  // byte offsets of the slots bound to the argument
  size_t resultStorage = 0;
};
std::vector<SubPlanSchedule> ScheduleSubPlans(const PlanGraph& graph, std::span<const int> order,
                                              const std::vector<bool>& varying, const BlockLayout& layout,
                                              const AccessTables& access);

// ---- Pass 7: per sub-plan the uniform nodes whose results it reads, so that
// a uniform failure reaches exactly the sub-plans that need it. Outputs read
// from outside count as read by the main plan.
std::vector<std::vector<int>> SubPlanReads(const PlanGraph& graph, const std::vector<bool>& varying,
                                           const std::vector<std::vector<int>>& bodyReads);
// Per function body, the output values of the uniform nodes it reads: what a
// worker thread's copy of an instance takes over before it runs the body.
std::vector<std::vector<StorageEntry>> BodyUniformOutputs(const PlanGraph& graph, const BlockLayout& layout,
                                                          const std::vector<std::vector<int>>& subReads);

// ---- Pass 8: what a function body may take over from the main plan. A twin
// is a varying main-plan node of the same group with the same inputs (equal
// constants, the context, links from the same uniform node or from twins)
// that runs before the one node calling the body. Called with the main plan's
// own context, the body skips its twins and reads their outputs: the same
// bits, since a kernel is a function of its inputs. Per node: its twin, or -1.
std::vector<int> FindMainTwins(const PlanGraph& graph, std::span<const int> order, const std::vector<bool>& varying);

struct BodyShortcut {
  std::vector<Step> steps;  // the body's steps less its twins'
  std::vector<int> stepNodes;
  // Input slots fed by a twinned node: the byte offset of the slot, and of
  // the value it reads on the shortcut (the twin's) and otherwise (its own).
  struct Redirect {
    size_t slot;
    size_t twinValue;
    size_t ownValue;
  };
  std::vector<Redirect> redirects;
  size_t resultStorage = 0;
  bool usable = false;  // the body has twins
};
std::vector<BodyShortcut> BuildBodyShortcuts(const PlanGraph& graph, const std::vector<int>& twins,
                                             const BlockLayout& layout, const std::vector<SubPlanSchedule>& subs);

}  // namespace tessaroc::passes
