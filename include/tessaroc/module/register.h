// Module start: what the module declares when a host loads it, in order, and
// the teardown in reverse order at unload. Nothing is built at load: node
// groups are built when first asked for.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tessaroc/core/result.h"

namespace tessaroc::module {

inline constexpr const char* kModuleId = "net.zovan.tessarocs";

struct ModuleRecord {
  const char* id;
  std::span<const char* const> frameworks;  // the twelve frameworks, in order
};

// Runs the load sequence: interfaces, published functions, the module record
// with its data types, the description entry, one unit per node source in
// catalogue order, the shader data types, the vocabulary of ids. On a failure
// the units already loaded are unloaded again. `trace`, when given, receives
// the name of each unit as it runs.
Result LoadModule(std::vector<std::string>* trace = nullptr);
// Unloads in reverse order.
Result UnloadModule(std::vector<std::string>* trace = nullptr);
bool ModuleLoaded();

// Valid while the module is loaded; null otherwise.
const ModuleRecord* GetModuleRecord();

}  // namespace tessaroc::module
