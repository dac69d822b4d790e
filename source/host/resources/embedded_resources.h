// The description resources as they were when the library was built,
// compiled in so that a moved, installed or statically linked program finds
// its node descriptions without a resource folder on disk.
#pragma once

#include <span>
#include <string_view>

namespace tessaroc::host {

struct EmbeddedFile {
  std::string_view path;  // relative to resources/, '/'-separated
  std::string_view text;
};

// Every *.json below resources/, sorted by path.
std::span<const EmbeddedFile> EmbeddedResources();

}  // namespace tessaroc::host
