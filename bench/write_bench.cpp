// Writing a rendered picture: each EXR compression at float and half, and the
// 8-bit PNG, for a 1024x1024 render of the road example (a noise: what a
// material gives, not a flat test card). Items are pixels; the counter
// "bytes" is the file's size. Files go to the system's temporary folder.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
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

namespace fs = std::filesystem;

const host::Image& Road() {
  static const host::Image* image = [] {
    if (host::InstallHostServices().failed() || module::LoadModule().failed()) std::abort();
    std::unique_ptr<graph::Material> m;
    if (graph::Material::FromFile(std::string(TESSAROC_SOURCE_DIR) + "/examples/road.json", m).failed()) std::abort();
    graph::RenderSettings s;
    s.width = s.height = 1024;
    auto* out = new host::Image;
    if (graph::Render(*m, s, *out).failed()) std::abort();
    return out;
  }();
  return *image;
}

void Write(benchmark::State& state, const std::string& extension, const host::WriteOptions& options) {
  const host::Image& image = Road();
  const fs::path file = fs::temp_directory_path() / ("tessaroc_write_bench" + extension);
  for (auto _ : state)
    if (host::WriteImage(file.string(), image, options).failed()) std::abort();
  state.SetItemsProcessed(state.iterations() * image.width * image.height);
  state.counters["bytes"] = static_cast<double>(fs::file_size(file));
  fs::remove(file);
}

const char* const kExr[] = {"none", "rle", "zips", "zip", "zip:1", "piz", "pxr24", "b44", "dwaa"};

void BM_Exr(benchmark::State& state) {
  host::WriteOptions options;
  options.compression = kExr[state.range(0)];
  options.depth = state.range(1) ? host::Depth::kHalf : host::Depth::kFloat;
  state.SetLabel(options.compression + (state.range(1) ? " half" : " float"));
  Write(state, ".exr", options);
}

void BM_Png(benchmark::State& state) { Write(state, ".png", {}); }

BENCHMARK(BM_Exr)
    ->ArgsProduct({benchmark::CreateDenseRange(0, std::size(kExr) - 1, 1), {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_Png)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tessaroc

BENCHMARK_MAIN();
