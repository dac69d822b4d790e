// The runtime: a Plan is a set of node instances with their port bindings,
// laid out in one value block; a PlanInstance owns such a block and runs the
// kernels. Work is split by what it depends on: uniform nodes (no context
// reaches them, pre nodes among them) run once in Prepare; varying nodes run
// per evaluation. A Function port linked to a sub-plan receives a
// FunctionInterface that runs that sub-plan's varying nodes with the argument
// as their context. Evaluating allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <span>
#include <string>
#include <vector>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "tessaroc/core/micronode.h"
#include "tessaroc/core/registry.h"

namespace tessaroc {

struct NodeRef {
  int index = -1;
  bool valid() const { return index >= 0; }
};

// A function body: 0 is the main plan, others are bodies of Function ports.
struct SubPlanRef {
  int index = 0;
};

class PlanInstance;

// Calls and time of one node of a plan, as an instance counts them when it
// profiles (PlanInstance::StartProfile) or prepares.
struct NodeProfile {
  uint64_t calls = 0;
  // The node's own time in ProfileTicks: without the function bodies its
  // kernels called, which count for the nodes of those bodies.
  uint64_t ticks = 0;
};

// The clock of profiles: the processor's time-stamp counter on x86-64
// (a few nanoseconds to read), else nanoseconds of the steady clock.
uint64_t ProfileTicks();
// What reading the clock twice costs, in ticks: a profiled call is measured
// that much longer than it is.
uint64_t ProfileClockCost();

class Plan {
 public:
  Plan();
  ~Plan();
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;

  // ---- Building
  Result AddNode(const MicroNodeGroup* group, std::string label, NodeRef& out, SubPlanRef sub = {});
  // A constant for an input; the value is copied.
  Result SetValue(NodeRef node, const Id& port, ValueSlot value);
  template <class T>
  Result Set(NodeRef node, const Id& port, const T& value);
  // The input reads the output of another node.
  Result Link(NodeRef dst, const Id& dstPort, NodeRef src, const Id& srcPort);
  // Links every output of a pre node to the consumer's input of the same id.
  Result LinkPreNode(NodeRef pre, NodeRef consumer);
  // The input receives the context the sub-plan is evaluated with.
  Result BindContext(NodeRef node, const Id& port);
  // A function body returning values of `resultType`.
  Result AddSubPlan(const DataType& resultType, SubPlanRef& out);
  Result SetSubPlanResult(SubPlanRef sub, NodeRef node, const Id& port);
  // The Function port gets a function running the body.
  Result LinkFunction(NodeRef dst, const Id& dstPort, SubPlanRef body);
  // The Function port gets a function of the caller's (not owned).
  Result SetFunction(NodeRef dst, const Id& dstPort, const FunctionInterface* fn);
  // The main result.
  Result SetOutput(NodeRef node, const Id& port);
  // An output someone outside reads, though nothing in the plan links it.
  Result RequestOutput(NodeRef node, const Id& port);
  // Classifies nodes, orders them, lays out the block. No building afterwards.
  Result Finish();

  // ---- Inspection
  bool finished() const { return finished_; }
  size_t nodeCount() const;
  const MicroNodeGroup* group(NodeRef node) const;
  const std::string& label(NodeRef node) const;
  bool IsUniform(NodeRef node) const;
  const DataType* outputType() const;
  size_t blockSize() const { return blockSize_; }
  // How many kernels run per evaluation of the main plan.
  size_t varyingStepCount() const;

 private:
  friend class PlanInstance;
  struct Impl;
  std::unique_ptr<Impl> impl_;
  bool finished_ = false;
  size_t blockSize_ = 0;
};

template <class T>
Result Plan::Set(NodeRef node, const Id& port, const T& value) {
  return SetValue(node, port, ValueSlot{DataTypeOf<T>(), const_cast<T*>(&value)});
}

// One value block of a finished plan and the function objects bound to it. An
// instance is used by one thread at a time; give each thread its own Clone().
// A function of the instance may also be called from other threads while the
// instance runs (a pre node baking its input on a parallel loop): each such
// thread gets a copy of its own for that function, made once.
class PlanInstance {
 public:
  static Result Create(const Plan& plan, std::unique_ptr<PlanInstance>& out);
  ~PlanInstance();
  PlanInstance(const PlanInstance&) = delete;
  PlanInstance& operator=(const PlanInstance&) = delete;

  // Runs the uniform nodes once, in dependency order. Running it again keeps
  // PERMANENT state, so a pre node sees what it built before. A uniform node
  // that fails is not an error here unless the main plan reads it; a function
  // body that reads it returns the error when called.
  Result Prepare();
  // Runs the main plan's varying nodes with this context. With kMoved the
  // caller promises that `ctx` differs from the context of this instance's
  // last evaluation only in the moved fields (CopyMovedFields); nodes that pass
  // a context on then copy only those. The promise is not taken after a failed
  // evaluation, a Prepare or a SetInput, nor by a new instance or a clone.
  Result Evaluate(const ShadingContext& ctx, ContextChange change = ContextChange::kAny);

  // Profiling. From StartProfile on, EvaluateProfiled runs what Evaluate runs
  // and counts calls and time per node into profile(), the function bodies it
  // calls included. Evaluate itself is untouched, so an instance that does not
  // profile pays nothing. StartProfile allocates; EvaluateProfiled does not.
  Result StartProfile();
  Result EvaluateProfiled(const ShadingContext& ctx, ContextChange change = ContextChange::kAny);
  // Per node of the plan (by NodeRef index); empty before StartProfile.
  const std::vector<NodeProfile>& profile() const { return profile_; }
  // Per node, what the last Prepare spent on it: one call per uniform node
  // that ran, with what it evaluated (a bake's samples); the rest are 0.
  const std::vector<NodeProfile>& prepareProfile() const { return prepareProfile_; }
  // The main result (valid after Evaluate).
  ValueSlot Output() const;
  template <class T>
  const T& OutputAs() const {
    return *static_cast<const T*>(Output().value);
  }

  // The storage of a port of a node, for inspection.
  ValueSlot PortValue(NodeRef node, const Id& port, bool input) const;
  template <class T>
  const T& Get(NodeRef node, const Id& port) const {
    return *static_cast<const T*>(PortValue(node, port, false).value);
  }
  // Replaces a constant input between evaluations (clears INPUT_WITHOUT_VALUE).
  Result SetInput(NodeRef node, const Id& port, ValueSlot value);
  template <class T>
  Result Set(NodeRef node, const Id& port, const T& value) {
    return SetInput(node, port, ValueSlot{DataTypeOf<T>(), const_cast<T*>(&value)});
  }

  // A deep copy: values are copied (shared objects shared), pointers inside the
  // block moved to the copy, functions bound to the copy.
  Result Clone(std::unique_ptr<PlanInstance>& out) const;

  const Plan& plan() const { return *plan_; }
  // Runs a body with a context; used by the function objects.
  Result RunSubPlan(int sub, const ShadingContext& ctx);

 private:
  explicit PlanInstance(const Plan& plan);
  Result Allocate();
  void BindFunctions();
  // The copy of this instance that runs `body` for the calling thread.
  Result WorkerCopy(int body, PlanInstance*& out);
  template <bool kProfiled>
  Result Run(int sub, const ShadingContext& ctx, bool shortcut = false, ContextChange change = ContextChange::kAny);
  template <bool kProfiled>
  class SubPlanFunction;

  const Plan* plan_;
  uint64_t serial_;
  std::byte* block_ = nullptr;
  // The function objects bound to the Function ports: plain ones, or from
  // StartProfile on the profiling ones.
  std::vector<std::unique_ptr<FunctionInterface>> functions_;
  std::vector<NodeProfile> profile_;
  std::vector<NodeProfile> prepareProfile_;
  bool profiling_ = false;
  // While profiling: the time the bodies called by the running kernel took.
  uint64_t profileNested_ = 0;
  struct Worker {
    std::thread::id thread;
    int body;
    std::unique_ptr<PlanInstance> instance;
  };
  std::mutex workerMutex_;
  std::vector<Worker> workers_;
  // What Prepare found: per node the error of a uniform node (or what it
  // read), per sub-plan the first such error it depends on.
  std::vector<Result> failed_;
  std::vector<Result> subFailed_;
  // The context the main plan runs with, while it runs: a body called with it
  // may read what the main plan computed (Plan::Impl::shortcuts). Off once an
  // input of a node with a twin is replaced.
  const ShadingContext* mainContext_ = nullptr;
  bool shortcuts_ = true;
  // Whether every main-plan node ran with the last context: only then may the
  // next evaluation's nodes build on what they wrote (ContextChange::kMoved).
  bool mainComplete_ = false;
};

// ---- Convenience runs of one node, for hosts, tests and benchmarks.

// Binds a pointer and a byte stride for one access index of a BATCH kernel.
struct BatchBinding {
  void* first;
  int32_t stride;
};

// Runs the micro node `micro` of a group once over [0, count): the kernel moves
// each pointer by its stride. A count of 0 or below writes nothing.
Result RunBatch(const MicroNodeGroup& group, size_t micro, std::span<const BatchBinding> bindings, int64_t count);

// A plan of one node: every input settable, every output requested, every
// context port bound to the evaluation context.
class SingleNodeRunner {
 public:
  static Result Create(const Id& nodeId, std::unique_ptr<SingleNodeRunner>& out,
                       std::span<const int64_t> arrayCounts = {});
  static Result Create(const MicroNodeGroup* group, std::unique_ptr<SingleNodeRunner>& out);

  template <class T>
  Result Set(const Id& port, const T& value) {
    return instance_->Set(node_, port, value);
  }
  Result SetFunction(const Id& port, const FunctionInterface* fn);
  // Runs the node once: in Prepare when it is uniform, else as an evaluation
  // with this context.
  Result Run(const ShadingContext& ctx = ShadingContext());
  template <class T>
  const T& Get(const Id& port) const {
    return instance_->Get<T>(node_, port);
  }
  PlanInstance& instance() { return *instance_; }
  NodeRef node() const { return node_; }

 private:
  std::unique_ptr<Plan> plan_;
  std::unique_ptr<PlanInstance> instance_;
  NodeRef node_;
  bool varying_ = false;
};

}  // namespace tessaroc
