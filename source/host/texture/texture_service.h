// The texture service on OpenImageIO: loads images in every format the
// library reads, movies (one frame per subimage, through its ffmpeg reader)
// and the frames of numbered sequences, and samples them with the library's
// filtered lookups, or with a summed-area table for the box filter. All
// textures share one process-wide cache; 32-bit loads use a second cache
// that keeps every pixel as a float.
#pragma once

#include "pattern/generator/texture_service.h"

namespace tessaroc::host {

// The service object (process-wide).
pattern::TextureService& OiioTextureService();

// Installs the service in the slot the image node looks in.
void InstallTextureService();

// Forgets what the caches hold of a file, so that the next load reads it
// afresh (the reload command). Textures already loaded keep their handles.
void InvalidateTextureFile(const std::string& path);

// Whether the library can read movie files here (its ffmpeg reader is built in).
bool MovieReaderAvailable();

}  // namespace tessaroc::host
