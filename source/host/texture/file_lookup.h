// Where the texture service looks for a file: the one rule for relative
// names, which loading, tile sets and the image node's frame search share.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/string.h"

namespace tessaroc::host {

// The places a url may name, in the order they are tried: the url as it
// stands, then under each search path in turn, first with its folders (when
// it is relative) and then as a bare file name.
std::vector<std::filesystem::path> FilePlaces(const Url& url, const SearchPathsType* searchPaths);

// The first of those places that is an existing file, or an empty text.
std::string FindFile(const Url& url, const SearchPathsType* searchPaths);

}  // namespace tessaroc::host
