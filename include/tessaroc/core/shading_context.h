// The ShadingContext: the flat record of everything a node may know about the
// sample. Field order, widths and defaults are fixed: hosts fill and read the
// carried fields, so a node that overrides the context copies every one of them.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "tessaroc/core/string.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc {

// Where image files are looked up: an array of locations.
struct SearchPathsType {
  std::vector<Url> urls;
  friend bool operator==(const SearchPathsType&, const SearchPathsType&) = default;
};

class MessageSink;  // the render's message sink (host side)

// How a texture goes on past the unit square, as a context's `wrapmodeu` and
// `wrapmodev` hold it (one byte each).
enum WrapCode : uint8_t { kWrapExtend = 0, kWrapClamp = 1, kWrapRepeat = 2, kWrapMirror = 3 };

struct ShadingContext {
  uint64_t carried0 = 0;
  int64_t carried1 = -1;
  uint64_t carried2 = 0;
  uint64_t carried3 = 0;
  uint64_t carried4 = 0;
  uint8_t carried5 = 0;
  Vector position;
  Vector positiondx;
  Vector positiondy;
  Vector carried9;
  Vector carried10;
  Vector geometricnormal;
  Vector carried11;
  Vector shadingnormal;
  uint64_t carried12 = 0;
  uint64_t carried13 = 0;
  Vector uvw;
  Vector uvwdx;
  Vector uvwdy;
  Vector carried14;
  Vector tangent;
  Vector bitangent;
  double carried17[2] = {0, 0};
  uint64_t carried18 = 0;
  uint8_t uvwvalid = 1;
  uint8_t carried19 = 0;
  uint8_t wrapmodeu = kWrapExtend;  // a WrapCode
  uint8_t wrapmodev = kWrapExtend;
  double carried20[2] = {0, 0};
  int64_t pixelx = 0;
  int64_t pixely = 0;
  double subpixelx = 0;
  double subpixely = 0;
  TimeValue time = 0;
  // Unset until a renderer gives one; 0 makes every frame number 0.
  double framerate = 0;
  Vector rayorigin;
  Vector raydirection;
  double raymindistance = 0;
  double raymaxdistance = std::numeric_limits<double>::max();
  uint64_t carried22 = 0;
  int64_t carried23 = -1;
  Vector rayorigindx;
  Vector rayorigindy;
  Vector raydirectiondx;
  Vector raydirectiondy;
  double carried24[4] = {1, 1, 1, 1};
  double carried25 = 1;
  uint16_t carried26 = 1;
  uint8_t carried27 = 1;
  int64_t carried28 = -1;
  int64_t carried29 = -1;
  int64_t carried30 = -1;
  double carried31 = 0;
  double carried32 = 0;
  uint8_t imageflag = 0;
  uint64_t carried33 = 0;
  uint64_t carried34 = 0;
  const SearchPathsType* searchpaths = nullptr;  // not owned
  MessageSink* messagesink = nullptr;            // not owned; may be null
};

// A context has no pointers into itself, so a plain copy is a valid copy.
static_assert(std::is_trivially_copyable_v<ShadingContext>);

// What an evaluation tells the engine about its context next to the one the
// same evaluator had before.
enum class ContextChange : uint8_t {
  kAny,    // anything may differ
  kMoved,  // only the moved fields (CopyMovedFields) differ
};

// The fields a renderer changes when it steps to the next sample of a flat
// surface: the point and uvw with their differentials, the ray with its
// differentials, the pixel and sub-pixel. A node passing its context on after
// a move copies these instead of the whole record.
inline void CopyMovedFields(const ShadingContext& from, ShadingContext& to) {
  to.position = from.position;
  to.positiondx = from.positiondx;
  to.positiondy = from.positiondy;
  to.uvw = from.uvw;
  to.uvwdx = from.uvwdx;
  to.uvwdy = from.uvwdy;
  to.pixelx = from.pixelx;
  to.pixely = from.pixely;
  to.subpixelx = from.subpixelx;
  to.subpixely = from.subpixely;
  to.rayorigin = from.rayorigin;
  to.raydirection = from.raydirection;
  to.rayorigindx = from.rayorigindx;
  to.rayorigindy = from.rayorigindy;
  to.raydirectiondx = from.raydirectiondx;
  to.raydirectiondy = from.raydirectiondy;
}

// The size of the sample in texture space: the spread of the u and v members
// of uvw, uvwdx and uvwdy. A NaN drops out of the maximum and minimum; when the
// largest is not at or above the smallest on either axis both are 0.
struct UvwFootprint {
  double du = 0;
  double dv = 0;
};
UvwFootprint ComputeUvwFootprint(const ShadingContext& ctx);

// The frame number of time t at a rate: truncation toward zero of
// t * rate + 0.001 for t >= 0, and of t * rate - 0.001 otherwise (NaN included).
int64_t FrameNumber(double time, double rate);

}  // namespace tessaroc
