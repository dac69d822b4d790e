#include "graph/entry_points.h"

#include "tessaroc/core/registry.h"
#include "host/resources/description_database.h"
#include "host/resources/values.h"

namespace tessaroc::graph {

using nlohmann::ordered_json;

namespace {

// The context fields a sample may set, by name.
struct Field {
  const char* name;
  const DataType* type;
  void* (*at)(ShadingContext&);
};

// clang-format off
#define FIELD(NAME, TYPE) {#NAME, &TYPE, [](ShadingContext& c) -> void* { return &c.NAME; }}
const Field kFields[] = {
    FIELD(position, kVectorType),         FIELD(positiondx, kVectorType),    FIELD(positiondy, kVectorType),
    FIELD(geometricnormal, kVectorType),  FIELD(shadingnormal, kVectorType), FIELD(uvw, kVectorType),
    FIELD(uvwdx, kVectorType),            FIELD(uvwdy, kVectorType),         FIELD(tangent, kVectorType),
    FIELD(bitangent, kVectorType),        FIELD(pixelx, kInt64Type),         FIELD(pixely, kInt64Type),
    FIELD(subpixelx, kFloat64Type),       FIELD(subpixely, kFloat64Type),    FIELD(time, kFloat64Type),
    FIELD(framerate, kFloat64Type),       FIELD(rayorigin, kVectorType),     FIELD(raydirection, kVectorType),
    FIELD(raymindistance, kFloat64Type),  FIELD(raymaxdistance, kFloat64Type), FIELD(rayorigindx, kVectorType),
    FIELD(rayorigindy, kVectorType),      FIELD(raydirectiondx, kVectorType), FIELD(raydirectiondy, kVectorType),
};
#undef FIELD
// clang-format on

// The one-byte fields, read as whole numbers.
struct ByteField {
  const char* name;
  uint8_t ShadingContext::*member;
};
const ByteField kByteFields[] = {
    {"uvwvalid", &ShadingContext::uvwvalid},
    {"wrapmodeu", &ShadingContext::wrapmodeu},
    {"wrapmodev", &ShadingContext::wrapmodev},
    {"imageflag", &ShadingContext::imageflag},
};

}  // namespace

std::string ContextJson(const ShadingContext& ctx) {
  ShadingContext c = ctx;  // the table's accessors take a context to write
  nlohmann::ordered_json j = nlohmann::ordered_json::object();
  for (const Field& f : kFields) j[f.name] = host::ValueToJson(*f.type, f.at(c));
  for (const ByteField& f : kByteFields) j[f.name] = ctx.*f.member;
  return j.dump();
}

Result ContextFromJson(const std::string& text, const std::string& origin, ShadingContext& ctx) {
  nlohmann::json j;
  TESSAROC_RETURN_IF_FAILED(ParseDocumentJson(text, origin, j));
  if (!j.is_object()) return Result::Fail(errors::kIllegalArgument, origin + ": expected an object of context fields");
  for (auto it = j.begin(); it != j.end(); ++it) {
    bool known = false;
    for (const Field& f : kFields)
      if (it.key() == f.name) {
        Data value;
        std::string why;
        if (!host::ValueFromJson(it.value(), *f.type, value, why))
          return Result::Fail(errors::kIllegalArgument, origin + ": /" + it.key() + ": " + why);
        f.type->copyAssign(f.at(ctx), value.get());
        known = true;
      }
    for (const ByteField& f : kByteFields)
      if (it.key() == f.name) {
        if (!it.value().is_number_integer() || it.value().get<int64_t>() < 0 || it.value().get<int64_t>() > 255)
          return Result::Fail(errors::kIllegalArgument,
                              origin + ": /" + it.key() + ": expected a whole number 0 to 255");
        ctx.*f.member = static_cast<uint8_t>(it.value().get<int64_t>());
        known = true;
      }
    if (!known) {
      std::string names;
      for (const Field& f : kFields) names += std::string(names.empty() ? "" : ", ") + f.name;
      for (const ByteField& f : kByteFields) names += std::string(", ") + f.name;
      return Result::Fail(errors::kIllegalArgument,
                          origin + ": /" + it.key() + ": unknown context field; known: " + names);
    }
  }
  // The dx and dy fields are where the neighbouring samples are, not
  // differences: a point given without them is a point sample (as --uv takes),
  // not a footprint stretching to the neighbours of another point.
  struct Neighbours {
    const char* name;
    Vector ShadingContext::*at;
    Vector ShadingContext::*dx;
    Vector ShadingContext::*dy;
  };
  static constexpr Neighbours kNeighbours[] = {
      {"uvw", &ShadingContext::uvw, &ShadingContext::uvwdx, &ShadingContext::uvwdy},
      {"position", &ShadingContext::position, &ShadingContext::positiondx, &ShadingContext::positiondy},
      {"rayorigin", &ShadingContext::rayorigin, &ShadingContext::rayorigindx, &ShadingContext::rayorigindy},
      {"raydirection", &ShadingContext::raydirection, &ShadingContext::raydirectiondx, &ShadingContext::raydirectiondy},
  };
  for (const Neighbours& n : kNeighbours) {
    if (!j.contains(n.name)) continue;
    const std::string name = n.name;
    if (!j.contains(name + "dx")) ctx.*n.dx = ctx.*n.at;
    if (!j.contains(name + "dy")) ctx.*n.dy = ctx.*n.at;
  }
  return Result::Ok();
}

Result RenderDocument(std::unique_ptr<Document> document, RenderSettings settings, host::Image& out) {
  if (settings.searchPaths.urls.empty())
    settings.searchPaths.urls.emplace_back(document->folder().empty() ? "." : document->folder());
  std::unique_ptr<Material> material;
  TESSAROC_RETURN_IF_FAILED(Material::Compile(std::move(document), material));
  return Render(*material, settings, out);
}

ShadingContext EvalContext(double u, double v) {
  const Vector at{u, v, 0.0};
  return SurfaceContext(at, at, at);
}

Result EvaluateDocument(std::unique_ptr<Document> document, ShadingContext ctx, MessageSink& messages,
                        ordered_json& out) {
  SearchPathsType paths;
  paths.urls.emplace_back(document->folder().empty() ? "." : document->folder());
  if (ctx.searchpaths == nullptr) ctx.searchpaths = &paths;
  ctx.messagesink = &messages;
  std::unique_ptr<Material> material;
  TESSAROC_RETURN_IF_FAILED(Material::Compile(std::move(document), material));
  TESSAROC_RETURN_IF_FAILED(material->Prepare(ctx));
  std::unique_ptr<PlanInstance> ev;
  TESSAROC_RETURN_IF_FAILED(material->NewEvaluator(ev));
  TESSAROC_RETURN_IF_FAILED(ev->Evaluate(ctx));
  out = ordered_json::object();
  for (const Material::Output& output : material->outputs())
    out[output.id] = host::ValueToJson(*output.type, material->OutputValue(*ev, output).value);
  return Result::Ok();
}

namespace {

ordered_json PortJson(const DocumentPort& p) {
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

Result DescribeNode(const std::string& name, ordered_json& out) {
  DocumentNode n;
  TESSAROC_RETURN_IF_FAILED(ResolveNodeType(name, n));
  out = ordered_json::object();
  if (n.asset) {
    const host::AssetDescription& a = *n.asset;
    out["id"] = a.id;
    out["alias"] = a.alias;
    out["group"] = a.group;
    out["label"] = a.label;
    if (!a.doc.empty()) out["doc"] = a.doc;
    out["nodes"] = ordered_json::object();
    for (const auto& [inst, core] : a.nodes) out["nodes"][inst] = core;
  } else {
    out["id"] = n.typeId;
    if (const CoreNodeDefinition* d = CoreNodes().Find(Id(std::string_view(n.typeId)))) {
      out["source"] = d->source();
      out["pure"] = d->pure();
    }
  }
  out["ports"] = ordered_json::array();
  for (const DocumentPort& p : n.ports) out["ports"].push_back(PortJson(p));
  return Result::Ok();
}

}  // namespace tessaroc::graph
