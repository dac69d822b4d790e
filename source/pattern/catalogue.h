// The catalogue of core nodes this library offers, in catalogue order.
#pragma once

#include <span>

#include "tessaroc/core/registry.h"

namespace tessaroc::pattern {

struct CatalogueUnit {
  const char* source;  // the declaring unit
  Result (*registerNodes)(CoreNodeRegistry&);
};

// One unit per node source, in catalogue order.
std::span<const CatalogueUnit> CatalogueUnits();

// Registers every node of the catalogue; stops at the first error.
Result RegisterCatalogue(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
