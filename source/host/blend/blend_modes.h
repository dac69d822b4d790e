// The blend-mode classes: one class per mode of kBlendModeNames, registered
// under net.zovan.render.blendmode.<name> in the blend-mode registry. Each
// gives a pixel handler for formats of four 64-bit float channels; see
// docs/blendmodes.md for what every mode computes.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "tessaroc/core/result.h"
#include "pattern/color/pixel_blend.h"

namespace tessaroc::host {

// Registers all blend modes in pattern::BlendModeClasses(), in their declared
// order. Call it before rendering; calling it again does nothing.
Result InstallBlendModes();

// The class of a mode by its short name ("multiply"), or null. The object is
// the one the registry holds; it lives as long as the process.
const pattern::ImagePixelBlendInterface* BlendModeClass(std::string_view name);

// A dissolve class with a seed of its own. The registered dissolve uses seed 0.
std::unique_ptr<pattern::ImagePixelBlendInterface> MakeDissolveBlendMode(uint32_t seed);

}  // namespace tessaroc::host
