// The image node: samples a bitmap, a movie or a numbered image sequence at
// the UV of the shading context through the host's texture service. It
// decides what to load, which frame a time means and which file name a frame
// has, turns the context's footprint into a filter size, and yields
// `defaultColor` when nothing could be loaded.
#pragma once

#include <cstdint>

#include "tessaroc/core/id.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/string.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kImageId = "net.zovan.pattern.corenode.generator.image";

// Command ids of the node's buttons; the host carries them out.
inline constexpr const char* kImageCommandReload = "net.zovan.pattern.command.image.reload";
inline constexpr const char* kImageCommandShowInPv = "net.zovan.pattern.command.image.showinpv";
inline constexpr const char* kImageCommandLocate = "net.zovan.pattern.command.image.locate";
inline constexpr const char* kImageCommandEdit = "net.zovan.pattern.command.image.edit";
inline constexpr const char* kImageCommandCalculateFrames = "net.zovan.pattern.command.image.calculateframes";
inline constexpr const char* kImageButtonGroup = "net.zovan.pattern.node.generator.image.imagebuttongroup";

// The playback ports that decide which time and frame a clip shows.
struct Playback {
  Id mode;  // "once", "loop", "pingpong"
  TimeValue start = 0;
  TimeValue end = 0;
  int64_t frameStart = 0;
  int64_t frameEnd = 0;
  double frameRate = 0;
};

// Turns the host's time into a time inside the clip of `length` seconds (0
// for a file without a time line); for a numbered sequence it also puts the
// frame's number into `url`.
Result ResolveMovieTime(const Playback& playback, double length, Url& url, TimeValue& time,
                        const SearchPathsType* searchPaths = nullptr);

// Replaces the last run of digits in the file name of `url` (not one at the
// start of the name, nor the digit in the suffixes "mp4" and "b3d") with
// `frame`, trying the widths from the number's own up to 9 digits, padded
// with '0', until an existing file is hit. `hit` tells whether one was. The
// texture service says which files exist, a relative name also under the
// search paths; without a service none does. With no number in the name: `found` (when given) is set false
// and the url stays; without `found` that is an I/O error.
Result ReplaceFrameNumber(Url& url, int64_t frame, bool* found, bool& hit,
                          const SearchPathsType* searchPaths = nullptr);

Result RegisterImageNode(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
