#include "host/texture/file_lookup.h"

namespace tessaroc::host {

std::vector<std::filesystem::path> FilePlaces(const Url& url, const SearchPathsType* searchPaths) {
  const std::filesystem::path given(url.str());
  std::vector<std::filesystem::path> places{given};
  if (searchPaths == nullptr) return places;
  for (const Url& dir : searchPaths->urls) {
    if (dir.IsEmpty()) continue;
    const std::filesystem::path base(dir.str());
    if (given.is_relative()) places.push_back(base / given);
    places.push_back(base / given.filename());
  }
  return places;
}

std::string FindFile(const Url& url, const SearchPathsType* searchPaths) {
  for (const std::filesystem::path& place : FilePlaces(url, searchPaths)) {
    std::error_code ec;
    if (std::filesystem::is_regular_file(place, ec)) return place.string();
  }
  return {};
}

}  // namespace tessaroc::host
