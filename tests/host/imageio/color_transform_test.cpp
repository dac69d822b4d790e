// The encodings a render can be written in: the built-in curves, and the
// transforms of an OpenColorIO config worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "../texture/test_images.h"
#include "ocio_test_config.h"
#include "host/color/color_transform.h"

namespace tessaroc::host {
namespace {

// Encodes one colour (alpha 0.5) and checks alpha is left alone.
std::array<float, 3> Encode(const ColorTransform& t, float r, float g, float b) {
  float px[8] = {r, g, b, 0.5f, r, g, b, 0.5f};
  t.Apply(px, 2, 4);
  EXPECT_EQ(px[3], 0.5f);
  EXPECT_EQ(px[4], px[0]);  // every pixel of the run
  return {px[0], px[1], px[2]};
}

TEST(ColorTransform, BuiltInNamesAreTheirCurves) {
  ASSERT_FALSE(HasColorConfig()) << "the tests run without $OCIO";
  const struct {
    const char* name;
    std::function<double(double)> curve;
  } cases[] = {
      {"linear", [](double v) { return v; }},
      {"sRGB", [](double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }},
      {"srgb", [](double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }},
      {"Rec709", [](double v) { return v < 0.018 ? v * 4.5 : 1.099 * std::pow(v, 0.45) - 0.099; }},
      {"Gamma2.2", [](double v) { return v > 0 ? std::pow(v, 1 / 2.2) : v; }},
      {"gamma1.8", [](double v) { return v > 0 ? std::pow(v, 1 / 1.8) : v; }},
  };
  for (const auto& c : cases) {
    std::unique_ptr<ColorTransform> t;
    ASSERT_TRUE(ColorTransform::ToColorSpace(c.name, t).ok()) << c.name;
    // Above 1 the curves go on: float files keep highlights.
    const auto got = Encode(*t, 0.002f, 0.4f, 3.0f);
    const float in[3] = {0.002f, 0.4f, 3.0f};
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], c.curve(in[i]), 2e-6 * std::max(1.0, c.curve(in[i]))) << c.name;
  }
  std::unique_ptr<ColorTransform> t;
  for (const char* bad : {"ACEScg", "Gamma", "Gamma-1", "Gamma2.2x"}) {
    Result r = ColorTransform::ToColorSpace(bad, t);
    ASSERT_TRUE(r.failed()) << bad;
    EXPECT_NE(r.message().find("built in: linear, sRGB, Rec709, GammaG"), std::string_view::npos) << r.message();
  }
  Result r = ColorTransform::ToDisplay("sRGB", "Film", t);
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("OpenColorIO config"), std::string_view::npos) << r.message();
}

TEST(ColorTransform, ConfigTransformsAreWhatTheConfigSays) {
  testing::TempFolder folder;
  const std::string file = folder.File("test.ocio");
  std::ofstream(file) << testing::kOcioConfig;
  ASSERT_TRUE(UseColorConfig(file).ok());
  const auto mixed = testing::Mixed(0.2, 0.4, 0.3);

  std::unique_ptr<ColorTransform> space, view, srgb, rec709, raw;
  ASSERT_TRUE(ColorTransform::ToColorSpace("mixed", space).ok());
  ASSERT_TRUE(ColorTransform::ToDisplay("screen", "half-gamma", view).ok());
  EXPECT_EQ(view->name(), "mixed");
  for (const ColorTransform* t : {space.get(), view.get()}) {
    const auto got = Encode(*t, 0.2f, 0.4f, 0.3f);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], mixed[i], 1e-5) << t->name() << " " << i;
  }
  ASSERT_TRUE(ColorTransform::ToColorSpace("sRGB", srgb).ok());
  EXPECT_EQ(Encode(*srgb, 0.2f, 0.4f, 0.3f)[1], 0.8f);
  ASSERT_TRUE(ColorTransform::ToColorSpace("Rec709", rec709).ok());  // not the config's: built in
  EXPECT_NEAR(Encode(*rec709, 0.4f, 0.4f, 0.4f)[0], 1.099 * std::pow(0.4, 0.45) - 0.099, 2e-6);
  ASSERT_TRUE(ColorTransform::ToDisplay("screen", "raw", raw).ok());
  EXPECT_TRUE(raw->identity());

  const struct {
    const char* display;
    const char* view;
    const char* message;
  } bad[] = {{"nosuch", "raw", "unknown display \"nosuch\"; the config has screen"},
             {"screen", "nosuch", "display screen has no view \"nosuch\"; it has half-gamma, raw"}};
  for (const auto& b : bad) {
    Result r = ColorTransform::ToDisplay(b.display, b.view, raw);
    ASSERT_TRUE(r.failed());
    EXPECT_NE(r.message().find(b.message), std::string_view::npos) << r.message();
  }
  Result r = ColorTransform::ToColorSpace("nosuch", raw);
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("the config has lin, mixed, sRGB"), std::string_view::npos) << r.message();

  std::ofstream(folder.File("broken.ocio")) << "ocio_profile_version: 2\ncolorspaces: [\n";
  r = UseColorConfig(folder.File("broken.ocio"));
  ASSERT_TRUE(r.failed());
  EXPECT_NE(r.message().find("not a usable OpenColorIO config"), std::string_view::npos) << r.message();
  // Transforms made before keep working; the process goes back to no config.
  EXPECT_NEAR(Encode(*space, 0.2f, 0.4f, 0.3f)[1], mixed[1], 1e-5);
  ASSERT_TRUE(UseColorConfig("").ok());
  EXPECT_FALSE(HasColorConfig());
}

}  // namespace
}  // namespace tessaroc::host
