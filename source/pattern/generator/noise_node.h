// The fractal noise nodes: `noisepre` builds a seeded noise object of a class
// of the noise registry into a `noisetable`; `noise` evaluates it at the
// placed UVW of the sample, `mathnoise` at a vector from a port.
#pragma once

#include <cstdint>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "pattern/generator/noise_interface.h"

namespace tessaroc::pattern {

inline constexpr const char* kNoisePreId = "net.zovan.pattern.corenode.generator.noisepre";
inline constexpr const char* kNoiseId = "net.zovan.pattern.corenode.generator.noise";
inline constexpr const char* kMathNoiseId = "net.zovan.pattern.corenode.generator.mathnoise";

// What `noisepre` hands to the evaluating nodes. Copies share the noise object.
struct NoiseTable {
  uint32_t seed = 0;
  // Never written by `noisepre`, so they stay 0.0: an object is reused only
  // while lacunarity, gain and exponent are all 0.0, and rebuilt otherwise.
  double lacunarity = 0.0;
  double gain = 0.0;
  double exponent = 0.0;
  Id noiseType;
  RenderNoiseRef noise;
};
extern const DataType kNoiseTableType;  // net.zovan.render.datatype.noiseshadertable

// The sample's size in noise space: the mean spread of uvw, uvwdx and uvwdy
// over the three axes, times ten, in 32 bits; 0 where a NaN takes part.
float NoiseFootprint(const ShadingContext& ctx);

// Registers noisepre, noise and mathnoise.
Result RegisterNoiseNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
