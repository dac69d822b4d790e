// Compiles a material graph once and shades a small grid of samples from two
// threads, each with its own evaluator, as a renderer would.
#include <tessaroc/tessaroc.h>

#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

using namespace tessaroc;

namespace {

// The context a renderer fills per sample; here a point of the UV square.
ShadingContext At(double u, double v) {
  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {u, v, 0};
  ctx.position = ctx.uvw;
  ctx.shadingnormal = ctx.geometricnormal = {0, 0, 1};
  return ctx;
}

int Fail(const Result& r) {
  std::fprintf(stderr, "embedding: %s\n", std::string(r.message()).c_str());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: embedding MATERIAL.json\n");
    return 2;
  }
  int unused = 0;  // Tessaroc's own flags would reject this line; a consumer's build decides for itself.

  if (Result r = host::InstallHostServices(); r.failed()) return Fail(r);
  if (Result r = module::LoadModule(); r.failed()) return Fail(r);

  std::unique_ptr<graph::Material> material;
  if (Result r = graph::Material::FromFile(argv[1], material); r.failed()) return Fail(r);
  if (material->mainOutput().type != &kColorAType) {
    std::fprintf(stderr, "embedding: %s does not give a colour\n", argv[1]);
    return 1;
  }
  if (Result r = material->Prepare(At(0.5, 0.5)); r.failed()) return Fail(r);

  // Two threads shade a row each; evaluating allocates nothing and takes no lock.
  constexpr int kSamples = 4;
  std::vector<ColorA> rows[2];
  Result failures[2];
  std::vector<std::thread> threads;
  for (int row = 0; row < 2; ++row)
    threads.emplace_back([&, row] {
      std::unique_ptr<PlanInstance> evaluator;
      if ((failures[row] = material->NewEvaluator(evaluator)).failed()) return;
      for (int i = 0; i < kSamples; ++i) {
        if ((failures[row] = evaluator->Evaluate(At((i + 0.5) / kSamples, (row + 0.5) / 2))).failed()) return;
        rows[row].push_back(evaluator->OutputAs<ColorA>());
      }
    });
  for (std::thread& t : threads) t.join();

  for (int row = 0; row < 2; ++row) {
    if (failures[row].failed()) return Fail(failures[row]);
    for (const ColorA& c : rows[row]) std::printf("(%.4f %.4f %.4f %.4f) ", c.r, c.g, c.b, c.a);
    std::printf("\n");
  }
  std::printf("tessaroc %s\n", TESSAROC_VERSION_STRING);
  return module::UnloadModule().failed() ? 1 : 0;
}
