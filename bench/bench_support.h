// What the benchmarks share: the catalogue, registered once, and runners made
// from it. A benchmark has no one to report a failed set-up to, so it stops.
#pragma once

#include <cstdlib>
#include <memory>

#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"

namespace tessaroc::pattern {

inline void Check(const Result& r) {
  if (r.failed()) std::abort();
}

inline CoreNodeRegistry& Registry() {
  static CoreNodeRegistry* r = [] {
    auto* reg = new CoreNodeRegistry;
    Check(RegisterCatalogue(*reg));
    return reg;
  }();
  return *r;
}

// A runner of one node of the catalogue.
inline std::unique_ptr<SingleNodeRunner> MakeRunner(const Id& id) {
  const MicroNodeGroup* g = nullptr;
  std::unique_ptr<SingleNodeRunner> run;
  Check(Registry().GetGroup(id, g));
  Check(SingleNodeRunner::Create(g, run));
  return run;
}

}  // namespace tessaroc::pattern
