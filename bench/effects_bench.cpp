// The masked colour effects per sample: called directly, and through the
// runtime as one kernel of a prepared plan, so the runtime's cost per call
// shows from the start.
#include <benchmark/benchmark.h>

#include <memory>

#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"
#include "pattern/color/bias_node.h"
#include "pattern/color/colortemperature_node.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/mask.h"
#include "pattern/color/premultiply_node.h"
#include "pattern/color/unpremultiply_node.h"
#include "pattern/color/whitebalance_node.h"
#include "bench_support.h"

namespace tessaroc::pattern {
namespace {

const MaskBlock kHalfMask{0.75, true, true, true, true};

// Direct: the effect and the mask rule, as a renderer could inline them.
template <class F>
void Direct(benchmark::State& state, F effect) {
  ColorA c{0.2, 0.4, 0.6, 0.8};
  for (auto _ : state) {
    c.r += 1e-9;
    ColorA out = ApplyMask(c, effect(c), kHalfMask, true);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations());
}

// Through the runtime: a plan of the one node, whose colour input changes per
// call, run by the instance's kernel loop.
void Runtime(benchmark::State& state, const char* id, void (*setParams)(SingleNodeRunner&)) {
  std::unique_ptr<SingleNodeRunner> run = MakeRunner(id);
  (void)run->Set("color", ColorA{0.2, 0.4, 0.6, 0.8});
  (void)run->Set("maskblend", kHalfMask.blend);
  for (const char* m : {"maskred", "maskgreen", "maskblue", "maskalpha"}) (void)run->Set(m, true);
  setParams(*run);
  PlanInstance& inst = run->instance();
  // Write the input in place, as an upstream kernel would.
  auto* input = static_cast<ColorA*>(inst.PortValue(run->node(), "color", true).value);
  const auto* output = static_cast<const ColorA*>(inst.PortValue(run->node(), "result", false).value);
  for (auto _ : state) {
    input->r += 1e-9;
    Result r = inst.Prepare();
    benchmark::DoNotOptimize(r);
    benchmark::DoNotOptimize(*output);
  }
  state.SetItemsProcessed(state.iterations());
}

void NoParams(SingleNodeRunner&) {}

void BM_Invert_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return InvertColorEffect(c); });
}
void BM_Invert_Runtime(benchmark::State& s) { Runtime(s, kInvertColorId, NoParams); }
void BM_BiasGain_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return BiasGainEffect(c, 0.3, 0.7); });
}
void BM_BiasGain_Runtime(benchmark::State& s) {
  Runtime(s, kBiasGainId, [](SingleNodeRunner& r) {
    (void)r.Set("bias", 0.3);
    (void)r.Set("gain", 0.7);
  });
}
void BM_Contrast_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return ContrastEffect(c, 0.5); });
}
void BM_Contrast_Runtime(benchmark::State& s) {
  Runtime(s, kContrastId, [](SingleNodeRunner& r) { (void)r.Set("contrast", 0.5); });
}
void BM_Exposure_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return ExposureEffect(c, 0.5, 0.1, 2.2); });
}
void BM_Exposure_Runtime(benchmark::State& s) {
  Runtime(s, kExposureId, [](SingleNodeRunner& r) {
    (void)r.Set("exposure", 0.5);
    (void)r.Set("offset", 0.1);
    (void)r.Set("gamma", 2.2);
  });
}
void BM_Premultiply_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return PremultiplyEffect(c); });
}
void BM_Premultiply_Runtime(benchmark::State& s) { Runtime(s, kPremultiplyId, NoParams); }
void BM_Unpremultiply_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return UnpremultiplyEffect(c); });
}
void BM_Unpremultiply_Runtime(benchmark::State& s) { Runtime(s, kUnpremultiplyId, NoParams); }
void BM_WhiteBalance_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return WhiteBalanceEffect(c, Color{0.9, 1.0, 1.1}); });
}
void BM_WhiteBalance_Runtime(benchmark::State& s) {
  Runtime(s, kWhiteBalanceId, [](SingleNodeRunner& r) { (void)r.Set("whitePoint", Color{0.9, 1.0, 1.1}); });
}
void BM_ColorTemperature_Direct(benchmark::State& s) {
  Direct(s, [](const ColorA& c) { return ColorTemperatureEffect(c, 1.5, -0.5); });
}
void BM_ColorTemperature_Runtime(benchmark::State& s) {
  Runtime(s, kColorTemperatureId, [](SingleNodeRunner& r) {
    (void)r.Set("temperature", 1.5);
    (void)r.Set("tint", -0.5);
  });
}

BENCHMARK(BM_Invert_Direct);
BENCHMARK(BM_Invert_Runtime);
BENCHMARK(BM_BiasGain_Direct);
BENCHMARK(BM_BiasGain_Runtime);
BENCHMARK(BM_Contrast_Direct);
BENCHMARK(BM_Contrast_Runtime);
BENCHMARK(BM_Exposure_Direct);
BENCHMARK(BM_Exposure_Runtime);
BENCHMARK(BM_Premultiply_Direct);
BENCHMARK(BM_Premultiply_Runtime);
BENCHMARK(BM_Unpremultiply_Direct);
BENCHMARK(BM_Unpremultiply_Runtime);
BENCHMARK(BM_WhiteBalance_Direct);
BENCHMARK(BM_WhiteBalance_Runtime);
BENCHMARK(BM_ColorTemperature_Direct);
BENCHMARK(BM_ColorTemperature_Runtime);

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
