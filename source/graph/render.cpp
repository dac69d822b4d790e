#include "graph/render.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <new>

#include "host/jobs/job_service.h"
#include "host/resources/values.h"
#include "host/system/memory.h"

namespace tessaroc::graph {

namespace {

constexpr int kTile = 16;

// A pixel's four channels from the output value.
void ToColor(const DataType& type, const void* v, double c[4]) {
  const DataType* t = type.Storage();
  c[0] = c[1] = c[2] = 0;
  c[3] = 1;
  if (t == &kColorAType) {
    const auto& x = *static_cast<const ColorA*>(v);
    c[0] = x.r, c[1] = x.g, c[2] = x.b, c[3] = x.a;
  } else if (t == &kColorType) {
    const auto& x = *static_cast<const Color*>(v);
    c[0] = x.r, c[1] = x.g, c[2] = x.b;
  } else if (t == &kFloat64Type) {
    c[0] = c[1] = c[2] = *static_cast<const double*>(v);
  } else if (t == &kVectorType) {
    const auto& x = *static_cast<const Vector*>(v);
    c[0] = x.x, c[1] = x.y, c[2] = x.z;
  } else if (t == &kVector2dType) {
    const auto& x = *static_cast<const Vector2d*>(v);
    c[0] = x.x, c[1] = x.y;
  } else if (t == &kVector4dType) {
    const auto& x = *static_cast<const Vector4d*>(v);
    c[0] = x.x, c[1] = x.y, c[2] = x.z, c[3] = x.w;
  } else if (t == &kBoolType) {
    c[0] = c[1] = c[2] = *static_cast<const uint8_t*>(v) ? 1.0 : 0.0;
  } else if (t == &kInt64Type) {
    c[0] = c[1] = c[2] = static_cast<double>(*static_cast<const int64_t*>(v));
  } else if (t == &kInt32Type) {
    c[0] = c[1] = c[2] = *static_cast<const int32_t*>(v);
  } else if (t == &kFloat32Type) {
    c[0] = c[1] = c[2] = *static_cast<const float*>(v);
  }
}

// The fields of a sample that come from the render rather than the surface.
void SampleFields(int x, int y, const RenderSettings& s, ShadingContext& c) {
  c.pixelx = x;
  c.pixely = y;
  c.subpixelx = 0.5;
  c.subpixely = 0.5;
  c.time = s.time;
  c.framerate = s.fps;
  c.searchpaths = &s.searchPaths;
  c.messagesink = s.messages;
}

}  // namespace

bool Renderable(const DataType& type) {
  const DataType* t = type.Storage();
  return t == &kColorAType || t == &kColorType || t == &kFloat64Type || t == &kVectorType || t == &kVector2dType ||
         t == &kVector4dType || t == &kBoolType || t == &kInt64Type || t == &kInt32Type || t == &kFloat32Type;
}

namespace {

// The channels of an extra image of this type: RGBA for four values, RGB for
// two or three, one for a number.
int LayerChannels(const DataType& type) {
  const DataType* t = type.Storage();
  if (t == &kColorAType || t == &kVector4dType) return 4;
  if (t == &kColorType || t == &kVectorType || t == &kVector2dType) return 3;
  return 1;
}

std::string Megabytes(double bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f MB", bytes / 1e6);
  return text;
}

// The window, the layers and the checks made before the pixels are allocated.
Result PlanImage(const Material& material, const RenderSettings& settings, Window& window,
                 std::vector<const Material::Output*>& aovs, host::Image& out) {
  if (settings.width < 1 || settings.height < 1)
    return Result::Fail(errors::kIllegalArgument, "the image size must be at least 1x1");
  if (settings.width > kMaxImageSide || settings.height > kMaxImageSide)
    return Result::Fail(errors::kIllegalArgument, "the image size " + std::to_string(settings.width) + "x" +
                                                      std::to_string(settings.height) + " is larger than " +
                                                      std::to_string(kMaxImageSide) + " pixels a side");
  if (settings.threads > kMaxThreads)
    return Result::Fail(errors::kIllegalArgument, "threads " + std::to_string(settings.threads) +
                                                      ": expected 0 (every core) to " + std::to_string(kMaxThreads));
  window = settings.window.value_or(Window{0, 0, settings.width, settings.height});
  if (window.x0 < 0 || window.y0 < 0 || window.x1 > settings.width || window.y1 > settings.height ||
      window.x0 >= window.x1 || window.y0 >= window.y1)
    return Result::Fail(errors::kIllegalArgument,
                        "the window " + std::to_string(window.x0) + "," + std::to_string(window.y0) + "," +
                            std::to_string(window.x1) + "," + std::to_string(window.y1) + " is not a part of the " +
                            std::to_string(settings.width) + "x" + std::to_string(settings.height) + " image");
  out.layers.assign(1, {"", 0, 4, true});
  int channels = 4;
  aovs.clear();
  for (const RenderAov& aov : settings.aovs) {
    const Material::Output* output = material.extraOutput(aov.output);
    if (output == nullptr)
      return Result::Fail(errors::kIllegalArgument, "AOV " + aov.name + ": the material was not compiled with " +
                                                        aov.output + " as an extra output");
    if (!Renderable(*output->type))
      return Result::Fail(errors::kIllegalArgument, "AOV " + aov.name + ": " + aov.output + " is of type " +
                                                        host::TypeName(*output->type) + ", which has no colour");
    for (const host::ImageLayer& layer : out.layers)
      if (layer.name == aov.name) return Result::Fail(errors::kIllegalArgument, "AOV " + aov.name + " is named twice");
    const DataType* t = output->type->Storage();
    const int count = LayerChannels(*output->type);
    out.layers.push_back({aov.name, channels, count, t == &kColorAType || t == &kColorType});
    channels += count;
    aovs.push_back(output);
  }
  out.width = window.x1 - window.x0;
  out.height = window.y1 - window.y0;
  out.channels = channels;
  out.x = window.x0;
  out.y = window.y0;
  out.fullWidth = settings.width;
  out.fullHeight = settings.height;
  // Refused before allocating rather than failing in it (or swapping). A
  // picture that fits in what the image already holds allocates nothing, and
  // skips the look at the system's memory (three files read).
  const size_t count = static_cast<size_t>(out.width) * out.height * channels;
  const double bytes = static_cast<double>(count) * sizeof(float);
  const size_t available = count > out.pixels.capacity() ? host::AvailableMemory() : 0;
  if (available > 0 && bytes > static_cast<double>(available))
    return Result::Fail(errors::kOutOfMemory, "the " + std::to_string(out.width) + "x" + std::to_string(out.height) +
                                                  " image needs " + Megabytes(bytes) + " and " +
                                                  Megabytes(static_cast<double>(available)) +
                                                  " are available; render it in parts (a window) or smaller");
  // Not cleared: the tiles write every channel of every pixel. Clearing would
  // be a pass over the whole picture before the threads start, on one thread.
  try {
    out.pixels.resize(count);
  } catch (const std::bad_alloc&) {
    return Result::Fail(errors::kOutOfMemory, "no memory for the " + Megabytes(bytes) + " image");
  }
  return Result::Ok();
}

// The rows of the stats: a node's copies in several function bodies (same
// label and type) make one row; each call is measured a clock read too long.
RenderStats CollectStats(const Plan& plan, const std::vector<NodeProfile>& prepare,
                         const std::vector<NodeProfile>& perSample, uint64_t tileTicks, double ticksPerSecond) {
  RenderStats stats;
  const double clock = static_cast<double>(ProfileClockCost());
  double kernels = 0;
  for (size_t n = 0; n < plan.nodeCount(); ++n) {
    const NodeRef node{static_cast<int>(n)};
    const bool uniform = plan.IsUniform(node);
    const NodeProfile none;
    const NodeProfile& p = uniform ? (n < prepare.size() ? prepare[n] : none) : perSample[n];
    if (p.calls == 0) continue;
    const double ticks = std::max(0.0, static_cast<double>(p.ticks) - clock * static_cast<double>(p.calls));
    if (!uniform) kernels += ticks;
    const std::string type = plan.group(node)->id().str();
    auto row = std::find_if(stats.nodes.begin(), stats.nodes.end(), [&](const NodeStats& r) {
      return r.label == plan.label(node) && r.type == type && r.uniform == uniform;
    });
    if (row == stats.nodes.end()) row = stats.nodes.insert(stats.nodes.end(), {plan.label(node), type, uniform});
    row->calls += p.calls;
    row->seconds += ticks / ticksPerSecond;
  }
  std::stable_sort(stats.nodes.begin(), stats.nodes.end(),
                   [](const NodeStats& a, const NodeStats& b) { return a.seconds > b.seconds; });
  stats.engineSeconds = std::max(0.0, static_cast<double>(tileTicks) - kernels) / ticksPerSecond;
  return stats;
}

}  // namespace

ShadingContext PixelContext(int x, int y, const RenderSettings& s) {
  ShadingContext c = PlaneContext(x, y, s.width, s.height);
  SampleFields(x, y, s, c);
  return c;
}

bool ViewContext(const ViewSampler& sampler, int x, int y, const RenderSettings& settings, ShadingContext& out) {
  if (!sampler.Surface(x, y, out)) return false;
  SampleFields(x, y, settings, out);
  return true;
}

namespace {

Result RenderPixels(Material& material, const RenderSettings& settings, host::Image& out) {
  const DataType& type = *material.mainOutput().type;
  if (!Renderable(type))
    return Result::Fail(errors::kIllegalArgument, "the output " + material.mainOutput().id + " is of type " +
                                                      host::TypeName(type) + ", which has no colour; eval prints it");
  Window window;
  std::vector<const Material::Output*> aovs;
  TESSAROC_RETURN_IF_FAILED(PlanImage(material, settings, window, aovs, out));
  ViewSampler sampler;
  TESSAROC_RETURN_IF_FAILED(ViewSampler::Create(settings.view, settings.width, settings.height, sampler));
  // Primed at the centre of the whole picture whatever the window, so that
  // the parts of a picture are rendered by the same material; primed again
  // for a picture at another time (the next frame), as its own render would be.
  ShadingContext priming;
  if (!ViewContext(sampler, settings.width / 2, settings.height / 2, settings, priming))
    priming = PixelContext(settings.width / 2, settings.height / 2, settings);
  const auto wallStart = std::chrono::steady_clock::now();
  const uint64_t ticksStart = ProfileTicks();
  const bool preparing = !material.prepared();
  if (preparing) TESSAROC_RETURN_IF_FAILED(material.Prepare(priming));
  else if (material.primedAt().time != priming.time || material.primedAt().framerate != priming.framerate)
    TESSAROC_RETURN_IF_FAILED(material.Prime(priming));
  // Lighting reads the document's normal where it names one.
  const Material::Output* normal = settings.view.lit ? material.normalOutput() : nullptr;

  const int tilesX = (out.width + kTile - 1) / kTile;
  const int tilesY = (out.height + kTile - 1) / kTile;
  const int tiles = tilesX * tilesY;
  std::atomic<int> next{0};
  std::atomic<int> done{0};
  std::atomic<bool> failed{false};
  std::mutex errorMutex;
  Result firstError;
  std::mutex progressMutex;
  // With stats: what the workers counted, summed when each is done.
  std::vector<NodeProfile> profiled(settings.stats ? material.plan().nodeCount() : 0);
  uint64_t tileTicks = 0;
  std::mutex statsMutex;

  // Each worker takes the next tile until none is left, with an evaluator of
  // its own. Every pixel depends on its context alone, so which worker renders
  // a tile never changes the picture.
  // `values` holds the AOVs' values in the evaluator, found once per worker.
  // `profiled` (a std::bool_constant) picks the evaluation that counts per
  // node, at compile time: the plain loop has no test for it.
  auto renderTile = [&](PlanInstance& ev, const std::vector<const void*>& values, int tile, auto profiled) {
    const int x0 = window.x0 + (tile % tilesX) * kTile, y0 = window.y0 + (tile / tilesX) * kTile;
    const int x1 = std::min(x0 + kTile, window.x1), y1 = std::min(y0 + kTile, window.y1);
    const Vector* normalValue = normal ? static_cast<const Vector*>(material.OutputValue(ev, *normal).value) : nullptr;
    const void* const result = ev.Output().value;  // where the output lies does not move
    // The usual output, an unlit colour, goes to the pixel as it is.
    const bool straightColor = type.Storage() == &kColorAType && !settings.view.lit;
    ShadingContext ctx;
    double c[4];
    // On the plane every pixel's context differs from the last one's in a few
    // fields: the first is made whole, the others only moved.
    const bool plane = settings.view.shape == Shape::kPlane;
    bool made = false;
    for (int y = y0; y < y1; ++y)
      for (int x = x0; x < x1; ++x) {
        float* px = &out.pixels[(static_cast<size_t>(y - window.y0) * out.width + (x - window.x0)) * out.channels];
        // The evaluator is told so, and nodes passing the context on copy only what moved.
        ContextChange change = ContextChange::kAny;
        if (made) {
          MovePlaneContext(x, y, settings.width, settings.height, ctx);
          ctx.pixelx = x;
          ctx.pixely = y;
          change = ContextChange::kMoved;
        } else if (!ViewContext(sampler, x, y, settings, ctx)) {
          sampler.BackgroundPixel(x, y, c);
          for (int i = 0; i < 4; ++i) px[i] = static_cast<float>(c[i]);
          std::fill(px + 4, px + out.channels, 0.0f);  // no AOV value behind the shape
          continue;
        } else {
          made = plane;
        }
        Result r;
        if constexpr (decltype(profiled)::value) r = ev.EvaluateProfiled(ctx, change);
        else r = ev.Evaluate(ctx, change);
        if (r.failed()) {
          std::lock_guard<std::mutex> lock(errorMutex);
          if (firstError.ok())
            firstError = Result::Fail(
                r.id(), "pixel (" + std::to_string(x) + ", " + std::to_string(y) + "): " + std::string(r.message()));
          failed = true;
          return;
        }
        if (straightColor) {
          const ColorA& o = *static_cast<const ColorA*>(result);
          px[0] = static_cast<float>(o.r), px[1] = static_cast<float>(o.g), px[2] = static_cast<float>(o.b);
          px[3] = static_cast<float>(o.a);
        } else {
          ToColor(type, result, c);
          if (settings.view.lit) sampler.Light(ctx, normalValue, c);
          for (int i = 0; i < 4; ++i) px[i] = static_cast<float>(c[i]);
        }
        for (size_t a = 0; a < aovs.size(); ++a) {
          const host::ImageLayer& layer = out.layers[a + 1];
          ToColor(*aovs[a]->type, values[a], c);
          for (int i = 0; i < layer.count; ++i) px[layer.first + i] = static_cast<float>(c[i]);
        }
      }
    // Counted under the lock so that progress never goes backwards.
    std::lock_guard<std::mutex> lock(progressMutex);
    const int finished = done.fetch_add(1) + 1;
    if (settings.progress) settings.progress(static_cast<double>(finished) / tiles);
  };
  auto work = [&](int) {
    std::unique_ptr<PlanInstance> ev;
    std::vector<const void*> values;
    uint64_t ticks = 0;
    for (int tile = next.fetch_add(1, std::memory_order_relaxed); tile < tiles && !failed.load();
         tile = next.fetch_add(1, std::memory_order_relaxed)) {
      if (!ev) {
        Result r = material.NewEvaluator(ev);
        if (r.ok() && settings.stats) r = ev->StartProfile();
        if (r.failed()) {
          std::lock_guard<std::mutex> lock(errorMutex);
          if (firstError.ok()) firstError = r;
          failed = true;
          return;
        }
        for (const Material::Output* aov : aovs) values.push_back(material.OutputValue(*ev, *aov).value);
      }
      if (settings.stats) {
        const uint64_t start = ProfileTicks();
        renderTile(*ev, values, tile, std::true_type());
        ticks += ProfileTicks() - start;
      } else {
        renderTile(*ev, values, tile, std::false_type());
      }
    }
    if (settings.stats && ev) {
      std::lock_guard<std::mutex> lock(statsMutex);
      tileTicks += ticks;
      for (size_t n = 0; n < profiled.size(); ++n) {
        profiled[n].calls += ev->profile()[n].calls;
        profiled[n].ticks += ev->profile()[n].ticks;
      }
    }
  };
  struct Thunk {
    static void Run(void* data, int worker) { (*static_cast<decltype(work)*>(data))(worker); }
  };

  host::WorkerJobService& workers = host::SharedJobService(settings.threads);
  workers.RunGroupAndWait(std::min(workers.GetThreadCount(), tiles), &Thunk::Run, &work);
  if (done.load() != tiles && firstError.ok())
    firstError = Result::Fail(errors::kIllegalState, "the render stopped before every tile was done");
  if (firstError.failed()) return firstError;
  if (settings.stats) {
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    const double ticksPerSecond = wall > 0 ? static_cast<double>(ProfileTicks() - ticksStart) / wall : 1.0;
    const std::vector<NodeProfile> none;
    const std::vector<NodeProfile>& prepare = preparing ? material.prototype().prepareProfile() : none;
    *settings.stats = CollectStats(material.plan(), prepare, profiled, tileTicks, ticksPerSecond);
    settings.stats->samples = static_cast<int64_t>(out.width) * out.height;
    settings.stats->prepared = preparing;
  }
  return Result::Ok();
}

}  // namespace

Result Render(Material& material, const RenderSettings& settings, host::Image& out) {
  const Result r = RenderPixels(material, settings, out);
  // The picture is not cleared before the tiles fill it, so a render that
  // stops part way would leave the last picture's pixels in it.
  if (r.failed()) std::fill(out.pixels.begin(), out.pixels.end(), 0.0f);
  return r;
}

}  // namespace tessaroc::graph
