// Per-sample cost of the heavier colour kernels: selective colour correction
// with every band active against none, colour space conversions, blackbody
// (81 pow and exp per sample) and thin film at 32 and 81 wavelength bins.
#include <benchmark/benchmark.h>

#include "tessaroc/core/shading_context.h"
#include "pattern/color/colorspace_node.h"
#include "pattern/color/selectivecolorcorrection_node.h"
#include "pattern/generator/blackbody_node.h"
#include "pattern/generator/thinfilm_node.h"

namespace tessaroc::pattern {
namespace {

void ColorCorrection(benchmark::State& state) {
  const bool active = state.range(0) != 0;
  BandShift bands[kColorBandCount] = {};
  if (active)
    for (int i = 0; i < kColorBandCount; ++i) bands[i] = {0.1 * (i + 1), 0.05, -0.02 * i};
  ColorA c{0.8, 0.35, 0.2, 1.0};
  for (auto _ : state) {
    c.g += 1e-9;  // a new colour per sample
    benchmark::DoNotOptimize(ColorCorrectionEffect(c, bands));
  }
  state.SetItemsProcessed(state.iterations());
  state.SetLabel(active ? "all bands" : "no band");
}
BENCHMARK(ColorCorrection)->Arg(0)->Arg(1);

void ColorSpaceConversion(benchmark::State& state) {
  const auto from = static_cast<ColorSpace>(state.range(0));
  const auto to = static_cast<ColorSpace>(state.range(1));
  ColorA c{0.6, 0.3, 0.45, 1.0};
  for (auto _ : state) {
    c.r += 1e-9;
    benchmark::DoNotOptimize(ConvertColorSpace(c, from, to));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ColorSpaceConversion)
    ->ArgNames({"from", "to"})
    ->Args({static_cast<int>(ColorSpace::kRgb), static_cast<int>(ColorSpace::kHsv)})
    ->Args({static_cast<int>(ColorSpace::kHsl), static_cast<int>(ColorSpace::kHsv)})
    ->Args({static_cast<int>(ColorSpace::kXyz), static_cast<int>(ColorSpace::kHsl)});

void Blackbody(benchmark::State& state) {
  double t = 100.0;
  for (auto _ : state) {
    t += 1e-9;
    benchmark::DoNotOptimize(BlackbodyColor(t));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Blackbody);

void ThinFilm(benchmark::State& state) {
  ThinFilmInit init;
  if (FillThinFilmInit(state.range(0), init).failed()) {
    state.SkipWithError("could not fill the bins");
    return;
  }
  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  ctx.geometricnormal = {0, 0, 1};
  ctx.raydirection = {0.3, 0, -0.9539392014169456};
  ThinFilmParams params{1.33, 420.0, 0.0};
  for (auto _ : state) {
    params.variation += 1e-6;
    benchmark::DoNotOptimize(ThinFilmColor(ctx, params, init));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ThinFilm)->ArgName("bins")->Arg(32)->Arg(81);

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
