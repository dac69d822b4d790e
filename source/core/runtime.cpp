#include "tessaroc/core/runtime.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

#include "core/plan_passes.h"

namespace tessaroc {

namespace {

using passes::AlignUp;
using passes::Binding;
using passes::kBlockAlign;
using passes::PortBinding;
using passes::SlotOffset;
using passes::Step;

// Every kernel is called the same way; the first error ends the run.
inline Result RunSteps(std::span<const Step> steps, std::byte* block) {
  for (const Step& s : steps) {
    Result r;
    s.impl->kernel(r, *s.impl, PortAccess{block, s.offsets});
    if (r.failed()) return r;
  }
  return Result::Ok();
}

// The same run, counting per node: a node's calls (once for all its micro
// nodes) and its own time, which is what its kernels took less what the
// function bodies they called took. `nested` collects the latter: every run
// here adds its whole time to it, for the kernel that called it.
inline Result RunStepsProfiled(std::span<const Step> steps, std::span<const int> nodes, std::byte* block,
                               NodeProfile* profile, uint64_t& nested) {
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step& s = steps[i];
    Result r;
    const uint64_t outer = std::exchange(nested, 0);
    const uint64_t start = ProfileTicks();
    s.impl->kernel(r, *s.impl, PortAccess{block, s.offsets});
    const uint64_t took = ProfileTicks() - start;
    NodeProfile& p = profile[nodes[i]];
    p.ticks += took - std::min(took, nested);
    if (i == 0 || nodes[i - 1] != nodes[i]) ++p.calls;
    nested = outer + took;
    if (r.failed()) return r;
  }
  return Result::Ok();
}

const ShadingContext kUnboundContext{};

// The instance whose kernels run on this thread right now. A function called
// from another thread (a worker of a parallel bake) runs on a copy of its own.
thread_local const PlanInstance* tlsActive = nullptr;

class ActiveScope {
 public:
  explicit ActiveScope(const PlanInstance* instance) : saved_(tlsActive) { tlsActive = instance; }
  ~ActiveScope() { tlsActive = saved_; }

 private:
  const PlanInstance* saved_;
};

// Which copy serves (instance, body) on this thread; a few entries suffice.
struct WorkerCacheEntry {
  uint64_t serial = 0;
  int body = 0;
  PlanInstance* copy = nullptr;
};
thread_local WorkerCacheEntry tlsWorkerCache[8];
thread_local unsigned tlsWorkerNext = 0;

std::atomic<uint64_t> gNextSerial{1};

}  // namespace

uint64_t ProfileTicks() {
#if defined(__x86_64__)
  return __rdtsc();
#else
  return static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
          .count());
#endif
}

uint64_t ProfileClockCost() {
  static const uint64_t cost = [] {
    uint64_t least = UINT64_MAX;
    for (int i = 0; i < 256; ++i) {
      const uint64_t a = ProfileTicks();
      const uint64_t b = ProfileTicks();
      least = std::min(least, b - a);
    }
    return least;
  }();
  return cost;
}

struct Plan::Impl {
  // What building records.
  passes::PlanGraph graph;
  int outNode = -1;
  int outPort = -1;
  // What Finish compiles from it.
  std::vector<bool> varying;
  passes::BlockLayout layout;
  passes::AccessTables access;
  std::vector<passes::UniformStep> uniform;
  std::vector<passes::SubPlanSchedule> subs;  // 0 is the main plan
  // Per sub-plan: the uniform nodes whose results it reads.
  std::vector<std::vector<int>> subUniformReads;
  // Per function body: the output storage of the uniform nodes it reads,
  // which a worker thread's copy of the instance needs.
  std::vector<std::vector<passes::StorageEntry>> bodyUniformOutputs;
  // Per function body: what it takes over from the main plan; per node:
  // whether it has or is a twin.
  std::vector<passes::BodyShortcut> shortcuts;
  std::vector<bool> twinned;

  Result Node(NodeRef ref, passes::PlanNode*& out) {
    if (ref.index < 0 || ref.index >= static_cast<int>(graph.nodes.size()))
      return Result::Fail(errors::kIllegalArgument, "no such node in the plan");
    out = &graph.nodes[ref.index];
    return Result::Ok();
  }
  Result PortOf(NodeRef ref, const Id& port, bool input, passes::PlanNode*& node, int& index) {
    TESSAROC_RETURN_IF_FAILED(Node(ref, node));
    index = node->group->FindPortIndex(port, input);
    if (index < 0)
      return Result::Fail(errors::kIllegalArgument, std::string("node ") + node->label + " has no " +
                                                        (input ? "input " : "output ") + port.str());
    return Result::Ok();
  }
  int bodyCount() const { return static_cast<int>(graph.bodies.size()); }
  // The byte offset of a port's slot in the block.
  size_t SlotOffsetOf(int node, int port) const { return SlotOffset(layout.SlotOf(node, port)); }
};

Plan::Plan() : impl_(std::make_unique<Impl>()) {
  impl_->graph.bodies.emplace_back();  // the main plan
}
Plan::~Plan() = default;

Result Plan::AddNode(const MicroNodeGroup* group, std::string label, NodeRef& out, SubPlanRef sub) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  if (group == nullptr || !group->finalized())
    return Result::Fail(errors::kNullPtr, "adding a node needs a finished group");
  if (sub.index < 0 || sub.index >= impl_->bodyCount())
    return Result::Fail(errors::kIllegalArgument, "no such sub-plan");
  passes::PlanNode n;
  n.group = group;
  n.label = label.empty() ? group->id().str() : std::move(label);
  n.sub = sub.index;
  n.ports.resize(group->ports().size());
  impl_->graph.nodes.push_back(std::move(n));
  out.index = static_cast<int>(impl_->graph.nodes.size()) - 1;
  return Result::Ok();
}

Result Plan::SetValue(NodeRef node, const Id& port, ValueSlot value) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(node, port, true, n, p));
  const DataType* type = n->group->ports()[p].dataType;
  if (value.type && !value.type->StoredLike(*type))
    return Result::Fail(errors::kIllegalArgument, "value of type " + value.type->id.str() + " for port " + port.str() +
                                                      " of type " + type->id.str());
  PortBinding& b = n->ports[p];
  b = PortBinding();
  b.kind = Binding::kConstant;
  type->copyAssign(b.constant.Emplace(type), value.value);
  return Result::Ok();
}

Result Plan::Link(NodeRef dst, const Id& dstPort, NodeRef src, const Id& srcPort) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  passes::PlanNode *d = nullptr, *s = nullptr;
  int dp = -1, sp = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(dst, dstPort, true, d, dp));
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(src, srcPort, false, s, sp));
  const DataType* dt = d->group->ports()[dp].dataType;
  const DataType* st = s->group->ports()[sp].dataType;
  if (!dt->StoredLike(*st))
    return Result::Fail(errors::kIllegalArgument, "cannot link " + st->id.str() + " output " + srcPort.str() + " to " +
                                                      dt->id.str() + " input " + dstPort.str());
  PortBinding& b = d->ports[dp];
  b = PortBinding();
  b.kind = Binding::kLink;
  b.srcNode = src.index;
  b.srcPort = sp;
  s->ports[sp].linkedFrom = true;
  return Result::Ok();
}

Result Plan::LinkPreNode(NodeRef pre, NodeRef consumer) {
  passes::PlanNode *p = nullptr, *c = nullptr;
  TESSAROC_RETURN_IF_FAILED(impl_->Node(pre, p));
  TESSAROC_RETURN_IF_FAILED(impl_->Node(consumer, c));
  bool any = false;
  for (const Port& port : p->group->ports()) {
    if (port.IsInput() || c->group->FindPortIndex(port.id, true) < 0) continue;
    TESSAROC_RETURN_IF_FAILED(Link(consumer, port.id, pre, port.id));
    any = true;
  }
  if (!any)
    return Result::Fail(errors::kIllegalArgument,
                        "pre node " + p->label + " has no output that " + c->label + " takes as input");
  return Result::Ok();
}

Result Plan::BindContext(NodeRef node, const Id& port) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(node, port, true, n, p));
  if (n->group->ports()[p].dataType != &kShadingContextType)
    return Result::Fail(errors::kIllegalArgument, "port " + port.str() + " is not a context port");
  n->ports[p] = PortBinding();
  n->ports[p].kind = Binding::kContext;
  return Result::Ok();
}

Result Plan::AddSubPlan(const DataType& resultType, SubPlanRef& out) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  impl_->graph.bodies.push_back({&resultType});
  out.index = impl_->bodyCount() - 1;
  return Result::Ok();
}

Result Plan::SetSubPlanResult(SubPlanRef sub, NodeRef node, const Id& port) {
  if (sub.index <= 0 || sub.index >= impl_->bodyCount())
    return Result::Fail(errors::kIllegalArgument, "no such function body");
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(node, port, false, n, p));
  passes::PlanBody& s = impl_->graph.bodies[sub.index];
  if (!n->group->ports()[p].dataType->StoredLike(*s.resultType))
    return Result::Fail(errors::kIllegalArgument,
                        "function body result " + port.str() + " is not a " + s.resultType->id.str());
  s.resultNode = node.index;
  s.resultPort = p;
  n->ports[p].requested = true;
  return Result::Ok();
}

Result Plan::LinkFunction(NodeRef dst, const Id& dstPort, SubPlanRef body) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(dst, dstPort, true, n, p));
  if (body.index <= 0 || body.index >= impl_->bodyCount())
    return Result::Fail(errors::kIllegalArgument, "no such function body");
  const DataType* t = n->group->ports()[p].dataType;
  if (!t->IsFunction() || !t->functionResult->StoredLike(*impl_->graph.bodies[body.index].resultType))
    return Result::Fail(errors::kIllegalArgument, "port " + dstPort.str() + " does not take a function returning " +
                                                      impl_->graph.bodies[body.index].resultType->id.str());
  n->ports[p] = PortBinding();
  n->ports[p].kind = Binding::kFunctionBody;
  n->ports[p].body = body.index;
  return Result::Ok();
}

Result Plan::SetFunction(NodeRef dst, const Id& dstPort, const FunctionInterface* fn) {
  if (finished_) return Result::Fail(errors::kIllegalState, "plan is finished");
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(dst, dstPort, true, n, p));
  if (!n->group->ports()[p].dataType->IsFunction())
    return Result::Fail(errors::kIllegalArgument, "port " + dstPort.str() + " is not a function port");
  n->ports[p] = PortBinding();
  n->ports[p].kind = Binding::kExternalFunction;
  n->ports[p].function = fn;
  return Result::Ok();
}

Result Plan::SetOutput(NodeRef node, const Id& port) {
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(node, port, false, n, p));
  if (n->sub != 0) return Result::Fail(errors::kIllegalArgument, "the output must come from the main plan");
  impl_->outNode = node.index;
  impl_->outPort = p;
  n->ports[p].requested = true;
  n->ports[p].external = true;
  return Result::Ok();
}

Result Plan::RequestOutput(NodeRef node, const Id& port) {
  passes::PlanNode* n = nullptr;
  int p = -1;
  TESSAROC_RETURN_IF_FAILED(impl_->PortOf(node, port, false, n, p));
  n->ports[p].requested = true;
  n->ports[p].external = true;
  return Result::Ok();
}

size_t Plan::nodeCount() const { return impl_->graph.nodes.size(); }
const MicroNodeGroup* Plan::group(NodeRef node) const { return impl_->graph.nodes.at(node.index).group; }
const std::string& Plan::label(NodeRef node) const { return impl_->graph.nodes.at(node.index).label; }
bool Plan::IsUniform(NodeRef node) const {
  impl_->graph.nodes.at(node.index);  // the range check
  return !finished_ || !impl_->varying[node.index];
}
const DataType* Plan::outputType() const {
  if (impl_->outNode < 0) return nullptr;
  return impl_->graph.nodes[impl_->outNode].group->ports()[impl_->outPort].dataType;
}
size_t Plan::varyingStepCount() const { return impl_->subs[0].steps.size(); }

Result Plan::Finish() {
  // The compiler's passes, each a function of plan_passes.h:
  //   1. OrderByLinks       every node after the nodes it links from; a cycle is an error
  //   2. ClassifyVarying    varying where a context reaches through links, else uniform
  //   3. LayoutBlock        header, one slot per port, then the aligned values
  //   4. BuildAccessTables  per micro node the offsets of its slots in access order
  //   5. OrderUniform       uniform nodes in dependency order, through the bodies they call
  //   6. ScheduleSubPlans   per sub-plan its varying steps, context slots and result
  //   7. SubPlanReads       per sub-plan the uniform results it reads, and what a
  //                         body's worker copies take over (BodyUniformOutputs)
  //   8. FindMainTwins      body nodes the main plan computes already, and the
  //                         body's steps without them (BuildBodyShortcuts)
  if (finished_) return Result::Fail(errors::kIllegalState, "plan finished twice");
  Impl& I = *impl_;
  const passes::PlanGraph& graph = I.graph;
  for (int s = 1; s < I.bodyCount(); ++s)
    if (graph.bodies[s].resultNode < 0)
      return Result::Fail(errors::kIllegalState, "function body " + std::to_string(s) + " has no result");

  std::vector<int> order;
  TESSAROC_RETURN_IF_FAILED(passes::OrderByLinks(graph, order));
  TESSAROC_RETURN_IF_FAILED(passes::ClassifyVarying(graph, order, I.varying));
  I.layout = passes::LayoutBlock(graph);
  I.access = passes::BuildAccessTables(graph, I.layout);
  const std::vector<std::vector<int>> bodyReads = passes::UniformReadsOfBodies(graph, I.varying);
  TESSAROC_RETURN_IF_FAILED(passes::OrderUniform(graph, I.varying, bodyReads, I.uniform));
  I.subs = passes::ScheduleSubPlans(graph, order, I.varying, I.layout, I.access);
  I.subUniformReads = passes::SubPlanReads(graph, I.varying, bodyReads);
  I.bodyUniformOutputs = passes::BodyUniformOutputs(graph, I.layout, I.subUniformReads);
  const std::vector<int> twins = passes::FindMainTwins(graph, order, I.varying);
  I.shortcuts = passes::BuildBodyShortcuts(graph, twins, I.layout, I.subs);
  I.twinned.assign(graph.nodes.size(), false);
  for (size_t i = 0; i < twins.size(); ++i)
    if (twins[i] >= 0) I.twinned[i] = I.twinned[twins[i]] = true;
  blockSize_ = I.layout.blockSize;
  finished_ = true;
  return Result::Ok();
}

// ---------------------------------------------------------------------------

template <bool kProfiled>
class PlanInstance::SubPlanFunction final : public FunctionInterface {
 public:
  SubPlanFunction(PlanInstance* owner, int body) : owner_(owner), body_(body) {}
  int body() const { return body_; }
  FunctionType GetFunctionType() const override {
    return {owner_->plan_->impl_->graph.bodies[body_].resultType, &kShadingContextType};
  }
  Result Invoke(ValueSlot ret, ValueSlot arg) const override {
    const DataType* resultType = owner_->plan_->impl_->graph.bodies[body_].resultType;
    if (arg.type != &kShadingContextType || arg.value == nullptr)
      return Result::Fail(errors::kIllegalArgument, "a function body takes a shading context");
    if (ret.type == nullptr || !ret.type->StoredLike(*resultType))
      return Result::Fail(errors::kIllegalArgument, "return slot of the wrong type for a function body");
    PlanInstance* runner = owner_;
    if (tlsActive != owner_) TESSAROC_RETURN_IF_FAILED(owner_->WorkerCopy(body_, runner));
    // Called with the sample's own context, from the main plan: the twins
    // ran already for this very context.
    const bool shortcut = runner == owner_ && owner_->shortcuts_ && arg.value == owner_->mainContext_ &&
                          owner_->plan_->impl_->shortcuts[body_].usable;
    TESSAROC_RETURN_IF_FAILED(runner->Run<kProfiled>(body_, *static_cast<const ShadingContext*>(arg.value), shortcut));
    const Plan::Impl& I = *owner_->plan_->impl_;
    const size_t result = shortcut ? I.shortcuts[body_].resultStorage : I.subs[body_].resultStorage;
    resultType->copyAssign(ret.value, runner->block_ + result);
    return Result::Ok();
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data&) const override { return Invoke(ret, arg); }
  bool GetConstantValue(ValueSlot) const override { return false; }

 private:
  PlanInstance* owner_;
  int body_;
};

PlanInstance::PlanInstance(const Plan& plan) : plan_(&plan), serial_(gNextSerial.fetch_add(1)) {}

Result PlanInstance::WorkerCopy(int body, PlanInstance*& out) {
  for (const WorkerCacheEntry& e : tlsWorkerCache)
    if (e.serial == serial_ && e.body == body) {
      out = e.copy;
      return Result::Ok();
    }
  std::lock_guard<std::mutex> lock(workerMutex_);
  const std::thread::id me = std::this_thread::get_id();
  PlanInstance* copy = nullptr;
  for (const Worker& w : workers_)
    if (w.thread == me && w.body == body) copy = w.instance.get();
  if (copy == nullptr) {
    // A fresh instance with the plan's constants, plus what the body reads of
    // the uniform nodes, which finished before anything could call the body.
    std::unique_ptr<PlanInstance> fresh;
    TESSAROC_RETURN_IF_FAILED(Create(*plan_, fresh));
    for (const passes::StorageEntry& e : plan_->impl_->bodyUniformOutputs[body])
      e.type->copyAssign(fresh->block_ + e.offset, block_ + e.offset);
    fresh->subFailed_ = subFailed_;
    copy = fresh.get();
    workers_.push_back({me, body, std::move(fresh)});
  }
  tlsWorkerCache[tlsWorkerNext++ % 8] = {serial_, body, copy};
  out = copy;
  return Result::Ok();
}

PlanInstance::~PlanInstance() {
  if (block_) {
    for (const passes::StorageEntry& e : plan_->impl_->layout.storage) e.type->destroy(block_ + e.offset);
    ::operator delete(block_, std::align_val_t(kBlockAlign));
  }
}

Result PlanInstance::Allocate() {
  const size_t size = plan_->blockSize_;
  block_ = static_cast<std::byte*>(::operator new(size, std::align_val_t(kBlockAlign), std::nothrow));
  if (!block_) return Result::Fail(errors::kOutOfMemory, "cannot allocate a value block");
  std::memset(block_, 0, size);
  auto* head = reinterpret_cast<ValueBlockHead*>(block_);
  head->size = size;
  head->portCount = plan_->impl_->layout.slotCount();
  *reinterpret_cast<BatchRange*>(block_ + sizeof(ValueBlockHead)) = {0, 1};
  for (int s = 1; s < plan_->impl_->bodyCount(); ++s)
    functions_.push_back(std::make_unique<SubPlanFunction<false>>(this, s));
  return Result::Ok();
}

void PlanInstance::BindFunctions() {
  for (const passes::FunctionSlot& f : plan_->impl_->layout.functionSlots)
    *reinterpret_cast<FunctionRef*>(block_ + f.storage) = functions_[f.body - 1].get();
}

Result PlanInstance::Create(const Plan& plan, std::unique_ptr<PlanInstance>& out) {
  if (!plan.finished()) return Result::Fail(errors::kIllegalState, "plan is not finished");
  std::unique_ptr<PlanInstance> inst(new PlanInstance(plan));
  TESSAROC_RETURN_IF_FAILED(inst->Allocate());
  const Plan::Impl& I = *plan.impl_;
  std::byte* b = inst->block_;
  for (const passes::StorageEntry& e : I.layout.storage) e.type->construct(b + e.offset);
  const std::vector<passes::PlanNode>& nodes = I.graph.nodes;
  for (int i = 0; i < static_cast<int>(nodes.size()); ++i) {
    const passes::PlanNode& n = nodes[i];
    for (int p = 0; p < static_cast<int>(n.ports.size()); ++p) {
      const Port& port = n.group->ports()[p];
      const PortBinding& bind = n.ports[p];
      auto* slot = reinterpret_cast<PortSlot*>(b + I.SlotOffsetOf(i, p));
      slot->value = b + I.layout.ValueOffset(i, p);
      if (port.IsInput()) {
        switch (bind.kind) {
          case Binding::kNone: slot->portFlags = PORT_FLAGS::INPUT_WITHOUT_VALUE; break;
          case Binding::kConstant: port.dataType->copyAssign(slot->value, bind.constant.get()); break;
          case Binding::kLink: slot->value = b + I.layout.ValueOffset(bind.srcNode, bind.srcPort); break;
          case Binding::kContext: slot->value = const_cast<ShadingContext*>(&kUnboundContext); break;
          case Binding::kFunctionBody: break;  // bound below
          case Binding::kExternalFunction: *static_cast<FunctionRef*>(slot->value) = bind.function; break;
        }
      } else if (!bind.requested && !bind.linkedFrom) {
        slot->portFlags = PORT_FLAGS::OUTPUT_UNUSED;
      }
    }
  }
  inst->BindFunctions();
  out = std::move(inst);
  return Result::Ok();
}

Result PlanInstance::Prepare() {
  ActiveScope active(this);
  const Plan::Impl& I = *plan_->impl_;
  // A uniform node that fails marks itself and what reads it; the error
  // reaches whoever needs that value: the main plan now, a function body when
  // it is called. A failing subgraph that only an unneeded colour reads thus
  // never stops a sample.
  failed_.assign(I.graph.nodes.size(), Result());
  prepareProfile_.assign(I.graph.nodes.size(), NodeProfile());
  mainComplete_ = false;
  for (const passes::UniformStep& u : I.uniform) {
    for (int r : u.reads)
      if (failed_[r].failed()) failed_[u.node] = failed_[r];
    if (failed_[u.node].failed()) continue;
    const uint64_t start = ProfileTicks();
    failed_[u.node] = RunSteps(I.access.StepsOf(u.node), block_);
    prepareProfile_[u.node] = {1, ProfileTicks() - start};
  }
  subFailed_.assign(I.subs.size(), Result());
  for (size_t s = 0; s < I.subs.size(); ++s)
    for (int r : I.subUniformReads[s])
      if (failed_[r].failed() && subFailed_[s].ok()) subFailed_[s] = failed_[r];
  return subFailed_[0];
}

template <bool kProfiled>
Result PlanInstance::Run(int sub, const ShadingContext& ctx, bool shortcut, ContextChange change) {
  // A thread's copy made for a body (WorkerCopy) does not profile.
  if constexpr (kProfiled)
    if (!profiling_) return Run<false>(sub, ctx, shortcut, change);
  if (static_cast<size_t>(sub) < subFailed_.size() && subFailed_[sub].failed()) return subFailed_[sub];
  ActiveScope active(this);
  const Plan::Impl& I = *plan_->impl_;
  const passes::SubPlanSchedule& s = I.subs[sub];
  // Only the main plan's nodes run on every evaluation, so only they may
  // build on what they wrote the last time.
  const bool main = sub == 0;
  const uint8_t flags = main && change == ContextChange::kMoved && mainComplete_ ? PORT_FLAGS::CONTEXT_MOVED : 0;
  for (size_t off : s.contextSlots) {
    auto* slot = reinterpret_cast<PortSlot*>(block_ + off);
    slot->value = const_cast<ShadingContext*>(&ctx);
    slot->portFlags = flags;
  }
  std::span<const Step> steps = s.steps;
  std::span<const int> stepNodes = s.stepNodes;
  if (const passes::BodyShortcut& sc = I.shortcuts[sub]; sc.usable) {
    // Every run points the slots fed by twins at the values it will read.
    for (const passes::BodyShortcut::Redirect& r : sc.redirects)
      reinterpret_cast<PortSlot*>(block_ + r.slot)->value = block_ + (shortcut ? r.twinValue : r.ownValue);
    if (shortcut) steps = sc.steps, stepNodes = sc.stepNodes;
  }
  const ShadingContext* const outerMain = mainContext_;
  if (main) {
    mainContext_ = &ctx;
    mainComplete_ = false;
  }
  Result r;
  if constexpr (kProfiled) r = RunStepsProfiled(steps, stepNodes, block_, profile_.data(), profileNested_);
  else r = RunSteps(steps, block_);
  mainContext_ = outerMain;
  if (main) mainComplete_ = r.ok();
  return r;
}

Result PlanInstance::RunSubPlan(int sub, const ShadingContext& ctx) { return Run<false>(sub, ctx); }

Result PlanInstance::Evaluate(const ShadingContext& ctx, ContextChange change) {
  return Run<false>(0, ctx, false, change);
}

Result PlanInstance::StartProfile() {
  if (profiling_) return Result::Ok();
  profile_.assign(plan_->impl_->graph.nodes.size(), NodeProfile());
  profiling_ = true;
  functions_.clear();
  for (int s = 1; s < plan_->impl_->bodyCount(); ++s)
    functions_.push_back(std::make_unique<SubPlanFunction<true>>(this, s));
  BindFunctions();
  (void)ProfileClockCost();  // measured now rather than in the first sample
  return Result::Ok();
}

Result PlanInstance::EvaluateProfiled(const ShadingContext& ctx, ContextChange change) {
  if (!profiling_) return Result::Fail(errors::kIllegalState, "start profiling before a profiled evaluation");
  profileNested_ = 0;
  return Run<true>(0, ctx, false, change);
}

ValueSlot PlanInstance::Output() const {
  const Plan::Impl& I = *plan_->impl_;
  if (I.outNode < 0) return {};
  return {I.graph.nodes[I.outNode].group->ports()[I.outPort].dataType,
          block_ + I.layout.ValueOffset(I.outNode, I.outPort)};
}

ValueSlot PlanInstance::PortValue(NodeRef node, const Id& port, bool input) const {
  const Plan::Impl& I = *plan_->impl_;
  if (node.index < 0 || node.index >= static_cast<int>(I.graph.nodes.size())) return {};
  const passes::PlanNode& n = I.graph.nodes[node.index];
  int p = n.group->FindPortIndex(port, input);
  if (p < 0) return {};
  auto* slot = reinterpret_cast<PortSlot*>(block_ + I.SlotOffsetOf(node.index, p));
  return {n.group->ports()[p].dataType, slot->value};
}

Result PlanInstance::SetInput(NodeRef node, const Id& port, ValueSlot value) {
  const Plan::Impl& I = *plan_->impl_;
  if (node.index < 0 || node.index >= static_cast<int>(I.graph.nodes.size()))
    return Result::Fail(errors::kIllegalArgument, "no such node in the plan");
  const passes::PlanNode& n = I.graph.nodes[node.index];
  int p = n.group->FindPortIndex(port, true);
  if (p < 0) return Result::Fail(errors::kIllegalArgument, "node " + n.label + " has no input " + port.str());
  const Binding kind = n.ports[p].kind;
  if (kind != Binding::kNone && kind != Binding::kConstant && kind != Binding::kExternalFunction)
    return Result::Fail(errors::kIllegalState, "input " + port.str() + " of " + n.label + " is wired");
  const DataType* type = n.group->ports()[p].dataType;
  if (value.type && !value.type->StoredLike(*type))
    return Result::Fail(errors::kIllegalArgument, "value of type " + value.type->id.str() + " for port " + port.str() +
                                                      " of type " + type->id.str());
  auto* slot = reinterpret_cast<PortSlot*>(block_ + I.SlotOffsetOf(node.index, p));
  type->copyAssign(block_ + I.layout.ValueOffset(node.index, p), value.value);
  slot->portFlags &= static_cast<uint8_t>(~PORT_FLAGS::INPUT_WITHOUT_VALUE);
  // A twin's inputs may no longer be its pair's.
  if (I.twinned[node.index]) shortcuts_ = false;
  mainComplete_ = false;  // what the nodes wrote may rest on the old value
  return Result::Ok();
}

Result PlanInstance::Clone(std::unique_ptr<PlanInstance>& out) const {
  std::unique_ptr<PlanInstance> inst(new PlanInstance(*plan_));
  TESSAROC_RETURN_IF_FAILED(inst->Allocate());
  const Plan::Impl& I = *plan_->impl_;
  const size_t slotCount = I.layout.slotCount();
  const size_t slotEnd = SlotOffset(slotCount);
  std::memcpy(inst->block_, block_, slotEnd);
  for (const passes::StorageEntry& e : I.layout.storage) {
    e.type->construct(inst->block_ + e.offset);
    e.type->copyAssign(inst->block_ + e.offset, block_ + e.offset);
  }
  for (size_t s = 0; s < slotCount; ++s) {
    auto* slot = reinterpret_cast<PortSlot*>(inst->block_ + SlotOffset(s));
    auto* v = static_cast<std::byte*>(slot->value);
    if (v >= block_ && v < block_ + plan_->blockSize_) slot->value = inst->block_ + (v - block_);
  }
  for (const passes::SubPlanSchedule& s : I.subs)
    for (size_t off : s.contextSlots)
      reinterpret_cast<PortSlot*>(inst->block_ + off)->value = const_cast<ShadingContext*>(&kUnboundContext);
  inst->failed_ = failed_;
  inst->subFailed_ = subFailed_;
  inst->shortcuts_ = shortcuts_;
  inst->prepareProfile_ = prepareProfile_;
  inst->BindFunctions();
  out = std::move(inst);
  return Result::Ok();
}

// ---------------------------------------------------------------------------

Result RunBatch(const MicroNodeGroup& group, size_t micro, std::span<const BatchBinding> bindings, int64_t count) {
  if (micro >= group.microNodes().size()) return Result::Fail(errors::kIllegalArgument, "no such micro node");
  const MicroNodeImpl& impl = *group.microNodes()[micro].impl;
  if (impl.kind != MicroNode::BATCH) return Result::Fail(errors::kIllegalArgument, "not a batch micro node");
  if (bindings.size() != impl.portCount)
    return Result::Fail(errors::kIllegalArgument, "a batch needs one binding per accessed port");
  std::vector<std::byte> storage(SlotOffset(bindings.size()) + kBlockAlign);
  std::byte* block = reinterpret_cast<std::byte*>(AlignUp(reinterpret_cast<uintptr_t>(storage.data()), kBlockAlign));
  std::vector<int32_t> offsets(bindings.size());
  for (size_t i = 0; i < bindings.size(); ++i) {
    offsets[i] = static_cast<int32_t>(SlotOffset(i));
    auto* slot = reinterpret_cast<PortSlot*>(block + offsets[i]);
    slot->value = bindings[i].first;
    slot->stride = bindings[i].stride;
  }
  *reinterpret_cast<BatchRange*>(block + sizeof(ValueBlockHead)) = {0, count};
  Result r;
  impl.kernel(r, impl, PortAccess{block, offsets.data()});
  return r;
}

Result SingleNodeRunner::Create(const Id& nodeId, std::unique_ptr<SingleNodeRunner>& out,
                                std::span<const int64_t> arrayCounts) {
  const MicroNodeGroup* group = nullptr;
  TESSAROC_RETURN_IF_FAILED(CoreNodes().GetGroup(nodeId, arrayCounts, group));
  return Create(group, out);
}

Result SingleNodeRunner::Create(const MicroNodeGroup* group, std::unique_ptr<SingleNodeRunner>& out) {
  auto runner = std::unique_ptr<SingleNodeRunner>(new SingleNodeRunner());
  runner->plan_ = std::make_unique<Plan>();
  Plan& plan = *runner->plan_;
  TESSAROC_RETURN_IF_FAILED(plan.AddNode(group, "", runner->node_));
  bool hasContext = false;
  for (const Port& p : group->ports()) {
    if (p.IsInput() && p.dataType == &kShadingContextType) {
      TESSAROC_RETURN_IF_FAILED(plan.BindContext(runner->node_, p.id));
      hasContext = true;
    }
    if (!p.IsInput()) TESSAROC_RETURN_IF_FAILED(plan.RequestOutput(runner->node_, p.id));
  }
  TESSAROC_RETURN_IF_FAILED(plan.Finish());
  TESSAROC_RETURN_IF_FAILED(PlanInstance::Create(plan, runner->instance_));
  runner->varying_ = hasContext;
  out = std::move(runner);
  return Result::Ok();
}

Result SingleNodeRunner::SetFunction(const Id& port, const FunctionInterface* fn) {
  FunctionRef ref = fn;
  return instance_->Set(node_, port, ref);
}

Result SingleNodeRunner::Run(const ShadingContext& ctx) {
  // A node without a context input is uniform: it runs in Prepare, so inputs
  // changed between runs are seen.
  if (!varying_) return instance_->Prepare();
  return instance_->Evaluate(ctx);
}

}  // namespace tessaroc
