// Writing rendered pixels through OpenImageIO. Pixels are linear light;
// integer depths (PNG, JPEG, 16-bit TIFF, ...) get the sRGB encode unless a
// colour transform says otherwise, float depths (EXR, TIFF, HDR) stay linear.
//
// A file is written under a temporary name beside its target and moved over
// it only when complete: a failed write leaves the previous file as it was.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tessaroc/core/result.h"

namespace tessaroc::host {

class ColorTransform;

// A named group of an image's channels: the main output (empty name) or an
// extra output beside it.
struct ImageLayer {
  std::string name;
  int first = 0;      // its first channel in the image
  int count = 4;      // 1 (Y), 3 (RGB) or 4 (RGBA)
  bool color = true;  // colour is encoded on the way out; data is written as it is
};

// Leaves the floats it adds unset, where a std::vector would zero them: a
// render writes every one, and zeroing a picture first would be a pass over
// all of it on one thread (and its page faults there) before the render's
// threads start.
template <class T>
struct UnsetAllocator : std::allocator<T> {
  template <class U>
  struct rebind {
    using other = UnsetAllocator<U>;
  };
  UnsetAllocator() = default;
  template <class U>
  UnsetAllocator(const UnsetAllocator<U>&) noexcept {}
  template <class U>
  void construct(U* p) noexcept {
    ::new (static_cast<void*>(p)) U;
  }
  template <class U, class... Args>
  void construct(U* p, Args&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
  }
};
using Pixels = std::vector<float, UnsetAllocator<float>>;

struct Image {
  int width = 0;  // the pixels held: the data window
  int height = 0;
  int channels = 4;           // every layer's, side by side; RGBA without layers
  Pixels pixels;  // row-major, row 0 at the top; resize() leaves new values unset
  // Where the pixels lie in the whole picture: their top-left corner, and the
  // picture's size (0: the same as the pixels held).
  int x = 0;
  int y = 0;
  int fullWidth = 0;
  int fullHeight = 0;
  // The layers; none means one colour layer of every channel.
  std::vector<ImageLayer> layers;
  // The names of the channels as read from a file (ReadImage fills it).
  std::vector<std::string> channelNames;
};

// The number type a file stores, by the --depth word: "half", "float", "8",
// "16". kDefault is the format's own (float for EXR and TIFF, 8 elsewhere).
enum class Depth { kDefault, kHalf, kFloat, kUint8, kUint16 };
Result ParseDepth(const std::string& text, Depth& out);

struct WriteOptions {
  Depth depth = Depth::kDefault;
  // The format's compression ("zip", "piz", "dwaa:45", "jpeg:90", ...);
  // empty: the format's default.
  std::string compression;
  // How colour layers are encoded; null: sRGB at integer depths, linear at
  // float depths. It must outlive the write.
  const ColorTransform* color = nullptr;
};

// The compression used for EXR unless one is asked for: lossless and quick to
// write (bench/write_bench measures the others).
inline constexpr const char* kDefaultExrCompression = "zips";

// True for formats that are written as 8-bit sRGB by default.
bool WritesEightBit(const std::string& path);
// The sRGB encode of one linear value, before quantising.
float EncodeSrgb(float linear);

// Fails unless some writer takes this file name with these options, and the
// folder takes a new file, so a render can stop before it starts rather than
// after.
Result CheckImageWriter(const std::string& path, const WriteOptions& options = {});

// The files WriteImage writes for an image of these layers: `path` for
// everything in EXR; in other formats `path` for the main layer and the
// layer's name inserted before the extension for each other one
// ("out.png" -> "out.mask.png").
std::vector<std::string> ImageFiles(const std::string& path, const std::vector<ImageLayer>& layers);

// Writes every file of ImageFiles, all or none: each under a temporary name
// first, and all of them moved into place once each is complete.
Result WriteImage(const std::string& path, const Image& image, const WriteOptions& options = {});

// Reads any image OpenImageIO reads, as floats: sRGB-tagged and untagged
// integer files decoded to linear, everything else as stored; with the data
// window and channel names. For tests and comparisons.
Result ReadImage(const std::string& path, Image& out);

}  // namespace tessaroc::host
