// Graph documents: every mistake gives one line with the document path and
// nothing is compiled; good documents compile to the plan the graph means.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "tessaroc/core/registry.h"
#include "graph/document.h"
#include "tessaroc/graph/material.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"
#include "test_nodes.h"

namespace tessaroc::graph {
namespace {

class DocumentTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(host::InstallHostServices().ok());
    ASSERT_TRUE(module::LoadModule().ok());
    ASSERT_TRUE(testing::RegisterTestNodes(CoreNodes()).ok());
  }
  static void TearDownTestSuite() { (void)module::UnloadModule(); }

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
}

struct Mistake {
  const char* what;
  std::string from, to;  // replace in kGood
  std::string message;
};

TEST_F(DocumentTest, EveryMistakeNamesItsPathAndReason) {
  const Mistake cases[] = {
      {"invalid JSON", R"("tessaroc": 1,)", R"("tessaroc": 1,,)", "doc.json: line 2, column 17: invalid JSON"},
      {"unknown version", R"("tessaroc": 1)", R"("tessaroc": 7)", "doc.json: /tessaroc: unknown version 7"},
      {"unknown node", R"("node": "exposure")", R"("node": "exposur")",
       "doc.json: /nodes/grade/node: unknown node \"exposur\""},
      {"unknown port", R"("exposure": 1.0)", R"("exposures": 1.0)",
       "doc.json: /nodes/grade/inputs/exposures: unknown port; grade has color, exposure"},
      {"wrong value type", R"("exposure": 1.0)", R"("exposure": "bright")",
       "doc.json: /nodes/grade/inputs/exposure: expected a number"},
      {"wrong arity", R"("maskalpha": false)", R"("color": [1, 0])",
       "doc.json: /nodes/flip/inputs/color: expected 4 numbers, got 2"},
      {"link to a missing node", R"({"link": "uv.result"})", R"({"link": "uvw.result"})",
       "doc.json: /nodes/grade/inputs/color: link to a missing node \"uvw\""},
      {"link to a missing port", R"({"link": "uv.result"})", R"({"link": "uv.colour"})",
       "doc.json: /nodes/grade/inputs/color: link to a missing port \"colour\" of uv"},
      {"type mismatch", R"("maskalpha": false)", R"("maskblend": {"link": "grade.result"})",
       "doc.json: /nodes/flip/inputs/maskblend: type mismatch: grade.result is colora, maskblend takes float"},
      {"cycle", R"({"link": "uv.result"})", R"({"link": "flip.result"})", "cycle: "},
      {"missing output", R"("output": {"link": "flip.result"})", R"("outputs": 1)",
       "doc.json: /outputs: unknown field"},
      {"output to a missing port", R"({"link": "flip.result"})", R"({"link": "flip.nothing"})",
       "doc.json: /output: node \"flip\" has no output \"nothing\""},
      {"input given as output", R"("exposure": 1.0)", R"("result": 1.0)",
       "doc.json: /nodes/grade/inputs/result: \"result\" is an output"},
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

TEST_F(DocumentTest, UnknownEnumerationValueListsTheValidOnes) {
  const char* text = R"({"tessaroc": 1, "nodes": {
      "place": {"node": "placement2d", "inputs": {"localmodeu": "wrap"}}},
      "output": {"link": "place.result"}})";
  Result r = Compile(text);
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("/nodes/place/inputs/localmodeu: unknown value \"wrap\"; valid values are clamp, extend, "
                             "repeat, mirror"),
            std::string_view::npos)
      << r.message();
  // A dotted value also answers to its last part.
  const char* noise = R"({"tessaroc": 1, "nodes": {"n": {"node": "noise", "inputs": {"noisetype": "turbulence"}}},
      "output": {"link": "n.result"}})";
  EXPECT_TRUE(Compile(noise).ok());
}

TEST_F(DocumentTest, FunctionPortsSeeTheContextTheNodeChooses) {
  // test.callcolor evaluates its colour at uvw.x + shift: the upstream graph
  // (uvw -> exposure) runs at the shifted context, per call.
  const char* text = R"({
    "tessaroc": 1,
    "nodes": {
      "uv": {"node": "test.uvwcolor"},
      "grade": {"node": "exposure", "inputs": {"color": {"link": "uv.result"}, "exposure": 1.0}},
      "call": {"node": "test.callcolor", "inputs": {"color": {"link": "grade.result"}, "shift": 0.5}}
    },
    "output": {"link": "call.result"}
  })";
  Ready m = Prepared(text);
  ShadingContext ctx;
  ctx.uvw = {0.25, 0.25, 0};
  EXPECT_DOUBLE_EQ(m.Eval(ctx).r, (0.25 + 0.5) * 2.0);
  ctx.uvw = {-1.0, 0.25, 0};
  EXPECT_DOUBLE_EQ(m.Eval(ctx).r, (-1.0 + 0.5) * 2.0);
}

TEST_F(DocumentTest, LiteralsOnFunctionPortsAreConstantFunctionsAndFloatsBecomeColours) {
  const char* text = R"({
    "tessaroc": 1,
    "nodes": {
      "call": {"node": "test.callcolor", "inputs": {"color": [0.1, 0.2, 0.3, 0.4], "shift": 0}},
      "sum": {"node": "test.add", "inputs": {"a": 0.25, "b": 0.5}},
      "call2": {"node": "test.callcolor", "inputs": {"color": {"link": "sum.result"}, "shift": 0}}
    },
    "output": {"link": "call.result"}
  })";
  EXPECT_EQ(Eval(text), (ColorA{0.1, 0.2, 0.3, 0.4}));
  std::string second = text;
  second.replace(second.find(R"("link": "call.result")"), 21, R"("link": "call2.result")");
  EXPECT_EQ(Eval(second), (ColorA{0.75, 0.75, 0.75, 1.0}));  // a Float is an opaque grey
}

TEST_F(DocumentTest, VectorsFlowIntoColours) {
  const char* text = R"({"tessaroc": 1, "nodes": {
      "n": {"node": "transform2d", "inputs": {"point": [0.25, 0.5]}},
      "v": {"node": "composevector3", "inputs": {"x": 0.25, "y": 0.5, "z": 0.75}},
      "flip": {"node": "invertcolor", "inputs": {"color": {"link": "v.result"}}}},
      "output": {"link": "flip.result"}})";
  EXPECT_EQ(Eval(text), (ColorA{0.75, 0.5, 0.25, 1.0}));  // (x, y, z, 1), inverted, alpha unmasked
}

TEST_F(DocumentTest, UniformNodesRunOncePerPrepareHoweverManySamples) {
  const char* text = R"({
    "tessaroc": 1,
    "nodes": {
      "pre": {"node": "test.counterpre", "inputs": {"seed": 3}},
      "use": {"node": "test.counteruse", "inputs": {"table": {"link": "pre.table"}}}
    },
    "output": {"link": "use.result"}
  })";
  std::unique_ptr<Material> m;
  Result r = Compile(text, &m);
  // The pre node's table is private state: a document cannot link to it.
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("link to a missing port \"table\""), std::string_view::npos) << r.message();

  const char* adds = R"({
    "tessaroc": 1,
    "nodes": {
      "a": {"node": "test.add", "inputs": {"a": 1, "b": 2}},
      "uv": {"node": "test.uvwcolor"},
      "grade": {"node": "exposure", "inputs": {"color": {"link": "uv.result"}, "exposure": {"link": "a.result"}}}
    },
    "output": {"link": "grade.result"}
  })";
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

}  // namespace
}  // namespace tessaroc::graph
