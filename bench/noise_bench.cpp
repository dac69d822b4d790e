// Cost per sample of every noise class at 1 and 8 octaves, still and
// animated, and of one Voronoi lookup. Positions walk a line through many
// cells so that caches see what a render would.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "host/noise/noise_library.h"
#include "pattern/generator/noise_interface.h"

namespace tessaroc::host {
namespace {

RenderNoiseRef Make(const Id& id) {
  RenderNoiseRef ref;
  const RenderNoiseClass* cls = RenderNoiseClasses().Find(id);
  DataDictionary none;
  if (cls == nullptr || cls->Create(ref).failed() || ref->Init(1, kNoiseTablePower, none).failed()) std::abort();
  return ref;
}

void Sample(benchmark::State& state, Id id, float octaves, float time) {
  RenderNoiseRef noise = Make(id);
  float x = 0.1f, y = 0.2f, z = 0.3f;
  for (auto _ : state) {
    x += 0.0137f;
    y += 0.0071f;
    z += 0.0029f;
    benchmark::DoNotOptimize(noise->Noise(x, y, z, false, time, octaves, 0.0f));
  }
  state.SetItemsProcessed(state.iterations());
}

void Voronoi(benchmark::State& state) {
  const NoiseInterface& ni = LibraryNoiseInterface();
  float p[3] = {0.1f, 0.2f, 0.3f};
  float d[2];
  int32_t ids[2];
  for (auto _ : state) {
    p[0] += 0.0137f;
    p[1] += 0.0071f;
    ni.Voronoi(ni.DefaultObject(), p, 2, d, ids);
    benchmark::DoNotOptimize(d[0]);
  }
  state.SetItemsProcessed(state.iterations());
}

const bool kRegistered = [] {
  if (InstallNoiseClasses().failed()) std::abort();
  for (const auto& entry : RenderNoiseClasses().entries()) {
    const std::string name(entry.id.view().substr(std::string_view(kRenderNoiseClassPrefix).size()));
    for (float octaves : {1.0f, 8.0f}) {
      const std::string oct = "/octaves:" + std::to_string(static_cast<int>(octaves));
      benchmark::RegisterBenchmark((name + oct).c_str(), Sample, entry.id, octaves, 0.0f);
      benchmark::RegisterBenchmark((name + oct + "/animated").c_str(), Sample, entry.id, octaves, 0.75f);
    }
  }
  benchmark::RegisterBenchmark("voronoi/lookup", Voronoi);
  return true;
}();

}  // namespace
}  // namespace tessaroc::host

BENCHMARK_MAIN();
