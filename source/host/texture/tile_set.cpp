#include "host/texture/tile_set.h"

#include <filesystem>
#include <string>

#include "host/texture/file_lookup.h"

namespace tessaroc::host::texture {

namespace {

// The tile number of a file name made of `prefix`, four digits and `suffix`,
// or 0.
int TileNumber(const std::string& name, const std::string& prefix, const std::string& suffix) {
  if (name.size() != prefix.size() + 4 + suffix.size() || name.compare(0, prefix.size(), prefix) != 0 ||
      name.compare(prefix.size() + 4, suffix.size(), suffix) != 0)
    return 0;
  int tile = 0;
  for (size_t i = prefix.size(); i < prefix.size() + 4; ++i) {
    if (name[i] < '0' || name[i] > '9') return 0;
    tile = tile * 10 + (name[i] - '0');
  }
  return tile >= kFirstTile && tile < kFirstTile + kTileSlots ? tile : 0;
}

}  // namespace

Result LoadTileSet(const Url& url, const SearchPathsType* searchPaths, bool force32bit, const LayerSet& layers,
                   const TimeValue& time, pattern::TextureRef& out) {
  namespace fs = std::filesystem;
  const std::string text = url.str();
  const std::string file = fs::path(text).filename().string();
  const size_t at = file.find(kUdimToken);
  if (at == std::string::npos)
    return Result::Fail(errors::kIllegalArgument, "The tile number " + std::string(kUdimToken) +
                                                      " belongs in the file name, not a folder: \"" + text + "\".");
  const std::string prefix = file.substr(0, at), suffix = file.substr(at + kUdimToken.size());
  auto set = std::make_shared<OiioTileSet>();
  for (const fs::path& place : FilePlaces(url, searchPaths)) {
    const fs::path folder = place.parent_path().empty() ? fs::path(".") : place.parent_path();
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
      const int tile = TileNumber(it->path().filename().string(), prefix, suffix);
      if (tile == 0) continue;
      std::shared_ptr<OiioTexture> t;
      TESSAROC_RETURN_IF_FAILED(LoadFile(it->path().string(), force32bit, layers, time, t));
      set->tiles[static_cast<size_t>(tile - kFirstTile)] = std::move(t);
    }
    for (const auto& t : set->tiles)
      if (t) {
        set->home = t;
        break;
      }
    if (set->home) break;
  }
  if (!set->home) return Result::Fail(errors::kIo, "Image file not found: \"" + text + "\".");
  out = std::move(set);
  return Result::Ok();
}

}  // namespace tessaroc::host::texture
