// The blend-mode classes through the registry and their pixel handlers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/blend/blend_modes.h"
#include "pattern/color/pixel_blend.h"

namespace tessaroc::host {
namespace {

using pattern::BlendModeClasses;
using pattern::BlendPixelHandlerRef;
using pattern::ImagePixelBlendInterface;

using Rgb = std::array<double, 3>;

class BlendModesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(InstallBlendModes().ok()); }

  static const ImagePixelBlendInterface* Class(const std::string& name) {
    const std::string id = std::string(pattern::kBlendModeIdPrefix) + name;
    return BlendModeClasses().Find(Id(std::string_view(id)));
  }
  static BlendPixelHandlerRef Handler(const std::string& name) {
    BlendPixelHandlerRef ref;
    const ImagePixelBlendInterface* c = Class(name);
    EXPECT_NE(c, nullptr) << name;
    EXPECT_TRUE(pattern::MakeBlendPixelHandler(c, ref).ok()) << name;
    return ref;
  }
  static ColorA Blend(const BlendPixelHandlerRef& h, const ColorA& b, const ColorA& f) {
    ColorA d{0, 0, 0, 1};
    EXPECT_TRUE(h.Blend(d, b, f).ok());
    return d;
  }
};

double Lum(const Rgb& c) { return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]; }
double Sat(const Rgb& c) { return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]}); }
Rgb RgbOf(const ColorA& c) { return {c.r, c.g, c.b}; }

// ---- the registry

TEST_F(BlendModesTest, RegistryHoldsEveryModeOnceInDeclaredOrder) {
  ASSERT_TRUE(InstallBlendModes().ok());  // a second install changes nothing
  std::vector<std::string> ids;
  for (const auto& e : BlendModeClasses().entries()) ids.push_back(e.id.str());
  ASSERT_GE(ids.size(), 38u);
  for (size_t i = 0; i < 38; ++i)
    EXPECT_EQ(ids[i], std::string("net.zovan.render.blendmode.") + pattern::kBlendModeNames[i]);
  EXPECT_EQ(BlendModeClass("multiply"), Class("multiply"));
  EXPECT_EQ(BlendModeClass("normal"), nullptr);
  EXPECT_EQ(BlendModeClasses().id().str(), "net.zovan.render.registry.blendmodeclasses");
}

// ---- separable modes against reference values
//
// Golden values from an independent Python transcription of the W3C
// compositing draft (separable modes, with its dodge/burn edge rules) and the
// Pegtop/Krita definitions of the others, clamped to [0, 1] except add:
//   B = [0.0, 0.2, 0.5, 0.9, 1.0]; F = [0.0, 0.3, 0.5, 0.7, 1.0]
//   [repr(mode(b, f)) for b in B for f in F]
// xor rounds the eight-bit codes half up (255 * 0.3 = 76.5 -> 77).

constexpr double kGridB[] = {0.0, 0.2, 0.5, 0.9, 1.0};
constexpr double kGridF[] = {0.0, 0.3, 0.5, 0.7, 1.0};

const std::map<std::string, std::array<double, 25>>& SeparableGolden() {
  // clang-format off
  static const std::map<std::string, std::array<double, 25>> golden = {
      {"add", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.5, 0.7, 0.8999999999999999, 1.2, 0.5, 0.8, 1.0, 1.2, 1.5, 0.9, 1.2, 1.4, 1.6, 1.9, 1.0, 1.3, 1.5, 1.7, 2.0}},
      {"average", {0.0, 0.15, 0.25, 0.35, 0.5, 0.1, 0.25, 0.35, 0.44999999999999996, 0.6, 0.25, 0.4, 0.5, 0.6, 0.75, 0.45, 0.6, 0.7, 0.8, 0.95, 0.5, 0.65, 0.75, 0.85, 1.0}},
      {"colorburn", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.19999999999999996, 0.0, 0.0, 0.0, 0.2857142857142857, 0.5, 0.0, 0.6666666666666667, 0.8, 0.8571428571428572, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"colordodge", {0.0, 0.0, 0.0, 0.0, 0.0, 0.2, 0.28571428571428575, 0.4, 0.6666666666666666, 1.0, 0.5, 0.7142857142857143, 1.0, 1.0, 1.0, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"darken", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.2, 0.2, 0.2, 0.2, 0.0, 0.3, 0.5, 0.5, 0.5, 0.0, 0.3, 0.5, 0.7, 0.9, 0.0, 0.3, 0.5, 0.7, 1.0}},
      {"difference", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.09999999999999998, 0.3, 0.49999999999999994, 0.8, 0.5, 0.2, 0.0, 0.19999999999999996, 0.5, 0.9, 0.6000000000000001, 0.4, 0.20000000000000007, 0.09999999999999998, 1.0, 0.7, 0.5, 0.30000000000000004, 0.0}},
      {"divide", {0.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.6666666666666667, 0.4, 0.28571428571428575, 0.2, 1.0, 1.0, 1.0, 0.7142857142857143, 0.5, 1.0, 1.0, 1.0, 1.0, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"exclusion", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.38, 0.49999999999999994, 0.6199999999999999, 0.7999999999999999, 0.5, 0.5, 0.5, 0.5, 0.5, 0.9, 0.6599999999999999, 0.4999999999999999, 0.3400000000000001, 0.09999999999999987, 1.0, 0.7000000000000001, 0.5, 0.30000000000000004, 0.0}},
      {"freeze", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.08571428571428552, 0.3599999999999999, 0.0, 0.16666666666666663, 0.5, 0.6428571428571428, 0.75, 0.0, 0.9666666666666667, 0.98, 0.9857142857142858, 0.99, 0.0, 1.0, 1.0, 1.0, 1.0}},
      {"glow", {0.0, 0.09, 0.25, 0.48999999999999994, 1.0, 0.0, 0.11249999999999999, 0.3125, 0.6124999999999999, 1.0, 0.0, 0.18, 0.5, 0.9799999999999999, 1.0, 0.0, 0.9000000000000001, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"hardlight", {0.0, 0.0, 0.0, 0.3999999999999999, 1.0, 0.0, 0.12, 0.2, 0.5199999999999999, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.54, 0.9, 0.94, 0.9999999999999999, 0.0, 0.6, 1.0, 1.0, 1.0}},
      {"hardmix", {0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0, 1.0, 1.0, 0.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"heat", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.5499999999999998, 1.0, 0.0, 0.02000000000000013, 0.5, 0.82, 1.0, 0.0, 0.4555555555555556, 0.7222222222222222, 0.9, 1.0, 0.0, 0.51, 0.75, 0.9099999999999999, 1.0}},
      {"hypot", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.36055512754639896, 0.5385164807134505, 0.7280109889280517, 1.0, 0.5, 0.58309518948453, 0.7071067811865476, 0.8602325267042626, 1.0, 0.9, 0.9486832980505138, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"levr", {0.0, 0.0, 0.0, 0.19999999999999996, 0.5, 0.0, 0.0, 0.19999999999999996, 0.3999999999999999, 0.7, 0.0, 0.30000000000000004, 0.5, 0.7, 1.0, 0.4, 0.7, 0.8999999999999999, 1.0, 1.0, 0.5, 0.8, 1.0, 1.0, 1.0}},
      {"lighten", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.3, 0.5, 0.7, 1.0, 0.5, 0.5, 0.5, 0.7, 1.0, 0.9, 0.9, 0.9, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"linearburn", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.19999999999999996, 0.0, 0.0, 0.0, 0.19999999999999996, 0.5, 0.0, 0.19999999999999996, 0.3999999999999999, 0.6000000000000001, 0.8999999999999999, 0.0, 0.30000000000000004, 0.5, 0.7, 1.0}},
      {"lineardodge", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.5, 0.7, 0.8999999999999999, 1.0, 0.5, 0.8, 1.0, 1.0, 1.0, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"multiply", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.06, 0.1, 0.13999999999999999, 0.2, 0.0, 0.15, 0.25, 0.35, 0.5, 0.0, 0.27, 0.45, 0.63, 0.9, 0.0, 0.3, 0.5, 0.7, 1.0}},
      {"over", {0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0}},
      {"overlay", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.12, 0.2, 0.27999999999999997, 0.4, 0.0, 0.3, 0.5, 0.7, 1.0, 0.8, 0.8600000000000001, 0.9, 0.9400000000000001, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"passfolder", {0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0, 0.0, 0.3, 0.5, 0.7, 1.0}},
      {"pinlight", {0.0, 0.0, 0.0, 0.3999999999999999, 1.0, 0.0, 0.2, 0.2, 0.3999999999999999, 1.0, 0.0, 0.5, 0.5, 0.5, 1.0, 0.0, 0.6, 0.9, 0.9, 1.0, 0.0, 0.6, 1.0, 1.0, 1.0}},
      {"reflect", {0.0, 0.0, 0.0, 0.0, 1.0, 0.04000000000000001, 0.057142857142857155, 0.08000000000000002, 0.13333333333333333, 1.0, 0.25, 0.35714285714285715, 0.5, 0.8333333333333333, 1.0, 0.81, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"screen", {0.0, 0.3, 0.5, 0.7, 1.0, 0.2, 0.44, 0.6, 0.7599999999999999, 1.0, 0.5, 0.65, 0.75, 0.85, 1.0, 0.9, 0.9299999999999999, 0.95, 0.9700000000000001, 0.9999999999999999, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"softlight", {0.0, 0.0, 0.0, 0.0, 0.0, 0.03999999999999998, 0.136, 0.2, 0.29919999999999997, 0.44799999999999995, 0.25, 0.4, 0.5, 0.582842712474619, 0.7071067811865476, 0.81, 0.864, 0.9, 0.9194733192202055, 0.9486832980505138, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"stamp", {0.0, 0.0, 0.0, 0.3999999999999999, 1.0, 0.0, 0.0, 0.19999999999999996, 0.5999999999999999, 1.0, 0.0, 0.10000000000000009, 0.5, 0.8999999999999999, 1.0, 0.0, 0.5, 0.8999999999999999, 1.0, 1.0, 0.0, 0.6000000000000001, 1.0, 1.0, 1.0}},
      {"subtract", {0.0, 0.0, 0.0, 0.0, 0.0, 0.2, 0.0, 0.0, 0.0, 0.0, 0.5, 0.2, 0.0, 0.0, 0.0, 0.9, 0.6000000000000001, 0.4, 0.20000000000000007, 0.0, 1.0, 0.7, 0.5, 0.30000000000000004, 0.0}},
      {"vividlight", {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.19999999999999996, 0.3333333333333333, 1.0, 0.0, 0.16666666666666663, 0.5, 0.8333333333333333, 1.0, 0.0, 0.8333333333333334, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0, 1.0}},
      {"xor", {0.0, 0.30196078431372547, 0.5019607843137255, 0.7019607843137254, 1.0, 0.2, 0.49411764705882355, 0.7019607843137254, 0.5019607843137255, 0.8, 0.5019607843137255, 0.803921568627451, 0.0, 0.2, 0.4980392156862745, 0.9019607843137255, 0.6705882352941176, 0.4, 0.3333333333333333, 0.09803921568627451, 1.0, 0.6980392156862745, 0.4980392156862745, 0.2980392156862745, 0.0}},
  };
  // clang-format on
  return golden;
}

TEST_F(BlendModesTest, SeparableModesMatchReferenceValuesChannelByChannel) {
  ASSERT_EQ(SeparableGolden().size(), 30u);
  for (const auto& [name, want] : SeparableGolden()) {
    const BlendPixelHandlerRef h = Handler(name);
    ASSERT_TRUE(h) << name;
    // Each channel takes a different grid pair, so a mode that mixes channels
    // or swaps operands shows.
    for (int k = 0; k < 25; ++k) {
      const int kg = (k + 7) % 25, kb = (k + 13) % 25;
      const ColorA b{kGridB[k / 5], kGridB[kg / 5], kGridB[kb / 5], 1.0};
      const ColorA f{kGridF[k % 5], kGridF[kg % 5], kGridF[kb % 5], 1.0};
      const ColorA got = Blend(h, b, f);
      EXPECT_NEAR(got.r, want[k], 1e-12) << name << " b=" << b.r << " f=" << f.r;
      EXPECT_NEAR(got.g, want[kg], 1e-12) << name << " b=" << b.g << " f=" << f.g;
      EXPECT_NEAR(got.b, want[kb], 1e-12) << name << " b=" << b.b << " f=" << f.b;
      EXPECT_EQ(got.a, 1.0) << name;
    }
  }
}

TEST_F(BlendModesTest, FamilyIdentitiesHoldOnAFineGrid) {
  const auto multiply = Handler("multiply"), screen = Handler("screen"), overlay = Handler("overlay"),
             hardlight = Handler("hardlight"), hardmix = Handler("hardmix"), vivid = Handler("vividlight"),
             pinlight = Handler("pinlight"), stamp = Handler("stamp"), levr = Handler("levr");
  auto one = [&](const BlendPixelHandlerRef& h, double b, double f) { return Blend(h, {b, b, b, 1}, {f, f, f, 1}).r; };
  for (int i = 0; i <= 32; ++i) {
    const double b = i / 32.0;
    EXPECT_EQ(one(multiply, b, 1.0), b);
    EXPECT_EQ(one(screen, b, 0.0), b);
    // Mid grey is neutral for pin light, stamp and levr.
    EXPECT_EQ(one(pinlight, b, 0.5), b);
    EXPECT_NEAR(one(stamp, b, 0.5), b, 1e-15);
    EXPECT_NEAR(one(levr, b, 0.5), b, 1e-15);
    for (int j = 0; j <= 32; ++j) {
      const double f = j / 32.0;
      EXPECT_EQ(one(overlay, b, f), one(hardlight, f, b)) << b << " " << f;
      EXPECT_EQ(one(multiply, b, f), one(multiply, f, b));
      EXPECT_EQ(one(screen, b, f), one(screen, f, b));
      // Hard mix is vivid light thresholded at one half, except where the
      // dodge's black-stays-black rule decides vivid light (b = 0, f = 1).
      const double threshold = one(vivid, b, f) >= 0.5 ? 1.0 : 0.0;
      if (b == 0.0 && f == 1.0) {
        EXPECT_EQ(one(hardmix, b, f), 1.0);
        EXPECT_EQ(one(vivid, b, f), 0.0);
      } else {
        EXPECT_EQ(one(hardmix, b, f), threshold) << b << " " << f;
      }
    }
  }
}

TEST_F(BlendModesTest, DodgeAndBurnEdgeRules) {
  auto one = [&](const char* mode, double b, double f) { return Blend(Handler(mode), {b, b, b, 1}, {f, f, f, 1}).r; };
  // Black stays black under dodge even with a white source; white stays white under burn.
  EXPECT_EQ(one("colordodge", 0.0, 1.0), 0.0);
  EXPECT_EQ(one("colordodge", 1e-9, 1.0), 1.0);
  EXPECT_EQ(one("colorburn", 1.0, 0.0), 1.0);
  EXPECT_EQ(one("colorburn", 1.0 - 1e-9, 0.0), 0.0);
  // (Reflect, glow, freeze, heat and divide at 0 and 1 are rows of the reference grid.)
  EXPECT_EQ(one("divide", 0.3, 0.0), 1.0);
  // Vivid light and pin light are continuous where their branches meet.
  for (double b : {0.1, 0.4, 0.8}) {
    EXPECT_NEAR(one("vividlight", b, 0.5), one("vividlight", b, 0.5 + 1e-12), 1e-9);
    EXPECT_NEAR(one("pinlight", b, 0.5), one("pinlight", b, 0.5 + 1e-12), 1e-9);
  }
}

TEST_F(BlendModesTest, OnlyAddLeavesTheUnitRangeForLightInputs) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-1.0, 3.0);
  for (const char* name : pattern::kBlendModeNames) {
    if (std::string(name) == "applyalpha" || std::string(name) == "dissolve") continue;
    const BlendPixelHandlerRef h = Handler(name);
    bool outside = false;
    for (int i = 0; i < 200; ++i) {
      const ColorA got = Blend(h, {u(rng), u(rng), u(rng), 1}, {u(rng), u(rng), u(rng), 1});
      for (double v : {got.r, got.g, got.b}) outside = outside || v < 0.0 || v > 1.0 || std::isnan(v);
    }
    EXPECT_EQ(outside, std::string(name) == "add") << name;
  }
}

// ---- non-separable modes
//
// Golden values from the same Python transcription of the W3C non-separable
// modes (Lum with 0.3, 0.59, 0.11; ClipColor; SetLum; Sat; SetSat), and the
// whole-colour darker/lighter by that Lum, ties keeping the background.

struct ColourPair {
  Rgb b, f;
};
const ColourPair kPairs[] = {{{0.2, 0.5, 0.8}, {0.9, 0.3, 0.1}},
                             {{0.9, 0.85, 0.95}, {0.1, 0.6, 0.2}},
                             {{0.05, 0.1, 0.0}, {1.0, 0.0, 0.5}},
                             {{0.4, 0.4, 0.4}, {0.7, 0.2, 0.2}}};

TEST_F(BlendModesTest, NonSeparableModesMatchReferenceValues) {
  const std::map<std::string, std::array<Rgb, 4>> golden = {
      {"hue",
       {{{0.7745000000000001, 0.3245, 0.1745},
         {0.8148, 0.9148, 0.8348},
         {0.1385, 0.0385, 0.0885},
         {0.39999999999999997, 0.39999999999999997, 0.39999999999999997}}}},
      {"saturation",
       {{{0.11900000000000005, 0.5189999999999999, 0.919},
         {0.9162162162162162, 0.8324324324324323, 1.0},
         {0.04999999999999996, 0.09999999999999992, 0.0},
         {0.39999999999999997, 0.39999999999999997, 0.39999999999999997}}}},
      {"color",
       {{{0.885, 0.285, 0.08499999999999999},
         {0.6804123711340202, 1.0, 0.7443298969072162},
         {0.20845070422535228, 0.0, 0.10422535211267614},
         {0.75, 0.25, 0.25}}}},
      {"luminance",
       {{{0.21500000000000002, 0.515, 0.8150000000000001},
         {0.43000000000000005, 0.38, 0.48},
         {0.33099999999999996, 0.381, 0.28099999999999997},
         {0.35000000000000003, 0.35000000000000003, 0.35000000000000003}}}},
      {"darker", {{{0.2, 0.5, 0.8}, {0.1, 0.6, 0.2}, {0.05, 0.1, 0.0}, {0.7, 0.2, 0.2}}}},
      {"lighter", {{{0.9, 0.3, 0.1}, {0.9, 0.85, 0.95}, {1.0, 0.0, 0.5}, {0.4, 0.4, 0.4}}}},
  };
  for (const auto& [name, want] : golden) {
    const BlendPixelHandlerRef h = Handler(name);
    for (int p = 0; p < 4; ++p) {
      const ColorA got = Blend(h, {kPairs[p].b[0], kPairs[p].b[1], kPairs[p].b[2], 1},
                               {kPairs[p].f[0], kPairs[p].f[1], kPairs[p].f[2], 1});
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(RgbOf(got)[k], want[p][k], 1e-12) << name << " pair " << p << " ch " << k;
    }
  }
}

TEST_F(BlendModesTest, NonSeparableInvariantsOnRandomColours) {
  const auto hue = Handler("hue"), saturation = Handler("saturation"), color = Handler("color"),
             luminance = Handler("luminance"), darker = Handler("darker"), lighter = Handler("lighter");
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(0.0, 1.0), wide(-0.5, 2.0);
  auto inRange = [](const Rgb& c, double d) {
    return std::all_of(c.begin(), c.end(), [d](double v) { return v + d >= 0.0 && v + d <= 1.0; });
  };
  int unclipped = 0;
  for (int i = 0; i < 2000; ++i) {
    const Rgb b{u(rng), u(rng), u(rng)}, f{u(rng), u(rng), u(rng)};
    const ColorA bc{b[0], b[1], b[2], 1}, fc{f[0], f[1], f[2], 1};
    // Lum(SetLum(C, l)) = l where shifting C by l - Lum(C) stays in range.
    const Rgb lumOut = RgbOf(Blend(luminance, bc, fc));
    if (inRange(b, Lum(f) - Lum(b))) {
      ++unclipped;
      EXPECT_NEAR(Lum(lumOut), Lum(f), 1e-12);
      EXPECT_NEAR(Sat(lumOut), Sat(b), 1e-12);
    }
    const Rgb colOut = RgbOf(Blend(color, bc, fc));
    if (inRange(f, Lum(b) - Lum(f))) { EXPECT_NEAR(Lum(colOut), Lum(b), 1e-12); }
    // Hue keeps the background's spread and saturation takes the
    // foreground's, with the background's luminance. Clipping pins a channel
    // at 0 or 1 and can only narrow the spread.
    auto strictlyInside = [](const Rgb& c) {
      return std::min({c[0], c[1], c[2]}) > 1e-9 && std::max({c[0], c[1], c[2]}) < 1.0 - 1e-9;
    };
    const Rgb satOut = RgbOf(Blend(saturation, bc, fc)), hueOut = RgbOf(Blend(hue, bc, fc));
    EXPECT_NEAR(Lum(satOut), Lum(b), 1e-12);
    EXPECT_NEAR(Lum(hueOut), Lum(b), 1e-12);
    EXPECT_LE(Sat(hueOut), Sat(b) + 1e-12);
    if (strictlyInside(hueOut)) { EXPECT_NEAR(Sat(hueOut), Sat(b), 1e-12); }
    if (Sat(b) > 0.0) {
      EXPECT_LE(Sat(satOut), Sat(f) + 1e-12);
      if (strictlyInside(satOut)) { EXPECT_NEAR(Sat(satOut), Sat(f), 1e-12); }
    }

    // Darker and lighter return one input whole, bit for bit.
    const Rgb dk = RgbOf(Blend(darker, bc, fc)), lt = RgbOf(Blend(lighter, bc, fc));
    EXPECT_TRUE(dk == b || dk == f);
    EXPECT_TRUE(lt == b || lt == f);
    EXPECT_LE(Lum(dk), std::min(Lum(b), Lum(f)));
    EXPECT_GE(Lum(lt), std::max(Lum(b), Lum(f)));

    // Any input, also outside the unit range: every output channel in [0, 1].
    const ColorA wb{wide(rng), wide(rng), wide(rng), 1}, wf{wide(rng), wide(rng), wide(rng), 1};
    for (const BlendPixelHandlerRef* h : {&hue, &saturation, &color, &luminance}) {
      const Rgb out = RgbOf(Blend(*h, wb, wf));
      for (double v : out) EXPECT_TRUE(v >= 0.0 && v <= 1.0) << v;
    }
  }
  EXPECT_GT(unclipped, 500);  // the invariant was really exercised
  // Equal luminance keeps the background for both.
  const ColorA grey{0.5, 0.5, 0.5, 1};
  EXPECT_EQ(RgbOf(Blend(darker, grey, {0.5, 0.5, 0.5, 1})), RgbOf(grey));
  EXPECT_EQ(RgbOf(Blend(lighter, grey, {0.5, 0.5, 0.5, 1})), RgbOf(grey));
  // A grey that is out of range in every channel: no division by zero.
  const Rgb hot = RgbOf(Blend(color, {2.0, 2.0, 2.0, 1}, {0.5, 0.5, 0.5, 1}));
  EXPECT_EQ(hot, (Rgb{1.0, 1.0, 1.0}));
}

// ---- the foreground's alpha as strength

TEST_F(BlendModesTest, ForegroundAlphaActsAsStrengthAndTheDestinationMayBeTheBackground) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (const char* name : pattern::kBlendModeNames) {
    const std::string n = name;
    const BlendPixelHandlerRef h = Handler(name);
    for (int i = 0; i < 50; ++i) {
      const ColorA b{u(rng), u(rng), u(rng), u(rng)}, f{u(rng), u(rng), u(rng), u(rng)};
      ColorA inPlace = b;
      ASSERT_TRUE(h.Blend(inPlace, inPlace, f).ok());
      EXPECT_EQ(inPlace, Blend(h, b, f)) << name;
      if (n == "applyalpha" || n == "dissolve") continue;  // their own rules, below
      // No strength: the background exactly, also when transparent.
      EXPECT_EQ(Blend(h, b, {f.r, f.g, f.b, 0.0}), b) << name;
      const ColorA clear{b.r, b.g, b.b, 0.0};
      EXPECT_EQ(Blend(h, clear, {f.r, f.g, f.b, 0.0}), clear) << name;
      // Opaque backdrop: a straight mix of the background and the full mode.
      const ColorA bo{b.r, b.g, b.b, 1.0};
      const ColorA full = Blend(h, bo, {f.r, f.g, f.b, 1.0});
      const ColorA part = Blend(h, bo, f);
      EXPECT_NEAR(part.r, b.r + (full.r - b.r) * f.a, 1e-12) << name;
      EXPECT_NEAR(part.g, b.g + (full.g - b.g) * f.a, 1e-12) << name;
      EXPECT_NEAR(part.b, b.b + (full.b - b.b) * f.a, 1e-12) << name;
      EXPECT_NEAR(part.a, 1.0, 1e-15) << name;
      // A transparent backdrop shows the foreground itself where it covers.
      const ColorA onClear = Blend(h, {b.r, b.g, b.b, 0.0}, f);
      EXPECT_NEAR(onClear.r, f.r, 1e-12) << name;
      EXPECT_NEAR(onClear.a, f.a, 1e-15) << name;
      // In between: source-over alpha, and the mixed source
      // (1 - ba) f + ba B laid over the backdrop.
      const double a = f.a, ba = b.a, ao = a + ba * (1 - a);
      const ColorA got = Blend(h, b, f);
      EXPECT_NEAR(got.a, ao, 1e-15) << name;
      const double mixR = (1 - ba) * f.r + ba * full.r;
      EXPECT_NEAR(got.r, (a * mixR + (1 - a) * ba * b.r) / ao, 1e-12) << name;
    }
  }
}

TEST_F(BlendModesTest, StrengthAboveOneExtrapolatesAndApplyAlphaMasksTheBackground) {
  const BlendPixelHandlerRef over = Handler("over");
  const ColorA got = Blend(over, {0.2, 0.2, 0.2, 1.0}, {0.6, 0.6, 0.6, 1.5});
  EXPECT_NEAR(got.r, 0.2 + (0.6 - 0.2) * 1.5, 1e-15);
  EXPECT_NEAR(got.a, 1.0, 1e-15);
  EXPECT_EQ(Blend(over, {0.2, 0.2, 0.2, 0.0}, {0.6, 0.6, 0.6, 1.5}).a, 1.5);
  // Apply alpha keeps the background's colour and multiplies its alpha by the foreground's.
  const BlendPixelHandlerRef mask = Handler("applyalpha");
  const ColorA masked = Blend(mask, {0.3, 0.6, 0.9, 0.8}, {0.1, 0.2, 0.4, 0.25});
  EXPECT_EQ(RgbOf(masked), (Rgb{0.3, 0.6, 0.9}));
  EXPECT_NEAR(masked.a, 0.2, 1e-15);
  EXPECT_EQ(Blend(mask, {0.3, 0.6, 0.9, 0.8}, {0, 0, 0, 1}).a, 0.8);
}

// ---- how a handler walks pixels

// A pixel of five 64-bit values with the channels in reverse order behind a
// spare value: alpha at 64, blue at 128, green at 192, red at 256.
class ReversedFormat final : public pattern::PixelFormatInterface {
 public:
  const Id& GetId() const override { return id_; }
  Result GetChannelOffsets(pattern::ChannelOffsets& out) const override {
    out.channelCount = 4;
    out.bitsPerChannel = bits_;
    out.bitsPerPixel = 320;
    out.offsets = {256, 192, 128, 64};
    return Result::Ok();
  }
  int32_t bits_ = 64;

 private:
  Id id_{"test.pixelformat.xabgr"};
};

TEST_F(BlendModesTest, HandlerFollowsTheChannelLayoutOverARunAndRefusesOtherChannelWidths) {
  ReversedFormat reversed, narrow;
  narrow.bits_ = 32;
  pattern::ChannelOffsets rev, rgba, o;
  ASSERT_TRUE(reversed.GetChannelOffsets(rev).ok());
  ASSERT_TRUE(narrow.GetChannelOffsets(o).ok());
  ASSERT_TRUE(pattern::RgbaF64PixelFormat().GetChannelOffsets(rgba).ok());
  pattern::BlendPixelDelegates refused;
  const Result r = Class("over")->GetBlendPixelHandler(narrow, o, pattern::RgbaF64PixelFormat(), rgba, 1.0, refused);
  EXPECT_TRUE(r.Is(errors::kUnsupportedOperation)) << r.ToString();
  EXPECT_NE(std::string(r.message()).find("test.pixelformat.xabgr"), std::string::npos);
  EXPECT_EQ(refused.blend.call, nullptr);

  // Destination and background reversed, foreground plain rgba.
  pattern::BlendPixelDelegates d;
  ASSERT_TRUE(Class("multiply")->GetBlendPixelHandler(reversed, rev, pattern::RgbaF64PixelFormat(), rgba, 1.0, d).ok());
  const BlendPixelHandlerRef h = BlendPixelHandlerRef::Adopt(pattern::BlendPixelHandler::Make(std::move(d)));
  double bg[3][5], dst[3][5];
  ColorA fg[3];
  for (int i = 0; i < 3; ++i) {
    const double r = 0.1 * (i + 1), g = 0.2 * (i + 1), b = 0.3 * (i + 1);
    const double row[5] = {-7.0, 1.0, b, g, r};
    std::copy(row, row + 5, bg[i]);
    std::fill(dst[i], dst[i] + 5, -7.0);
    fg[i] = {0.5, 0.25, 2.0, 1.0};
  }
  ASSERT_TRUE(h.get()->Blend({dst, 0}, {bg, 0}, {fg, 0}, 3).ok());
  for (int i = 0; i < 3; ++i) {
    const double r = 0.1 * (i + 1), g = 0.2 * (i + 1), b = 0.3 * (i + 1);
    EXPECT_EQ(dst[i][0], -7.0);  // the spare value is not touched
    EXPECT_EQ(dst[i][1], 1.0);
    EXPECT_EQ(dst[i][2], std::min(1.0, b * 2.0));
    EXPECT_EQ(dst[i][3], g * 0.25);
    EXPECT_EQ(dst[i][4], r * 0.5);
  }
  // A byte offset moves the run; a count of 0 writes nothing.
  std::fill(&dst[0][0], &dst[0][0] + 15, -7.0);
  ASSERT_TRUE(h.get()->Blend({dst, 320}, {bg, 320}, {fg, 0}, 1).ok());
  EXPECT_EQ(dst[0][4], -7.0);
  EXPECT_EQ(dst[1][4], 0.2 * 0.5);
  ASSERT_TRUE(h.get()->Blend({dst, 0}, {bg, 0}, {fg, 0}, 0).ok());
  EXPECT_EQ(dst[0][4], -7.0);
  EXPECT_TRUE(h.get()->Blend({dst, 4}, {bg, 0}, {fg, 0}, 1).Is(errors::kIllegalArgument));
  EXPECT_TRUE(h.get()->Blend({nullptr, 0}, {bg, 0}, {fg, 0}, 1).Is(errors::kNullPtr));
}

// ---- dissolve

std::vector<ColorA> DissolveRun(const ImagePixelBlendInterface& c, double fa, size_t n) {
  pattern::ChannelOffsets o;
  EXPECT_TRUE(pattern::RgbaF64PixelFormat().GetChannelOffsets(o).ok());
  pattern::BlendPixelDelegates d;
  EXPECT_TRUE(c.GetBlendPixelHandler(pattern::RgbaF64PixelFormat(), o, pattern::RgbaF64PixelFormat(), o, 1.0, d).ok());
  const BlendPixelHandlerRef h = BlendPixelHandlerRef::Adopt(pattern::BlendPixelHandler::Make(std::move(d)));
  std::vector<ColorA> bg(n, ColorA{0.1, 0.2, 0.3, 0.4}), fg(n, ColorA{0.9, 0.8, 1.7, fa}), out(n);
  EXPECT_TRUE(h.get()->Blend({out.data(), 0}, {bg.data(), 0}, {fg.data(), 0}, static_cast<int64_t>(n)).ok());
  return out;
}

TEST_F(BlendModesTest, DissolvePicksTheForegroundAtTheRateOfItsAlphaPerSeed) {
  constexpr size_t kN = 100000;
  const ColorA picked{0.9, 0.8, 1.0, 1.0}, kept{0.1, 0.2, 0.3, 0.4};
  auto seed1 = MakeDissolveBlendMode(1), seed2 = MakeDissolveBlendMode(2), seed0 = MakeDissolveBlendMode(0);
  const std::vector<ColorA> a = DissolveRun(*seed1, 0.3, kN), again = DissolveRun(*seed1, 0.3, kN);
  const std::vector<ColorA> other = DissolveRun(*seed2, 0.3, kN), more = DissolveRun(*seed1, 0.6, kN);
  size_t count = 0, differ = 0;
  for (size_t i = 0; i < kN; ++i) {
    ASSERT_TRUE(a[i] == picked || a[i] == kept) << i;  // all or nothing, foreground clamped
    count += a[i] == picked;
    differ += (a[i] == picked) != (other[i] == picked);
    // A higher strength keeps every pixel it had and adds more.
    if (a[i] == picked) { EXPECT_EQ(more[i], picked); }
  }
  EXPECT_EQ(a, again);
  // Binomial: sd = sqrt(0.3 * 0.7 / 1e5) = 0.00145; 5 sd.
  EXPECT_NEAR(count / double(kN), 0.3, 0.0073);
  // Independent patterns disagree on 2 * 0.3 * 0.7 = 42 % of the pixels.
  EXPECT_NEAR(differ / double(kN), 0.42, 0.02);
  EXPECT_EQ(DissolveRun(*Class("dissolve"), 0.3, 1000), DissolveRun(*seed0, 0.3, 1000));
  for (const ColorA& c : DissolveRun(*seed1, 0.0, 1000)) EXPECT_EQ(c, kept);
  for (const ColorA& c : DissolveRun(*seed1, 1.0, 1000)) EXPECT_EQ(c, picked);
}

}  // namespace
}  // namespace tessaroc::host
