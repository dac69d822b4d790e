#include "commands.h"

#include <fmt/core.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tessaroc/core/registry.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "graph/render.h"
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
  const std::string folder = std::filesystem::path(o.graph).parent_path().string();
  s.searchPaths.urls.emplace_back(folder.empty() ? "." : folder);
  host::CollectingMessageSink sink;
  s.messages = &sink;
  ProgressBar bar(!o.quiet && isatty(STDERR_FILENO));
  s.progress = [&](double share) { bar.Update(share); };

  const auto start = std::chrono::steady_clock::now();
  std::unique_ptr<graph::Material> material;
  if (Result r = graph::Material::FromFile(o.graph, material); r.failed()) return Fail(r);
  host::Image image;
  Result r = graph::Render(*material, s, image);
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
  Vector at{0, 0, 0};
  if (o.uv) {
    nlohmann::json uv = host::JsonFromNotation(*o.uv);
    Data value;
    std::string why;
    if (!host::ValueFromJson(uv, kVector2dType, value, why)) return Fail("--uv " + *o.uv + ": " + why);
    const auto& p = *static_cast<const Vector2d*>(value.get());
    at = {p.x, p.y, 0.0};
  }
  ShadingContext ctx = graph::SurfaceContext(at, at, at);
  if (o.contextFile)
    if (Result r = ReadContextFile(*o.contextFile, ctx); r.failed()) return Fail(r);
  SearchPathsType paths;
  paths.urls.emplace_back(doc->folder().empty() ? "." : doc->folder());
  if (ctx.searchpaths == nullptr) ctx.searchpaths = &paths;
  host::CollectingMessageSink sink;
  ctx.messagesink = &sink;

  std::unique_ptr<graph::Material> material;
  if (Result r = graph::Material::Compile(std::move(doc), material); r.failed()) return Fail(r);
  if (Result r = material->Prepare(ctx); r.failed()) return Fail(r);
  std::unique_ptr<PlanInstance> ev;
  if (Result r = material->NewEvaluator(ev); r.failed()) return Fail(r);
  Result r = ev->Evaluate(ctx);
  PrintMessages(sink);
  if (r.failed()) return Fail(r);
  ordered_json out = ordered_json::object();
  for (const graph::Material::Output& output : material->outputs()) {
    const ValueSlot v = material->OutputValue(*ev, output);
    out[output.id] = host::ValueToJson(*output.type, v.value);
  }
  std::printf("%s\n", out.dump().c_str());
  return 0;
}

namespace {

ordered_json PortJson(const graph::DocumentPort& p) {
  ordered_json j;
  j["id"] = p.id;
  j["direction"] = p.output ? "out" : "in";
  j["type"] = p.type ? host::TypeName(*p.type) : "any";
  if (p.description) {
    if (p.description->defaultIsContext) j["default"] = "context";
    else if (p.description->hasDefault && !p.array)
      j["default"] = host::ValueToJson(*p.type, p.description->defaultValue.get());
    if (!p.description->values.empty()) j["values"] = p.description->values;
    if (p.array) j["array"] = true;
    if (!p.description->label.empty()) j["label"] = p.description->label;
  }
  if (p.hidden) j["hidden"] = true;
  return j;
}

}  // namespace

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
    graph::DocumentNode n;
    if (Result r = graph::ResolveNodeType(a->id, n); r.failed()) return Fail(r);
    ordered_json j;
    j["id"] = a->id;
    j["alias"] = a->alias;
    j["group"] = a->group;
    j["label"] = a->label;
    if (!a->doc.empty()) j["doc"] = a->doc;
    j["nodes"] = ordered_json::object();
    for (const auto& [inst, core] : a->nodes) j["nodes"][inst] = core;
    j["ports"] = ordered_json::array();
    for (const graph::DocumentPort& p : n.ports) j["ports"].push_back(PortJson(p));
    out["assets"].push_back(j);
  }
  out["corenodes"] = ordered_json::array();
  for (const CoreNodeDefinition* d : entries) {
    graph::DocumentNode n;
    if (Result r = graph::ResolveNodeType(d->id().str(), n); r.failed()) return Fail(r);
    ordered_json j;
    j["id"] = d->id().str();
    j["source"] = d->source();
    j["pure"] = d->pure();
    j["ports"] = ordered_json::array();
    for (const graph::DocumentPort& p : n.ports) j["ports"].push_back(PortJson(p));
    out["corenodes"].push_back(j);
  }
  std::printf("%s\n", out.dump(2).c_str());
  return 0;
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
