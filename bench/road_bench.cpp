// The road example (a placement, a 6-octave fBm noise as the first colour of
// a checkerboard, an HSL grade) through the whole engine: the cost per sample
// of a material whose time goes to a noise and to the nodes around it, on 1
// and 2 threads. The counter "per_sample" is the wall time per pixel.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "graph/render.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"

#ifndef TESSAROC_SOURCE_DIR
#define TESSAROC_SOURCE_DIR "."
#endif

namespace tessaroc {
namespace {

constexpr int kSize = 256;

graph::Material& Road() {
  static graph::Material* material = [] {
    if (host::InstallHostServices().failed() || module::LoadModule().failed()) std::abort();
    std::unique_ptr<graph::Material> m;
    if (graph::Material::FromFile(std::string(TESSAROC_SOURCE_DIR) + "/examples/road.json", m).failed()) std::abort();
    return m.release();
  }();
  return *material;
}

void BM_Road(benchmark::State& state) {
  graph::Material& material = Road();
  graph::RenderSettings s;
  s.width = s.height = kSize;
  s.threads = static_cast<int>(state.range(0));
  host::Image image;
  for (auto _ : state) {
    if (graph::Render(material, s, image).failed()) std::abort();
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
  state.counters["per_sample"] = benchmark::Counter(static_cast<double>(state.iterations()) * kSize * kSize,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_Road)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tessaroc

BENCHMARK_MAIN();
