// blackbody and thin film: the CIE tables they integrate against, the
// blackbody curve, the thin film's bins and its reflectance.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "../pattern_test_util.h"
#include "pattern/color/color_math.h"
#include "pattern/generator/blackbody_node.h"
#include "pattern/generator/cie1931_tables.h"
#include "pattern/generator/thinfilm_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::ColorNear;

// ---- blackbody

TEST(Blackbody, LargestOfXyzIsOneHotIsBlueZeroIsNaNAndItMatchesAnIndependentIntegration) {
  for (double t : {10.0, 30.0, 60.0, 100.0, 200.0, 1000.0}) {
    const BlackbodyXyz xyz = BlackbodyToXyz(t);
    EXPECT_EQ(std::max(std::max(xyz.x, xyz.y), xyz.z), 1.0) << t;
  }
  const Color zero = BlackbodyColor(0.0);
  EXPECT_TRUE(std::isnan(zero.r) && std::isnan(zero.g) && std::isnan(zero.b));
  const Color cool = BlackbodyColor(30.0);  // about 1720 K
  const Color hot = BlackbodyColor(200.0);  // about 11460 K
  EXPECT_GT(cool.r, cool.b);
  EXPECT_GT(hot.b, hot.r);
  // Hotter is always bluer: b / r rises with temperature.
  double last = -1.0;
  for (double t = 20.0; t <= 400.0; t += 20.0) {
    const Color c = BlackbodyColor(t);
    EXPECT_GT(c.b / c.r, last) << t;
    last = c.b / c.r;
  }

  // An independent integration.
  // python3 over the 5 nm four-decimal CSV: T = 100 * 57.29577951308232,
  // M = 3.7417748794402714e29 / lambda^5 / exp(14387686.6 / (lambda T) - 1),
  // halved at both ends, normalised to the largest, through the XYZ matrix.
  auto run = testutil::Runner(kBlackbodyId);
  ASSERT_TRUE(run->Set("temperature", 100.0).ok());
  ASSERT_TRUE(run->Run().ok());
  const Color integrated = run->Get<Color>("result");
  EXPECT_NEAR(integrated.r, 1.1030273140957385, 1e-12);
  EXPECT_NEAR(integrated.g, 0.9715039866466926, 1e-12);
  EXPECT_NEAR(integrated.b, 0.908074889322972, 1e-12);
  // Out of gamut at the cool end: negative blue, not clamped.
  EXPECT_NEAR(BlackbodyColor(30.0).b, -0.02398855086591936, 1e-12);
}

// ---- thin film: the spectrum average and the bins

float AverageY(float s, float e) {
  return SpectrumAverage(kCie1931_1nmWavelength, kCie1931_1nmY, kCie1931_1nmCount, s, e);
}

TEST(ThinFilmPre, SpectrumAverageIntegratesTheTable) {
  // python3: trapezoids of the 1 nm ȳ (as 32-bit floats) divided by the width.
  EXPECT_NEAR(AverageY(500, 600), 0.8097546362876892, 1e-6);
  EXPECT_NEAR(AverageY(400, 700), 0.3559797579252821, 1e-6);
  EXPECT_NEAR(SpectrumAverage(kCie1931_1nmWavelength, kCie1931_1nmX, kCie1931_1nmCount, 400, 500), 0.1773728305241093,
              1e-6);
  // Inside one 1 nm step the curve is linear: the average is its value at the middle.
  EXPECT_NEAR(AverageY(555.25, 555.75), (1.0f + kCie1931_1nmY[196]) * 0.5f, 1e-6);
  // Outside the table the end values hold; across its start they extend.
  EXPECT_EQ(AverageY(300, 350), kCie1931_1nmY[0]);
  EXPECT_EQ(AverageY(900, 950), kCie1931_1nmY[470]);
  EXPECT_NEAR(AverageY(355, 365), 4.608956601259706e-06, 1e-12);
}

TEST(ThinFilmPre, BinsCoverFourToSevenHundredAndAreRefilledOnlyOnAChange) {
  ThinFilmInit init;
  ASSERT_TRUE(FillThinFilmInit(3, init).ok());
  ASSERT_EQ(init.count, 3);
  ASSERT_EQ(init.samples.size(), 3u);
  EXPECT_EQ(init.step, 1.0f / 3.0f);
  // The middle bin is 500 to 600 nm (python3, as for the averages below).
  EXPECT_NEAR(init.samples[1][1], 0.8097546362876892, 1e-6);

  ThinFilmInit refill;
  ASSERT_TRUE(FillThinFilmInit(32, refill).ok());
  const auto* data = refill.samples.data();
  ASSERT_TRUE(FillThinFilmInit(32, refill).ok());
  EXPECT_EQ(refill.samples.data(), data);
  ASSERT_TRUE(FillThinFilmInit(81, refill).ok());
  EXPECT_EQ(refill.count, 81);
  EXPECT_EQ(refill.samples.size(), 81u);

  // Zero or negative counts make one bin.
  for (int64_t n : {0, -5}) {
    ThinFilmInit one;
    ASSERT_TRUE(FillThinFilmInit(n, one).ok());
    ASSERT_EQ(one.count, 1);
    EXPECT_EQ(one.step, 1.0f);
    EXPECT_NEAR(one.samples[0][1], 0.3559797579252821, 1e-6);
  }

  // The largest count is taken; one more is refused before anything is
  // allocated, and the bins already there stay.
  ThinFilmInit most;
  ASSERT_TRUE(FillThinFilmInit(kMaxThinFilmBins, most).ok());
  EXPECT_EQ(most.samples.size(), static_cast<size_t>(kMaxThinFilmBins));
  for (int64_t n : {kMaxThinFilmBins + 1, int64_t{400000000}, std::numeric_limits<int64_t>::max()}) {
    const Result r = FillThinFilmInit(n, refill);
    EXPECT_TRUE(r.Is(errors::kIllegalArgument)) << n;
    EXPECT_NE(r.message().find("is more than the 1000000 wavelength bins"), std::string_view::npos) << r.message();
    EXPECT_EQ(refill.count, 81);
    EXPECT_EQ(refill.samples.size(), 81u);
  }
}

// ---- thin film per sample

ShadingContext FacingContext() {
  ShadingContext ctx;
  ctx.shadingnormal = {0, 0, 1};
  ctx.geometricnormal = {0, 0, 1};
  ctx.raydirection = {0, 0, -1};
  return ctx;
}

ThinFilmInit Bins(int64_t n) {
  ThinFilmInit init;
  EXPECT_TRUE(FillThinFilmInit(n, init).ok());
  return init;
}

TEST(ThinFilm, NormalIncidenceMatchesTheClosedFormsForOneAnd81Bins) {
  // One bin, read at its start (400 nm). With eta 1.5 and thickness
  // 400 / (4 * 1.5) the round trip is half a wave: the two reflections add to
  // R = 4 r^2 / (1 + r^2)^2 with r = (eta - 1) / (eta + 1) = 0.2, the exact
  // single-film reflectance at that point. Y is R times the bin's ȳ average
  // times 300 / 106.85689544677734 (python3: 0.14784182326343667).
  const ThinFilmInit init = Bins(1);
  const ColorA c = ThinFilmColor(FacingContext(), {1.5, 400.0 / 6.0, 0.0}, init);
  const Xyz xyz = RgbToXyz(c.r, c.g, c.b);
  EXPECT_NEAR(xyz.y, 0.14784182326343667, 2e-6);
  EXPECT_EQ(c.a, 1.0);
  // Half a wave thicker the reflections cancel: black.
  EXPECT_TRUE(ColorNear(ThinFilmColor(FacingContext(), {1.5, 400.0 / 3.0, 0.0}, init), {0, 0, 0, 1}, 1e-6));

  // At normal incidence a film in air has r = (eta - 1) / (eta + 1) at both
  // faces with opposite signs, and the averaged real-part sum reduces to
  // R = r^2 (1 - k)^2 / (1 - r^2 k)^2 with k = cos(4 pi d eta / lambda), lambda
  // the start of each bin. python3, in doubles, with the bin averages of the
  // 1 nm table (as 32-bit floats) over 81 bins, eta 1.33, d 420 nm, times the
  // scale (300 / 81) / 106.85689544677734:
  const double kX = 0.015774264626073176, kY = 0.006139702576747972, kZ = 0.0596920912535696;
  const ColorA c81 = ThinFilmColor(FacingContext(), {1.33, 420.0, 0.0}, Bins(81));
  const Xyz xyz81 = RgbToXyz(c81.r, c81.g, c81.b);
  // 32-bit arithmetic in the node: a few parts in a million.
  EXPECT_NEAR(xyz81.x, kX, 2e-6);
  EXPECT_NEAR(xyz81.y, kY, 2e-6);
  EXPECT_NEAR(xyz81.z, kZ, 2e-6);
}

TEST(ThinFilm, InvalidUvwTotalInternalReflectionThicknessAndFacing) {
  const ThinFilmInit init = Bins(32);
  ShadingContext ctx = FacingContext();
  ctx.uvwvalid = 0;
  EXPECT_TRUE(ColorNear(ThinFilmColor(ctx, {1.5, 300, 0}, init), {0, 0, 0, 0}, 0));
  // From the dense side (eta 0.5) at 60 degrees from the normal.
  ShadingContext grazing = FacingContext();
  grazing.raydirection = {std::sqrt(0.75), 0, -0.5};
  EXPECT_TRUE(ColorNear(ThinFilmColor(grazing, {0.5, 300, 0}, init), {1, 1, 1, 1}, 0));
  // Below the critical angle the same film is coloured, not white.
  grazing.raydirection = {0.3, 0, -std::sqrt(1 - 0.09)};
  const ColorA below = ThinFilmColor(grazing, {0.5, 300, 0}, init);
  EXPECT_LT(below.g, 0.9);

  // Thickness and facing.
  ctx = FacingContext();
  // Thickness plus variation below 1 acts as 1.
  EXPECT_TRUE(ColorNear(ThinFilmColor(ctx, {1.4, 0.2, 0.3}, init), ThinFilmColor(ctx, {1.4, 1.0, 0.0}, init), 0));
  EXPECT_TRUE(ColorNear(ThinFilmColor(ctx, {1.4, -50.0, 0.0}, init), ThinFilmColor(ctx, {1.4, 1.0, 0.0}, init), 0));
  // Variation adds to the thickness.
  EXPECT_TRUE(ColorNear(ThinFilmColor(ctx, {1.4, 250.0, 100.0}, init), ThinFilmColor(ctx, {1.4, 350.0, 0.0}, init), 0));
  // A back face (geometric normal along the ray) is turned to face the ray.
  ShadingContext back = ctx;
  back.raydirection = {0, 0, 1};
  back.geometricnormal = {0, 0, 1};
  back.shadingnormal = {0, 0, -1};
  EXPECT_TRUE(ColorNear(ThinFilmColor(back, {1.4, 350.0, 0.0}, init), ThinFilmColor(ctx, {1.4, 350.0, 0.0}, init), 0));
  // Different thicknesses give different colours (the interference moves).
  const ColorA a = ThinFilmColor(ctx, {1.4, 300.0, 0.0}, init);
  const ColorA b = ThinFilmColor(ctx, {1.4, 400.0, 0.0}, init);
  EXPECT_GT(std::fabs(a.r - b.r) + std::fabs(a.g - b.g) + std::fabs(a.b - b.b), 0.01);
}

}  // namespace
}  // namespace tessaroc::pattern
