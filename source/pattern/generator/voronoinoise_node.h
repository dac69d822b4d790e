// Voronoi noise: `voronoinoisepre` builds a seeded object of the host's
// NoiseInterface into a `voronoinoise` record; `voronoinoise` turns the cell
// structure around the placed UVW into cell colours, borders and distances.
// The flakes node reads the same record.
#pragma once

#include <cstdint>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"
#include "pattern/generator/noise_interface.h"

namespace tessaroc::pattern {

inline constexpr const char* kVoronoiNoisePreId = "net.zovan.pattern.corenode.generator.voronoinoisepre";
inline constexpr const char* kVoronoiNoiseId = "net.zovan.pattern.corenode.generator.voronoinoise";

// The record `voronoinoisepre` writes. Copies share the object.
struct VoronoiNoiseTable {
  uint32_t seed = 0;
  NoiseObjectRef noise;
};
extern const DataType kVoronoiNoiseTableType;

// The two nearest distances and the nearest cell's id at a position: from the
// record's object, else from the NoiseInterface's shared default object. With
// no object at all the call is left out and all three stay 0.
struct VoronoiHit {
  float f1 = 0.0f;
  float f2 = 0.0f;
  int32_t id = 0;
};
VoronoiHit VoronoiLookup(const VoronoiNoiseTable& table, float x, float y, float z);

// Registers voronoinoisepre and voronoinoise.
Result RegisterVoronoiNoiseNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
