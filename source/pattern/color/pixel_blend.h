// Pixel blending as the blend and layer nodes see it: a pixel format that
// tells where the channels of a pixel lie, a blend-mode class that makes a
// pixel handler for a pair of formats, and the reference-counted handler
// object the nodes cache. The classes themselves live in the host
// (source/host/blend), which fills the registry below at start.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

#include "core/class_registry.h"
#include "tessaroc/core/data_type.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kBlendModeClassesRegistryId = "net.zovan.render.registry.blendmodeclasses";
inline constexpr const char* kImagePixelBlendInterfaceId = "net.zovan.image.interface.imagepixelblend";
inline constexpr const char* kPixelFormatInterfaceId = "net.zovan.image.interface.pixelformat";
inline constexpr const char* kRgbaF64PixelFormatId = "net.zovan.image.pixelformat.rgba.f64";
inline constexpr const char* kBlendPixelHandlerRefTypeId = "net.zovan.datatype.blendpixelhandlerref";

// Every blend mode is registered as kBlendModeIdPrefix + name.
inline constexpr const char* kBlendModeIdPrefix = "net.zovan.render.blendmode.";
inline constexpr const char* kOverBlendModeId = "net.zovan.render.blendmode.over";

// The blend-mode names in their declared order.
inline constexpr std::array<const char*, 38> kBlendModeNames = {
    "add",        "applyalpha", "average", "color",     "colorburn",  "colordodge", "darken",     "darker",
    "difference", "dissolve",   "divide",  "exclusion", "freeze",     "glow",       "hardlight",  "hardmix",
    "heat",       "hue",        "hypot",   "levr",      "lighten",    "lighter",    "linearburn", "lineardodge",
    "luminance",  "multiply",   "over",    "overlay",   "passfolder", "pinlight",   "reflect",    "saturation",
    "screen",     "softlight",  "stamp",   "subtract",  "vividlight", "xor",
};

// Where the channels of one pixel lie, in bits from the pixel's start.
struct ChannelOffsets {
  int32_t channelCount = 0;  // red, green, blue, alpha
  int32_t bitsPerChannel = 0;
  int32_t bitsPerPixel = 0;  // also the distance from one pixel to the next
  std::array<int32_t, 4> offsets{};
};

class PixelFormatInterface {
 public:
  virtual ~PixelFormatInterface() = default;
  virtual const Id& GetId() const = 0;
  virtual Result GetChannelOffsets(ChannelOffsets& out) const = 0;
};

// Four 64-bit floats in the order red, green, blue, alpha: the layout of a ColorA.
const PixelFormatInterface& RgbaF64PixelFormat();

// The start of a run of pixels: an address and a bit offset from it.
struct PixelRun {
  void* data = nullptr;
  int64_t bitOffset = 0;
};
struct ConstPixelRun {
  const void* data = nullptr;
  int64_t bitOffset = 0;
};

// Blends `count` pixels: destination = blend(background, foreground). The
// destination may be the background run itself. `flags` is reserved and 0.
using BlendPixelFn = Result (*)(void* context, PixelRun destination, ConstPixelRun background, ConstPixelRun foreground,
                                int64_t count, int64_t flags);

struct BlendPixelDelegate {
  BlendPixelFn call = nullptr;
  void* context = nullptr;
};
// Frees what the blend delegate's context holds, once no one can call it again.
struct ReleaseDelegate {
  void (*call)(void* context) = nullptr;
  void* context = nullptr;
};
// What a blend-mode class hands out: the delegate that blends, and the one
// that frees its context.
struct BlendPixelDelegates {
  BlendPixelDelegate blend;
  ReleaseDelegate release;
};

// A blend-mode class (interface net.zovan.image.interface.imagepixelblend).
// Its handler lets the foreground's alpha, times the opacity, act as the
// strength of the mode.
class ImagePixelBlendInterface {
 public:
  virtual ~ImagePixelBlendInterface() = default;
  virtual Result GetBlendPixelHandler(const PixelFormatInterface& destinationFormat,
                                      const ChannelOffsets& destinationOffsets,
                                      const PixelFormatInterface& sourceFormat, const ChannelOffsets& sourceOffsets,
                                      double opacity, BlendPixelDelegates& out) const = 0;
};

// The reference-counted handler object: owns the two delegates and runs the
// release delegate when the last reference goes. Counts change atomically.
class BlendPixelHandler {
 public:
  BlendPixelHandler(const BlendPixelHandler&) = delete;
  BlendPixelHandler& operator=(const BlendPixelHandler&) = delete;

  // Takes the delegates over; returns null when out of memory, after having
  // released them. The new object holds one reference.
  static BlendPixelHandler* Make(BlendPixelDelegates&& delegates) noexcept;

  Result Blend(PixelRun destination, ConstPixelRun background, ConstPixelRun foreground, int64_t count) const {
    return delegates_.blend.call(delegates_.blend.context, destination, background, foreground, count, 0);
  }

  void Retain() const noexcept { refs_.fetch_add(1, std::memory_order_relaxed); }
  void Release() const noexcept {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  long UseCount() const noexcept { return refs_.load(std::memory_order_relaxed); }

 private:
  explicit BlendPixelHandler(BlendPixelDelegates&& d) noexcept : delegates_(std::exchange(d, {})) {}
  ~BlendPixelHandler() {
    if (delegates_.release.call) delegates_.release.call(delegates_.release.context);
  }

  mutable std::atomic<long> refs_{1};
  BlendPixelDelegates delegates_;
};

// A counted reference to a handler object (data type
// net.zovan.datatype.blendpixelhandlerref); empty by default.
class BlendPixelHandlerRef {
 public:
  BlendPixelHandlerRef() = default;
  // Takes over the one reference a freshly made handler holds.
  static BlendPixelHandlerRef Adopt(BlendPixelHandler* handler) noexcept {
    BlendPixelHandlerRef ref;
    ref.handler_ = handler;
    return ref;
  }
  BlendPixelHandlerRef(const BlendPixelHandlerRef& o) noexcept : handler_(o.handler_) {
    if (handler_) handler_->Retain();
  }
  BlendPixelHandlerRef(BlendPixelHandlerRef&& o) noexcept : handler_(std::exchange(o.handler_, nullptr)) {}
  BlendPixelHandlerRef& operator=(const BlendPixelHandlerRef& o) noexcept {
    if (o.handler_) o.handler_->Retain();
    if (handler_) handler_->Release();
    handler_ = o.handler_;
    return *this;
  }
  BlendPixelHandlerRef& operator=(BlendPixelHandlerRef&& o) noexcept {
    if (this != &o) {
      if (handler_) handler_->Release();
      handler_ = std::exchange(o.handler_, nullptr);
    }
    return *this;
  }
  ~BlendPixelHandlerRef() {
    if (handler_) handler_->Release();
  }

  explicit operator bool() const { return handler_ != nullptr; }
  const BlendPixelHandler* get() const { return handler_; }
  void reset() { *this = BlendPixelHandlerRef(); }

  // One pixel of the rgba f64 layout; the reference must hold a handler. The
  // destination may be the background.
  Result Blend(ColorA& destination, const ColorA& background, const ColorA& foreground) const {
    return handler_->Blend({&destination, 0}, {&background, 0}, {&foreground, 0}, 1);
  }

 private:
  const BlendPixelHandler* handler_ = nullptr;
};

extern const DataType kBlendPixelHandlerRefType;

// The registry net.zovan.render.registry.blendmodeclasses: mode id -> class.
// The host fills it before rendering; nodes only read it.
ClassRegistry<ImagePixelBlendInterface>& BlendModeClasses();

// The steps both nodes take to get a handler for a class: the channel offsets
// of the rgba f64 format for the destination and the source side, the
// class's delegates at opacity 1, and the handler object around them. A null
// class is the null-pointer error; the class's own error comes back unchanged.
Result MakeBlendPixelHandler(const ImagePixelBlendInterface* blendClass, BlendPixelHandlerRef& out);

}  // namespace tessaroc::pattern
