#include "commands.h"

#include <fmt/core.h>
#include <unistd.h>

#include <chrono>
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
    return out >= 1;
  };
  const bool ok = x == std::string::npos ? number(text, width) && number(text, height)
                                         : number(text.substr(0, x), width) && number(text.substr(x + 1), height);
  if (!ok)
    return Result::Fail(errors::kIllegalArgument,
                        "--size: expected W or WxH with whole numbers from 1, got \"" + text + "\"");
  return Result::Ok();
}

namespace {

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

void PrintMessages(const host::CollectingMessageSink& sink) {
  for (const std::string& m : sink.Messages()) std::fprintf(stderr, "tessaroc: %s\n", m.c_str());
}

}  // namespace

int RunRender(const RenderOptions& o) {
  graph::RenderSettings s;
  if (Result r = ParseSize(o.size, s.width, s.height); r.failed()) return Fail(r);
  if (Result r = host::CheckImageWriter(o.output); r.failed()) return Fail(r);
  s.threads = o.threads;
  // Bakes (cache, blur) run on the parallel loop: the same thread limit.
  if (o.threads > 0) host::InstallJobService(o.threads);
  s.fps = o.fps;
  s.time = o.frame ? static_cast<double>(*o.frame) / o.fps : o.time;
  host::CollectingMessageSink sink;
  s.messages = &sink;
  ProgressBar bar(!o.quiet && isatty(STDERR_FILENO));
  s.progress = [&](double share) { bar.Update(share); };

  const auto start = std::chrono::steady_clock::now();
  std::unique_ptr<graph::Document> doc;
  if (Result r = graph::Document::Load(o.graph, doc); r.failed()) return Fail(r);
  host::Image image;
  Result r = graph::RenderDocument(std::move(doc), s, image);
  bar.Finish();
  PrintMessages(sink);
  if (r.failed()) return Fail(r);
  if (Result w = host::WriteImage(o.output, image); w.failed()) return Fail(w);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!o.quiet) {
    const double samples = static_cast<double>(s.width) * s.height;
    std::printf("rendered %dx%d in %.2f s (%.2f M samples/s) -> %s\n", s.width, s.height, seconds,
                samples / seconds / 1e6, o.output.c_str());
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
  } else if (Result r = graph::Document::Load(o.graph, doc); r.failed()) {
    return Fail(r);
  }
  // The sample is a point of a surface seen from above, as in a render, at
  // --uv (default 0, 0) with no footprint; a context file overrides fields.
  Vector2d uv{0, 0};
  if (o.uv) {
    nlohmann::json text = host::JsonFromNotation(*o.uv);
    Data value;
    std::string why;
    if (!host::ValueFromJson(text, kVector2dType, value, why)) return Fail("--uv " + *o.uv + ": " + why);
    uv = *static_cast<const Vector2d*>(value.get());
  }
  ShadingContext ctx = graph::EvalContext(uv.x, uv.y);
  if (o.contextFile)
    if (Result r = ReadContextFile(*o.contextFile, ctx); r.failed()) return Fail(r);
  host::CollectingMessageSink sink;
  ordered_json out;
  Result r = graph::EvaluateDocument(std::move(doc), ctx, sink, out);
  PrintMessages(sink);
  if (r.failed()) return Fail(r);
  std::printf("%s\n", out.dump().c_str());
  return 0;
}

int RunNodes(bool json) {
  const auto entries = CoreNodes().Entries();
  if (!json) {
    for (const CoreNodeDefinition* d : entries) std::printf("%s\n", d->id().str().c_str());
    return 0;
  }
  ordered_json out;
  std::vector<const host::AssetDescription*> assets;
  if (Result r = host::Descriptions().Assets(assets); r.failed()) return Fail(r);
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
  std::ifstream in(path);
  if (!in) return Result::Fail(errors::kIo, path + ": cannot be read");
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return graph::ContextFromJson(text, path, ctx);
}

int RunDescribe(const std::string& name) {
  graph::DocumentNode n;
  if (Result r = graph::ResolveNodeType(name, n); r.failed())
    return Fail(std::string(r.message()) + "; `tessaroc nodes` lists them");
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
