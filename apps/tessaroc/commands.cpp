#include "commands.h"

#include <fmt/core.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tessaroc/core/registry.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "graph/entry_points.h"
#include "host/jobs/job_service.h"
#include "host/messages/message_sink.h"
#include "host/resources/description_database.h"
#include "host/resources/values.h"

namespace tessaroc::app {

using nlohmann::ordered_json;

int Fail(const std::string& message) {
  std::fprintf(stderr, "tessaroc: error: %s\n", message.c_str());
  return 1;
}

int Fail(const Result& r) { return Fail(std::string(r.message().empty() ? r.id() : r.message())); }

Result ParseSize(const std::string& text, int& width, int& height) {
  const size_t x = text.find_first_of("xX");
  auto number = [](const std::string& s, int& out) {
    if (s.empty() || s.size() > 6 || s.find_first_not_of("0123456789") != std::string::npos) return false;
    out = std::stoi(s);
    return out >= 1 && out <= graph::kMaxImageSide;
  };
  const bool ok = x == std::string::npos ? number(text, width) && number(text, height)
                                         : number(text.substr(0, x), width) && number(text.substr(x + 1), height);
  if (!ok)
    return Result::Fail(errors::kIllegalArgument, "--size: expected W or WxH with whole numbers from 1 to " +
                                                      std::to_string(graph::kMaxImageSide) + ", got \"" + text + "\"");
  return Result::Ok();
}

namespace {

// Comma-separated finite numbers, from `least` to `most` of them.
Result ParseNumbers(const std::string& option, const std::string& text, size_t least, size_t most,
                    std::vector<double>& out) {
  out.clear();
  size_t start = 0;
  while (true) {
    const size_t comma = std::min(text.find(',', start), text.size());
    double v = 0;
    auto [end, ec] = std::from_chars(text.data() + start, text.data() + comma, v);
    if (ec != std::errc() || end != text.data() + comma || !std::isfinite(v) || out.size() == most) break;
    out.push_back(v);
    if (comma == text.size()) {
      if (out.size() >= least) return Result::Ok();
      break;
    }
    start = comma + 1;
  }
  const std::string count =
      least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most);
  return Result::Fail(errors::kIllegalArgument,
                      option + ": expected " + count + " numbers separated by commas, got \"" + text + "\"");
}

// A progress bar on the terminal's error stream, redrawn when it moves.
class ProgressBar {
 public:
  explicit ProgressBar(bool show) : show_(show) {}
  void Update(double share) {
    if (!show_) return;
    const int percent = static_cast<int>(share * 100.0);
    if (percent == last_) return;
    last_ = percent;
    const int filled = percent * 30 / 100;
    std::fprintf(stderr, "\r[%s%s] %3d%%", std::string(filled, '#').c_str(), std::string(30 - filled, ' ').c_str(),
                 percent);
    std::fflush(stderr);
  }
  void Finish() {
    if (show_ && last_ >= 0) std::fprintf(stderr, "\r%s\r", std::string(37, ' ').c_str());
  }

 private:
  bool show_;
  int last_ = -1;
};

// What a document does that is odd but not wrong; it is still used.
void PrintWarnings(const graph::Document& document) {
  for (const std::string& w : document.warnings()) std::fprintf(stderr, "tessaroc: warning: %s\n", w.c_str());
}

// Prints the messages after the first `printed` ones and moves `printed` past
// them. With `strict` they are one error instead, and the result a failure.
Result PrintMessages(const host::CollectingMessageSink& sink, size_t& printed, bool strict) {
  const std::vector<std::string> messages = sink.Messages();
  std::string all;
  for (size_t i = printed; i < messages.size(); ++i) {
    if (!strict) std::fprintf(stderr, "tessaroc: %s\n", messages[i].c_str());
    std::string m = messages[i];
    if (!m.empty() && m.back() == '.') m.pop_back();  // the line goes on
    all += (all.empty() ? "" : "; ") + m;
  }
  printed = messages.size();
  if (strict && !all.empty()) return Result::Fail(errors::kIllegalState, "--strict: " + all);
  return Result::Ok();
}

// The stats of a render as a table, the most expensive node first. Shares
// are of all the time measured: the nodes' own times and the engine's.
void PrintStats(const graph::RenderStats& stats) {
  double total = stats.engineSeconds;
  for (const graph::NodeStats& n : stats.nodes) total += n.seconds;
  auto share = [&](double seconds) { return total > 0 ? 100.0 * seconds / total : 0.0; };
  fmt::print("{:<24} {:<20} {:<10} {:>10} {:>7} {:>10}\n", "node", "type", "runs", "calls", "time", "ns/call");
  for (const graph::NodeStats& n : stats.nodes) {
    const std::string type = n.type.substr(n.type.rfind('.') + 1);
    fmt::print("{:<24} {:<20} {:<10} {:>10} {:>6.1f}% {:>10.1f}\n", n.label, type, n.uniform ? "uniform" : "per sample",
               n.calls, share(n.seconds), n.seconds * 1e9 / static_cast<double>(n.calls));
  }
  fmt::print("{:<24} {:<20} {:<10} {:>10} {:>6.1f}% {:>10.1f}\n", "(engine)", "", "per sample", stats.samples,
             share(stats.engineSeconds),
             stats.engineSeconds * 1e9 / static_cast<double>(std::max<int64_t>(1, stats.samples)));
  if (!stats.prepared) fmt::print("(the material was prepared before: its uniform nodes did not run)\n");
  std::fflush(stdout);
}

}  // namespace

Result ParseView(const ViewOptions& o, graph::View& view) {
  if (!graph::ParseShape(o.shape, view.shape))
    return Result::Fail(errors::kIllegalArgument,
                        "--shape: unknown shape \"" + o.shape + "\"; plane, sphere, cube, cylinder or torus");
  if (view.shape == graph::Shape::kPlane && (o.camera || o.orbit))
    return Result::Fail(errors::kIllegalArgument,
                        "--camera and --orbit look at a shape; the plane is seen from straight above (add --shape)");
  std::vector<double> v;
  if (o.camera) {
    TESSAROC_RETURN_IF_FAILED(ParseNumbers("--camera", *o.camera, 1, 2, v));
    view.camera.fov = v[0];
    if (v.size() > 1) view.camera.distance = v[1];
  }
  if (o.orbit) {
    TESSAROC_RETURN_IF_FAILED(ParseNumbers("--orbit", *o.orbit, 2, 2, v));
    view.camera.azimuth = v[0];
    view.camera.elevation = v[1];
  }
  if (view.shape == graph::Shape::kPlane) return Result::Ok();
  // The camera's own checks, for a message before the document is loaded.
  graph::CameraFrame frame;
  return graph::PlaceCamera(view.camera, view.shape, 1, 1, frame);
}

Result ParseBackground(const std::string& text, graph::Background& background) {
  if (text == "checker") {
    background.kind = graph::Background::Kind::kChecker;
    return Result::Ok();
  }
  std::vector<double> v;
  if (ParseNumbers("--background", text, 1, 3, v).failed() || v.size() == 2)
    return Result::Fail(errors::kIllegalArgument,
                        "--background: expected checker, a grey G or a colour R,G,B, got \"" + text + "\"");
  background.kind = graph::Background::Kind::kColor;
  background.color = v.size() == 1 ? Color{v[0], v[0], v[0]} : Color{v[0], v[1], v[2]};
  return Result::Ok();
}

int RunRender(const RenderOptions& o) {
  graph::RenderSettings s;
  if (Result r = ParseSize(o.size, s.width, s.height); r.failed()) return Fail(r);
  OutputPlan out;
  if (Result r = PlanOutputs(o.output, o.frame, o.out, s, out); r.failed()) return Fail(r);
  if (Result r = ParseView(o.view, s.view); r.failed()) return Fail(r);
  if (Result r = ParseBackground(o.background, s.view.background); r.failed()) return Fail(r);
  s.view.lit = o.lit;
  // Float images keep misses transparent for compositing; integer ones are
  // for looking at, so the background shows.
  s.view.background.alpha = out.opaque ? 1.0 : 0.0;
  if (o.threads > graph::kMaxThreads)
    return Fail(fmt::format("--threads {}: expected 0 (every core) to {}", o.threads, graph::kMaxThreads));
  s.threads = o.threads;
  // Bakes (cache, blur) run on the parallel loop: the same thread limit.
  if (o.threads > 0) host::InstallJobService(o.threads);
  s.fps = o.fps;
  s.time = o.time;
  const std::string folder = std::filesystem::path(o.graph).parent_path().string();
  s.searchPaths.urls.emplace_back(folder.empty() ? "." : folder);
  host::CollectingMessageSink sink;
  s.messages = &sink;
  ProgressBar bar(!o.quiet && isatty(STDERR_FILENO));
  s.progress = [&](double share) { bar.Update(share); };

  // One material for every frame: compiled and prepared once.
  std::unique_ptr<graph::Material> material;
  std::unique_ptr<graph::Document> document;
  if (Result r = graph::Document::Load(o.graph, document, o.settings); r.failed()) return Fail(r);
  if (Result r = graph::Material::Compile(std::move(document), material, out.extraOutputs); r.failed()) return Fail(r);
  PrintWarnings(material->document());
  host::Image image;
  graph::RenderStats stats;
  if (o.stats) s.stats = &stats;
  size_t printed = 0;
  auto renderOne = [&](std::optional<int64_t> frame) {
    if (frame) s.time = static_cast<double>(*frame) / o.fps;
    const auto start = std::chrono::steady_clock::now();
    Result r = graph::Render(*material, s, image);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    bar.Finish();
    if (Result m = PrintMessages(sink, printed, o.strict && r.ok()); m.failed())
      return Fail(std::string(m.message()) + "; nothing written");
    if (r.failed()) return Fail(r);
    double writeSeconds = 0;
    std::string files;
    if (Result w = WriteOutputs(out, frame, image, writeSeconds, files); w.failed()) return Fail(w);
    if (!o.quiet) {
      const std::string window = image.width == s.width && image.height == s.height
                                     ? ""
                                     : fmt::format(" at {},{} of {}x{}", image.x, image.y, s.width, s.height);
      const double samples = static_cast<double>(image.width) * image.height;
      std::printf("rendered %dx%d%s in %.3f s (%.2f M samples/s), wrote in %.3f s -> %s\n", image.width, image.height,
                  window.c_str(), seconds, samples / seconds / 1e6, writeSeconds, files.c_str());
      std::fflush(stdout);
    }
    if (o.stats) PrintStats(stats);
    return 0;
  };
  if (out.frames.empty()) return renderOne(std::nullopt);
  for (const FrameRange& range : out.frames)
    for (int64_t frame = range.first;; frame += range.step) {
      if (int status = renderOne(frame); status != 0) return status;
      if (range.last - frame < range.step) break;
    }
  return 0;
}

int RunEval(const EvalOptions& o) {
  std::unique_ptr<graph::Document> doc;
  if (!o.node.empty()) {
    std::vector<std::pair<std::string, std::string>> settings;
    for (const std::string& s : o.settings) {
      const size_t eq = s.find('=');
      if (eq == std::string::npos || eq == 0) return Fail("--set " + s + ": expected PORT=VALUE");
      settings.emplace_back(s.substr(0, eq), s.substr(eq + 1));
    }
    if (Result r = graph::Document::ForNode(o.node, settings, doc); r.failed()) return Fail(r);
  } else if (Result r = graph::Document::Load(o.graph, doc, o.settings); r.failed()) {
    return Fail(r);
  }
  PrintWarnings(*doc);
  // The sample is what pixel --pixel of a render sees, or a point of the
  // plane seen from above at --uv (default 0, 0) with no footprint; a context
  // file overrides fields.
  graph::RenderSettings view;
  if (Result r = ParseView(o.view, view.view); r.failed()) return Fail(r);
  ShadingContext ctx;
  if (o.pixel) {
    if (Result r = ParseSize(o.size, view.width, view.height); r.failed()) return Fail(r);
    std::vector<double> xy;
    if (Result r = ParseNumbers("--pixel", *o.pixel, 2, 2, xy); r.failed()) return Fail(r);
    if (xy[0] != std::floor(xy[0]) || xy[1] != std::floor(xy[1]) || xy[0] < 0 || xy[1] < 0 || xy[0] >= view.width ||
        xy[1] >= view.height)
      return Fail(fmt::format("--pixel {}: expected whole numbers X,Y inside the {}x{} image", *o.pixel, view.width,
                              view.height));
    graph::ViewSampler sampler;
    if (Result r = graph::ViewSampler::Create(view.view, view.width, view.height, sampler); r.failed()) return Fail(r);
    if (!graph::ViewContext(sampler, static_cast<int>(xy[0]), static_cast<int>(xy[1]), view, ctx))
      return Fail(fmt::format("--pixel {}: the pixel misses the {} and shows the background", *o.pixel,
                              graph::ShapeName(view.view.shape)));
    ctx.searchpaths = nullptr;  // the document's folder, below
  } else if (view.view.shape != graph::Shape::kPlane) {
    return Fail("--shape " + o.view.shape + " needs --pixel X,Y: the sample is where that pixel's ray meets it");
  } else {
    Vector2d uv{0, 0};
    if (o.uv) {
      nlohmann::json text = host::JsonFromNotation(*o.uv);
      Data value;
      std::string why;
      if (!host::ValueFromJson(text, kVector2dType, value, why)) return Fail("--uv " + *o.uv + ": " + why);
      uv = *static_cast<const Vector2d*>(value.get());
    }
    ctx = graph::EvalContext(uv.x, uv.y);
  }
  if (o.contextFile)
    if (Result r = ReadContextFile(*o.contextFile, ctx); r.failed()) return Fail(r);
  host::CollectingMessageSink sink;
  ordered_json out;
  Result r = graph::EvaluateDocument(std::move(doc), ctx, sink, out);
  size_t printed = 0;
  if (Result m = PrintMessages(sink, printed, o.strict && r.ok()); m.failed()) return Fail(m);
  if (r.failed()) return Fail(r);
  if (o.printContext) std::printf("%s\n", graph::ContextJson(ctx).c_str());
  std::printf("%s\n", out.dump().c_str());
  return 0;
}

int RunNodes(bool json, bool core) {
  const auto entries = CoreNodes().Entries();
  if (core && !json) {
    for (const CoreNodeDefinition* d : entries) std::printf("%s\n", d->id().str().c_str());
    return 0;
  }
  std::vector<const host::AssetDescription*> assets;
  if (Result r = host::Descriptions().Assets(assets); r.failed()) return Fail(r);
  if (!json) {
    // The names a document uses, with the first sentence of what each does.
    for (const host::AssetDescription* a : assets) {
      const std::string doc =
          a->doc.substr(0, a->doc.find(". ") == std::string::npos ? a->doc.size() : a->doc.find(". ") + 1);
      fmt::print("{:<22} {:<11} {}\n", a->alias, a->group, doc);
    }
    fmt::print("{:<22} {:<11} {}\n", "passthrough", "builtin",
               "Passes the value of its input \"color\" on unchanged, of whatever type it is.");
    return 0;
  }
  ordered_json out;
  out["assets"] = ordered_json::array();
  for (const host::AssetDescription* a : assets) {
    if (Result r = graph::DescribeNode(a->id, out["assets"].emplace_back()); r.failed()) return Fail(r);
  }
  out["corenodes"] = ordered_json::array();
  for (const CoreNodeDefinition* d : entries) {
    if (Result r = graph::DescribeNode(d->id().str(), out["corenodes"].emplace_back()); r.failed()) return Fail(r);
  }
  std::printf("%s\n", out.dump(2).c_str());
  return 0;
}

Result ReadContextFile(const std::string& path, ShadingContext& ctx) {
  std::string text;
  TESSAROC_RETURN_IF_FAILED(graph::ReadDocumentText(path, text));
  return graph::ContextFromJson(text, path, ctx);
}

int RunSchema() {
  ordered_json schema;
  if (Result r = graph::DocumentSchema(schema); r.failed()) return Fail(r);
  std::printf("%s\n", schema.dump(2).c_str());
  return 0;
}

int RunDescribe(const std::string& name, bool json) {
  graph::DocumentNode n;
  if (Result r = graph::ResolveNodeType(name, n); r.failed()) return Fail(r);
  if (json) {
    ordered_json out;
    if (Result r = graph::DescribeNode(name, out); r.failed()) return Fail(r);
    std::printf("%s\n", out.dump(2).c_str());
    return 0;
  }
  if (n.asset) {
    const host::AssetDescription& a = *n.asset;
    fmt::print("{}  ({})\n  {}\n", a.label, a.alias, a.id);
    if (!a.doc.empty()) fmt::print("  {}\n", a.doc);
    fmt::print("  group: {}\n  made of:", a.group);
    for (const auto& [inst, core] : a.nodes) fmt::print(" {}={}", inst, core);
    fmt::print("\n");
  } else {
    fmt::print("{}\n  {}\n", n.typeId, n.kind == graph::NodeKind::kBuiltin ? "builtin node" : "core node");
  }
  for (bool output : {false, true}) {
    fmt::print("{}\n", output ? "outputs:" : "inputs:");
    for (const graph::DocumentPort& p : n.ports) {
      if (p.output != output || p.hidden) continue;
      std::string line =
          fmt::format("  {:<22} {:<12}", p.id + (p.array ? "[]" : ""), p.type ? host::TypeName(*p.type) : "any");
      if (p.description && p.description->defaultIsContext) line += " default: the node's context";
      else if (p.description && p.description->hasDefault && !p.array)
        line += " default: " + host::ValueToJson(*p.type, p.description->defaultValue.get()).dump();
      if (p.description && !p.description->values.empty()) {
        // Values that share a dotted prefix are shown by their last part.
        const auto& values = p.description->values;
        std::string prefix = values[0].substr(0, values[0].rfind('.') + 1);
        for (const std::string& v : values)
          if (v.compare(0, prefix.size(), prefix) != 0) prefix.clear();
        line += prefix.empty() ? "  values:" : "  values (" + prefix + "*):";
        for (const std::string& v : values) line.append(" ").append(v, prefix.size());
      }
      if (p.description && !p.description->doc.empty()) line += "  - " + p.description->doc;
      fmt::print("{}\n", line);
    }
  }
  return 0;
}

}  // namespace tessaroc::app
