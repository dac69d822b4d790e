// Description finalisers of the ramp and the remap curve, through documents.
#include <gtest/gtest.h>

#include "module_fixture.h"
#include "graph/description_finalizers.h"
#include "tessaroc/graph/material.h"
#include "graph/document.h"

namespace tessaroc::graph {
namespace {

class FinalizerTest : public testing::ModuleTest {
 protected:
  static ColorA Eval(const std::string& text, double u) {
    std::unique_ptr<Document> doc;
    Result r = Document::Parse(text, "f.json", doc);
    EXPECT_TRUE(r.ok()) << r.ToString();
    std::unique_ptr<Material> m;
    r = Material::Compile(std::move(doc), m);
    EXPECT_TRUE(r.ok()) << r.ToString();
    EXPECT_TRUE(m->Prepare().ok());
    std::unique_ptr<PlanInstance> ev;
    EXPECT_TRUE(m->NewEvaluator(ev).ok());
    ShadingContext ctx;
    ctx.uvw = ctx.uvwdx = ctx.uvwdy = {u, 0.5, 0};
    r = ev->Evaluate(ctx);
    EXPECT_TRUE(r.ok()) << r.ToString();
    return ev->OutputAs<ColorA>();
  }
};

TEST_F(FinalizerTest, ARampWithNoKnotsStartsBlackAndRunsLinearlyAndGivenKnotsWin) {
  ASSERT_NE(FindDescriptionFinalizer(kGradientAssetId), nullptr);
  const std::string text =
      R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient"}}, "output": {"link": "ramp.result"}})";
  const ColorA start = Eval(text, 0.0);
  EXPECT_EQ(start, (ColorA{0, 0, 0, 1}));
  const ColorA middle = Eval(text, 0.25);
  // Linear from black at 0 to the second knot's colour at 1: a quarter of it.
  const ColorA end = Eval(text, 1.0);
  EXPECT_NEAR(middle.r, 0.25 * end.r, 1e-12);
  EXPECT_NEAR(middle.g, 0.25 * end.g, 1e-12);
  // A document's own knot wins over the finaliser's default.
  const std::string own = R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient", "inputs": {
      "position": [0, 1], "color": [[1, 0, 0, 1], [0, 0, 1, 1]]}}}, "output": {"link": "ramp.result"}})";
  EXPECT_EQ(Eval(own, 0.0), (ColorA{1, 0, 0, 1}));
}

TEST_F(FinalizerTest, LeftOutKnotListsFollowTheLongestList) {
  // Four knots with positions and colours only: biases and interpolations
  // fill to four with their defaults instead of leaving knots without them.
  const std::string text = R"({"tessaroc": 1, "nodes": {"ramp": {"node": "gradient", "inputs": {
      "position": [0, 0.2, 0.6, 1], "color": [[0, 0, 0, 1], [1, 0, 0, 1], [1, 1, 1, 1], [0, 0, 1, 1]]}}},
      "output": {"link": "ramp.result"}})";
  const ColorA c = Eval(text, 0.8);  // halfway between the third and fourth knot, linear
  EXPECT_NEAR(c.r, 0.5, 1e-12);
  EXPECT_NEAR(c.g, 0.5, 1e-12);
  EXPECT_NEAR(c.b, 1.0, 1e-12);
}

TEST_F(FinalizerTest, FinalisersNeedANodeSystem) {
  std::unique_ptr<GraphNode> detached = NodeSystem::MakeDetachedNode("ramp");
  Result r = FinalizeGradientDescription(*detached);
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(r.message(), "Illegal state: Condition this->GetNodeSystem() not fulfilled.");
  EXPECT_TRUE(FinalizeSplineDescription(*detached).Is(errors::kIllegalState));
}

}  // namespace
}  // namespace tessaroc::graph
