// Every example graph with a reference picture in tests/golden renders the
// same picture again, within a tolerance for 8-bit rounding; those with one in
// tests/golden/sphere do so on a lit sphere too. References are refreshed on
// purpose with scripts/update-golden.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <filesystem>

#include "graph/render.h"
#include "module_fixture.h"

#ifndef TESSAROC_SOURCE_DIR
#define TESSAROC_SOURCE_DIR "."
#endif

namespace tessaroc::graph {
namespace {

namespace fs = std::filesystem;

// A reference picture: the example's name, and "sphere/" before it for the
// lit sphere (scripts/render-shape-gallery renders those with the same view).
std::vector<std::string> GoldenNames() {
  std::vector<std::string> names;
  for (const char* folder : {"", "sphere/"})
    for (const auto& e : fs::directory_iterator(fs::path(TESSAROC_SOURCE_DIR) / "tests/golden" / folder))
      if (e.path().extension() == ".png") names.push_back(folder + e.path().stem().string());
  std::sort(names.begin(), names.end());
  return names;
}

class Golden : public testing::ModuleTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(Golden, RendersItsReferencePicture) {
  const fs::path root(TESSAROC_SOURCE_DIR);
  const std::string name = GetParam();
  const bool sphere = name.rfind("sphere/", 0) == 0;
  const fs::path graph = root / "examples" / (name.substr(sphere ? 7 : 0) + ".json");
  ASSERT_TRUE(fs::exists(graph)) << "a reference without an example: " << name;

  std::unique_ptr<Material> material;
  Result r = Material::FromFile(graph.string(), material);
  ASSERT_TRUE(r.ok()) << r.ToString();
  RenderSettings s;
  s.width = s.height = 128;
  s.threads = 2;
  s.searchPaths.urls.emplace_back((root / "examples").string());
  if (sphere) {
    s.view.shape = Shape::kSphere;
    s.view.lit = true;
  }
  host::Image image;
  r = Render(*material, s, image);
  ASSERT_TRUE(r.ok()) << r.ToString();

  host::Image reference;
  ASSERT_TRUE(host::ReadImage((root / "tests/golden" / (name + ".png")).string(), reference).ok());
  ASSERT_EQ(reference.width, image.width);
  ASSERT_EQ(reference.height, image.height);
  // Compare in 8-bit sRGB codes, as the reference was written: one code of
  // rounding either way is allowed, and a few stray codes on edges.
  double worst = 0, sum = 0;
  size_t n = 0;
  for (size_t p = 0; p < static_cast<size_t>(image.width) * image.height; ++p)
    for (int c = 0; c < std::min(3, reference.channels); ++c) {
      const double got = std::round(host::EncodeSrgb(image.pixels[p * 4 + c]) * 255.0);
      const double want = std::round(host::EncodeSrgb(reference.pixels[p * reference.channels + c]) * 255.0);
      const double d = std::fabs(got - want);
      worst = std::max(worst, d);
      sum += d;
      ++n;
    }
  EXPECT_LE(sum / n, 0.05) << name << ": mean difference in 8-bit codes";
  EXPECT_LE(worst, 2.0) << name << ": largest difference in 8-bit codes";
}

INSTANTIATE_TEST_SUITE_P(Examples, Golden, ::testing::ValuesIn(GoldenNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           // Test names take letters, digits and '_' only.
                           std::string name = info.param;
                           for (char& c : name)
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           return name;
                         });

}  // namespace
}  // namespace tessaroc::graph
