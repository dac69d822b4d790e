// The pattern, placement, shape and shading kernels per sample, each run as a
// one-node plan through the runtime. The checkerboard is measured with a
// cheap and an expensive colour function: with a small footprint most samples
// fall inside one square and pay for one colour only.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "tessaroc/core/function.h"
#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"
#include "pattern/context/distort_node.h"
#include "pattern/context/placement2d_node.h"
#include "pattern/context/placement3d_node.h"
#include "pattern/context/setshadingcontext_node.h"
#include "pattern/generator/checkerboard_node.h"
#include "pattern/generator/grid_node.h"
#include "pattern/generator/hash_node.h"
#include "pattern/generator/random_node.h"
#include "pattern/generator/scratches_node.h"
#include "pattern/math/transform2d_node.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shading/fresnel_node.h"
#include "pattern/shapes/circle_node.h"
#include "pattern/shapes/line_node.h"
#include "pattern/shapes/ngon_node.h"
#include "pattern/shapes/spiral_node.h"
#include "pattern/shapes/star_node.h"
#include "bench_support.h"

namespace tessaroc::pattern {
namespace {

std::unique_ptr<SingleNodeRunner> Make(const char* id) { return MakeRunner(id); }

template <class T>
void Set(SingleNodeRunner& run, const char* port, const T& value) {
  if (run.Set(port, value).failed()) std::abort();
}

// Samples walk across the plane in a stride that is not a divisor of the
// board, each with a footprint of `footprint` in u and v.
void Walk(benchmark::State& state, SingleNodeRunner& run, double footprint) {
  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  ctx.geometricnormal = {0, 0, 1};
  ctx.tangent = {1, 0, 0};
  ctx.bitangent = {0, 1, 0};
  ctx.framerate = 24;
  double u = 0.0137, v = 0.291;
  for (auto _ : state) {
    u += 0.0123457;
    v += 0.0071113;
    if (u > 64) u -= 64;
    if (v > 64) v -= 64;
    ctx.uvw = {u, v, 0.25};
    ctx.uvwdx = {u + footprint, v, 0.25};
    ctx.uvwdy = {u, v + footprint, 0.25};
    ctx.position = {u, v, 0.5};
    ctx.raydirection = {0.3, 0.1, -std::sqrt(0.9)};
    ctx.pixelx = static_cast<int64_t>(u * 100);
    Result r = run.Run(ctx);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations());
}

// A colour of some weight: a few dozen transcendental calls.
Result Expensive(const ShadingContext& c, ColorA& out) {
  double s = 0;
  for (int i = 1; i <= 32; ++i) s += std::sin(c.uvw.x * i) * std::cos(c.uvw.y * i);
  out = {s, s * 0.5, s * 0.25, 1};
  return Result::Ok();
}
Result Cheap(const ShadingContext&, ColorA& out) {
  out = {1, 1, 1, 1};
  return Result::Ok();
}

void Checkerboard(benchmark::State& state, CallableFunction<ColorA>::Fn fn) {
  CallableFunction<ColorA> c1(kColorAType, fn), c2(kColorAType, fn);
  auto run = Make(kCheckerboardId);
  if (run->SetFunction("color1", &c1).failed() || run->SetFunction("color2", &c2).failed()) std::abort();
  Walk(state, *run, state.range(0) * 1e-3);
}
void BM_Checkerboard_CheapColour(benchmark::State& s) { Checkerboard(s, &Cheap); }
void BM_Checkerboard_ExpensiveColour(benchmark::State& s) { Checkerboard(s, &Expensive); }
// Footprint in thousandths: 0 sharp, 10 mostly inside a square, 400 mostly blending.
BENCHMARK(BM_Checkerboard_CheapColour)->Arg(0)->Arg(10)->Arg(400);
BENCHMARK(BM_Checkerboard_ExpensiveColour)->Arg(0)->Arg(10)->Arg(400);

void BM_Placement2d(benchmark::State& state) {
  auto run = Make(kPlacement2dId);
  Set(*run, "localOffset", Vector2d{0.1, 0.2});
  Set(*run, "localLength", Vector2d{2, 0.5});
  Set(*run, "localPivot", Vector2d{0.5, 0.5});
  Set(*run, "localRotation", 0.3);
  Set(*run, "localRepetitions", Vector2d{3, 2});
  Set(*run, "localDecalU", false);
  Set(*run, "localDecalV", false);
  Set(*run, "localModeU", InternedId::Intern("mirror"));
  Set(*run, "localModeV", InternedId::Intern("repeat"));
  Walk(state, *run, 0.01);
}
BENCHMARK(BM_Placement2d);

void BM_Placement3d(benchmark::State& state) {
  auto run = Make(kPlacement3dId);
  Set(*run, "enableSpaceTransformation", true);
  Set(*run, "spacePosition", Vector{0.1, 0.2, 0.3});
  Set(*run, "spaceScale", Vector{1, 2, 3});
  Set(*run, "spaceRotation", Vector{0.1, 0.2, 0.3});
  Set(*run, "spaceRotationOrder", Id("zyxlocal"));
  Set(*run, "pivot", Vector{0.5, 0.5, 0.5});
  Walk(state, *run, 0.01);
}
BENCHMARK(BM_Placement3d);

void BM_SetShadingContext(benchmark::State& state) {
  auto run = Make(kSetShadingContextId);
  Set(*run, "uvwdelta", Vector{0.01, 0.01, 0});
  Set(*run, "shadingnormal", Vector{0, 1, 1});
  Walk(state, *run, 0.0);
}
BENCHMARK(BM_SetShadingContext);

void BM_Distorter(benchmark::State& state) {
  auto run = Make(kDistorterId);
  Set(*run, "strength", 0.1);
  Set(*run, "center", 0.5);
  Set(*run, "color", Color{0.2, 0.7, 0.4});
  Walk(state, *run, 0.01);
}
BENCHMARK(BM_Distorter);

void BM_Transform2d(benchmark::State& state) {
  auto run = Make(kTransform2dId);
  Set(*run, "translate", Vector2d{0.1, 0.2});
  Set(*run, "rotate", 0.4);
  Set(*run, "scale", Vector2d{2, 2});
  Set(*run, "pivot", Vector2d{0.5, 0.5});
  Vector2d p{0, 0};
  for (auto _ : state) {
    p.x += 0.001;
    Set(*run, "point", p);
    Result r = run->Run();
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Transform2d);

void BM_Grid(benchmark::State& state) {
  auto run = Make(kGridId);
  Set(*run, "line", ColorA{0, 0, 0, 1});
  Set(*run, "fill", ColorA{1, 1, 1, 1});
  Set(*run, "thickness", Vector{0.1, 0.1, 0.1});
  Set(*run, "softness", 0.05);
  Set(*run, "frequency", Vector{10, 10, 1});
  Walk(state, *run, 0.01);
}
BENCHMARK(BM_Grid);

void BM_Scratches(benchmark::State& state) {
  auto run = Make(kScratchesId);
  Set(*run, "seed", int64_t{3});
  Set(*run, "bend", 0.4);
  Set(*run, "scale", 10.0);
  Set(*run, "density", 0.8);
  Set(*run, "layers", static_cast<int64_t>(state.range(0)));
  Set(*run, "frequencystep", 2.0);
  Set(*run, "rotation", 0.2);
  Set(*run, "gamma", 2.0);
  Set(*run, "thickness", 10.0);
  Set(*run, "depth", 1.0);
  Walk(state, *run, 0.0);
}
BENCHMARK(BM_Scratches)->Arg(1)->Arg(3)->Arg(8);

void Draws(benchmark::State& state, const char* id) {
  auto run = Make(id);
  Set(*run, "seed", int64_t{7});
  Set(*run, "salt", int64_t{5});
  Set(*run, "minimum", 0.0);
  Set(*run, "maximum", 1.0);
  Walk(state, *run, 0.0);
}
void BM_Hash(benchmark::State& s) { Draws(s, kHashId); }
void BM_Random(benchmark::State& s) { Draws(s, kRandomId); }
BENCHMARK(BM_Hash);
BENCHMARK(BM_Random);

void Shape(benchmark::State& state, const char* id, void (*params)(SingleNodeRunner&)) {
  auto run = Make(id);
  Set(*run, "exterior", ColorA{0, 0, 0, 1});
  Set(*run, "fill", ColorA{1, 1, 1, 1});
  params(*run);
  Walk(state, *run, 0.0);
}
void Radial(SingleNodeRunner& r) {
  Set(r, "scale", 0.8);
  Set(r, "innersoftness", 0.05);
  Set(r, "outersoftness", 0.05);
}
void BM_Circle(benchmark::State& s) { Shape(s, kCircleId, &Radial); }
void BM_Line(benchmark::State& s) {
  Shape(s, kLineId, [](SingleNodeRunner& r) {
    Set(r, "source", Vector2d{0.1, 0.2});
    Set(r, "destination", Vector2d{0.8, 0.7});
    Set(r, "softness", 0.1);
    Set(r, "width", 0.1);
  });
}
void BM_Ngon(benchmark::State& s) {
  Shape(s, kNgonId, [](SingleNodeRunner& r) {
    Radial(r);
    Set(r, "sides", int64_t{6});
  });
}
void BM_Spiral(benchmark::State& s) {
  Shape(s, kSpiralId, [](SingleNodeRunner& r) {
    Radial(r);
    Set(r, "arms", int64_t{3});
  });
}
void BM_Star(benchmark::State& s) {
  Shape(s, kStarId, [](SingleNodeRunner& r) {
    Radial(r);
    Set(r, "spikes", int64_t{5});
    Set(r, "cutout", 0.2);
  });
}
BENCHMARK(BM_Circle);
BENCHMARK(BM_Line);
BENCHMARK(BM_Ngon);
BENCHMARK(BM_Spiral);
BENCHMARK(BM_Star);

void BM_Bump(benchmark::State& state) {
  CallableFunction<ColorA> height(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {std::sin(10 * c.uvw.x) * std::cos(10 * c.uvw.y), 0, 0, 1};
    return Result::Ok();
  });
  auto run = Make(kBumpId);
  if (run->SetFunction("color", &height).failed()) std::abort();
  Set(*run, "strength", 1.0);
  Set(*run, "epsilonuv", 1.0);
  Set(*run, "epsilon3d", 1.0);
  Walk(state, *run, 0.0);
}
BENCHMARK(BM_Bump);

void BM_FresnelDielectric(benchmark::State& state) {
  auto run = Make(kFresnelDielectricId);
  Set(*run, "ior", 1.5);
  Walk(state, *run, 0.0);
}
void BM_FresnelConductor(benchmark::State& state) {
  auto run = Make(kFresnelConductorId);
  Set(*run, "ior", Vector{0.143, 0.374, 1.442});
  Set(*run, "absorption", Vector{3.98, 2.38, 1.6});
  Walk(state, *run, 0.0);
}
BENCHMARK(BM_FresnelDielectric);
BENCHMARK(BM_FresnelConductor);

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
