// Installs the host services a renderer provides to the module: the default
// logger and the registries and services the nodes look up. A program calls
// this once before loading the module.
#pragma once

#include "tessaroc/core/result.h"

namespace tessaroc::host {

Result InstallHostServices();

}  // namespace tessaroc::host
