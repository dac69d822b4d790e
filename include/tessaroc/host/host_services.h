// Installs the host services a renderer provides to the module: the default
// logger and the registries and services the nodes look up. A program calls
// this once before loading the module.
#pragma once

#include <string>

#include "tessaroc/core/result.h"

namespace tessaroc::host {

Result InstallHostServices();

// Reads the node descriptions from this folder (it holds
// modules/tessarocs.module/*.json) instead of $TESSAROC_RESOURCES or the copy
// compiled into the library. An empty folder restores that order. Takes
// effect at the next load of the module: call it before LoadModule.
void SetResourceFolder(const std::string& folder);

}  // namespace tessaroc::host
