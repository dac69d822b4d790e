// Fresnel reflectance at the sample: a dielectric with a scalar index of
// refraction, and a conductor with a complex index per colour channel.
#pragma once

#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kFresnelDielectricId = "net.zovan.pattern.corenode.effect.fresneldielectric";
inline constexpr const char* kFresnelConductorId = "net.zovan.pattern.corenode.effect.fresnelconductor";

// The cosine between the ray and the shading normal turned to face the ray
// (by the geometric normal), narrowed to 32 bits.
double FresnelCosine(const ShadingContext& ctx);

// Unpolarised reflectance for the cosine c of FresnelCosine: c >= 0 means the
// ray leaves the medium of index `ior`.
double FresnelDielectric(double c, double ior);
// Reflectance of a conductor per channel (an approximation exact at normal
// incidence); alpha is 1.
ColorA FresnelConductor(double c, const Vector& ior, const Vector& absorption);

Result RegisterFresnelNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
