#include "host/blend/blend_modes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace tessaroc::host {

namespace {

using pattern::BlendPixelDelegates;
using pattern::BlendPixelFn;
using pattern::ChannelOffsets;
using pattern::ConstPixelRun;
using pattern::ImagePixelBlendInterface;
using pattern::PixelFormatInterface;
using pattern::PixelRun;

using Rgb = std::array<double, 3>;

// ---- what a handler knows: the opacity, the dissolve seed, and where the
// channels of a destination-side and a source-side pixel lie, in bytes.

struct HandlerState {
  double opacity = 1.0;
  uint64_t seed = 0;
  std::array<int32_t, 4> destination{};  // also the background's layout
  int32_t destinationStride = 0;
  std::array<int32_t, 4> source{};  // the foreground's layout
  int32_t sourceStride = 0;
};

// ---- the mixing functions B(b, f), background b and foreground f

// NaN stays NaN, so bad values stay visible.
inline double Clamp01(double x) { return x < 0.0 ? 0.0 : (x > 1.0 ? 1.0 : x); }

inline double Multiply(double b, double f) { return b * f; }
inline double Screen(double b, double f) { return b + f - b * f; }
inline double HardLight(double b, double f) { return f <= 0.5 ? Multiply(b, 2.0 * f) : Screen(b, 2.0 * f - 1.0); }
inline double ColorDodge(double b, double f) {
  if (b == 0.0) return 0.0;
  if (f == 1.0) return 1.0;
  return std::min(1.0, b / (1.0 - f));
}
inline double ColorBurn(double b, double f) {
  if (b == 1.0) return 1.0;
  if (f == 0.0) return 0.0;
  return 1.0 - std::min(1.0, (1.0 - b) / f);
}
inline double SoftLight(double b, double f) {
  if (f <= 0.5) return b - (1.0 - 2.0 * f) * b * (1.0 - b);
  const double d = b <= 0.25 ? ((16.0 * b - 12.0) * b + 4.0) * b : std::sqrt(b);
  return b + (2.0 * f - 1.0) * (d - b);
}
// The eight-bit code of a channel; NaN counts as 0.
inline long Code8(double x) { return std::isnan(x) ? 0 : std::lround(255.0 * Clamp01(x)); }

// clang-format off
struct Add { static double Mix(double b, double f) { return b + f; } };
struct Average { static double Mix(double b, double f) { return (b + f) / 2.0; } };
struct ColorBurnMode { static double Mix(double b, double f) { return ColorBurn(b, f); } };
struct ColorDodgeMode { static double Mix(double b, double f) { return ColorDodge(b, f); } };
struct Darken { static double Mix(double b, double f) { return std::min(b, f); } };
struct Difference { static double Mix(double b, double f) { return std::abs(b - f); } };
struct Divide {
  static double Mix(double b, double f) {
    if (f == 0.0) return b == 0.0 ? 0.0 : 1.0;
    return std::min(1.0, b / f);
  }
};
struct Exclusion { static double Mix(double b, double f) { return b + f - 2.0 * b * f; } };
struct Freeze {
  static double Mix(double b, double f) {
    if (f == 0.0) return 0.0;
    return std::max(0.0, 1.0 - (1.0 - b) * (1.0 - b) / f);
  }
};
struct Glow {
  static double Mix(double b, double f) {
    if (b == 1.0) return 1.0;
    return std::min(1.0, f * f / (1.0 - b));
  }
};
struct HardLightMode { static double Mix(double b, double f) { return HardLight(b, f); } };
struct HardMix { static double Mix(double b, double f) { return b + f >= 1.0 ? 1.0 : 0.0; } };
struct Heat {
  static double Mix(double b, double f) {
    if (b == 0.0) return 0.0;
    return std::max(0.0, 1.0 - (1.0 - f) * (1.0 - f) / b);
  }
};
struct Hypot { static double Mix(double b, double f) { return std::min(1.0, std::sqrt(b * b + f * f)); } };
struct Levr { static double Mix(double b, double f) { return b + f - 0.5; } };
struct Lighten { static double Mix(double b, double f) { return std::max(b, f); } };
struct LinearBurn { static double Mix(double b, double f) { return std::max(0.0, b + f - 1.0); } };
struct LinearDodge { static double Mix(double b, double f) { return std::min(1.0, b + f); } };
struct MultiplyMode { static double Mix(double b, double f) { return Multiply(b, f); } };
struct Over { static double Mix(double, double f) { return f; } };
struct Overlay { static double Mix(double b, double f) { return HardLight(f, b); } };
struct PinLight {
  static double Mix(double b, double f) { return f <= 0.5 ? std::min(b, 2.0 * f) : std::max(b, 2.0 * f - 1.0); }
};
struct Reflect {
  static double Mix(double b, double f) {
    if (f == 1.0) return 1.0;
    return std::min(1.0, b * b / (1.0 - f));
  }
};
struct ScreenMode { static double Mix(double b, double f) { return Screen(b, f); } };
struct SoftLightMode { static double Mix(double b, double f) { return SoftLight(b, f); } };
struct Stamp { static double Mix(double b, double f) { return b + 2.0 * f - 1.0; } };
struct Subtract { static double Mix(double b, double f) { return std::max(0.0, b - f); } };
struct VividLight {
  static double Mix(double b, double f) { return f <= 0.5 ? ColorBurn(b, 2.0 * f) : ColorDodge(b, 2.0 * f - 1.0); }
};
struct Xor {
  static double Mix(double b, double f) { return static_cast<double>(Code8(b) ^ Code8(f)) / 255.0; }
};
// clang-format on

// ---- the non-separable helpers, on whole colours

inline double Lum(const Rgb& c) { return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]; }

Rgb ClipColor(Rgb c) {
  const double l = Lum(c);
  const double n = std::min({c[0], c[1], c[2]});
  const double x = std::max({c[0], c[1], c[2]});
  // With all channels equal (up to rounding) there is no hue to keep, and the
  // scaling below would divide by zero: the grey itself is clamped.
  if (n < 0.0) {
    if (!(l - n > 0.0)) return {Clamp01(l), Clamp01(l), Clamp01(l)};
    for (double& v : c) v = l + (v - l) * l / (l - n);
  }
  if (x > 1.0) {
    if (!(x - l > 0.0)) return {Clamp01(l), Clamp01(l), Clamp01(l)};
    for (double& v : c) v = l + (v - l) * (1.0 - l) / (x - l);
  }
  return c;
}

Rgb SetLum(Rgb c, double l) {
  const double d = l - Lum(c);
  for (double& v : c) v = v + d;
  return ClipColor(c);
}

inline double Sat(const Rgb& c) { return std::max({c[0], c[1], c[2]}) - std::min({c[0], c[1], c[2]}); }

Rgb SetSat(Rgb c, double s) {
  // Rank the channels: lo <= mid <= hi.
  int lo = 0, mid = 1, hi = 2;
  if (c[lo] > c[mid]) std::swap(lo, mid);
  if (c[mid] > c[hi]) std::swap(mid, hi);
  if (c[lo] > c[mid]) std::swap(lo, mid);
  if (c[hi] > c[lo]) {
    c[mid] = (c[mid] - c[lo]) * s / (c[hi] - c[lo]);
    c[hi] = s;
  } else {
    c[mid] = 0.0;
    c[hi] = 0.0;
  }
  c[lo] = 0.0;
  return c;
}

// clang-format off
struct Hue { static Rgb Mix(const Rgb& b, const Rgb& f) { return SetLum(SetSat(f, Sat(b)), Lum(b)); } };
struct Saturation { static Rgb Mix(const Rgb& b, const Rgb& f) { return SetLum(SetSat(b, Sat(f)), Lum(b)); } };
struct ColorMode { static Rgb Mix(const Rgb& b, const Rgb& f) { return SetLum(f, Lum(b)); } };
struct Luminance { static Rgb Mix(const Rgb& b, const Rgb& f) { return SetLum(b, Lum(f)); } };
// Whole colours: ties keep the background.
struct Darker { static Rgb Mix(const Rgb& b, const Rgb& f) { return Lum(f) < Lum(b) ? f : b; } };
struct Lighter { static Rgb Mix(const Rgb& b, const Rgb& f) { return Lum(f) > Lum(b) ? f : b; } };
// clang-format on

// ---- compositing the mixed colour with the strength a = fa * opacity
//
// The source is first mixed with the backdrop by the backdrop's alpha, then
// laid over it: ao = a + ba (1 - a), and
// ao Co = a (1 - ba) f + a ba B(b, f) + (1 - a) ba b.
// With an opaque backdrop this is b + (B - b) a. A strength of 0 leaves the
// background exactly as it was; nothing covers a transparent result.

inline void Composite(const double* b, const double* f, const Rgb& mixed, double a, double* out) {
  if (a == 0.0) {
    std::copy(b, b + 4, out);
    return;
  }
  const double ba = b[3];
  const double ao = a + ba * (1.0 - a);
  if (ao == 0.0) {
    std::fill(out, out + 4, 0.0);
    return;
  }
  for (int k = 0; k < 3; ++k) out[k] = (a * (1.0 - ba) * f[k] + a * ba * mixed[k] + (1.0 - a) * ba * b[k]) / ao;
  out[3] = ao;
}

// `kClamp` false only for add, which stays unbounded for light values.
template <class M, bool kClamp = true>
struct Separable {
  static void Pixel(const HandlerState& s, int64_t, const double* b, const double* f, double* out) {
    Rgb mixed;
    for (int k = 0; k < 3; ++k) mixed[k] = kClamp ? Clamp01(M::Mix(b[k], f[k])) : M::Mix(b[k], f[k]);
    Composite(b, f, mixed, f[3] * s.opacity, out);
  }
};

template <class M>
struct NonSeparable {
  static void Pixel(const HandlerState& s, int64_t, const double* b, const double* f, double* out) {
    Rgb mixed = M::Mix(Rgb{b[0], b[1], b[2]}, Rgb{f[0], f[1], f[2]});
    for (double& v : mixed) v = Clamp01(v);
    Composite(b, f, mixed, f[3] * s.opacity, out);
  }
};

// The background masked by the foreground's alpha (destination-in): the
// foreground's colour plays no part.
struct ApplyAlpha {
  static void Pixel(const HandlerState& s, int64_t, const double* b, const double* f, double* out) {
    const double keep = 1.0 - s.opacity * (1.0 - f[3]);
    out[0] = b[0];
    out[1] = b[1];
    out[2] = b[2];
    out[3] = b[3] * keep;
  }
};

inline uint64_t Mix64(uint64_t z) {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}
inline uint64_t Bits(double v) {
  uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

// Each pixel is either the foreground at full cover or the untouched
// background. The pick compares a hash of the seed, the pixel's place in the
// run and the two colours (not their alphas, so that a higher strength only
// adds pixels) with the strength.
struct Dissolve {
  static void Pixel(const HandlerState& s, int64_t index, const double* b, const double* f, double* out) {
    uint64_t h = Mix64(s.seed + 0x9E3779B97F4A7C15ULL * (static_cast<uint64_t>(index) + 1));
    for (int k = 0; k < 3; ++k) h = Mix64(h ^ Bits(b[k]));
    for (int k = 0; k < 3; ++k) h = Mix64(h ^ Bits(f[k]));
    const double r = static_cast<double>(h >> 11) * 0x1.0p-53;
    if (r < f[3] * s.opacity) {
      out[0] = Clamp01(f[0]);
      out[1] = Clamp01(f[1]);
      out[2] = Clamp01(f[2]);
      out[3] = 1.0;
    } else {
      std::copy(b, b + 4, out);
    }
  }
};

// ---- the handler: walks a run of pixels through a mode

template <class Mode>
Result BlendRun(void* context, PixelRun destination, ConstPixelRun background, ConstPixelRun foreground, int64_t count,
                int64_t) {
  const HandlerState& s = *static_cast<const HandlerState*>(context);
  if (count <= 0) return Result::Ok();
  if (!destination.data || !background.data || !foreground.data)
    return Result::Fail(errors::kNullPtr, "blending needs a destination, a background and a foreground");
  if (destination.bitOffset % 8 || background.bitOffset % 8 || foreground.bitOffset % 8)
    return Result::Fail(errors::kIllegalArgument, "pixel runs of 64-bit channels start on a byte");
  auto* d = static_cast<std::byte*>(destination.data) + destination.bitOffset / 8;
  auto* bp = static_cast<const std::byte*>(background.data) + background.bitOffset / 8;
  auto* fp = static_cast<const std::byte*>(foreground.data) + foreground.bitOffset / 8;
  for (int64_t i = 0; i < count; ++i) {
    // Read both inputs whole before writing: the destination may be the background.
    double b[4], f[4], out[4];
    for (int k = 0; k < 4; ++k) {
      std::memcpy(&b[k], bp + s.destination[k], sizeof(double));
      std::memcpy(&f[k], fp + s.source[k], sizeof(double));
    }
    Mode::Pixel(s, i, b, f, out);
    for (int k = 0; k < 4; ++k) std::memcpy(d + s.destination[k], &out[k], sizeof(double));
    d += s.destinationStride;
    bp += s.destinationStride;
    fp += s.sourceStride;
  }
  return Result::Ok();
}

void FreeState(void* context) { delete static_cast<HandlerState*>(context); }

// Four 64-bit channels on byte boundaries inside the pixel.
Result CheckLayout(const PixelFormatInterface& format, const ChannelOffsets& o, std::array<int32_t, 4>& bytes,
                   int32_t& stride) {
  bool ok = o.channelCount == 4 && o.bitsPerChannel == 64 && o.bitsPerPixel > 0 && o.bitsPerPixel % 8 == 0;
  for (int k = 0; ok && k < 4; ++k)
    ok = o.offsets[k] >= 0 && o.offsets[k] % 8 == 0 && o.offsets[k] + 64 <= o.bitsPerPixel;
  if (!ok)
    return Result::Fail(errors::kUnsupportedOperation,
                        "blend modes need four 64-bit float channels per pixel; " + format.GetId().str() + " has " +
                            std::to_string(o.channelCount) + " of " + std::to_string(o.bitsPerChannel) + " bits");
  for (int k = 0; k < 4; ++k) bytes[k] = o.offsets[k] / 8;
  stride = o.bitsPerPixel / 8;
  return Result::Ok();
}

class BlendModeClassImpl final : public ImagePixelBlendInterface {
 public:
  constexpr BlendModeClassImpl(BlendPixelFn run, uint64_t seed) : run_(run), seed_(seed) {}

  Result GetBlendPixelHandler(const PixelFormatInterface& destinationFormat, const ChannelOffsets& destinationOffsets,
                              const PixelFormatInterface& sourceFormat, const ChannelOffsets& sourceOffsets,
                              double opacity, BlendPixelDelegates& out) const override {
    HandlerState s;
    TESSAROC_RETURN_IF_FAILED(CheckLayout(destinationFormat, destinationOffsets, s.destination, s.destinationStride));
    TESSAROC_RETURN_IF_FAILED(CheckLayout(sourceFormat, sourceOffsets, s.source, s.sourceStride));
    s.opacity = opacity;
    s.seed = seed_;
    auto* state = new (std::nothrow) HandlerState(s);
    if (state == nullptr) return Result::Fail(errors::kOutOfMemory, "cannot allocate a pixel handler");
    out.blend = {run_, state};
    out.release = {&FreeState, state};
    return Result::Ok();
  }

 private:
  BlendPixelFn run_;
  uint64_t seed_;
};

struct ModeEntry {
  const char* name;
  BlendPixelFn run;
};

// In the declared order of pattern::kBlendModeNames (checked below).
constexpr ModeEntry kModes[] = {
    {"add", &BlendRun<Separable<Add, false>>},
    {"applyalpha", &BlendRun<ApplyAlpha>},
    {"average", &BlendRun<Separable<Average>>},
    {"color", &BlendRun<NonSeparable<ColorMode>>},
    {"colorburn", &BlendRun<Separable<ColorBurnMode>>},
    {"colordodge", &BlendRun<Separable<ColorDodgeMode>>},
    {"darken", &BlendRun<Separable<Darken>>},
    {"darker", &BlendRun<NonSeparable<Darker>>},
    {"difference", &BlendRun<Separable<Difference>>},
    {"dissolve", &BlendRun<Dissolve>},
    {"divide", &BlendRun<Separable<Divide>>},
    {"exclusion", &BlendRun<Separable<Exclusion>>},
    {"freeze", &BlendRun<Separable<Freeze>>},
    {"glow", &BlendRun<Separable<Glow>>},
    {"hardlight", &BlendRun<Separable<HardLightMode>>},
    {"hardmix", &BlendRun<Separable<HardMix>>},
    {"heat", &BlendRun<Separable<Heat>>},
    {"hue", &BlendRun<NonSeparable<Hue>>},
    {"hypot", &BlendRun<Separable<Hypot>>},
    {"levr", &BlendRun<Separable<Levr>>},
    {"lighten", &BlendRun<Separable<Lighten>>},
    {"lighter", &BlendRun<NonSeparable<Lighter>>},
    {"linearburn", &BlendRun<Separable<LinearBurn>>},
    {"lineardodge", &BlendRun<Separable<LinearDodge>>},
    {"luminance", &BlendRun<NonSeparable<Luminance>>},
    {"multiply", &BlendRun<Separable<MultiplyMode>>},
    {"over", &BlendRun<Separable<Over>>},
    {"overlay", &BlendRun<Separable<Overlay>>},
    {"passfolder", &BlendRun<Separable<Over>>},
    {"pinlight", &BlendRun<Separable<PinLight>>},
    {"reflect", &BlendRun<Separable<Reflect>>},
    {"saturation", &BlendRun<NonSeparable<Saturation>>},
    {"screen", &BlendRun<Separable<ScreenMode>>},
    {"softlight", &BlendRun<Separable<SoftLightMode>>},
    {"stamp", &BlendRun<Separable<Stamp>>},
    {"subtract", &BlendRun<Separable<Subtract>>},
    {"vividlight", &BlendRun<Separable<VividLight>>},
    {"xor", &BlendRun<Separable<Xor>>},
};

constexpr bool SameNames() {
  if (std::size(kModes) != pattern::kBlendModeNames.size()) return false;
  for (size_t i = 0; i < std::size(kModes); ++i)
    if (std::string_view(kModes[i].name) != pattern::kBlendModeNames[i]) return false;
  return true;
}
static_assert(SameNames(), "the mode table follows the declared names");

struct Installed {
  std::vector<BlendModeClassImpl> classes;
  std::vector<std::string> ids;
};

Installed& Classes() {
  static Installed installed = [] {
    Installed in;
    in.classes.reserve(std::size(kModes));
    for (const ModeEntry& m : kModes) {
      in.classes.emplace_back(m.run, 0);
      in.ids.push_back(std::string(pattern::kBlendModeIdPrefix) + m.name);
    }
    return in;
  }();
  return installed;
}

size_t IndexOf(std::string_view name) {
  for (size_t i = 0; i < std::size(kModes); ++i)
    if (name == kModes[i].name) return i;
  return std::size(kModes);
}

}  // namespace

Result InstallBlendModes() {
  static std::once_flag once;
  static Result installed;
  std::call_once(once, [] {
    Installed& in = Classes();
    auto& registry = pattern::BlendModeClasses();
    for (size_t i = 0; i < in.classes.size(); ++i) {
      installed = registry.Register(Id(in.ids[i]), &in.classes[i]);
      if (installed.failed()) return;
    }
  });
  return installed;
}

const ImagePixelBlendInterface* BlendModeClass(std::string_view name) {
  const size_t i = IndexOf(name);
  return i < std::size(kModes) ? &Classes().classes[i] : nullptr;
}

std::unique_ptr<ImagePixelBlendInterface> MakeDissolveBlendMode(uint32_t seed) {
  return std::make_unique<BlendModeClassImpl>(&BlendRun<Dissolve>, seed);
}

}  // namespace tessaroc::host
