// Flakes: one random normal per Voronoi cell that is dense enough, blended
// with the shading normal, as for metallic flakes in a paint. Reads the
// record of `voronoinoisepre`.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kFlakesId = "net.zovan.pattern.corenode.generator.flakes";

// The flake normal of a cell id seen from shading normal n, blended by
// intensity and normalised (a zero vector stays zero).
Vector FlakeNormal(const Vector& n, int32_t id, double intensity);

Result RegisterFlakesNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
