// The sRGB curve in each of its arithmetic forms: the published values, round
// trips, continuity at the knees, and that the forms are kept apart.
#include <gtest/gtest.h>

#include <cmath>

#include "core/srgb.h"

namespace tessaroc {
namespace {

struct Form {
  const char* name;
  double (*encode)(double);
  double (*decode)(double);
  double tolerance;  // relative, for values computed outside the project and round trips
};
const Form kForms[] = {
    {"published", &LinearToSrgb, &SrgbToLinear, 1e-15},
    {"reciprocals", &LinearToSrgb, &SrgbToLinearByReciprocals, 1e-15},
    {"32-bit", [](double x) -> double { return LinearToSrgb32(static_cast<float>(x)); },
     [](double x) -> double { return SrgbToLinear32(static_cast<float>(x)); }, 1e-6},
};

// python3: 0.5 ** (1 / 2.4) * 1.055 - 0.055 and ((0.5 + 0.055) / 1.055) ** 2.4
constexpr double kEncodedHalf = 0.7353569830524495;
constexpr double kDecodedHalf = 0.21404114048223255;

TEST(Srgb, EveryFormFollowsThePublishedCurveAndRoundTrips) {
  for (const Form& f : kForms) {
    SCOPED_TRACE(f.name);
    auto near = [&](double got, double want) { EXPECT_NEAR(got, want, f.tolerance * std::fmax(1.0, std::fabs(want))); };
    near(f.encode(0.5), kEncodedHalf);
    near(f.decode(0.5), kDecodedHalf);
    near(f.encode(0.002), 0.002 * 12.92);  // the linear segments
    near(f.decode(0.03), 0.03 / 12.92);
    near(f.encode(1.0), 1.0);
    // The segments meet at the knees, up to the small step the published
    // constants leave there.
    EXPECT_NEAR(f.encode(std::nextafter(0.0031308, 1.0)), f.encode(0.0031308), 1e-7);
    EXPECT_NEAR(f.decode(std::nextafter(0.04045, 1.0)), f.decode(0.04045), 1e-7);
    for (int k = 0; k <= 64; ++k) {
      const double x = k / 64.0;
      near(f.decode(f.encode(x)), x);
      near(f.encode(f.decode(x)), x);
    }
  }
  EXPECT_EQ(LinearToSrgb(1.0), std::nextafter(1.0, 0.0));
}

TEST(Srgb, TheFormsDifferInTheLastBitsSoNoneStandsInForAnother) {
  int reciprocal = 0, narrow = 0;
  for (int k = 1; k <= 1000; ++k) {
    const double x = k / 1000.0;
    reciprocal += SrgbToLinear(x) != SrgbToLinearByReciprocals(x);
    narrow += LinearToSrgb32(static_cast<float>(x)) != static_cast<float>(LinearToSrgb(static_cast<float>(x)));
  }
  EXPECT_GT(reciprocal, 0);
  EXPECT_GT(narrow, 0);
}

}  // namespace
}  // namespace tessaroc
