// tessaroc: render and evaluate material graphs, list and describe nodes.
#include <CLI/CLI.hpp>

#include <csignal>

#include "commands.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/version.h"
#include "tessaroc/module/register.h"

namespace {

// --shape, --camera and --orbit: the same view for render and eval.
void AddViewOptions(CLI::App* command, tessaroc::app::ViewOptions& view) {
  command->add_option("--shape", view.shape, "plane (the UV square from above), sphere, cube, cylinder or torus")
      ->capture_default_str();
  command->add_option("--camera", view.camera,
                      "FOV[,DISTANCE] for a shape: field of view in degrees (30) and distance from the shape's "
                      "centre (default: the shape fills the picture)");
  command->add_option("--orbit", view.orbit,
                      "AZIMUTH,ELEVATION in degrees for a shape: where the camera looks from (30,25)");
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tessaroc;
  CLI::App app{
      "Tessaroc: procedural shading patterns. Render a material graph, evaluate one sample, "
      "list and describe the nodes."};
  app.require_subcommand(1);
  app.set_version_flag("--version", "tessaroc " TESSAROC_VERSION_STRING);

  app::RenderOptions render;
  CLI::App* r =
      app.add_subcommand("render", "Render a material graph over the UV square or on a shape to an image file");
  r->add_option("graph", render.graph, "Material graph document (JSON)")->required()->check(CLI::ExistingFile);
  r->add_option("-o,--output", render.output, "Image to write: .png, .jpg (8-bit sRGB), .exr, .tif (linear float)")
      ->required();
  r->add_option("--size", render.size, "Image size: W (square) or WxH")->capture_default_str();
  r->add_option("--threads", render.threads, "Threads to use; 0 uses every core")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  r->add_option("--time", render.time, "Scene time in seconds")->capture_default_str();
  r->add_option("--fps", render.fps, "Frames per second")->capture_default_str()->check(CLI::PositiveNumber);
  r->add_option("--frame", render.frame, "Frame number; sets the time to FRAME / FPS");
  r->add_flag("--quiet,-q", render.quiet, "No progress bar and no summary");
  r->add_flag("--stats", render.stats,
              "After the render, per node: calls, share of the time, ns per call, and whether it runs per sample "
              "or once (uniform)");
  AddViewOptions(r, render.view);
  r->add_option("--background", render.background,
                "Behind a shape: checker, a grey G or a colour R,G,B (linear); alpha 0 in EXR and TIFF")
      ->capture_default_str();
  r->add_flag("--lit", render.lit,
              "Show the output as the colour of a diffuse surface under a key light, shaded with the document's "
              "normal when it names one");
  r->add_option("--set", render.settings,
                "NODE.PORT=VALUE: an input's value instead of the document's, e.g. board.color1=1,0,0 or "
                "board.color1=[1,0,0,1]; text is taken whole (repeatable)");
  r->add_flag("--strict", render.strict,
              "Messages of the material (a missing image file, ...) are errors: nothing is written");
  app::AddOutputOptions(*r, render.out);

  app::EvalOptions eval;
  CLI::App* e = app.add_subcommand("eval", "Evaluate one sample and print every output as JSON");
  e->add_option("graph", eval.graph, "Material graph document (JSON)")->check(CLI::ExistingFile);
  e->add_option("--node", eval.node, "Evaluate one node instead: asset id, alias or core node id");
  e->add_option("--set", eval.settings,
                "PORT=VALUE with --node, NODE.PORT=VALUE with a document: an input's value, e.g. "
                "color=1,0,0.25,1, mode=srgb or board.color1=[1,0,0,1] (repeatable)");
  CLI::Option* uv = e->add_option("--uv", eval.uv, "U,V: sample the plane at uvw (U, V, 0), with no footprint");
  CLI::Option* pixel =
      e->add_option("--pixel", eval.pixel, "X,Y: the sample pixel (X, Y) of the render at --size evaluates")
          ->excludes(uv);
  e->add_option("--size", eval.size, "W or WxH: the size of the render --pixel belongs to")
      ->capture_default_str()
      ->needs(pixel);
  AddViewOptions(e, eval.view);
  e->add_flag("--print-context", eval.printContext,
              "Print the context evaluated, a line of JSON as --context reads, before the outputs");
  e->add_option("--context", eval.contextFile,
                "JSON file of context fields by name (uvw, time, ...); they override --uv and --pixel")
      ->check(CLI::ExistingFile);
  e->add_flag("--strict", eval.strict, "Messages of the material (a missing image file, ...) are errors");

  bool json = false, core = false;
  CLI::App* n = app.add_subcommand("nodes", "List the nodes a document names, with group and what each does");
  CLI::Option* coreFlag = n->add_flag("--core", core, "The registered core node ids instead");
  n->add_flag("--json", json, "Assets and core nodes with their ports, as JSON")->excludes(coreFlag);

  std::string node;
  bool describeJson = false;
  CLI::App* d = app.add_subcommand("describe", "Ports, types, defaults and values of a node");
  d->add_option("node", node, "Asset id, alias or core node id")->required();
  d->add_flag("--json", describeJson, "As JSON, as `nodes --json` lists it");

  CLI::App* schema = app.add_subcommand(
      "schema", "Print the JSON Schema of graph documents, made from the node catalogue, for editors and checks");

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);  // --help, --version
  } catch (const CLI::ParseError& e) {
    // The parser's own words, on our one line and with our status.
    std::string why = e.what();
    // A required argument missing beside an unknown option is most likely
    // that option misspelt: name it rather than what it hid.
    if (dynamic_cast<const CLI::RequiredError*>(&e) != nullptr)
      for (const CLI::App* sub : app.get_subcommands())
        if (const std::vector<std::string> extra = sub->remaining(); !extra.empty())
          why = "The following argument was not expected: " + extra.front();
    for (char& c : why)
      if (c == '\n') c = ' ';
    while (!why.empty() && why.back() == ' ') why.pop_back();
    return app::Fail(why + "; see tessaroc " +
                     (app.get_subcommands().empty() ? "" : app.get_subcommands()[0]->get_name() + " ") + "--help");
  }
  // A file size limit makes writes fail rather than end the process: the
  // writer then reports it and keeps the previous file.
  std::signal(SIGXFSZ, SIG_IGN);

  if (Result ok = host::InstallHostServices(); ok.failed()) return app::Fail(ok);
  if (Result ok = module::LoadModule(); ok.failed()) return app::Fail(ok);

  int status = 0;
  if (*r) status = app::RunRender(render);
  else if (*e) {
    if (eval.graph.empty() == eval.node.empty()) return app::Fail("eval takes a graph or --node, one of the two");
    status = app::RunEval(eval);
  } else if (*n) status = app::RunNodes(json, core);
  else if (*d) status = app::RunDescribe(node, describeJson);
  else if (*schema) status = app::RunSchema();
  (void)module::UnloadModule();
  return status;
}
