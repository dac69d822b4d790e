// colorprofile (transfer curves) and colorspace (coordinates).
#include <gtest/gtest.h>

#include <cmath>
#include <string_view>

#include "../pattern_test_util.h"
#include "pattern/color/color_math.h"
#include "pattern/color/colorprofile_node.h"
#include "pattern/color/colorspace_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::ColorNear;
using testutil::RunColor;
using testutil::SetAll;
using testutil::SetMask;

struct ProfileSetup {
  const char* in = "linear";
  const char* out = "linear";
  const char* direction = "forward";
  double gamma = 2.2, filmGamma = 1.0, blackPoint = 300.0, whitePoint = 685.0;
  bool maskAlpha = true;
};

ColorA Profile(const ColorA& c, const ProfileSetup& p) {
  auto run = testutil::Runner(kColorProfileId);
  SetAll(*run, "color", c, "inProfile", InternedId::Intern(p.in), "outProfile", InternedId::Intern(p.out), "direction",
         InternedId::Intern(p.direction), "gamma", p.gamma, "filmgamma", p.filmGamma, "blackpoint", p.blackPoint,
         "whitepoint", p.whitePoint);
  SetMask(*run, 1.0, true, true, true, p.maskAlpha);
  return RunColor(*run);
}

// python3: x ** (1 / 2.4) * 1.055 - 0.055 (x = 0.5, 0.02) and ((0.5 + 0.055) / 1.055) ** 2.4
constexpr double kSrgbEncodeHalf = 0.7353569830524495;
constexpr double kSrgbDecodeHalf = 0.21404114048223255;

TEST(ColorProfile, SrgbDecodeAndEncodeAndAlphaFollowsItsMask) {
  const ColorA c{0.5, 0.02, 1.0, 0.5};
  // forward: decode with the in profile (srgb), encode with the out (linear).
  EXPECT_TRUE(ColorNear(Profile(c, {.in = "srgb"}), {kSrgbDecodeHalf, 0.02 / 12.92, 1.0, kSrgbDecodeHalf}, 1e-15));
  // inverse swaps the stages: the sRGB encode of the input.
  EXPECT_TRUE(ColorNear(Profile(c, {.in = "srgb", .direction = "inverse"}),
                        {kSrgbEncodeHalf, 0.15170371931624205, 1.0, kSrgbEncodeHalf}, 1e-15));
  // Round trip through linear light.
  const ColorA trip = Profile({0.001, 0.2, 0.7, 0.95}, {.in = "srgb", .out = "srgb"});
  EXPECT_TRUE(ColorNear(trip, {0.001, 0.2, 0.7, 0.95}, 1e-12));
  // Alpha follows its mask.
  EXPECT_EQ(Profile(c, {.in = "srgb"}).a, kSrgbDecodeHalf);
  EXPECT_EQ(Profile(c, {.in = "srgb", .maskAlpha = false}).a, 0.5);
  // linear to linear is exact, and so are unknown and empty ids.
  const ColorA odd{0.123456789, -3, 1e300, 0.5};
  EXPECT_TRUE(ColorNear(Profile(odd, {}), odd, 0));
  EXPECT_TRUE(ColorNear(Profile(odd, {.in = "bogus", .out = ""}), odd, 0));
}

TEST(ColorProfile, Rec709IsNotARoundTripAboveTheKnee) {
  EXPECT_TRUE(ColorNear(Profile({1, 1, 1, 1}, {.in = "rec709"}),
                        {2.2222222222222223, 2.2222222222222223, 2.2222222222222223, 2.2222222222222223}, 1e-15));
  // Encode then decode (inverse with in linear, out rec709, then forward).
  auto encodeDecode = [](double x) {
    const ColorA e = Profile({x, x, x, x}, {.out = "rec709"});
    return Profile(e, {.in = "rec709"}).r;
  };
  EXPECT_NEAR(encodeDecode(0.01), 0.01, 1e-15);  // below both knees: linear both ways
  // Above the knee the decode multiplies: 2.2222 * 0.5^0.45.
  EXPECT_NEAR(encodeDecode(0.5), 2.2222222222222223 * std::pow(0.5, 0.45), 1e-12);
}

TEST(ColorProfile, GammaCurvesAndTheirGuard) {
  EXPECT_TRUE(ColorNear(Profile({0.25, 0.5, 1, 0.5}, {.in = "gamma", .gamma = 2.0}), {0.0625, 0.25, 1, 0.25}, 1e-15));
  EXPECT_TRUE(ColorNear(Profile({0.25, 0.5, 1, 0.5}, {.out = "gamma", .gamma = 2.0}),
                        {0.5, std::sqrt(0.5), 1, std::sqrt(0.5)}, 1e-15));
  // Only the encode is guarded: gamma 0 or below gives 0 on all four channels.
  for (double g : {0.0, -1.0})
    EXPECT_TRUE(ColorNear(Profile({0.25, 0.5, 1, 0.5}, {.out = "gamma", .gamma = g}), {0, 0, 0, 0}, 0));
}

TEST(ColorProfile, CineonUsesBlackpointAsDivisorAndWhitepointAsZero) {
  // python3: (10 ** ((1023 * x ** fg - wp) / bp) - 0.0108) / 0.9892
  EXPECT_NEAR(Profile({0.5, 0, 0, 0}, {.in = "cineon"}).r, 0.2560029732887866, 1e-14);
  EXPECT_NEAR(Profile({0.5, 0, 0, 0}, {.in = "cineon", .filmGamma = 1.7, .blackPoint = 500, .whitePoint = 600}).r,
              0.26100528487013996, 1e-14);
  // python3: (log10(x ** (1 / fg) * 0.9892 + 0.0108) * bp + wp) / 1023
  EXPECT_NEAR(Profile({0.18, 0, 0, 0}, {.out = "cineon"}).r, 0.4573208564090778, 1e-14);
  EXPECT_NEAR(Profile({0.18, 0, 0, 0}, {.out = "cineon", .filmGamma = 0.6, .blackPoint = 500, .whitePoint = 600}).r,
              0.014523068371599054, 1e-14);
  // The code value of the zero point decodes to black.
  EXPECT_NEAR(Profile({685.0 / 1023.0, 0, 0, 0}, {.in = "cineon"}).r, 1.0, 1e-14);
  // With film gamma 1 the two curves are inverses.
  EXPECT_NEAR(Profile(Profile({0.3, 0, 0, 0}, {.in = "cineon"}), {.out = "cineon"}).r, 0.3, 1e-12);
}

// ---- colorspace

ColorA Space(const ColorA& c, const char* in, const char* out) {
  auto run = testutil::Runner(kColorSpaceId);
  SetAll(*run, "color", c, "incolorspace", InternedId::Intern(in), "outcolorspace", InternedId::Intern(out));
  SetMask(*run, 1.0, true, true, true, true);
  return RunColor(*run);
}

const char* const kSpaces[] = {"rgb", "hsv", "hsl", "xyz", "cmy"};

TEST(ColorSpace, EveryPairRoundTrips) {
  // Colours away from the grey threshold, each given in RGB and moved to the
  // `from` space first.
  const ColorA colours[] = {{0.8, 0.3, 0.1, 0.7}, {0.25, 0.35, 0.9, 1}, {0.1, 0.5, 0.45, 0.2}};
  for (const ColorA& rgb : colours) {
    for (const char* from : kSpaces) {
      const ColorA a = Space(rgb, "rgb", from);
      for (const char* to : kSpaces) {
        SCOPED_TRACE(::testing::Message() << from << " -> " << to);
        const ColorA b = Space(a, from, to);
        EXPECT_EQ(b.a, rgb.a);
        // Through `to` and back lands where it began; the XYZ matrices are
        // inverses only to about 1e-7, which hue and saturation magnify.
        EXPECT_TRUE(ColorNear(Space(b, to, from), a, 1e-5));
        // And the pair agrees with going through RGB by hand.
        if (std::string_view(from) != to) { EXPECT_TRUE(ColorNear(b, Space(Space(a, from, "rgb"), "rgb", to), 1e-12)); }
      }
    }
  }
}

TEST(ColorSpace, KnownValuesAndPassingSpaces) {
  EXPECT_TRUE(ColorNear(Space({1, 0, 0, 1}, "rgb", "cmy"), {0, 1, 1, 1}, 0));
  EXPECT_TRUE(ColorNear(Space({1, 1, 1, 1}, "rgb", "hsl"), {0, 0, 1, 1}, 0));
  EXPECT_TRUE(ColorNear(Space({0, 0, 0, 1}, "rgb", "hsl"), {0, 0, 0, 1}, 0));
  // python3 colorsys: rgb_to_hsv(0.8, 0.3, 0.1) and rgb_to_hsv(*hls_to_rgb(0.6, 0.4, 0.5)).
  EXPECT_TRUE(ColorNear(Space({0.8, 0.3, 0.1, 1}, "rgb", "hsv"), {0.04761904761904764, 0.875, 0.8, 1}, 1e-12));
  EXPECT_TRUE(ColorNear(Space({0.6, 0.5, 0.4, 1}, "hsl", "hsv"), {0.6, 0.6666666666666667, 0.6, 1}, 1e-12));
  // Same, unknown or empty spaces pass the colour.
  const ColorA c{0.3, -0.2, 5.0, 0.5};
  EXPECT_TRUE(ColorNear(Space(c, "hsv", "hsv"), c, 0));
  EXPECT_TRUE(ColorNear(Space(c, "lab", "rgb"), c, 0));
  EXPECT_TRUE(ColorNear(Space(c, "rgb", ""), c, 0));
}

}  // namespace
}  // namespace tessaroc::pattern
