// Shared pieces of the 2D filter tests: a colour function of the place, a
// context at a point, the catalogue's runners and the colour comparison.
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

using testutil::ColorNear;
using testutil::Runner;

inline ShadingContext AtUv(double u, double v, double w = 0) {
  ShadingContext ctx;
  ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{u, v, w};
  return ctx;
}

}  // namespace tessaroc::pattern
