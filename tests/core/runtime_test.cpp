// The runtime: inputs and flags, uniform and per-sample work, pre nodes,
// PERMANENT storage, function ports and function bodies, batches, clones.
#include <gtest/gtest.h>

#include <atomic>

#include "tessaroc/core/function.h"
#include "tessaroc/core/runtime.h"
#include "test_nodes.h"

namespace tessaroc {
namespace {

using namespace testing;

class RuntimeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(RegisterTestNodes(registry_).ok());
    KernelCalls() = 0;
  }
  const MicroNodeGroup* Group(const char* id) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry_.GetGroup(id, g).ok());
    return g;
  }
  NodeRef Add(Plan& plan, const char* id, SubPlanRef sub = {}) {
    NodeRef n;
    EXPECT_TRUE(plan.AddNode(Group(id), id, n, sub).ok());
    return n;
  }
  // A colour body returning the uvw of the context it is called with.
  SubPlanRef UvwBody(Plan& plan) {
    SubPlanRef body;
    EXPECT_TRUE(plan.AddSubPlan(kColorAType, body).ok());
    NodeRef uvw = Add(plan, kUvwColorNode, body);
    EXPECT_TRUE(plan.BindContext(uvw, "context").ok());
    EXPECT_TRUE(plan.SetSubPlanResult(body, uvw, "result").ok());
    return body;
  }
  // A caller of `body` at its context shifted by `shift` in u, as the main output.
  NodeRef MainCaller(Plan& plan, SubPlanRef body, double shift) {
    NodeRef caller = Add(plan, kCallColorNode);
    EXPECT_TRUE(plan.BindContext(caller, "context").ok());
    EXPECT_TRUE(plan.Set<double>(caller, "shift", shift).ok());
    EXPECT_TRUE(plan.LinkFunction(caller, "color", body).ok());
    EXPECT_TRUE(plan.SetOutput(caller, "result").ok());
    return caller;
  }
  static std::unique_ptr<PlanInstance> Instance(const Plan& plan, bool prepare = true) {
    std::unique_ptr<PlanInstance> inst;
    EXPECT_TRUE(PlanInstance::Create(plan, inst).ok());
    if (inst && prepare) { EXPECT_TRUE(inst->Prepare().ok()); }
    return inst;
  }
  CoreNodeRegistry registry_;
};

TEST_F(RuntimeTest, FunctionPortCallsItsFunctionAndFailuresLeaveOpaqueBlack) {
  std::unique_ptr<SingleNodeRunner> run;
  ASSERT_TRUE(SingleNodeRunner::Create(Group(kCallColorNode), run).ok());
  ASSERT_TRUE(run->Set<double>("shift", 0.5).ok());
  // No function at all.
  ASSERT_TRUE(run->SetFunction("color", nullptr).ok());
  EXPECT_TRUE(run->Run().Is(errors::kNullPtr));
  EXPECT_EQ(run->Get<ColorA>("result"), (ColorA{0, 0, 0, 1}));

  CallableFunction<ColorA> failing(kColorAType, [](const ShadingContext&, ColorA& out) {
    out = {9, 9, 9, 9};  // written before failing: must not leak out
    return Result::Fail(errors::kIllegalState, "upstream broke");
  });
  ASSERT_TRUE(run->SetFunction("color", &failing).ok());
  Result r = run->Run();
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(r.message(), "upstream broke");
  EXPECT_EQ(run->Get<ColorA>("result"), (ColorA{0, 0, 0, 1}));

  // A working function sees the context the node chose.
  CallableFunction<ColorA> uvw(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {c.uvw.x, c.uvw.y, 0, 1};
    return Result::Ok();
  });
  ASSERT_TRUE(run->SetFunction("color", &uvw).ok());
  ShadingContext ctx;
  ctx.uvw = {0.25, 0.75, 0};
  ASSERT_TRUE(run->Run(ctx).ok());
  EXPECT_EQ(run->Get<ColorA>("result"), (ColorA{0.75, 0.75, 0, 1}));
}

TEST_F(RuntimeTest, FunctionBodyRunsAtTheArgumentContextAlsoInAClone) {
  Plan plan;
  MainCaller(plan, UvwBody(plan), 2.0);
  ASSERT_TRUE(plan.Finish().ok());
  EXPECT_EQ(plan.varyingStepCount(), 1u);  // the body runs only when called

  std::unique_ptr<PlanInstance> inst = Instance(plan);
  ShadingContext ctx;
  ctx.uvw = {0.1, 0.2, 0.3};
  ASSERT_TRUE(inst->Evaluate(ctx).ok());
  EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{2.1, 0.2, 0.3, 1}));
  ctx.uvw = {-1, 5, 0};
  ASSERT_TRUE(inst->Evaluate(ctx).ok());
  EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{1, 5, 0, 1}));

  std::unique_ptr<PlanInstance> copy;
  ASSERT_TRUE(inst->Clone(copy).ok());
  inst.reset();  // the copy's function must not reach into the original
  ctx.uvw = {-0.5, 0.5, 0};
  ASSERT_TRUE(copy->Evaluate(ctx).ok());
  EXPECT_EQ(copy->OutputAs<ColorA>(), (ColorA{1.5, 0.5, 0, 1}));
}

TEST_F(RuntimeTest, ABodyCalledWithTheSampleContextReadsWhatTheMainPlanComputedBeforeTheCall) {
  struct Case {
    const char* name;
    double shift;
    bool twinFirst;  // the main plan's copy of the body's node runs before the caller
    int calls;       // kernel calls per sample
  };
  const Case cases[] = {
      {"same context, twin first: the body's node is skipped", 0.0, true, 2},
      {"a shifted context runs the body", 0.5, true, 3},
      {"a twin after the caller has not run yet", 0.0, false, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Plan plan;
    NodeRef twin;
    if (c.twinFirst) twin = Add(plan, kUvwColorNode);
    MainCaller(plan, UvwBody(plan), c.shift);
    if (!c.twinFirst) twin = Add(plan, kUvwColorNode);
    ASSERT_TRUE(plan.BindContext(twin, "context").ok());
    ASSERT_TRUE(plan.Finish().ok());
    std::unique_ptr<PlanInstance> inst = Instance(plan);
    for (double u : {0.25, -3.0}) {
      ShadingContext ctx;
      ctx.uvw = {u, 0.5, 0.75};
      KernelCalls() = 0;
      ASSERT_TRUE(inst->Evaluate(ctx).ok());
      EXPECT_EQ(KernelCalls(), c.calls);
      EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{u + c.shift, 0.5, 0.75, 1}));
    }
  }
}

TEST_F(RuntimeTest, AMoveIsPassedOnOnlyWhenEveryMainNodeRanWithTheLastContext) {
  Plan plan;
  NodeRef n = Add(plan, kMovedNode);
  ASSERT_TRUE(plan.BindContext(n, "context").ok());
  ASSERT_TRUE(plan.Set<double>(n, "gate", 0.0).ok());
  ASSERT_TRUE(plan.SetOutput(n, "moved").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst = Instance(plan);
  std::unique_ptr<PlanInstance> clone;
  const ContextChange kAny = ContextChange::kAny, kMoved = ContextChange::kMoved;
  enum Before { kNothing, kPrepare, kSetInput, kClone };
  struct Step {
    const char* name;
    Before before;
    int64_t pixel;  // a negative one fails the evaluation
    ContextChange change;
    int64_t moved;  // -1: the evaluation fails
  };
  const Step steps[] = {
      {"a new instance has no last context", kNothing, 0, kMoved, 0},
      {"after a whole evaluation", kNothing, 1, kMoved, 1},
      {"and the next", kNothing, 2, kMoved, 1},
      {"a whole context", kNothing, 3, kAny, 0},
      {"a failed evaluation", kNothing, -1, kAny, -1},
      {"after a failed evaluation", kNothing, 4, kMoved, 0},
      {"after Prepare", kPrepare, 5, kMoved, 0},
      {"after SetInput", kSetInput, 6, kMoved, 0},
      {"a clone has no last context", kClone, 7, kMoved, 0},
      {"the clone after its own evaluation", kNothing, 8, kMoved, 1},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.name);
    if (s.before == kPrepare) {
      ASSERT_TRUE(inst->Prepare().ok());
    }
    if (s.before == kSetInput) {
      ASSERT_TRUE(inst->Set<double>(n, "gate", 1.0).ok());
    }
    if (s.before == kClone) {
      ASSERT_TRUE(inst->Clone(clone).ok());
      inst = std::move(clone);
    }
    ShadingContext ctx;
    ctx.pixelx = s.pixel;
    const Result r = inst->Evaluate(ctx, s.change);
    ASSERT_EQ(r.ok(), s.moved >= 0) << r.ToString();
    if (r.ok()) {
      EXPECT_EQ(inst->OutputAs<int64_t>(), s.moved);
    }
  }
}

TEST_F(RuntimeTest, FunctionBodiesCanBeCalledFromSeveralThreadsDuringPrepare) {
  // A pre node bakes a body that reads a uniform node and a per-sample node.
  Plan plan;
  NodeRef bake = Add(plan, kBakeNode);
  SubPlanRef body;
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body).ok());
  NodeRef pre = Add(plan, kCounterPreNode);
  ASSERT_TRUE(plan.Set<uint32_t>(pre, "seed", 1000u).ok());
  NodeRef use = Add(plan, kCounterUseNode, body);
  ASSERT_TRUE(plan.LinkPreNode(pre, use).ok());
  ASSERT_TRUE(plan.BindContext(use, "context").ok());
  NodeRef color = Add(plan, kCallColorNode, body);  // shifts a nested uvw body
  ASSERT_TRUE(plan.BindContext(color, "context").ok());
  ASSERT_TRUE(plan.Link(color, "shift", use, "result").ok());  // shift by 1000 * builds + seed + u
  ASSERT_TRUE(plan.LinkFunction(color, "color", UvwBody(plan)).ok());
  ASSERT_TRUE(plan.SetSubPlanResult(body, color, "result").ok());
  ASSERT_TRUE(plan.LinkFunction(bake, "color", body).ok());
  ASSERT_TRUE(plan.RequestOutput(bake, "sum").ok());
  ASSERT_TRUE(plan.Finish().ok());
  EXPECT_TRUE(plan.IsUniform(bake));

  std::unique_ptr<PlanInstance> inst = Instance(plan);
  // Each call gives u + shift = 2u + 2000 (one build, seed 1000), u = 0..255.
  double expected = 0;
  for (int u = 0; u < 256; ++u) expected += 2.0 * u + 2000.0;
  EXPECT_EQ(inst->Get<double>(bake, "sum"), expected);
}

TEST_F(RuntimeTest, AFailingUniformNodeFailsOnlyWhatReadsIt) {
  // The failing node is the result of a function body: preparing succeeds,
  // and only calling the function gives its error.
  Plan plan;
  SubPlanRef body;
  ASSERT_TRUE(plan.AddSubPlan(kColorAType, body).ok());
  ASSERT_TRUE(plan.SetSubPlanResult(body, Add(plan, kFailNode), "result").ok());
  MainCaller(plan, body, 0.0);
  NodeRef side = Add(plan, kAddNode);  // an unrelated uniform node still runs
  ASSERT_TRUE(plan.Set<double>(side, "a", 1.0).ok());
  ASSERT_TRUE(plan.Set<double>(side, "b", 2.0).ok());
  ASSERT_TRUE(plan.RequestOutput(side, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst = Instance(plan);
  EXPECT_EQ(inst->Get<double>(side, "result"), 3.0);
  EXPECT_TRUE(inst->Evaluate(ShadingContext()).Is(errors::kIllegalState));
  EXPECT_EQ(inst->OutputAs<ColorA>(), (ColorA{0, 0, 0, 1}));
  std::unique_ptr<PlanInstance> copy;
  ASSERT_TRUE(inst->Clone(copy).ok());
  EXPECT_TRUE(copy->Evaluate(ShadingContext()).Is(errors::kIllegalState));

  // Read by the main plan, the same failure stops Prepare.
  Plan direct;
  ASSERT_TRUE(direct.SetOutput(Add(direct, kFailNode), "result").ok());
  ASSERT_TRUE(direct.Finish().ok());
  std::unique_ptr<PlanInstance> directInstance = Instance(direct, false);  // declared after its plan: goes first
  EXPECT_TRUE(directInstance->Prepare().Is(errors::kIllegalState));
}

TEST_F(RuntimeTest, UniformNodesRunOncePerPrepareAndPreNodesRebuildOnlyOnChange) {
  Plan plan;
  NodeRef add = Add(plan, kAddNode);
  NodeRef pre = Add(plan, kCounterPreNode);
  NodeRef use = Add(plan, kCounterUseNode);
  ASSERT_TRUE(plan.Set<double>(add, "a", 1.0).ok());
  ASSERT_TRUE(plan.Set<double>(add, "b", 2.0).ok());
  ASSERT_TRUE(plan.Set<uint32_t>(pre, "seed", 7u).ok());
  ASSERT_TRUE(plan.LinkPreNode(pre, use).ok());
  ASSERT_TRUE(plan.BindContext(use, "context").ok());
  ASSERT_TRUE(plan.SetOutput(use, "result").ok());
  ASSERT_TRUE(plan.RequestOutput(add, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  EXPECT_TRUE(plan.IsUniform(pre));
  EXPECT_FALSE(plan.IsUniform(use));

  std::unique_ptr<PlanInstance> inst = Instance(plan);
  EXPECT_EQ(KernelCalls(), 2);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(inst->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(KernelCalls(), 102);  // one varying kernel per sample
  EXPECT_EQ(inst->Get<double>(add, "result"), 3.0);
  EXPECT_EQ(inst->OutputAs<double>(), 1007.0);  // the consumer reads the pre node's storage

  ASSERT_TRUE(inst->Prepare().ok());  // unchanged inputs keep the table
  EXPECT_EQ(inst->Get<CounterTable>(pre, "table").builds, 1);
  ASSERT_TRUE(inst->Set<uint32_t>(pre, "seed", 8u).ok());
  ASSERT_TRUE(inst->Prepare().ok());
  EXPECT_EQ(inst->Get<CounterTable>(pre, "table").builds, 2);
  ASSERT_TRUE(inst->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(inst->OutputAs<double>(), 2008.0);
}

TEST_F(RuntimeTest, PermanentStorageSurvivesEvaluationsAndClonesAreIndependent) {
  Plan plan;
  NodeRef n = Add(plan, kPermanentNode);
  ASSERT_TRUE(plan.BindContext(n, "context").ok());
  ASSERT_TRUE(plan.SetOutput(n, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> a = Instance(plan, false);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(a->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(a->OutputAs<double>(), 3.0);
  std::unique_ptr<PlanInstance> b;
  ASSERT_TRUE(a->Clone(b).ok());
  ASSERT_TRUE(b->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(b->OutputAs<double>(), 4.0);  // the copy starts from the primed state
  ASSERT_TRUE(a->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(a->OutputAs<double>(), 4.0);  // and does not share it
  EXPECT_EQ(b->OutputAs<double>(), 4.0);
}

TEST_F(RuntimeTest, FlagsMarkInputsWithoutValueAndUnusedOutputs) {
  Plan plan;
  NodeRef n = Add(plan, kFlagsNode);
  ASSERT_TRUE(plan.SetOutput(n, "report").ok());
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> inst = Instance(plan);
  EXPECT_EQ(inst->OutputAs<int64_t>(), 10);       // a without value, report used, spare unused
  EXPECT_EQ(inst->Get<int64_t>(n, "spare"), -1);  // OUTPUT_UNUSED does not stop the kernel
  ASSERT_TRUE(inst->Set<double>(n, "a", 1.0).ok());
  ASSERT_TRUE(inst->Prepare().ok());
  EXPECT_EQ(inst->OutputAs<int64_t>(), 11);
}

TEST_F(RuntimeTest, LinksCarryValuesAndTypesMustAgree) {
  Plan plan;
  NodeRef a = Add(plan, kAddNode);
  NodeRef b = Add(plan, kAddNode);
  ASSERT_TRUE(plan.Set<double>(a, "a", 1.5).ok());
  ASSERT_TRUE(plan.Set<double>(a, "b", 2.0).ok());
  ASSERT_TRUE(plan.Link(b, "a", a, "result").ok());
  ASSERT_TRUE(plan.Set<double>(b, "b", 10.0).ok());
  ASSERT_TRUE(plan.SetOutput(b, "result").ok());
  NodeRef uvw = Add(plan, kUvwColorNode);
  EXPECT_TRUE(plan.Link(b, "b", uvw, "result").Is(errors::kIllegalArgument));  // colour into a Float
  EXPECT_TRUE(plan.Set<ColorA>(b, "b", ColorA{}).Is(errors::kIllegalArgument));
  EXPECT_TRUE(plan.Link(b, "nosuch", a, "result").Is(errors::kIllegalArgument));
  ASSERT_TRUE(plan.Finish().ok());
  EXPECT_EQ(Instance(plan)->OutputAs<double>(), 13.5);
}

TEST_F(RuntimeTest, FinishRejectsCyclesAndPerSampleValuesInAFunctionBody) {
  Plan cycle;
  NodeRef a = Add(cycle, kAddNode);
  NodeRef b = Add(cycle, kAddNode);
  ASSERT_TRUE(cycle.Link(a, "a", b, "result").ok());
  ASSERT_TRUE(cycle.Link(b, "a", a, "result").ok());
  Result r = cycle.Finish();
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_NE(r.message().find("cycle"), std::string_view::npos);

  Plan plan;
  NodeRef outer = Add(plan, kPermanentNode);
  ASSERT_TRUE(plan.BindContext(outer, "context").ok());
  SubPlanRef body;
  ASSERT_TRUE(plan.AddSubPlan(kFloat64Type, body).ok());
  NodeRef inner = Add(plan, kAddNode, body);
  ASSERT_TRUE(plan.Link(inner, "a", outer, "result").ok());
  ASSERT_TRUE(plan.SetSubPlanResult(body, inner, "result").ok());
  EXPECT_TRUE(plan.Finish().Is(errors::kIllegalState));
}

TEST_F(RuntimeTest, BatchRunsOverARangeWithPerPortStridesAndOnceInAPlan) {
  const MicroNodeGroup* g = Group(kBatchNode);
  struct In {
    double x;
    double pad;
  };
  In xs[3] = {{1, 0}, {2, 0}, {3, 0}};
  double y = 7;  // one value for the whole range: stride 0
  Vector2d out[3] = {};
  BatchBinding bind[] = {{&xs[0].x, sizeof(In)}, {&y, 0}, {out, sizeof(Vector2d)}};
  ASSERT_TRUE(RunBatch(*g, 0, bind, 3).ok());
  EXPECT_EQ(out[0], (Vector2d{1, 7}));
  EXPECT_EQ(out[2], (Vector2d{3, 7}));

  Vector2d untouched[1] = {{-1, -1}};
  BatchBinding bind0[] = {{&xs[0].x, sizeof(In)}, {&y, 0}, {untouched, sizeof(Vector2d)}};
  ASSERT_TRUE(RunBatch(*g, 0, bind0, 0).ok());
  EXPECT_EQ(untouched[0], (Vector2d{-1, -1}));

  std::unique_ptr<SingleNodeRunner> run;
  ASSERT_TRUE(SingleNodeRunner::Create(g, run).ok());
  ASSERT_TRUE(run->Set<double>("x", 4.0).ok());
  ASSERT_TRUE(run->Set<double>("y", 5.0).ok());
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(run->Get<Vector2d>("result"), (Vector2d{4, 5}));
}

}  // namespace
}  // namespace tessaroc
