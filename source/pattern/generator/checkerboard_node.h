// Checkerboard: two colour functions on a board anti-aliased by the exact box
// coverage of the sample's footprint. Colours are asked for lazily: a sample
// well inside one square evaluates only that square's colour.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::pattern {

inline constexpr const char* kCheckerboardId = "net.zovan.pattern.corenode.generator.checkerboard";

// What a sample of the board needs: one colour, or both mixed by `share2`.
struct CheckerCoverage {
  enum Need { kNothing, kColor1, kColor2, kBoth } need = kNothing;
  double share2 = 0;  // the share of colour 2, for kBoth
};

// The coverage of a sample at the placed context (coordinates, footprint,
// wrap modes and inside flag of `local`).
CheckerCoverage CheckerboardCoverage(const ShadingContext& local);

Result RegisterCheckerboardNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
