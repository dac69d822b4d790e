// The linear reading of an encoded file. An encoded file (sRGB, gamma, a
// colour space of the OpenColorIO config) is
// also read through this reader, which hands the cache linear floats: filters
// and MIP levels then average light, not code values. It stands behind a
// name of its own, the file's path with kLinearSuffix, so that both readings
// live in the cache side by side. Alpha stays as stored. The reading is
// offered as untiled level 0 alone, so the cache builds its MIP levels from
// it, in linear, even for a file that brings its own (averaged in the
// encoding).
#pragma once

#include <string>
#include <string_view>

#include <OpenImageIO/texture.h>

#include "host/texture/color_encoding.h"

namespace tessaroc::host::texture {

inline constexpr std::string_view kLinearSuffix = "#tessaroc-linear";

// Adds the linear reading of the encoded file at `path` to the shared cache
// and returns its handle, or null when the reading has no subimage
// `subimage`. `space` is the file's colour space, for kConfig. `name` is set
// to the reading's name.
OIIO::TextureSystem::TextureHandle* OpenLinearReading(const std::string& path, Encoding encoding, double gamma,
                                                      const std::string& space, int subimage, OIIO::ustring& name);

}  // namespace tessaroc::host::texture
