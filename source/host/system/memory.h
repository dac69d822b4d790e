// What the machine can give the process, for checks made before a large
// allocation rather than after it fails.
#pragma once

#include <cstddef>

namespace tessaroc::host {

// Bytes of memory available to a new allocation without swapping (the
// system's own estimate), or 0 when it is not known.
size_t AvailableMemory();

}  // namespace tessaroc::host
