// The project's noise library as the host's noise service: the 31 classes of
// the registry `net.zovan.render.registry.rendernoiseclasses` and the Voronoi
// operations of NoiseInterface.
#pragma once

#include "tessaroc/core/result.h"
#include "pattern/generator/noise_interface.h"

namespace tessaroc::host {

// Registers every noise class under `net.zovan.render.rendernoiseclass.<name>`
// in declared order, installs the NoiseInterface, and a default class for
// unknown class ids whose objects give 0. Safe to call more than once; call
// it before anything renders.
Result InstallNoiseClasses();

// The installed NoiseInterface (the same object every time).
const NoiseInterface& LibraryNoiseInterface();

}  // namespace tessaroc::host
