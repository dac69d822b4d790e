// Images and 2D filters: texture lookups per filter mode, bake throughput
// with one and two threads, and the blur sampler per mode.
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "tessaroc/core/runtime.h"
#include "host/jobs/job_service.h"
#include "host/texture/texture_service.h"
#include "pattern/2d/baked_image.h"
#include "pattern/2d/blur_node.h"
#include "pattern/catalogue.h"
#include "bench_support.h"

namespace tessaroc::pattern {
namespace {

// A 1024 x 1024 RGBA checker of 8-pixel squares, written once per run.
const std::string& CheckerFile() {
  static const std::string path = [] {
    const std::string p = (std::filesystem::temp_directory_path() / "tessaroc-bench-checker.exr").string();
    const int n = 1024;
    std::vector<float> data(static_cast<size_t>(n) * n * 4);
    for (int y = 0; y < n; ++y)
      for (int x = 0; x < n; ++x)
        for (int c = 0; c < 4; ++c)
          data[(static_cast<size_t>(y) * n + x) * 4 + c] = ((x / 8 + y / 8) % 2) ? 0.9f : 0.1f;
    auto out = OIIO::ImageOutput::create(p);
    OIIO::ImageSpec layout(n, n, 4, OIIO::TypeDesc::HALF);
    if (!out || !out->open(p, layout) || !out->write_image(OIIO::TypeDesc::FLOAT, data.data()) || !out->close())
      std::abort();
    return p;
  }();
  return path;
}

ThreadedTextureRef LoadChecker() {
  TextureService& service = host::OiioTextureService();
  TextureRef texture;
  TimeValue time = 0;
  ThreadedTextureRef threaded;
  if (service.LoadTexture(Url(CheckerFile()), nullptr, false, LayerSet{}, time, nullptr, texture).failed() ||
      service.AllocThreadedTexture(threaded).failed() || threaded->Init(texture).failed())
    std::abort();
  return threaded;
}

// Lookups along a diagonal walk with a footprint of four texels.
void BM_TextureSample(benchmark::State& state) {
  const ThreadedTextureRef texture = LoadChecker();
  const int interpolation = static_cast<int>(state.range(0));
  double u = 0.1, v = 0.2;
  const double footprint = 4.0 / 1024;
  for (auto _ : state) {
    u += 0.000731;
    v += 0.000419;
    ColorA c = texture->Sample(u, v, footprint, footprint, 2, 2, interpolation, true, 0, false);
    benchmark::DoNotOptimize(c);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TextureSample)
    ->ArgName("interpolation")
    ->Arg(kInterpClosest)
    ->Arg(kInterpBilinear)
    ->Arg(kInterpMip)
    ->Arg(kInterpAniso)
    ->Arg(kInterpSat)
    ->Arg(kInterpBicubic);

// A cheap colour function, so that the loop itself is what is measured.
const CallableFunction<ColorA>& Gradient() {
  static const CallableFunction<ColorA> fn(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {c.uvw.x, c.uvw.y, c.uvw.x * c.uvw.y, 1.0};
    return Result::Ok();
  });
  return fn;
}

void BM_Bake1024(benchmark::State& state) {
  host::InstallJobService(static_cast<int>(state.range(0)));
  const uint32_t n = 1024;
  BakedImageData image;
  if (ResizeBakedImage(image, n, n).failed()) std::abort();
  for (auto _ : state) {
    PrecomputePortData(nullptr, n, n, {0.5 / n, 0.5 / n}, &Gradient(), image);
    benchmark::DoNotOptimize(image.pixels.data());
  }
  host::UninstallJobService();
  state.SetItemsProcessed(state.iterations() * n * n);
  state.SetLabel("pixels");
}
BENCHMARK(BM_Bake1024)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

// The blur sampler per mode; "baked" includes nothing of the bake itself.
void BM_BlurSample(benchmark::State& state, const char* mode) {
  const MicroNodeGroup *preGroup = nullptr, *group = nullptr;
  if (Registry().GetGroup(kBlurPreId, preGroup).failed() || Registry().GetGroup(kBlurId, group).failed()) std::abort();
  std::unique_ptr<SingleNodeRunner> pre, run;
  if (SingleNodeRunner::Create(preGroup, pre).failed() || SingleNodeRunner::Create(group, run).failed()) std::abort();
  const InternedId modeId = InternedId::Intern(mode);
  (void)pre->SetFunction("color", &Gradient());
  (void)pre->Set("resolution", uint32_t{256});
  (void)pre->Set("radius", 0.01);
  (void)pre->Set("mode", modeId);
  (void)pre->Set("renderMode", uint32_t{0});
  (void)pre->Set("searchPaths", SearchPathsType{});
  if (pre->Run().failed()) std::abort();
  (void)run->SetFunction("color", &Gradient());
  (void)run->Set("radius", 0.01);  // kernel: 2.56 pixels, 15 x 15 taps
  (void)run->Set("resolution", int32_t{256});
  (void)run->Set("interpolation", InternedId::Intern("linear"));
  (void)run->Set("samples", int32_t{16});
  (void)run->Set("seed", int32_t{1});
  (void)run->Set("staticNoise", true);
  (void)run->Set("mode", modeId);
  (void)run->Set("imageData", pre->Get<BakedImageRef>("imageData"));
  (void)run->Set("maskblend", 1.0);
  for (const char* m : {"maskred", "maskgreen", "maskblue", "maskalpha"}) (void)run->Set(m, true);
  (void)run->Set("renderMode", uint32_t{0});
  ShadingContext ctx;
  for (auto _ : state) {
    ctx.uvw.x += 0.000731;
    ctx.uvw.y += 0.000419;
    ctx.uvwdx = ctx.uvwdy = ctx.uvw;
    if (run->Run(ctx).failed()) std::abort();
    benchmark::DoNotOptimize(run->Get<ColorA>("result"));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_BlurSample, baked, "baked");
BENCHMARK_CAPTURE(BM_BlurSample, kernel, "kernel");
BENCHMARK_CAPTURE(BM_BlurSample, stochastic, "stochastic");

}  // namespace
}  // namespace tessaroc::pattern

BENCHMARK_MAIN();
