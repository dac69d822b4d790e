// The commands of the `tessaroc` tool. Each returns the process exit status
// and prints errors as one line.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "graph/preview/view.h"
#include "output.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::app {

// What a render or an eval looks at: the plane, or a shape through a camera.
struct ViewOptions {
  std::string shape = "plane";
  std::optional<std::string> camera;  // FOV[,DISTANCE]
  std::optional<std::string> orbit;   // AZIMUTH,ELEVATION
};

struct RenderOptions {
  std::string graph;
  std::string output;
  std::string size = "512";
  int threads = 0;
  double time = 0;
  double fps = 24;
  std::optional<int64_t> frame;
  bool quiet = false;
  bool stats = false;
  ViewOptions view;
  std::string background = "checker";
  bool lit = false;
  bool strict = false;                // messages of the material are errors
  std::vector<std::string> settings;  // NODE.PORT=VALUE
  OutputOptions out;
};

struct EvalOptions {
  std::string graph;
  std::string node;
  std::vector<std::string> settings;  // PORT=VALUE with --node, NODE.PORT=VALUE with a document
  std::optional<std::string> uv;      // U,V
  std::optional<std::string> contextFile;
  ViewOptions view;
  std::optional<std::string> pixel;  // X,Y of a render of --size
  std::string size = "512";
  bool printContext = false;
  bool strict = false;
};

int RunRender(const RenderOptions& options);
int RunEval(const EvalOptions& options);
// Aliases with group and doc; with `core` the core node ids; with `json`
// assets and core nodes with their ports.
int RunNodes(bool json, bool core);
int RunDescribe(const std::string& node, bool json);
// The JSON Schema of graph documents.
int RunSchema();

// Prints "tessaroc: error: <message>" and returns 1.
int Fail(const Result& r);
int Fail(const std::string& message);

// Reads a context file: a JSON object of context fields by name.
Result ReadContextFile(const std::string& path, ShadingContext& ctx);
// The shape and camera of --shape, --camera and --orbit.
Result ParseView(const ViewOptions& options, graph::View& view);
// --background: "checker", a grey "G" or "R,G,B".
Result ParseBackground(const std::string& text, graph::Background& background);
// Parses "W" or "WxH".
Result ParseSize(const std::string& text, int& width, int& height);

}  // namespace tessaroc::app
