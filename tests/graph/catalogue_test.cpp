// Invariants over the whole catalogue, so that a node added tomorrow is held
// to them without a test of its own: every core node the module registers
// finalises and accesses its ports as declared; every asset, every core node
// with an output, every example and the rows below render without allocating
// per pixel, give the same bits twice and on two threads; and every node
// shows in an example or a test graph.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "module_fixture.h"
#include "allocation_counter.h"
#include "graph/document.h"
#include "graph/render.h"
#include "host/messages/message_sink.h"
#include "host/resources/description_database.h"
#include "host/resources/values.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/graph/material.h"

namespace tessaroc::graph {
namespace {

namespace fs = std::filesystem;
using Settings = std::vector<std::pair<std::string, std::string>>;

const std::string kSource = TESSAROC_SOURCE_DIR;

// Inputs away from the defaults that take a kernel down another path: each
// row, and an image under each interpolation, is rendered under the same
// invariants as the defaults.
// clang-format off
const std::pair<const char*, Settings> kRows[] = {
    {"blur", {{"mode", "kernel"}}}, {"blur", {{"mode", "stochastic"}, {"samples", "8"}}},
    {"cache", {{"interpolation", "nearest"}}}, {"kernel", {{"kernel11", "1"}, {"normalize", "true"}}},
    {"noise", {{"noisetype", "net.zovan.render.rendernoiseclass.displacedvoronoi"}, {"octaves", "6.5"},
               {"absolute", "true"}, {"animationspeed", "0.5"}}},
    {"noise", {{"noisetype", "net.zovan.render.rendernoiseclass.displacedvoronoi"}, {"lacunarity", "0"},
               {"gain", "0"}, {"exponent", "0"}}},
    {"noise", {{"noisetype", "net.zovan.render.rendernoiseclass.fbm"}}},
    {"voronoinoise", {{"randomcolor", "true"}, {"borderwidth", "0.01"}, {"evenwidthborder", "true"}}},
    {"colorprofile", {{"inprofile", "srgb"}, {"outprofile", "cineon"}}},
    {"colorspace", {{"incolorspace", "hsl"}, {"outcolorspace", "xyz"}}},
    {"shuffle", {{"redcomponent", "green"}, {"alphacomponent", "green"}}},
    {"keyer", {{"mode", "keyin"}, {"tolerancemax", "0.5"}}},
    {"colortofloat", {{"mode", "length"}, {"usealpha", "true"}}},
    {"colorhsl", {{"hue", "0.3"}, {"saturation", "0.1"}}},
    {"blend", {{"blendmode", "net.zovan.render.blendmode.screen"}}},
    {"layer", {{"mode", "net.zovan.render.blendmode.multiply"}}},
    {"cells", {{"distancemode", "\"6\""}, {"exponent", "1.5"}}},
    {"thinfilm", {{"thickness", "380"}, {"ior", "1.4"}}},
};
// clang-format on

class Catalogue : public testing::ModuleTest {
 protected:
  static std::vector<const CoreNodeDefinition*> CoreNodeDefinitions() {
    std::vector<const CoreNodeDefinition*> out;
    for (const CoreNodeDefinition* def : CoreNodes().Entries())
      if (def->id().str().rfind("net.zovan.", 0) == 0) out.push_back(def);
    return out;
  }
};

// The micro nodes of a finalised group against its ports.
void CheckAccess(const MicroNodeGroup& group) {
  EXPECT_TRUE(group.finalized());
  const auto& ports = group.ports();
  std::vector<int> reads(ports.size()), writes(ports.size());
  for (const MicroNodeEntry& m : group.microNodes()) {
    // The describe function says again what the group was finalised with.
    PortAccessBuilder again;
    ASSERT_TRUE(m.impl->describe(*m.impl, again).ok()) << m.name.str();
    ASSERT_EQ(again.lines().size(), m.portOfAccess.size()) << m.name.str();
    EXPECT_EQ(m.impl->portCount, m.portOfAccess.size()) << m.name.str();
    std::set<int> seen;
    for (size_t i = 0; i < m.portOfAccess.size(); ++i) {
      const int p = m.portOfAccess[i];
      EXPECT_EQ(again.lines()[i].key, ports[p].key) << m.name.str() << " access " << i;
      EXPECT_TRUE(seen.insert(p).second) << m.name.str() << " accesses " << ports[p].id.str() << " twice";
      ++(again.lines()[i].isOutput ? writes : reads)[p];
    }
  }
  // A declared input that no kernel reads, or an output that none writes,
  // is a declaration out of step with its kernels.
  for (size_t p = 0; p < ports.size(); ++p)
    EXPECT_GT((ports[p].IsInput() ? reads : writes)[p], 0) << ports[p].id.str() << " is accessed by no micro node";
}

TEST_F(Catalogue, EveryCoreNodeFinalisesAndAccessesEachPortAsDeclared) {
  const auto defs = CoreNodeDefinitions();
  ASSERT_GT(defs.size(), 50u);
  for (const CoreNodeDefinition* def : defs) {
    // Without array elements, and with two of each.
    const std::vector<int64_t> two(def->arrayPorts().size(), 2);
    for (const bool elements : {false, true}) {
      if (elements && two.empty()) continue;
      SCOPED_TRACE(def->id().str() + (elements ? " with two elements per array" : ""));
      const MicroNodeGroup* group = nullptr;
      ASSERT_TRUE((elements ? def->GetGroup(two, group) : def->GetGroup(group)).ok());
      CheckAccess(*group);
      EXPECT_EQ(group->id(), def->id());
    }
  }
}

// Renders `m` at `size` pixels square; the pixels, or empty on failure.
host::Pixels Pixels(Material& m, RenderSettings s, int size, int threads) {
  s.width = s.height = size;
  s.threads = threads;
  host::Image image;
  Result r = Render(m, s, image);
  EXPECT_TRUE(r.ok()) << r.ToString();
  return image.pixels;
}

bool SameBits(const host::Pixels& a, const host::Pixels& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// The invariants of one compiled document, on the plane and on a lit torus
// (hits and misses): the allocations of a render do not grow with its pixels,
// and its bits are the same twice and on two threads. With `aov`, the main
// output goes to an extra image as well.
void CheckRenders(std::unique_ptr<Document> doc, bool aov = false) {
  std::vector<std::string> extra;
  if (aov) extra.push_back(doc->outputNode()->name + "." + doc->outputPort()->id);
  std::unique_ptr<Material> m;
  Result r = Material::Compile(std::move(doc), m, extra);
  ASSERT_TRUE(r.ok()) << r.ToString();
  if (!Renderable(*m->mainOutput().type)) {
    EXPECT_TRUE(m->Prepare().ok());  // a string: uniform, nothing per pixel
    return;
  }
  // The plane, the plane through the profiling evaluation (`--stats`), and a lit torus.
  for (const int view : {0, 1, 2}) {
    const bool torus = view == 2;
    SCOPED_TRACE(torus ? "lit torus" : view == 1 ? "plane, profiled" : "plane");
    RenderSettings s;
    RenderStats stats;
    if (view == 1) s.stats = &stats;
    s.searchPaths.urls.emplace_back(kSource + "/examples");
    host::CollectingMessageSink messages;
    if (aov) {  // a graph as users build it: every file it names is found
      s.aovs = {{"again", extra.front()}};
      s.messages = &messages;
    }
    if (torus) s.view.shape = Shape::kTorus;
    s.view.lit = torus;
    // Prepares the material and makes what a first render of each size makes.
    if (Pixels(*m, s, 12, 1).empty() || Pixels(*m, s, 4, 1).empty()) return;
    long before = AllocationCount();
    Pixels(*m, s, 4, 1);
    const long few = AllocationCount() - before;
    ASSERT_GT(few, 0) << "the counter is not live";  // a render makes its evaluators
    before = AllocationCount();
    const host::Pixels once = Pixels(*m, s, 12, 1);
    EXPECT_EQ(AllocationCount() - before, few) << "allocations per pixel";
    if (aov) {  // an example shows something, or equal bits would prove little
      EXPECT_NE(*std::min_element(once.begin(), once.end()), *std::max_element(once.begin(), once.end()));
    }
    EXPECT_TRUE(SameBits(once, Pixels(*m, s, 12, 1))) << "a second render differs";
    EXPECT_TRUE(SameBits(once, Pixels(*m, s, 12, 2))) << "two threads differ from one";
    for (const std::string& text : messages.Messages()) ADD_FAILURE() << text;
  }
}

// A one-node document for `node` with `settings`, whose first free input
// that takes a Float reads a noise instead, so that a node that would
// otherwise run once, uniform, runs per sample.
Result VaryingDocument(const std::string& node, const Settings& settings, std::unique_ptr<Document>& out) {
  TESSAROC_RETURN_IF_FAILED(Document::ForNode(node, settings, out));
  nlohmann::json inputs = nlohmann::json::object();
  for (const auto& [port, value] : settings) inputs[port] = host::JsonFromNotation(value);
  for (const DocumentPort& p : out->outputNode()->ports) {
    if (p.output || p.hidden || p.array || inputs.contains(p.id)) continue;
    // A pre node's settings stay uniform: linked, it would build its table per sample.
    if (p.description && !p.description->targets.empty() && p.description->targets.front().instance == "pre") continue;
    const DataType& type = p.type->IsFunction() ? *p.type->functionResult : *p.type;
    if (!CanConvert(kFloat64Type, type)) continue;
    inputs[p.id] = {{"link", "source.result"}};
    const nlohmann::json doc = {
        {"tessaroc", kDocumentVersion},
        {"nodes", {{"source", {{"node", "noise"}}}, {"node", {{"node", node}, {"inputs", inputs}}}}},
        {"output", {{"link", "node." + out->outputPort()->id}}}};
    return Document::Parse(doc.dump(), node + ".json", out);
  }
  return Result::Ok();  // no such input: the node reads the context or nothing
}

TEST_F(Catalogue, EveryAssetAndCoreNodeRendersWithItsDefaultsAndTheRows) {
  std::vector<const host::AssetDescription*> assets;
  ASSERT_TRUE(host::Descriptions().Assets(assets).ok());
  std::vector<std::pair<std::string, Settings>> cases;
  // The assets, then the core nodes no asset holds, whose function ports
  // would otherwise hold nothing.
  std::set<std::string> held;
  for (const host::AssetDescription* a : assets) {
    cases.push_back({a->id, {}});
    for (const auto& [instance, core] : a->nodes) held.insert(core);
  }
  for (const CoreNodeDefinition* def : CoreNodeDefinitions())
    if (!held.count(def->id().str())) cases.push_back({def->id().str(), {}});
  for (const auto& [node, settings] : kRows) cases.push_back({node, settings});
  for (const char* filter : {"none", "linear", "mip", "rip", "sat", "bicubic"})
    cases.push_back({"image", {{"url", kSource + "/examples/images/test.png"}, {"interpolation", filter}}});
  int rendered = 0;
  for (const auto& [node, settings] : cases) {
    std::string trace = node;
    for (const auto& [port, value] : settings) trace += " " + port + "=" + value;
    SCOPED_TRACE(trace);
    std::unique_ptr<Document> doc;
    Result r = VaryingDocument(node, settings, doc);
    if (r.failed() && settings.empty() && std::string(r.message()).find("no output") != std::string::npos)
      continue;  // a pre node: it runs with the asset that holds it
    ASSERT_TRUE(r.ok()) << r.ToString();
    CheckRenders(std::move(doc));
    ++rendered;
  }
  EXPECT_GT(rendered, 90);
}

// The nodes no example shows, composed: colour effects in a chain, the
// conversions and a maths noise feeding it as Floats, the string nodes
// choosing the channel a split passes on, and an image repeated and mirrored
// through its summed-area filter. Rendered like the examples.
const char* kTestGraph = R"({"tessaroc": 1, "nodes": {
  "board": {"node": "checkerboard"},
  "swap": {"node": "shuffle", "inputs": {"color": {"link": "board.result"}, "redcomponent": "blue"}},
  "mix": {"node": "shufflecombine", "inputs": {"color1": {"link": "swap.result"}, "color2": {"link": "board.result"}}},
  "key": {"node": "keyer", "inputs": {"color": {"link": "mix.result"}, "tolerancemax": 0.5}},
  "weak": {"node": "strength", "inputs": {"input": {"link": "key.result"}, "strength": 0.7}},
  "bias": {"node": "biasgain", "inputs": {"color": {"link": "weak.output"}, "bias": 0.3}},
  "punch": {"node": "contrast", "inputs": {"color": {"link": "bias.result"}, "contrast": 0.4}},
  "pre": {"node": "premultiply", "inputs": {"color": {"link": "punch.result"}}},
  "unpre": {"node": "unpremultiply", "inputs": {"color": {"link": "pre.result"}}},
  "white": {"node": "whitebalance", "inputs": {"color": {"link": "unpre.result"}, "whitepoint": [0.9, 1, 1.1]}},
  "warm": {"node": "colortemperature", "inputs": {"color": {"link": "white.result"}, "temperature": 0.3}},
  "mean": {"node": "areaaverage", "inputs": {"color": {"link": "warm.result"}, "width": 8, "height": 8}},
  "sharp": {"node": "kernel", "inputs": {"color": {"link": "mean.result"}, "kernel11": 1}},
  "metal": {"node": "fresnelconductor"},
  "name": {"node": "concat", "inputs": {"strings": ["Red", "Green"]}},
  "lower": {"node": "case", "inputs": {"string": {"link": "name.result"}, "mode": "lowercase"}},
  "framed": {"node": "prefixsuffix", "inputs": {"string": {"link": "lower.result"}, "prefix": "<", "suffix": ">"}},
  "swapped": {"node": "searchandreplace", "inputs": {"string": {"link": "framed.result"}, "search": "green",
                                                      "replace": "blue"}},
  "part": {"node": "substr", "inputs": {"string": {"link": "swapped.result"}, "start": 1, "count": 6}},
  "short": {"node": "truncate", "inputs": {"string": {"link": "part.result"}, "count": 2}},
  "shown": {"node": "print", "inputs": {"string": {"link": "short.result"}}},
  "count": {"node": "length", "inputs": {"string": {"link": "shown.passthrough"}}},
  "split": {"node": "splitcolorcomponents", "inputs": {"color": {"link": "sharp.result"}, "index": {"link": "count.result"}}},
  "turn": {"node": "convertdegrees", "inputs": {"value": {"link": "split.indexedcomponent"}, "mode": "degtorad"}},
  "pair": {"node": "composevector2", "inputs": {"x": {"link": "turn.result"}, "y": {"link": "split.g"}}},
  "four": {"node": "composevector4", "inputs": {"x": {"link": "split.r"}, "y": {"link": "split.b"}, "w": 1}},
  "parts": {"node": "splitvectorcomponents", "inputs": {"vector": {"link": "four.result"}}},
  "size": {"node": "vectortofloat", "inputs": {"vector": {"link": "four.result"}, "mode": "length"}},
  "wobble": {"node": "mathnoise", "inputs": {"time": {"link": "size.result"}, "scale": {"link": "parts.x"}}},
  "dim": {"node": "blend", "inputs": {"background": {"link": "sharp.result"}, "foreground": {"link": "metal.result"},
                                      "blendmode": "net.zovan.render.blendmode.multiply"}},
  "out": {"node": "blend", "inputs": {"background": {"link": "dim.result"}, "foreground": {"link": "wobble.result"},
                                      "blendmode": "net.zovan.render.blendmode.average"}},
  "tiles": {"node": "placement2d", "inputs": {"localrepetitions": [2, 3], "localmodeu": "repeat", "localmodev": "mirror"}},
  "photo": {"node": "image", "inputs": {"contextlocal": {"link": "tiles.result"}, "url": "images/test.png",
                                        "interpolation": "sat", "alpha": "premultiplied"}},
  "final": {"node": "blend", "inputs": {"background": {"link": "out.result"}, "foreground": {"link": "photo.result"},
                                        "blendmode": "net.zovan.render.blendmode.screen"}}},
  "output": {"link": "final.result"}})";

std::vector<fs::path> Examples() {
  std::vector<fs::path> out;
  for (const auto& e : fs::directory_iterator(kSource + "/examples"))
    if (e.path().extension() == ".json") out.push_back(e.path());
  std::sort(out.begin(), out.end());
  return out;
}

TEST_F(Catalogue, EveryExampleRendersUnderTheSameInvariants) {
  // Function bodies, placements, bumps and chains of nodes, as users build
  // them, each with an extra image.
  const auto examples = Examples();
  ASSERT_GT(examples.size(), 20u);
  for (const fs::path& path : examples) {
    SCOPED_TRACE(path.filename().string());
    std::unique_ptr<Document> doc;
    Result r = Document::Load(path.string(), doc);
    ASSERT_TRUE(r.ok()) << r.ToString();
    CheckRenders(std::move(doc), true);
  }
  std::unique_ptr<Document> doc;
  Result r = Document::Parse(kTestGraph, "catalogue.json", doc);
  ASSERT_TRUE(r.ok()) << r.ToString();
  CheckRenders(std::move(doc), true);
}

TEST_F(Catalogue, EveryNodeShowsInAnExampleOrATestGraph) {
  // What the "node" fields of the examples and of the tests' documents name,
  // resolved to asset and core node ids, with the core nodes of each asset.
  std::vector<fs::path> files = Examples();
  for (const auto& e : fs::recursive_directory_iterator(kSource + "/tests"))
    if (e.path().extension() == ".cpp" || e.path().extension() == ".json") files.push_back(e.path());
  const std::regex field(R"re("node"\s*:\s*"([^"]+)")re");
  std::set<std::string> used;
  for (const fs::path& path : files) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const std::string s = text.str();
    for (std::sregex_iterator it(s.begin(), s.end(), field), end; it != end; ++it) {
      DocumentNode probe;
      if (ResolveNodeType((*it)[1].str(), probe).failed()) continue;  // a test of a wrong name
      used.insert(probe.typeId);
      if (probe.asset)
        for (const auto& [instance, core] : probe.asset->nodes) used.insert(core);
    }
  }
  std::vector<const host::AssetDescription*> assets;
  ASSERT_TRUE(host::Descriptions().Assets(assets).ok());
  for (const host::AssetDescription* a : assets) EXPECT_TRUE(used.count(a->id)) << a->id << " is in no graph";
  for (const CoreNodeDefinition* def : CoreNodeDefinitions())
    EXPECT_TRUE(used.count(def->id().str())) << def->id().str() << " is in no graph";
}

}  // namespace
}  // namespace tessaroc::graph
