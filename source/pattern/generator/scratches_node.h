// Scratches: thin bent scratches as a mask, 1 on the clean surface. Each layer
// divides the plane into cells; a cell decides from a hash of its position
// whether it holds a scratch and what it looks like, so nothing is stored.
#pragma once

#include <cstdint>

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

inline constexpr const char* kScratchesId = "net.zovan.pattern.corenode.generator.scratches";

struct ScratchParams {
  int64_t seed = 0;
  double bend = 0;
  double scale = 100;  // percent: the cell size is 0.01 * scale
  double density = 0.5;
  int64_t layers = 1;
  double frequencystep = 1;
  double rotation = 0;
  double gamma = 1;
  double thickness = 1;
  double depth = 1;
};

double Scratches(double u, double v, const ScratchParams& p);

Result RegisterScratchesNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
