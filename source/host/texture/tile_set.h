// Tile sets: a file name with <UDIM> in it stands for the tiles 1001 to 1999,
// tile 1001 + iu + 10 iv covering u in [iu, iu + 1) and v in [iv, iv + 1).
#pragma once

#include <cmath>
#include <memory>
#include <string_view>
#include <vector>

#include "host/texture/oiio_texture.h"

namespace tessaroc::host::texture {

// The token a file name carries in the place of its tile number.
inline constexpr std::string_view kUdimToken = "<UDIM>";
inline constexpr int kFirstTile = 1001;
inline constexpr int kTileSlots = 999;  // 1001 to 1999: ten tiles along u, as many rows along v as fit

// The files of a tile set (a name with <UDIM>): tile 1001 + iu + 10 * iv
// covers u in [iu, iu + 1) and v in [iv, iv + 1).
class OiioTileSet final : public pattern::Texture {
 public:
  std::vector<std::shared_ptr<const OiioTexture>> tiles = std::vector<std::shared_ptr<const OiioTexture>>(kTileSlots);
  // Tile 1001, or the lowest tile there is: what a lookup that does not
  // sample across tiles reads, and whose size the details give.
  std::shared_ptr<const OiioTexture> home;

  const OiioTexture* TileAt(double u, double v) const {
    if (!(u >= 0 && u < 10 && v >= 0 && v < 100)) return nullptr;
    const int slot = static_cast<int>(std::floor(u)) + 10 * static_cast<int>(std::floor(v));
    return slot < kTileSlots ? tiles[static_cast<size_t>(slot)].get() : nullptr;
  }
};

// Reads every tile of a tile set from the first folder that has any: the
// folders of the places a single file is looked for, in the same order.
Result LoadTileSet(const Url& url, const SearchPathsType* searchPaths, bool force32bit, const LayerSet& layers,
                   const TimeValue& time, pattern::TextureRef& out);

}  // namespace tessaroc::host::texture
