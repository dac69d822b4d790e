// What a user asks of Tessaroc: a picture of a document, one sample of it, a
// node's description. The command line and the Python module both call these,
// so what they give agrees bit for bit.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "graph/document.h"
#include "graph/render.h"

namespace tessaroc::graph {

// Compiles the document and renders it. Its relative file names are found in
// its folder unless `settings` names search paths.
Result RenderDocument(std::unique_ptr<Document> document, RenderSettings settings, host::Image& out);

// Sets context fields by name from a JSON object ({"uvw": [0.1, 0.2, 0],
// "time": 2}). A mistake names `origin`, the field and the reason. A point
// (uvw, position, ray) given without its dx and dy neighbours is a point
// sample: they are set to the point.
Result ContextFromJson(const std::string& text, const std::string& origin, ShadingContext& ctx);
// Every field that ContextFromJson reads, as one JSON object it reads back.
std::string ContextJson(const ShadingContext& ctx);

// One sample as `tessaroc eval` gives it: every output a user can connect,
// by id, as JSON (NaN and infinities as "nan", "inf", "-inf"). The document is
// compiled and primed at `ctx`; its folder is the search path unless `ctx`
// names one. Messages of the material go to `messages`.
Result EvaluateDocument(std::unique_ptr<Document> document, ShadingContext ctx, MessageSink& messages,
                        nlohmann::ordered_json& out);

// The sample `tessaroc eval --uv U,V` takes: the surface seen from above at
// uvw (u, v, 0), with no footprint.
ShadingContext EvalContext(double u, double v);

// A node as `tessaroc nodes --json` lists it: for an asset its id, alias,
// group, label, doc, core nodes and ports; for a core node its id, source,
// purity and ports. `name` is an asset id or alias or a core node id.
Result DescribeNode(const std::string& name, nlohmann::ordered_json& out);

// The JSON Schema (draft 2020-12) of graph documents, as `tessaroc schema`
// prints it: every node name, each node's input ports with the literals
// their types take (or a link), and the enumeration values.
Result DocumentSchema(nlohmann::ordered_json& out);

}  // namespace tessaroc::graph
