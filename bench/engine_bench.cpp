// The whole engine against a hand-written loop computing the same chain: a
// filtered checkerboard of two colours, then exposure, contrast and invert.
// The ratio of the two is the runtime's overhead per sample.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "graph/document.h"
#include "graph/render.h"
#include "tessaroc/host/host_services.h"
#include "pattern/color/contrast_node.h"
#include "pattern/color/exposure_node.h"
#include "pattern/color/invert_color_node.h"
#include "pattern/color/mask.h"
#include "pattern/generator/checkerboard_node.h"
#include "tessaroc/module/register.h"

namespace tessaroc {
namespace {

constexpr int kSize = 256;

const char* kChain = R"({
  "tessaroc": 1,
  "nodes": {
    "board": {"node": "checkerboard", "inputs": {"color1": [0.9, 0.8, 0.6, 1], "color2": [0.1, 0.2, 0.3, 1]}},
    "expose": {"node": "exposure", "inputs": {"color": {"link": "board.result"}, "exposure": 0.5, "gamma": 2.2}},
    "punch": {"node": "contrast", "inputs": {"color": {"link": "expose.result"}, "contrast": 0.3}},
    "flip": {"node": "invertcolor", "inputs": {"color": {"link": "punch.result"}}}
  },
  "output": {"link": "flip.result"}
})";

void Setup() {
  static bool done = [] {
    if (host::InstallHostServices().failed() || module::LoadModule().failed()) std::abort();
    return true;
  }();
  (void)done;
}

// Renders the chain, compiled once, with these settings on every iteration.
void RenderChain(benchmark::State& state, const graph::RenderSettings& s) {
  Setup();
  std::unique_ptr<graph::Document> doc;
  std::unique_ptr<graph::Material> m;
  if (graph::Document::Parse(kChain, "chain.json", doc).failed() ||
      graph::Material::Compile(std::move(doc), m).failed())
    std::abort();
  host::Image image;
  for (auto _ : state) {
    if (graph::Render(*m, s, image).failed()) std::abort();
    benchmark::DoNotOptimize(image.pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * s.width * s.height);
}

// The engine: every pixel of the plane evaluated, on 1 or 2 threads.
void BM_Engine(benchmark::State& state) {
  graph::RenderSettings s;
  s.width = s.height = kSize;
  s.threads = static_cast<int>(state.range(0));
  RenderChain(state, s);
}

// The engine on a traced shape, one thread, lit: what a ray hit, its
// differentials and the light add to the plane's samples. Misses count as
// pixels too.
void BM_EngineOnShape(benchmark::State& state) {
  graph::RenderSettings s;
  s.width = s.height = kSize;
  s.threads = 1;
  s.view.shape = static_cast<graph::Shape>(state.range(0));
  s.view.lit = true;
  state.SetLabel(std::string(graph::ShapeName(s.view.shape)));
  RenderChain(state, s);
}

// The same chain written out by hand with the nodes' own arithmetic.
void BM_HandWritten(benchmark::State& state) {
  graph::RenderSettings s;
  s.width = s.height = kSize;
  const ColorA c1{0.9, 0.8, 0.6, 1}, c2{0.1, 0.2, 0.3, 1};
  const pattern::MaskBlock mask{1.0, true, true, true, false};
  std::vector<float> pixels(static_cast<size_t>(kSize) * kSize * 4);
  for (auto _ : state) {
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) {
        const ShadingContext ctx = graph::PixelContext(x, y, s);
        const pattern::CheckerCoverage cov = pattern::CheckerboardCoverage(ctx);
        ColorA c = cov.need == pattern::CheckerCoverage::kColor1 ? c1
                   : cov.need == pattern::CheckerCoverage::kColor2
                       ? c2
                       : ColorA{(c2.r - c1.r) * cov.share2 + c1.r, (c2.g - c1.g) * cov.share2 + c1.g,
                                (c2.b - c1.b) * cov.share2 + c1.b, (c2.a - c1.a) * cov.share2 + c1.a};
        c = pattern::ApplyMask(c, pattern::ExposureEffect(c, 0.5, 0.0, 2.2), mask, true);
        c = pattern::ApplyMask(c, pattern::ContrastEffect(c, 0.3), mask, true);
        c = pattern::ApplyMask(c, pattern::InvertColorEffect(c), mask, true);
        float* px = &pixels[(static_cast<size_t>(y) * kSize + x) * 4];
        px[0] = static_cast<float>(c.r), px[1] = static_cast<float>(c.g), px[2] = static_cast<float>(c.b);
        px[3] = static_cast<float>(c.a);
      }
    benchmark::DoNotOptimize(pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

BENCHMARK(BM_HandWritten)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Engine)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_EngineOnShape)->DenseRange(0, 4)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tessaroc

BENCHMARK_MAIN();
