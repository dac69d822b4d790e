// Blend and layer per sample: the pixel handler called directly, the blend
// node through the runtime (handler cached, so one id compare, one counted
// reference and one indirect call per sample), and the layer node with 1, 4
// and 16 active layers.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "tessaroc/core/runtime.h"
#include "host/blend/blend_modes.h"
#include "pattern/catalogue.h"
#include "pattern/color/blend_node.h"
#include "pattern/color/layer_node.h"
#include "pattern/color/pixel_blend.h"
#include "bench_support.h"

namespace tessaroc::pattern {
namespace {

// The catalogue, with the blend modes its nodes look up.
CoreNodeRegistry& Catalogue() {
  static const bool installed = [] {
    Check(host::InstallBlendModes());
    return true;
  }();
  (void)installed;
  return Registry();
}

std::string ModeId(const char* name) { return std::string(kBlendModeIdPrefix) + name; }

// The handler alone, as an image framework would call it per pixel.
void Handler(benchmark::State& state, const char* mode) {
  Catalogue();
  BlendPixelHandlerRef h;
  if (MakeBlendPixelHandler(host::BlendModeClass(mode), h).failed()) std::abort();
  ColorA bg{0.2, 0.4, 0.6, 1.0}, fg{0.7, 0.5, 0.3, 0.8}, out;
  for (auto _ : state) {
    bg.r += 1e-9;
    Result r = h.Blend(out, bg, fg);
    benchmark::DoNotOptimize(r);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations());
}

// The blend node in a prepared plan, its background written in place as an
// upstream kernel would.
void BlendNode(benchmark::State& state, const char* mode) {
  const MicroNodeGroup* g = nullptr;
  std::unique_ptr<SingleNodeRunner> run;
  if (Catalogue().GetGroup(kBlendId, g).failed() || SingleNodeRunner::Create(g, run).failed()) std::abort();
  const std::string id = ModeId(mode);
  (void)run->Set("background", ColorA{0.2, 0.4, 0.6, 1.0});
  (void)run->Set("foreground", ColorA{0.7, 0.5, 0.3, 0.8});
  (void)run->Set("blendMode", Id(std::string_view(id)));
  (void)run->Set("alphaHandling", InternedId::Intern("compositing"));
  (void)run->Set("maskblend", 0.75);
  for (const char* m : {"maskred", "maskgreen", "maskblue", "maskalpha"}) (void)run->Set(m, true);
  PlanInstance& inst = run->instance();
  if (inst.Prepare().failed()) std::abort();  // makes the handler
  auto* input = static_cast<ColorA*>(inst.PortValue(run->node(), "background", true).value);
  const auto* output = static_cast<const ColorA*>(inst.PortValue(run->node(), "result", false).value);
  for (auto _ : state) {
    input->r += 1e-9;
    Result r = inst.Prepare();
    benchmark::DoNotOptimize(r);
    benchmark::DoNotOptimize(*output);
  }
  state.SetItemsProcessed(state.iterations());
}

// The layer node with n active layers cycling through a few modes.
void LayerNode(benchmark::State& state) {
  const int64_t n = state.range(0);
  const int64_t counts[] = {n, n, n, n};
  const MicroNodeGroup* g = nullptr;
  std::unique_ptr<SingleNodeRunner> run;
  if (Catalogue().GetGroup(kLayerId, counts, g).failed() || SingleNodeRunner::Create(g, run).failed()) std::abort();
  const char* modes[] = {"over", "multiply", "screen", "softlight"};
  for (int64_t i = 0; i < n; ++i) {
    const std::string k = std::to_string(i);
    (void)run->Set(Id::Owned("color#" + k), ColorA{0.1 * (i % 7), 0.5, 1.0 - 0.05 * (i % 11), 0.7});
    (void)run->Set(Id::Owned("strength#" + k), 0.9);
    (void)run->Set(Id::Owned("active#" + k), true);
    (void)run->Set(Id::Owned("mode#" + k), Id::Owned(ModeId(modes[i % 4])));
  }
  PlanInstance& inst = run->instance();
  if (inst.Prepare().failed()) std::abort();
  ColorA* input = n > 0 ? static_cast<ColorA*>(inst.PortValue(run->node(), "color#0", true).value) : nullptr;
  const auto* output = static_cast<const ColorA*>(inst.PortValue(run->node(), "result", false).value);
  for (auto _ : state) {
    if (input) input->r += 1e-9;
    Result r = inst.Prepare();
    benchmark::DoNotOptimize(r);
    benchmark::DoNotOptimize(*output);
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["layers"] = static_cast<double>(n);
}

void BM_Handler_Over(benchmark::State& s) { Handler(s, "over"); }
void BM_Handler_Multiply(benchmark::State& s) { Handler(s, "multiply"); }
void BM_Handler_SoftLight(benchmark::State& s) { Handler(s, "softlight"); }
void BM_Handler_Hue(benchmark::State& s) { Handler(s, "hue"); }
void BM_Handler_Dissolve(benchmark::State& s) { Handler(s, "dissolve"); }
void BM_Blend_Over(benchmark::State& s) { BlendNode(s, "over"); }
void BM_Blend_Multiply(benchmark::State& s) { BlendNode(s, "multiply"); }
void BM_Blend_SoftLight(benchmark::State& s) { BlendNode(s, "softlight"); }
void BM_Blend_Hue(benchmark::State& s) { BlendNode(s, "hue"); }
void BM_Blend_Dissolve(benchmark::State& s) { BlendNode(s, "dissolve"); }

BENCHMARK(BM_Handler_Over);
BENCHMARK(BM_Handler_Multiply);
BENCHMARK(BM_Handler_SoftLight);
BENCHMARK(BM_Handler_Hue);
BENCHMARK(BM_Handler_Dissolve);
BENCHMARK(BM_Blend_Over);
BENCHMARK(BM_Blend_Multiply);
BENCHMARK(BM_Blend_SoftLight);
BENCHMARK(BM_Blend_Hue);
BENCHMARK(BM_Blend_Dissolve);
BENCHMARK(LayerNode)->Arg(1)->Arg(4)->Arg(16);

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
