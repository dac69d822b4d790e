// Shared pieces of the 2D filter tests: colour functions of the place, a
// registry with the catalogue, and colour comparison.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "core/function.h"
#include "core/runtime.h"
#include "pattern/catalogue.h"

namespace tessaroc::pattern {

// (u, v, w, 1) of the context: shows where a function was evaluated. Safe to
// call from many threads: it keeps nothing.
inline const CallableFunction<ColorA>& UvwColor() {
  static const CallableFunction<ColorA> fn(kColorAType, [](const ShadingContext& c, ColorA& out) {
    out = {c.uvw.x, c.uvw.y, c.uvw.z, 1.0};
    return Result::Ok();
  });
  return fn;
}

inline CoreNodeRegistry& FilterRegistry() {
  static CoreNodeRegistry* registry = [] {
    auto* r = new CoreNodeRegistry;
    EXPECT_TRUE(RegisterCatalogue(*r).ok());
    return r;
  }();
  return *registry;
}

inline std::unique_ptr<SingleNodeRunner> MakeRunner(const char* id) {
  const MicroNodeGroup* g = nullptr;
  EXPECT_TRUE(FilterRegistry().GetGroup(id, g).ok());
  std::unique_ptr<SingleNodeRunner> run;
  EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
  return run;
}

inline ShadingContext AtUv(double u, double v, double w = 0) {
  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{u, v, w};
  return ctx;
}

inline void ExpectNear(const ColorA& got, const ColorA& want, double tol) {
  EXPECT_NEAR(got.r, want.r, tol);
  EXPECT_NEAR(got.g, want.g, tol);
  EXPECT_NEAR(got.b, want.b, tol);
  EXPECT_NEAR(got.a, want.a, tol);
}

}  // namespace tessaroc::pattern
