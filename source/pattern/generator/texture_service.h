// What the image node needs of the host's texture service: loading a file
// into a texture, and a threaded texture that sampling threads share. The
// host implements these (see host/texture) and installs its service in the
// process-wide slot below.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/string.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc {

// Which layers of a file to read: names of subimages (parts) or of channel
// groups ("diffuse" for the channels "diffuse.R", "diffuse.G", ...). Empty
// means the file's first image with its first channels.
struct LayerSet {
  std::vector<String> layers;
  friend bool operator==(const LayerSet&, const LayerSet&) = default;
};

extern const DataType kLayerSetType;  // net.zovan.interface.layerset

}  // namespace tessaroc

namespace tessaroc::pattern {

// A loaded file, as the loader hands it over. Opaque to the node.
class Texture {
 public:
  virtual ~Texture() = default;
};
using TextureRef = std::shared_ptr<const Texture>;

struct TextureDetails {
  int64_t width = 0;
  int64_t height = 0;
  double fps = 0;     // frames per second of a movie, 0 for a still
  double length = 0;  // seconds, 0 for a file without a time line
};

// The filter numbers Sample takes.
enum TextureInterpolation : int {
  kInterpClosest = 0,
  kInterpBilinear = 2,
  kInterpMip = 3,
  kInterpAniso = 4,
  kInterpSat = 5,
  kInterpBicubic = 6,
};

// How the file's alpha is read.
enum TextureAlpha : int {
  kAlphaStraight = 0,
  kAlphaNone = 1,
  kAlphaPremultipliedColorSpace = 2,
  kAlphaPremultiplied = 3,
};

// The object sampling threads share. Sample, GetImage and GetDetails are safe
// to call from many threads at once; Init is called once before any of them.
class ThreadedTexture {
 public:
  virtual ~ThreadedTexture() = default;
  virtual Result Init(const TextureRef& texture) = 0;
  // Null when there is no image (nothing loaded, or the load failed).
  virtual const void* GetImage() const = 0;
  // uv in texture space (v up), delta the filter size in u and v, the wrap
  // codes of the shading context (WrapCode; unknown codes extend).
  virtual ColorA Sample(double u, double v, double du, double dv, uint8_t wrapU, uint8_t wrapV, int interpolation,
                        bool convertColors, int alpha, bool sampleAcrossTiles) const = 0;
  virtual Result GetDetails(TextureDetails& details) const = 0;
};
using ThreadedTextureRef = std::shared_ptr<ThreadedTexture>;

extern const DataType kThreadedTextureType;  // net.zovan.render.interface.threadedtexture

// Called by the loader before it reads the file: given the file's length in
// seconds (0 for a file without a time line), it may change the url (the
// frame of a numbered sequence) and the time (into the clip).
class MovieTimeDelegate {
 public:
  virtual ~MovieTimeDelegate() = default;
  virtual Result ResolveMovieTime(double length, Url& url, TimeValue& time) = 0;
};

class TextureService {
 public:
  virtual ~TextureService() = default;
  // Loads the file named by url, looked up in the search paths when it is not
  // found as it stands. `time` picks a movie's frame; the delegate may be null.
  // A failure's message is meant for the user.
  virtual Result LoadTexture(const Url& url, const SearchPathsType* searchPaths, bool force32bit,
                             const LayerSet& layers, TimeValue& time, MovieTimeDelegate* delegate, TextureRef& out) = 0;
  // Whether the url names an existing file, as it stands or under one of the
  // search paths: the lookup LoadTexture makes.
  virtual bool FileExists(const Url& url, const SearchPathsType* searchPaths) = 0;
  // An empty texture: a threaded texture made from it has no image.
  virtual Result AllocTexture(TextureRef& out) = 0;
  virtual Result AllocThreadedTexture(ThreadedTextureRef& out) = 0;
};

// The process-wide texture service, or null. Set by the host before rendering.
TextureService* GetTextureService();
void SetTextureService(TextureService* service);

}  // namespace tessaroc::pattern
