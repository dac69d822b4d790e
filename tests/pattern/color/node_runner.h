// Running one catalogue node in tests: the catalogue registered once, a
// SingleNodeRunner per case, colour comparisons that treat NaN as a value.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"

namespace tessaroc::pattern::testing {

inline CoreNodeRegistry& CatalogueRegistry() {
  static CoreNodeRegistry* registry = [] {
    auto* r = new CoreNodeRegistry;
    EXPECT_TRUE(RegisterCatalogue(*r).ok());
    return r;
  }();
  return *registry;
}

inline std::unique_ptr<SingleNodeRunner> MakeRunner(const char* id) {
  const MicroNodeGroup* group = nullptr;
  EXPECT_TRUE(CatalogueRegistry().GetGroup(id, group).ok()) << id;
  std::unique_ptr<SingleNodeRunner> run;
  EXPECT_TRUE(SingleNodeRunner::Create(group, run).ok()) << id;
  return run;
}

// Sets the five mask ports.
inline void SetMask(SingleNodeRunner& run, double blend, bool r, bool g, bool b, bool a) {
  EXPECT_TRUE(run.Set("maskblend", blend).ok());
  EXPECT_TRUE(run.Set("maskred", r).ok());
  EXPECT_TRUE(run.Set("maskgreen", g).ok());
  EXPECT_TRUE(run.Set("maskblue", b).ok());
  EXPECT_TRUE(run.Set("maskalpha", a).ok());
}

inline void SetEnum(SingleNodeRunner& run, const char* port, const char* value) {
  EXPECT_TRUE(run.Set(port, InternedId::Intern(value)).ok());
}

inline ColorA RunColor(SingleNodeRunner& run, const char* port = "result") {
  EXPECT_TRUE(run.Run().ok());
  return run.Get<ColorA>(port);
}

inline ::testing::AssertionResult ColorNear(const ColorA& got, const ColorA& want, double tol) {
  auto same = [tol](double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || a == b || std::fabs(a - b) <= tol;
  };
  if (same(got.r, want.r) && same(got.g, want.g) && same(got.b, want.b) && same(got.a, want.a))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got (" << got.r << ", " << got.g << ", " << got.b << ", " << got.a
                                       << ") want (" << want.r << ", " << want.g << ", " << want.b << ", " << want.a
                                       << ") within " << tol;
}

}  // namespace tessaroc::pattern::testing
