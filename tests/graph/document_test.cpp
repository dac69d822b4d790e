// Graph documents: every mistake gives one line with the document path and
// nothing is compiled; good documents compile to the plan the graph means,
// with the defaults the description finalisers give.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "module_fixture.h"
#include "tessaroc/core/registry.h"
#include "graph/description_finalizers.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "graph/render.h"
#include "host/resources/values.h"
#include "test_nodes.h"

namespace tessaroc::graph {
namespace {

class DocumentTest : public testing::ModuleWithTestNodesTest {
 protected:
  // Parses and compiles; returns the first error.
  static Result Compile(const std::string& text, std::unique_ptr<Material>* out = nullptr) {
    std::unique_ptr<Document> doc;
    TESSAROC_RETURN_IF_FAILED(Document::Parse(text, "doc.json", doc));
    std::unique_ptr<Material> m;
    TESSAROC_RETURN_IF_FAILED(Material::Compile(std::move(doc), m));
    if (out) *out = std::move(m);
    return Result::Ok();
  }

  // A compiled and prepared material with an evaluator of it, which goes first.
  struct Ready {
    std::unique_ptr<Material> material;
    std::unique_ptr<PlanInstance> evaluator;
    template <class T = ColorA>
    T Eval(const ShadingContext& ctx = {}) {
      EXPECT_TRUE(evaluator->Evaluate(ctx).ok());
      return evaluator->OutputAs<T>();
    }
  };
  static Ready Prepared(const std::string& text) {
    Ready r;
    const Result compiled = Compile(text, &r.material);
    EXPECT_TRUE(compiled.ok()) << compiled.ToString();
    if (!compiled.ok()) throw std::runtime_error("no material");
    EXPECT_TRUE(r.material->Prepare().ok());
    EXPECT_TRUE(r.material->NewEvaluator(r.evaluator).ok());
    return r;
  }
  template <class T = ColorA>
  static T Eval(const std::string& text, const ShadingContext& ctx = {}) {
    return Prepared(text).Eval<T>(ctx);
  }
};

const char* kGood = R"({
  "tessaroc": 1,
  "nodes": {
    "uv": {"node": "test.uvwcolor"},
    "grade": {"node": "exposure", "inputs": {"color": {"link": "uv.result"}, "exposure": 1.0}},
    "flip": {"node": "invertcolor", "inputs": {"color": {"link": "grade.result"}, "maskalpha": false}}
  },
  "output": {"link": "flip.result"}
})";

TEST_F(DocumentTest, AGoodDocumentCompilesAndEvaluates) {
  ShadingContext ctx;
  ctx.uvw = {0.25, 0.125, 0};
  const ColorA c = Eval(kGood, ctx);
  // exposure 1 doubles (gamma 1, default), invert takes 1 - c; mask blend 1.
  EXPECT_DOUBLE_EQ(c.r, 0.5);
  EXPECT_DOUBLE_EQ(c.g, 0.75);
  EXPECT_DOUBLE_EQ(c.b, 1.0);
  EXPECT_EQ(c.a, 1.0);  // maskalpha defaults to false: alpha untouched

  // A link or output without a port takes the node's first output.
  std::string bare = kGood;
  bare.replace(bare.find("uv.result"), 9, "uv");
  bare.replace(bare.find("flip.result"), 11, "flip");
  EXPECT_EQ(Eval(bare, ctx), c);
}

struct Mistake {
  const char* what;
  std::string from, to;  // replace in kGood
  std::string message;
};

TEST_F(DocumentTest, EveryMistakeNamesItsPathAndReason) {
  const Mistake cases[] = {
      {"invalid JSON", R"("tessaroc": 1,)", R"("tessaroc": 1,,)", "doc.json: line 2, column 17: invalid JSON"},
      {"number too large for a double", R"("exposure": 1.0)", R"("exposure": 1e400)",
       "doc.json: line 5, column 90: invalid JSON (number overflow parsing '1e400': a number must fit a double)"},
      {"unknown version", R"("tessaroc": 1)", R"("tessaroc": 7)", "doc.json: /tessaroc: unknown version 7"},
      {"unknown node", R"("node": "exposure")", R"("node": "exposur")",
       "doc.json: /nodes/grade/node: unknown node \"exposur\""},
      {"unknown port", R"("exposure": 1.0)", R"("exposures": 1.0)",
       "doc.json: /nodes/grade/inputs/exposures: unknown port; grade has color, exposure"},
      {"wrong value type", R"("exposure": 1.0)", R"("exposure": "bright")",
       "doc.json: /nodes/grade/inputs/exposure: expected a number"},
      {"wrong arity", R"("maskalpha": false)", R"("color": [1, 0])",
       "doc.json: /nodes/flip/inputs/color: expected 3 or 4 numbers, got 2"},
      {"link to a missing node", R"({"link": "uv.result"})", R"({"link": "uvw.result"})",
       "doc.json: /nodes/grade/inputs/color: link to a missing node \"uvw\""},
      {"link to a missing port", R"({"link": "uv.result"})", R"({"link": "uv.colour"})",
       "doc.json: /nodes/grade/inputs/color: link to a missing port \"colour\" of uv; its outputs are result"},
      {"type mismatch", R"("maskalpha": false)", R"("maskblend": {"link": "grade.result"})",
       "doc.json: /nodes/flip/inputs/maskblend: type mismatch: grade.result is colora, maskblend takes float"},
      {"cycle", R"({"link": "uv.result"})", R"({"link": "flip.result"})", "cycle: "},
      {"missing output", R"("output": {"link": "flip.result"})", R"("outputs": 1)",
       "doc.json: /outputs: unknown field"},
      {"output to a missing port", R"({"link": "flip.result"})", R"({"link": "flip.nothing"})",
       "doc.json: /output: node \"flip\" has no output \"nothing\""},
      {"input given as output", R"("exposure": 1.0)", R"("result": 1.0)",
       "doc.json: /nodes/grade/inputs/result: \"result\" is an output"},
      {"normal that is no vector", R"("output": {"link": "flip.result"})",
       R"("output": {"link": "flip.result"}, "normal": {"link": "flip.result"})",
       "doc.json: /normal: flip.result is colora; the normal is a vector output"},
      {"misspelt node", R"("node": "exposure")", R"("node": "exposrue")",
       "doc.json: /nodes/grade/node: unknown node \"exposrue\"; did you mean \"exposure\"?"},
      {"node cut short", R"("node": "invertcolor")", R"("node": "invert")",
       "doc.json: /nodes/flip/node: unknown node \"invert\"; did you mean \"invertcolor\"?"},
      {"misspelt core id", R"("node": "exposure")", R"("node": "net.zovan.pattern.corenode.effect.exposur")",
       "did you mean \"net.zovan.pattern.corenode.effect.exposure\"?"},
      {"nothing like it", R"("node": "exposure")", R"("node": "zzzzzzzz")",
       "unknown node \"zzzzzzzz\"; `tessaroc nodes` lists them"},
      {"misspelt port", R"("exposure": 1.0)", R"("exposrue": 1.0)",
       "grade has color, exposure, offset, gamma, "
       "maskblend, maskred, maskgreen, maskblue, maskalpha; did you mean \"exposure\"?"},
      {"misspelt link", R"({"link": "uv.result"})", R"({"link": "uv.reslt"})",
       "its outputs are result; did you mean \"result\"?"},
      {"link to a misspelt node", R"({"link": "uv.result"})", R"({"link": "vu.result"})",
       "link to a missing node \"vu\"; did you mean \"uv\"?"},
      {"core node without its pre node", R"("node": "test.uvwcolor")",
       R"("node": "net.zovan.pattern.corenode.generator.noise")",
       "doc.json: /nodes/uv/node: core node net.zovan.pattern.corenode.generator.noise reads noisetable, which a "
       "pre node makes inside an asset; name the asset \"noise\" instead"},
      {"truncated", R"("output": {"link": "flip.result"}
})",
       R"("output": {"link": "fl)",
       "doc.json: line 8, column 25: invalid JSON (the text ends early: invalid string: missing closing quote)"},
      {"normal to a missing port", R"("output": {"link": "flip.result"})",
       R"("output": {"link": "flip.result"}, "normal": "flip.normal")",
       "doc.json: /normal: node \"flip\" has no output \"normal\""},
  };
  for (const Mistake& c : cases) {
    std::string text = kGood;
    const size_t at = text.find(c.from);
    ASSERT_NE(at, std::string::npos) << c.what;
    text.replace(at, c.from.size(), c.to);
    std::unique_ptr<Material> m;
    Result r = Compile(text, &m);
    ASSERT_TRUE(r.failed()) << c.what;
    EXPECT_EQ(m, nullptr) << c.what;
    EXPECT_NE(r.message().find(c.message), std::string_view::npos) << c.what << ": " << r.message();
    EXPECT_EQ(r.message().find('\n'), std::string_view::npos) << c.what;
  }
}

// Arrays and objects nest as deep as the limit and no deeper; brackets
// inside strings are text.
TEST_F(DocumentTest, NestingStopsAtItsLimitBeforeParsing) {
  auto nested = [](int depth, const std::string& description) {
    return R"({"tessaroc": 1, "description": ")" + description + R"(", "x": )" + std::string(depth - 1, '[') +
           std::string(depth - 1, ']') + "}";
  };
  std::unique_ptr<Document> doc;
  Result r = Document::Parse(nested(kMaxDocumentDepth, std::string(1000, '[')), "doc.json", doc);
  EXPECT_NE(r.message().find("doc.json: /x: unknown field"), std::string_view::npos) << r.message();
  r = Document::Parse(nested(kMaxDocumentDepth + 1, "{[\\\"["), "doc.json", doc);
  EXPECT_EQ(r.message(), "doc.json: line 1, column 301: arrays and objects nested more than 256 deep");
}

// A chain of links as long as the limit compiles; one node more is refused
// with a message before the compiler follows it.
TEST_F(DocumentTest, LinkChainsCompileUpToTheirLimit) {
  auto chain = [](int n) {
    std::string nodes = R"("n0": {"node": "exposure"})";
    for (int i = 1; i < n; ++i)
      nodes += ", \"n" + std::to_string(i) + R"(": {"node": "exposure", "inputs": {"color": {"link": "n)" +
               std::to_string(i - 1) + R"(.result"}}})";
    return R"({"tessaroc": 1, "nodes": {)" + nodes + R"(}, "output": {"link": "n)" + std::to_string(n - 1) +
           R"(.result"}})";
  };
  EXPECT_TRUE(Compile(chain(kMaxLinkDepth)).ok());
  EXPECT_EQ(Compile(chain(kMaxLinkDepth + 1)).message(),
            "the links into n1000 chain more than 1000 nodes deep, the most a material takes");
}

TEST_F(DocumentTest, EnumerationValuesUnknownOnesArePassedOnWithAWarning) {
  auto noise = [](const std::string& type) {
    return R"({"tessaroc": 1, "nodes": {"n": {"node": "noise", "inputs": {"noisetype": ")" + type +
           R"("}}}, "output": {"link": "n.result"}})";
  };
  const ShadingContext ctx = SurfaceContext({0.31, 0.47, 0}, {0.31, 0.47, 0}, {0.31, 0.47, 0});
  struct Case {
    std::string type, warning;  // no warning expected when empty
    std::string like;           // the class it evaluates as; none: 0 (no noise)
  } cases[] = {
      {"turbulence", "", "net.zovan.render.rendernoiseclass.turbulence"},  // by its last part
      {"", "", ""},
      {"turbulense", R"(unknown value "turbulense", passed on as it is; did you mean "turbulence"?)", ""},
      {"xyzzy", R"(unknown value "xyzzy", passed on as it is; did you mean one of perlin, fbm, turbulence,)", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    Ready r = Prepared(noise(c.type));
    const auto& warnings = r.material->document().warnings();
    if (c.warning.empty()) {
      EXPECT_TRUE(warnings.empty());
    } else {
      ASSERT_EQ(warnings.size(), 1u);
      EXPECT_EQ(warnings[0].rfind("doc.json: /nodes/n/inputs/noisetype: " + c.warning, 0), 0u) << warnings[0];
    }
    EXPECT_EQ(r.Eval<double>(ctx), c.like.empty() ? 0.0 : Eval<double>(noise(c.like), ctx));
  }
  // The unknown id reaches the node as it was written.
  Ready unknown = Prepared(noise("turbulense"));
  const DocumentNode* n = unknown.material->document().FindNode("n");
  GraphPort* port = nullptr;
  ASSERT_TRUE(n->graphNode->inputs().FindChild("noisetype", port).ok());
  EXPECT_EQ(host::ValueToJson(*port->value().type(), port->value().get()), "turbulense");
}

TEST_F(DocumentTest, WholeNumbersForA32BitUnsignedPortKeepTheirLow32Bits) {
  // The published seed is an Int; the noise's own is a UInt32.
  auto noise = [](const char* seed) {
    return std::string(R"({"tessaroc": 1, "nodes": {"n": {"node": "noise", "inputs": {"seed": )") + seed +
           R"(}}}, "output": {"link": "n.result"}})";
  };
  const ShadingContext ctx = SurfaceContext({0.31, 0.47, 0}, {0.31, 0.47, 0}, {0.31, 0.47, 0});
  const std::pair<const char*, const char*> same[] = {{"-1", "4294967295"}, {"4294967301", "5"}, {"-4294967291", "5"}};
  for (const auto& [given, low] : same)
    EXPECT_EQ(Eval<double>(noise(given), ctx), Eval<double>(noise(low), ctx)) << given;
  EXPECT_NE(Eval<double>(noise("5"), ctx), Eval<double>(noise("6"), ctx));
}

TEST_F(DocumentTest, FunctionPortsSeeTheContextTheNodeChooses) {
  // test.callcolor evaluates its colour at uvw.x + shift: the upstream graph
  // (uvw -> exposure) runs at the shifted context, per call.
  std::string text = kGood;
  const std::string flip =
      R"({"node": "invertcolor", "inputs": {"color": {"link": "grade.result"}, "maskalpha": false}})";
  text.replace(text.find(flip), flip.size(),
               R"({"node": "test.callcolor", "inputs": {"color": {"link": "grade.result"}, "shift": 0.5}})");
  Ready m = Prepared(text);
  ShadingContext ctx;
  ctx.uvw = {0.25, 0.25, 0};
  EXPECT_DOUBLE_EQ(m.Eval(ctx).r, (0.25 + 0.5) * 2.0);
  ctx.uvw = {-1.0, 0.25, 0};
  EXPECT_DOUBLE_EQ(m.Eval(ctx).r, (-1.0 + 0.5) * 2.0);
}

// Literals on function ports are constant functions; a Float becomes an opaque
// grey and a vector (x, y, z, 1).
TEST_F(DocumentTest, LiteralsOnFunctionPortsAreConstantFunctionsAndValuesBecomeColours) {
  const char* text = R"({
    "tessaroc": 1,
    "nodes": {
      "call": {"node": "test.callcolor", "inputs": {"color": [0.1, 0.2, 0.3, 0.4], "shift": 0}},
      "sum": {"node": "test.add", "inputs": {"a": 0.25, "b": 0.5}},
      "call2": {"node": "test.callcolor", "inputs": {"color": {"link": "sum.result"}, "shift": 0}},
      "n": {"node": "transform2d", "inputs": {"point": [0.25, 0.5]}},
      "v": {"node": "composevector3", "inputs": {"x": 0.25, "y": 0.5, "z": 0.75}},
      "flip": {"node": "invertcolor", "inputs": {"color": {"link": "v.result"}}}
    },
    "output": {"link": "call.result"}
  })";
  const std::pair<const char*, ColorA> outputs[] = {
      {"call", {0.1, 0.2, 0.3, 0.4}}, {"call2", {0.75, 0.75, 0.75, 1.0}}, {"flip", {0.75, 0.5, 0.25, 1.0}}};
  for (const auto& [output, want] : outputs) {
    std::string doc = text;
    doc.replace(doc.find("call.result\"}\n"), 11, std::string(output) + ".result");
    EXPECT_EQ(Eval(doc), want) << output;
  }
}

TEST_F(DocumentTest, AFunctionCalledWhilePreparingSeesTheUniformValueItReturns) {
  // The baked blur calls its colour at prepare time; the colour is made once,
  // in the main plan, and must be ready before the blur bakes it.
  const char* text = R"({"tessaroc": 1, "nodes": {
      "sum": {"node": "test.add", "inputs": {"a": 0.25, "b": 0.5}},
      "soft": {"node": "blur", "inputs": {"color": {"link": "sum.result"}, "mode": "baked", "resolution": 16}}},
      "output": {"link": "soft.result"}})";
  const ColorA c = Eval(text);
  EXPECT_NEAR(c.r, 0.75, 1e-12);
  EXPECT_NEAR(c.a, 1.0, 1e-12);
}

TEST_F(DocumentTest, UniformNodesRunOncePerPrepareHoweverManySamples) {
  const char* adds = R"({
    "tessaroc": 1,
    "nodes": {
      "a": {"node": "test.add", "inputs": {"a": 1, "b": 2}},
      "uv": {"node": "test.uvwcolor"},
      "grade": {"node": "exposure", "inputs": {"color": {"link": "uv.result"}, "exposure": {"link": "a.result"}}}
    },
    "output": {"link": "grade.result"}
  })";
  std::unique_ptr<Material> m;
  ASSERT_TRUE(Compile(adds, &m).ok());
  testing::KernelCalls() = 0;
  ASSERT_TRUE(m->Prepare().ok());  // the adder once, then one priming sample (uv)
  const int afterPrepare = testing::KernelCalls();
  EXPECT_EQ(afterPrepare, 2);
  std::unique_ptr<PlanInstance> ev;
  ASSERT_TRUE(m->NewEvaluator(ev).ok());
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(ev->Evaluate(ShadingContext()).ok());
  EXPECT_EQ(testing::KernelCalls(), afterPrepare + 50);  // only uv per sample among the test nodes
}

TEST_F(DocumentTest, PassThroughKeepsValuesBitForBit) {
  // Through a pass-through into the output directly.
  const char* literals[] = {"0.1",  "-0.0",         "\"nan\"",      "[0.1, 0.2, 0.30000000000000004, 1e-300]",
                            "true", "123456789012", "\"some text\""};
  for (const char* lit : literals) {
    const std::string text = std::string(R"({"tessaroc": 1, "nodes": {
      "a": {"node": "passthrough", "inputs": {"color": )") +
                             lit + R"(}},
      "b": {"node": "passthrough", "inputs": {"color": {"link": "a.passthrough"}}},
      "uv": {"node": "test.uvwcolor"}},
      "output": {"link": "uv.result"}})";
    std::unique_ptr<Material> m;
    ASSERT_TRUE(Compile(text, &m).ok()) << lit;
  }
  // Literals of several types through a chain of two pass-throughs into a
  // node (adding -0.0 changes no bit): a NaN, a negative zero, the smallest
  // denormal, an integer widened to a Float on the way.
  const std::pair<const char*, double> typed[] = {
      {"\"nan\"", std::nan("")}, {"-0.0", -0.0}, {"4.9e-324", 4.9e-324}, {"9007199254740993", 9007199254740992.0}};
  for (const auto& [literal, expect] : typed) {
    const std::string text = std::string(R"({"tessaroc": 1, "nodes": {
      "p": {"node": "passthrough", "inputs": {"color": )") +
                             literal + R"(}},
      "q": {"node": "passthrough", "inputs": {"color": {"link": "p.passthrough"}}},
      "sum": {"node": "test.add", "inputs": {"a": {"link": "q.passthrough"}, "b": -0.0}}},
      "output": {"link": "sum.result"}})";
    SCOPED_TRACE(literal);
    const double got = Eval<double>(text);
    if (std::isnan(expect)) {
      EXPECT_TRUE(std::isnan(got));
    } else {
      EXPECT_EQ(got, expect);
      EXPECT_EQ(std::signbit(got), std::signbit(expect));
    }
  }
  // A pass-through between two nodes keeps a colour exactly.
  const char* chain = R"({"tessaroc": 1, "nodes": {
      "uv": {"node": "test.uvwcolor"},
      "p": {"node": "passthrough", "inputs": {"color": {"link": "uv.result"}}},
      "call": {"node": "test.callcolor", "inputs": {"color": {"link": "p.passthrough"}, "shift": 0}}},
      "output": {"link": "call.result"}})";
  ShadingContext ctx;
  ctx.uvw = {0.1, 1e-310, -0.0};
  const ColorA c = Eval(chain, ctx);
  EXPECT_EQ(c.r, 0.1);
  EXPECT_EQ(c.g, 1e-310);
  EXPECT_TRUE(std::signbit(c.b));
}

// A footprintless sample at (u, 0.5).
ShadingContext AtU(double u) {
  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = {u, 0.5, 0};
  return ctx;
}

TEST_F(DocumentTest, ARampWithNoKnotsStartsBlackAndRunsLinearlyAndGivenKnotsWin) {
  ASSERT_NE(FindDescriptionFinalizer(kGradientAssetId), nullptr);
  const std::string text =
      R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient"}}, "output": {"link": "ramp.result"}})";
  const ColorA start = Eval(text, AtU(0.0));
  EXPECT_EQ(start, (ColorA{0, 0, 0, 1}));
  const ColorA middle = Eval(text, AtU(0.25));
  // Linear from black at 0 to the second knot's colour at 1: a quarter of it.
  const ColorA end = Eval(text, AtU(1.0));
  EXPECT_NEAR(middle.r, 0.25 * end.r, 1e-12);
  EXPECT_NEAR(middle.g, 0.25 * end.g, 1e-12);
  // A document's own knot wins over the finaliser's default.
  const std::string own = R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient", "inputs": {
      "position": [0, 1], "color": [[1, 0, 0, 1], [0, 0, 1, 1]]}}}, "output": {"link": "ramp.result"}})";
  EXPECT_EQ(Eval(own, AtU(0.0)), (ColorA{1, 0, 0, 1}));
}

TEST_F(DocumentTest, LeftOutKnotListsFollowTheLongestList) {
  // Four knots with positions and colours only: biases and interpolations
  // fill to four with their defaults instead of leaving knots without them.
  const std::string text = R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient", "inputs": {
      "position": [0, 0.2, 0.6, 1], "color": [[0, 0, 0, 1], [1, 0, 0, 1], [1, 1, 1, 1], [0, 0, 1, 1]]}}},
      "output": {"link": "ramp.result"}})";
  const ColorA c = Eval(text, AtU(0.8));  // halfway between the third and fourth knot, linear
  EXPECT_NEAR(c.r, 0.5, 1e-12);
  EXPECT_NEAR(c.g, 0.5, 1e-12);
  EXPECT_NEAR(c.b, 1.0, 1e-12);
}

// A value of each type in the command line's notation, as `--set` gives it.
// clang-format off
const std::pair<const DataType*, const char*> kSettings[] = {
    {&kFloat64Type, "0.25"}, {&kFloat32Type, "0.5"}, {&kBoolType, "true"}, {&kInt32Type, "3"},
    {&kUInt32Type, "5"}, {&kInt64Type, "7"}, {&kColorAType, "0.1,0.2,0.3,0.4"}, {&kColorType, "0.1,0.2,0.3"},
    {&kVectorType, "0.5,0.25,0.125"}, {&kVector2dType, "0.5,0.25"}, {&kVector4dType, "1,2,3,4"},
    {&kStringType, "text"}, {&kUrlType, "no-such-file.png"}, {&kIdType, "linear"}, {&kInternedIdType, "linear"},
    {&kTimeValueType, "0.5"}, {&kRenderModeType, "2"},
};
// clang-format on

const char* SettingFor(const DataType& type) {
  for (const auto& [t, text] : kSettings)
    if (t == &type) return text;
  return nullptr;
}

TEST_F(DocumentTest, EveryCorePortIsDescribedSettableAndReadable) {
  // Over the whole catalogue: every port that is not the node's private state
  // is listed, takes a value from a document and shows in an evaluation.
  int nodes = 0;
  for (const CoreNodeDefinition* def : CoreNodes().Entries()) {
    const std::string id = def->id().str();
    if (id.rfind("net.zovan.", 0) != 0) continue;  // the test nodes
    SCOPED_TRACE(id);
    ++nodes;
    DocumentNode probe;
    ASSERT_TRUE(ResolveNodeType(id, probe).ok());
    const auto& ports = probe.group->ports();
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<std::string> outputs;
    for (const DocumentPort& p : probe.ports) {
      const Port& core = ports[static_cast<size_t>(p.corePort)];
      const bool record = (core.flags & MicroNode::FLAGS::PERMANENT) || !host::HasShortName(*p.type);
      EXPECT_EQ(p.hidden, record) << p.id;
      if (record) continue;
      if (p.output) outputs.push_back(p.id);
      else if (const char* text = SettingFor(*p.type)) settings.emplace_back(p.id, text);
    }
    if (outputs.empty()) continue;  // a pre node: it feeds its node only
    std::unique_ptr<Document> doc;
    Result r = Document::ForNode(id, settings, doc);
    if (const std::string refusal = CoreNodeRefusal(probe); !refusal.empty()) {
      // It reads its pre node's table: alone it would give 0, so it is
      // refused, naming the asset that adds the pre node.
      ASSERT_TRUE(r.failed());
      EXPECT_NE(r.message().find(refusal), std::string_view::npos) << r.message();
      EXPECT_NE(refusal.find("name the asset \""), std::string::npos) << refusal;
      continue;
    }
    ASSERT_TRUE(r.ok()) << r.ToString();
    std::unique_ptr<Material> m;
    r = Material::Compile(std::move(doc), m);
    ASSERT_TRUE(r.ok()) << r.ToString();
    // The inputs hold the values set, read back the way `eval` prints them.
    const NodeRef node = m->mainOutput().node;
    for (const auto& [port, text] : settings) {
      const ValueSlot slot = m->prototype().PortValue(node, Id(std::string_view(port)), true);
      ASSERT_NE(slot.type, nullptr) << port;
      Data got;
      const DataType* type = slot.type;
      if (type->IsFunction()) {
        type = type->functionResult;
        const FunctionRef fn = *static_cast<const FunctionRef*>(slot.value);
        ASSERT_NE(fn, nullptr) << port;
        ASSERT_TRUE(fn->GetConstantValue(ValueSlot{type, got.Emplace(type)})) << port;
      } else {
        type->copyAssign(got.Emplace(type), slot.value);
      }
      Data want;
      std::string why;
      ASSERT_TRUE(host::ValueFromJson(host::JsonFromNotation(text), *type, want, why)) << port << ": " << why;
      EXPECT_EQ(host::ValueToJson(*type, got.get()), host::ValueToJson(*type, want.get())) << port;
    }
    // Every output is one that `eval` prints.
    std::vector<std::string> shown;
    for (const Material::Output& o : m->outputs()) {
      shown.push_back(o.id);
      EXPECT_NE(m->OutputValue(m->prototype(), o).value, nullptr) << o.id;
    }
    EXPECT_EQ(shown, outputs);
  }
  EXPECT_EQ(nodes, 77);
}

}  // namespace
}  // namespace tessaroc::graph
