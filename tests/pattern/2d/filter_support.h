// Shared pieces of the 2D filter tests: colour functions of the place, the
// catalogue's runners, and colour comparison.
#pragma once

#include <gtest/gtest.h>

#include <cmath>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"

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

// A runner of one node from the shared catalogue.
using testutil::Runner;

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
