// Random: like hash, with a fingerprint of the sample mixed in, so that the
// values change from sample to sample and frame to frame but repeat when the
// same sample is computed again.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"

namespace tessaroc::pattern {

inline constexpr const char* kRandomId = "net.zovan.pattern.corenode.generator.random";

// The 32-bit key of a sample: the hashed fingerprint plus seed + salt.
uint32_t RandomKey(const ShadingContext& ctx, int64_t seed, int64_t salt);

Result RegisterRandomNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
