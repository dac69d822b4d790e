// Per-sample evaluation of the colour, spectral and conversion kernels
// allocates nothing once the plan is prepared and primed: counted through the
// global allocation functions of this test binary.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>

#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"
#include "pattern/color/colorcorrection_node.h"
#include "pattern/color/colorprofile_node.h"
#include "pattern/color/colorspace_node.h"
#include "pattern/color/selectivecolorcorrection_node.h"
#include "pattern/color/shuffle_node.h"
#include "pattern/conversion/colortofloat_node.h"
#include "pattern/generator/keyer_node.h"
#include "pattern/generator/thinfilm_node.h"
#include "test_nodes.h"
#include "allocation_counter.h"

namespace tessaroc::pattern {
namespace {

TEST(ColorNoAllocation, AChainOfColourKernelsAndThinFilm) {
  CoreNodeRegistry registry;
  ASSERT_TRUE(RegisterCatalogue(registry).ok());
  ASSERT_TRUE(tessaroc::testing::RegisterTestNodes(registry).ok());
  auto group = [&](const char* id) {
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(registry.GetGroup(id, g).ok());
    return g;
  };
  auto setMask = [](Plan& plan, NodeRef n) {
    ASSERT_TRUE(plan.Set(n, "maskblend", 0.75).ok());
    for (const char* m : {"maskred", "maskgreen", "maskblue", "maskalpha"}) ASSERT_TRUE(plan.Set(n, m, true).ok());
  };

  // uvw colour -> colorcorrection (every band) -> colorhsl -> colorprofile
  // -> colorspace -> shuffle -> keyer -> colortofloat; thin film beside it.
  Plan plan;
  NodeRef uvw, correct, hsl, profile, space, shuffle, keyer, toFloat, pre, film;
  ASSERT_TRUE(plan.AddNode(group(tessaroc::testing::kUvwColorNode), "uvw", uvw).ok());
  ASSERT_TRUE(plan.AddNode(group(kColorCorrectionId), "correct", correct).ok());
  ASSERT_TRUE(plan.AddNode(group(kColorHslId), "hsl", hsl).ok());
  ASSERT_TRUE(plan.AddNode(group(kColorProfileId), "profile", profile).ok());
  ASSERT_TRUE(plan.AddNode(group(kColorSpaceId), "space", space).ok());
  ASSERT_TRUE(plan.AddNode(group(kShuffleId), "shuffle", shuffle).ok());
  ASSERT_TRUE(plan.AddNode(group(kKeyerId), "keyer", keyer).ok());
  ASSERT_TRUE(plan.AddNode(group(kColorToFloatId), "tofloat", toFloat).ok());
  ASSERT_TRUE(plan.AddNode(group(kThinFilmPreId), "pre", pre).ok());
  ASSERT_TRUE(plan.AddNode(group(kThinFilmId), "film", film).ok());

  ASSERT_TRUE(plan.BindContext(uvw, "context").ok());
  ASSERT_TRUE(plan.Link(correct, "color", uvw, "result").ok());
  for (const char* band : {"Red", "Orange", "Yellow", "Green", "Aqua", "Blue", "Purple", "Magenta"}) {
    ASSERT_TRUE(plan.Set(correct, Id::Owned(std::string("hue") + band), 0.1).ok());
    ASSERT_TRUE(plan.Set(correct, Id::Owned(std::string("saturation") + band), 0.05).ok());
    ASSERT_TRUE(plan.Set(correct, Id::Owned(std::string("luminance") + band), -0.05).ok());
  }
  setMask(plan, correct);
  ASSERT_TRUE(plan.Link(hsl, "color", correct, "result").ok());
  ASSERT_TRUE(plan.Set(hsl, "hue", 0.3).ok());
  ASSERT_TRUE(plan.Set(hsl, "saturation", 0.1).ok());
  ASSERT_TRUE(plan.Set(hsl, "value", 0.05).ok());
  ASSERT_TRUE(plan.Set(hsl, "colorize", false).ok());
  setMask(plan, hsl);
  ASSERT_TRUE(plan.Link(profile, "color", hsl, "result").ok());
  ASSERT_TRUE(plan.Set(profile, "inProfile", InternedId::Intern("srgb")).ok());
  ASSERT_TRUE(plan.Set(profile, "outProfile", InternedId::Intern("cineon")).ok());
  ASSERT_TRUE(plan.Set(profile, "direction", InternedId::Intern("forward")).ok());
  ASSERT_TRUE(plan.Set(profile, "gamma", 2.2).ok());
  ASSERT_TRUE(plan.Set(profile, "filmgamma", 1.0).ok());
  ASSERT_TRUE(plan.Set(profile, "blackpoint", 300.0).ok());
  ASSERT_TRUE(plan.Set(profile, "whitepoint", 685.0).ok());
  setMask(plan, profile);
  ASSERT_TRUE(plan.Link(space, "color", profile, "result").ok());
  ASSERT_TRUE(plan.Set(space, "incolorspace", InternedId::Intern("hsl")).ok());
  ASSERT_TRUE(plan.Set(space, "outcolorspace", InternedId::Intern("xyz")).ok());
  setMask(plan, space);
  ASSERT_TRUE(plan.Link(shuffle, "color", space, "result").ok());
  for (const char* port : {"redComponent", "greenComponent", "blueComponent", "alphaComponent"})
    ASSERT_TRUE(plan.Set(shuffle, port, InternedId::Intern("green")).ok());
  ASSERT_TRUE(plan.Link(keyer, "color", shuffle, "result").ok());
  ASSERT_TRUE(plan.Set(keyer, "key", Color{0.1, 0.2, 0.3}).ok());
  ASSERT_TRUE(plan.Set(keyer, "toleranceMin", 0.0).ok());
  ASSERT_TRUE(plan.Set(keyer, "toleranceMax", 0.5).ok());
  ASSERT_TRUE(plan.Set(keyer, "mode", InternedId::Intern("keyin")).ok());
  ASSERT_TRUE(plan.Link(toFloat, "color", keyer, "result").ok());
  ASSERT_TRUE(plan.Set(toFloat, "mode", InternedId::Intern("length")).ok());
  ASSERT_TRUE(plan.Set(toFloat, "useAlpha", true).ok());
  ASSERT_TRUE(plan.SetOutput(toFloat, "result").ok());

  ASSERT_TRUE(plan.Set<int64_t>(pre, "spectralsamples", 81).ok());
  ASSERT_TRUE(plan.LinkPreNode(pre, film).ok());
  ASSERT_TRUE(plan.BindContext(film, "context").ok());
  ASSERT_TRUE(plan.Set(film, "ior", 1.4).ok());
  ASSERT_TRUE(plan.Set(film, "thickness", 380.0).ok());
  ASSERT_TRUE(plan.Set(film, "variation", 0.0).ok());
  ASSERT_TRUE(plan.RequestOutput(film, "result").ok());
  ASSERT_TRUE(plan.Finish().ok());

  std::unique_ptr<PlanInstance> inst;
  ASSERT_TRUE(PlanInstance::Create(plan, inst).ok());
  ASSERT_TRUE(inst->Prepare().ok());
  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  ctx.geometricnormal = {0, 0, 1};
  ctx.raydirection = {0.2, 0, -0.9797958971132712};
  ASSERT_TRUE(inst->Evaluate(ctx).ok());  // primes the kernels' enumeration constants

  const long before = AllocationCount();
  double sum = 0;
  for (int i = 0; i < 500; ++i) {
    ctx.uvw = {0.2 + i * 0.001, 0.5, 0.7};
    if (inst->Evaluate(ctx).failed()) break;
    sum += inst->OutputAs<double>() + inst->Get<ColorA>(film, "result").g;
  }
  const long after = AllocationCount();
  EXPECT_EQ(after - before, 0);
  EXPECT_TRUE(std::isfinite(sum));
}

}  // namespace
}  // namespace tessaroc::pattern
