// Grid: lines of a given thickness and softness on three axes over a fill,
// and a number per cell.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kGridId = "net.zovan.pattern.corenode.generator.grid";

// The share of `fill` at a coordinate: 0 on a line, 1 between lines.
double GridFactor(const Vector& uvw, const Vector& thickness, double softness, const Vector& frequency);
// The cell number: floor(u * fx) * fy + floor(v * fy), truncated.
int64_t GridIndex(double u, double v, const Vector& frequency);

Result RegisterGridNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
