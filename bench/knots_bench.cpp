// Per-sample cost of the knot-driven and point-driven nodes, through the
// runtime: the gradient's lookup and knot calls, scatter's bucket lookup,
// and cells' visit of every point.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tessaroc/core/function.h"
#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"
#include "pattern/context/scatter_node.h"
#include "pattern/generator/cells_node.h"
#include "pattern/generator/gradient_node.h"
#include "bench_support.h"

namespace tessaroc::pattern {
namespace {

// Moves the sample across the unit square in strides that divide nothing, so
// that lookups do not repeat.
void Step(ShadingContext& ctx) {
  double u = ctx.uvw.x + 0.0137, v = ctx.uvw.y + 0.0291;
  if (u > 1.0) u -= 1.0;
  if (v > 1.0) v -= 1.0;
  ctx.uvw = {u, v, 0.0};
}

// A colour ramp with n evenly spaced knots, each a constant function.
void BM_GradientSample(benchmark::State& state) {
  const int64_t n = state.range(0);
  const int64_t preCounts[] = {n};
  const int64_t counts[] = {n, n, n};
  const MicroNodeGroup *preGroup = nullptr, *group = nullptr;
  Check(Registry().GetGroup(kGradientPreId, preCounts, preGroup));
  Check(Registry().GetGroup(kGradientId, counts, group));
  Plan plan;
  NodeRef pre, ramp;
  Check(plan.AddNode(preGroup, "pre", pre));
  Check(plan.AddNode(group, "ramp", ramp));
  Check(plan.LinkPreNode(pre, ramp));
  Check(plan.BindContext(ramp, "context"));
  Check(plan.BindContext(ramp, "contextLocal"));
  Check(plan.Set(ramp, "colorspace", CanonicalId("linear")));
  std::vector<std::unique_ptr<FunctionInterface>> fns;
  for (int64_t i = 0; i < n; ++i) {
    const std::string k = std::string("#").append(std::to_string(i));
    const double g = static_cast<double>(i) / static_cast<double>(n - 1);
    Check(plan.Set(pre, Id::Owned("position" + k), g));
    fns.push_back(std::make_unique<ConstantFunction<ColorA>>(kColorAType, ColorA{g, 1.0 - g, 0.5, 1.0}));
    Check(plan.SetFunction(ramp, Id::Owned("color" + k), fns.back().get()));
    fns.push_back(std::make_unique<ConstantFunction<double>>(kFloat64Type, 0.5));
    Check(plan.SetFunction(ramp, Id::Owned("bias" + k), fns.back().get()));
    fns.push_back(std::make_unique<ConstantFunction<Id>>(kIdType, Id("linearknot")));
    Check(plan.SetFunction(ramp, Id::Owned("interpolation" + k), fns.back().get()));
  }
  Check(plan.SetOutput(ramp, "result"));
  Check(plan.Finish());
  std::unique_ptr<PlanInstance> inst;
  Check(PlanInstance::Create(plan, inst));
  Check(inst->Prepare());
  ShadingContext ctx;
  double u = 0.0;
  for (auto _ : state) {
    u += 0.0137;
    if (u > 1.0) u -= 1.0;
    ctx.uvw.x = u;
    Check(inst->Evaluate(ctx));
    benchmark::DoNotOptimize(inst->OutputAs<ColorA>());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GradientSample)->Arg(2)->Arg(32);

// Scatter with a table already built: one bucket lookup per sample.
void BM_ScatterLookup(benchmark::State& state) {
  const int64_t counts[] = {state.range(0)};
  const MicroNodeGroup* group = nullptr;
  Check(Registry().GetGroup(kScatterId, counts, group));
  std::unique_ptr<SingleNodeRunner> run;
  Check(SingleNodeRunner::Create(group, run));
  ConstantFunction<double> zero(kFloat64Type, 0.0), spread(kFloat64Type, 3.0);
  ConstantFunction<Vector2d> scale(kVector2dType, Vector2d{0.08, 0.08}), noScale(kVector2dType, Vector2d{});
  ConstantFunction<bool> uniform(kBoolType, true);
  ConstantFunction<double> randomUniform(kFloat64Type, 0.02);
  Check(run->Set("seed", int32_t{3}));
  Check(run->Set("tile", true));
  Check(run->SetFunction("perItemRotation", &zero));
  Check(run->SetFunction("perItemRandomRotation", &spread));
  Check(run->SetFunction("perItemScale", &scale));
  Check(run->SetFunction("perItemRandomScale", &noScale));
  Check(run->SetFunction("perItemRandomScaleUniform", &randomUniform));
  Check(run->SetFunction("perItemUniformScale", &uniform));
  ShadingContext ctx;
  Check(run->Run(ctx));  // builds the table
  const int64_t& index = run->Get<int64_t>("index");
  for (auto _ : state) {
    Step(ctx);
    Check(run->Run(ctx));
    benchmark::DoNotOptimize(index);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ScatterLookup)->Arg(10)->Arg(1000);

// Cells over a prepared Halton set: every point is visited per sample.
void BM_CellsSample(benchmark::State& state) {
  const MicroNodeGroup *gen = nullptr, *cells = nullptr;
  Check(Registry().GetGroup(kPointGeneratorId, gen));
  Check(Registry().GetGroup(kCellsId, cells));
  Plan plan;
  NodeRef g, c;
  Check(plan.AddNode(gen, "points", g));
  Check(plan.AddNode(cells, "cells", c));
  Check(plan.LinkPreNode(g, c));
  Check(plan.BindContext(c, "context"));
  Check(plan.Set(g, "points", static_cast<int32_t>(state.range(0))));
  Check(plan.Set(g, "seed", int32_t{9}));
  Check(plan.Set(g, "strategy", InternedId::Intern("1")));
  Check(plan.Set(c, "distanceMode", InternedId::Intern("0")));
  Check(plan.Set(c, "exponent", 1.0));
  Check(plan.SetOutput(c, "distance"));
  Check(plan.Finish());
  std::unique_ptr<PlanInstance> inst;
  Check(PlanInstance::Create(plan, inst));
  Check(inst->Prepare());
  ShadingContext ctx;
  for (auto _ : state) {
    Step(ctx);
    Check(inst->Evaluate(ctx));
    benchmark::DoNotOptimize(inst->OutputAs<double>());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CellsSample)->Arg(16)->Arg(256);

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
