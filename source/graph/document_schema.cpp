// The JSON Schema of graph documents, made from the catalogue: editors
// complete node names and ports from it and mark a misspelt one.
#include <algorithm>

#include "graph/entry_points.h"
#include "tessaroc/core/registry.h"
#include "host/resources/description_database.h"
#include "host/resources/values.h"

namespace tessaroc::graph {

using nlohmann::ordered_json;

namespace {

ordered_json Ref(const std::string& name) { return {{"$ref", "#/$defs/" + name}}; }

ordered_json Numbers(size_t least, size_t most) {
  return {{"type", "array"}, {"items", Ref("number")}, {"minItems", least}, {"maxItems", most}};
}

// What a literal of the type may be, as ValueFromJson reads it.
ordered_json LiteralSchema(const DataType* type) {
  if (type == nullptr) return ordered_json::object();  // the pass-through takes anything
  const std::string name = host::TypeName(*type);
  if (name == "float" || name == "float32" || name == "time") return Ref("number");
  if (name == "int" || name == "int32" || name == "uint32") return {{"type", "integer"}};
  if (name == "bool") return {{"type", "boolean"}};
  if (name == "colora") return Numbers(3, 4);
  if (name == "color" || name == "vector") return Numbers(3, 3);
  if (name == "vector2") return Numbers(2, 2);
  if (name == "vector4") return Numbers(4, 4);
  if (name == "string" || name == "url" || name == "id" || name == "enum") return {{"type", "string"}};
  if (name == "layerset")
    return {{"anyOf", {{{"type", "string"}}, {{"type", "array"}, {"items", {{"type", "string"}}}}}}};
  if (name == "searchpaths") return {{"type", "array"}, {"items", {{"type", "string"}}}};
  return ordered_json::object();
}

ordered_json PortSchema(const DocumentPort& p) {
  ordered_json value = LiteralSchema(p.type);
  const host::PortDescription* d = p.description;
  if (d && !d->values.empty()) {
    // Full ids and their last parts; empty picks the node's own branch.
    ordered_json names = ordered_json::array({""});
    for (const std::string& v : d->values) names.push_back(v);
    for (const std::string& v : d->values)
      if (v.find('.') != std::string::npos) names.push_back(v.substr(v.rfind('.') + 1));
    value = {{"enum", names}};
  }
  ordered_json element;
  if (p.type == &kShadingContextType) element = Ref("link");
  else if (d && d->build) element = value;
  else element = {{"anyOf", {value, Ref("link")}}};
  if (d && !d->doc.empty()) element["description"] = d->doc;
  if (!p.array) return element;
  ordered_json list = {{"type", "array"}, {"items", element}};
  if (d && !d->doc.empty()) list["description"] = d->doc;
  return list;
}

// The inputs a document may give a node of this type.
ordered_json InputsSchema(const DocumentNode& n) {
  ordered_json properties = ordered_json::object();
  for (const DocumentPort& p : n.ports)
    // An asset's hidden ports stay settable (a context to link); a core
    // node's hidden ports are its private state.
    if (!p.output && (!p.hidden || p.description)) properties[p.id] = PortSchema(p);
  return {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
}

}  // namespace

Result DocumentSchema(ordered_json& out) {
  std::vector<std::pair<std::vector<std::string>, DocumentNode>> types;  // names -> ports
  std::vector<const host::AssetDescription*> assets;
  TESSAROC_RETURN_IF_FAILED(host::Descriptions().Assets(assets));
  for (const host::AssetDescription* a : assets) {
    DocumentNode n;
    TESSAROC_RETURN_IF_FAILED(ResolveNodeType(a->id, n));
    types.push_back({{a->alias, a->id}, std::move(n)});
  }
  for (const CoreNodeDefinition* d : CoreNodes().Entries()) {
    DocumentNode n;
    TESSAROC_RETURN_IF_FAILED(ResolveNodeType(d->id().str(), n));
    if (CoreNodeRefusal(n).empty()) types.push_back({{d->id().str()}, std::move(n)});
  }
  {
    DocumentNode n;
    TESSAROC_RETURN_IF_FAILED(ResolveNodeType("passthrough", n));
    types.push_back({{"passthrough", n.typeId}, std::move(n)});
  }

  ordered_json names = ordered_json::array();
  ordered_json byType = ordered_json::array();
  for (const auto& [ids, n] : types) {
    for (const std::string& id : ids) names.push_back(id);
    byType.push_back({{"if", {{"properties", {{"node", {{"enum", ids}}}}}}},
                      {"then", {{"properties", {{"inputs", InputsSchema(n)}}}}}});
  }
  const ordered_json nameString = {{"type", "string"}, {"pattern", "^[A-Za-z0-9_-]+(\\.[A-Za-z0-9_]+)?$"}};
  out = {
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"title", "Tessaroc graph document"},
      {"description",
       "A material graph: named nodes, their inputs (values or links) and the output. Made by "
       "`tessaroc schema` from the node catalogue."},
      {"type", "object"},
      {"required", {"tessaroc", "nodes", "output"}},
      {"additionalProperties", false},
      {"properties",
       {{"$schema", {{"type", "string"}}},
        {"tessaroc", {{"const", kDocumentVersion}, {"description", "The document format version."}}},
        {"description", {{"type", "string"}}},
        {"nodes",
         {{"type", "object"},
          {"minProperties", 1},
          {"propertyNames", {{"pattern", "^[A-Za-z0-9_-]+$"}}},
          {"additionalProperties", Ref("node")}}},
        {"output", Ref("output")},
        {"normal", Ref("output")}}},
      {"$defs",
       {{"number", {{"anyOf", {{{"type", "number"}}, {{"enum", {"nan", "inf", "-inf"}}}}}}},
        {"link",
         {{"type", "object"},
          {"properties", {{"link", nameString}}},
          {"required", {"link"}},
          {"additionalProperties", false}}},
        {"output", {{"anyOf", {nameString, Ref("link")}}}},
        {"node",
         {{"type", "object"},
          {"required", {"node"}},
          {"properties",
           {{"node", {{"enum", names}, {"description", "An asset's alias or id, or a core node id."}}},
            {"label", {{"type", "string"}}},
            {"inputs", {{"type", "object"}}}}},
          {"additionalProperties", false},
          {"allOf", byType}}}}},
  };
  return Result::Ok();
}

}  // namespace tessaroc::graph
