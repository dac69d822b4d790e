#include "pattern/generator/image_node.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/services.h"
#include "pattern/generator/texture_service.h"

namespace tessaroc::pattern {

namespace {

constexpr Id kLoop("loop");
constexpr Id kPingPong("pingpong");
constexpr Id kForce32Bit("force32bit");
constexpr Id kRaw("raw");

int InterpolationNumber(const Id& id) {
  if (id == Id("linear")) return kInterpBilinear;
  if (id == Id("mip")) return kInterpMip;
  if (id == Id("rip")) return kInterpAniso;
  if (id == Id("sat")) return kInterpSat;
  if (id == Id("bicubic")) return kInterpBicubic;
  return kInterpClosest;
}

int AlphaNumber(const Id& id) {
  if (id == Id("none")) return kAlphaNone;
  if (id == Id("premultipliedcolorspace")) return kAlphaPremultipliedColorSpace;
  if (id == Id("premultiplied")) return kAlphaPremultiplied;
  return kAlphaStraight;
}

// Whether the name is an existing file, looked up by the texture service that
// would load it. Without a service nothing can be loaded, so nothing is.
bool IsExistingFile(const std::string& name, const SearchPathsType* searchPaths) {
  TextureService* service = GetTextureService();
  return service != nullptr && service->FileExists(Url(name), searchPaths);
}

std::string Padded(int64_t frame, int width) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%0*lld", width, static_cast<long long>(frame));
  return buf;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t r;
  if (__builtin_add_overflow(a, b, &r))
    return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
  return r;
}

// end - start + extra as a double, for any 64-bit fields: the difference is
// taken in unsigned arithmetic, where it cannot overflow, and is the same
// number the signed one is wherever that one is defined.
double FrameCount(int64_t start, int64_t end, uint64_t extra) {
  const uint64_t s = static_cast<uint64_t>(start), e = static_cast<uint64_t>(end);
  if (end >= start) {
    const uint64_t span = e - s;
    return span > std::numeric_limits<uint64_t>::max() - extra ? 0x1p64 : static_cast<double>(span + extra);
  }
  return -static_cast<double>(s - e - extra);
}

}  // namespace

Result ReplaceFrameNumber(Url& url, int64_t frame, bool* found, bool& hit, const SearchPathsType* searchPaths) {
  hit = false;
  if (found) *found = false;
  const std::string dir(url.GetDirectory());
  const std::string name(url.GetName());
  auto failure = [&]() {
    if (found) return Result::Ok();
    return Result::Fail(errors::kIo, url.str() + ": Found no or too long number sequence.");
  };
  int64_t i = static_cast<int64_t>(name.size()) - 1;
  // The two suffixes with a digit in them.
  if (url.CheckSuffix("b3d") || url.CheckSuffix("mp4")) i = static_cast<int64_t>(name.size()) - 4;
  while (i >= 0 && !IsDigit(name[static_cast<size_t>(i)])) --i;
  if (i < 0) return failure();
  const int64_t e = i;
  while (i >= 0 && IsDigit(name[static_cast<size_t>(i)])) --i;
  // A number at the very start of the name counts as none.
  if (i < 0) return failure();
  const int64_t s = i + 1;
  if (found) *found = true;
  const std::string prefix = name.substr(0, static_cast<size_t>(s));
  const std::string suffix = name.substr(static_cast<size_t>(e + 1));
  const std::string digits = std::to_string(frame);
  const int w0 = static_cast<int>(digits.size());
  if (w0 <= 9) {
    for (int w = w0; w <= 9; ++w) {
      const std::string candidate = dir + prefix + Padded(frame, w) + suffix;
      if (IsExistingFile(candidate, searchPaths)) {
        url.SetUrl(candidate);
        hit = true;
        return Result::Ok();
      }
    }
  }
  // Nothing on disk: the number at its own width. The width that stood in the
  // name plays no part.
  url.SetUrl(dir + prefix + digits + suffix);
  return Result::Ok();
}

Result ResolveMovieTime(const Playback& p, double length, Url& url, TimeValue& time,
                        const SearchPathsType* searchPaths) {
  double t = std::min(p.end, time) - p.start;
  if (t < 0) t = 0;
  time = t;
  const bool pingpong = p.mode == kPingPong;
  bool sequence = false;
  bool ownLength = false;
  double duration = length;
  if (p.frameStart == p.frameEnd) {
    duration = length;
  } else if (length == 0) {
    sequence = true;
    // A ping-pong sequence does not show its end frames twice.
    const double count = FrameCount(p.frameStart, p.frameEnd, pingpong ? 0 : 1);
    duration = p.frameRate == 0 ? 0.0 : count * (1 / p.frameRate);
  } else {
    ownLength = true;  // a movie: its length stands
  }
  if (!ownLength && duration == 0) {
    time = 0;
    return Result::Ok();
  }
  double r = t;
  if (p.mode == kLoop || pingpong) {
    const double k = std::floor((1 / duration) * t);
    r = t - k * duration;
    if (pingpong && std::fmod(k, 2.0) != 0) r = duration - r;
    time = r;
  }
  if (r > duration) time = duration;
  if (sequence) {
    const int64_t frame = FrameNumber(time, p.frameRate);
    const int64_t n = std::min(p.frameEnd, SaturatingAdd(p.frameStart, frame));
    bool found = false, hit = false;
    TESSAROC_RETURN_IF_FAILED(ReplaceFrameNumber(url, n, &found, hit, searchPaths));
  }
  return Result::Ok();
}

namespace {

enum Access {
  kContext,
  kUrl,
  kLayerSet,
  kInterpolation,
  kBlur,
  kAlpha,
  kMode,
  kSampleAcrossTiles,
  kMovieTime,
  kPlaybackMode,
  kPlaybackStart,
  kPlaybackEnd,
  kFrameStart,
  kFrameEnd,
  kFrameRate,
  kDefaultColor,
  kResult,
  kTexture,
  kLength,
  kFps,
  kWidth,
  kHeight
};

// The loader's delegate: reads the playback ports of the running kernel.
class PortsDelegate final : public MovieTimeDelegate {
 public:
  explicit PortsDelegate(const PortAccess& ports) : ports_(ports) {}
  Result ResolveMovieTime(double length, Url& url, TimeValue& time) override {
    Playback p;
    p.mode = ports_.In<Id>(kPlaybackMode);
    p.start = ports_.In<TimeValue>(kPlaybackStart);
    p.end = ports_.In<TimeValue>(kPlaybackEnd);
    p.frameStart = ports_.In<int64_t>(kFrameStart);
    p.frameEnd = ports_.In<int64_t>(kFrameEnd);
    p.frameRate = ports_.In<double>(kFrameRate);
    return pattern::ResolveMovieTime(p, length, url, time, ports_.In<ShadingContext>(kContext).searchpaths);
  }

 private:
  const PortAccess& ports_;
};

// Loads the file into a fresh threaded texture in port `texture`. A failed
// load is no error: its text goes to the render's messages and the threaded
// texture has no image, so the load is not tried again on the next sample.
Result Load(TextureService& service, const PortAccess& ports, const ShadingContext& ctx, const Id& mode,
            ThreadedTextureRef& port) {
  const Url& url = ports.In<Url>(kUrl);
  TimeValue time = ports.HasValue(kMovieTime) ? ports.In<TimeValue>(kMovieTime) : ctx.time;
  PortsDelegate delegate(ports);
  TextureRef texture;
  const Result load = service.LoadTexture(url, ctx.searchpaths, mode == kForce32Bit, ports.In<LayerSet>(kLayerSet),
                                          time, &delegate, texture);
  if (load.failed()) {
    texture.reset();
    if (service.AllocTexture(texture).failed() || !texture)
      return Result::Fail(errors::kOutOfMemory, "cannot allocate an empty texture");
    if (!url.IsEmpty() && ctx.messagesink != nullptr)
      TESSAROC_RETURN_IF_FAILED(ctx.messagesink->AddMessage(load.message()));
  }
  ThreadedTextureRef threaded;
  if (service.AllocThreadedTexture(threaded).failed() || !threaded)
    return Result::Fail(errors::kOutOfMemory, "cannot allocate a threaded texture");
  port = threaded;
  return port->Init(texture);
}

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const Id mode = ports.In<Id>(kMode);
  const ShadingContext& ctx = ports.In<ShadingContext>(kContext);
  ThreadedTextureRef& texture = ports.Out<ThreadedTextureRef>(kTexture);
  if (!texture) {
    // Without a texture service the port stays empty and the node shows its
    // default colour.
    if (TextureService* service = GetTextureService()) {
      result = Load(*service, ports, ctx, mode, texture);
      if (result.failed()) return;
    }
  }
  if (!texture || texture->GetImage() == nullptr) {
    ports.Out<ColorA>(kResult) = ports.In<ColorA>(kDefaultColor);
    return;
  }
  ColorA& out = ports.Out<ColorA>(kResult);
  if (ctx.uvwvalid == 0) {
    out = ColorA{};
  } else {
    const int interpolation = InterpolationNumber(ports.In<Id>(kInterpolation));
    const int alpha = AlphaNumber(ports.In<Id>(kAlpha));
    const bool convertColors = mode == kRaw ? false : !(ctx.imageflag != 0);
    const UvwFootprint fp = ComputeUvwFootprint(ctx);
    const double blur = ports.In<double>(kBlur);
    out =
        texture->Sample(ctx.uvw.x, ctx.uvw.y, fp.du + blur, fp.dv + blur, ctx.wrapmodeu, ctx.wrapmodev, interpolation,
                        convertColors, alpha, *static_cast<const uint8_t*>(ports.slot(kSampleAcrossTiles).value) != 0);
  }
  if (!ports.IsUsed(kWidth) && !ports.IsUsed(kHeight) && !ports.IsUsed(kFps) && !ports.IsUsed(kLength)) return;
  TextureDetails details;
  result = texture->GetDetails(details);
  if (result.failed()) return;
  ports.Out<double>(kWidth) = static_cast<double>(details.width);
  ports.Out<double>(kHeight) = static_cast<double>(details.height);
  ports.Out<double>(kFps) = details.fps;
  ports.Out<TimeValue>(kLength) = details.length;
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"url", PortDir::kIn, &kUrlType},
    {"layerSet", PortDir::kIn, &kLayerSetType},
    {"interpolation", PortDir::kIn, &kIdType},
    {"blur", PortDir::kIn, &kFloat64Type},
    {"alpha", PortDir::kIn, &kIdType},
    {"mode", PortDir::kIn, &kIdType},
    {"sampleAcrossTiles", PortDir::kIn, &kBoolType},
    {"movieTime", PortDir::kIn, &kTimeValueType},
    {"playbackMode", PortDir::kIn, &kIdType},
    {"playbackStart", PortDir::kIn, &kTimeValueType},
    {"playbackEnd", PortDir::kIn, &kTimeValueType},
    {"frameStart", PortDir::kIn, &kInt64Type},
    {"frameEnd", PortDir::kIn, &kInt64Type},
    {"frameRate", PortDir::kIn, &kFloat64Type},
    {"defaultColor", PortDir::kIn, &kColorAType},
    {"result", PortDir::kOut, &kColorAType},
    {"texture", PortDir::kOut, &kThreadedTextureType, MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP},
    {"length", PortDir::kOut, &kTimeValueType},
    {"fps", PortDir::kOut, &kFloat64Type},
    {"width", PortDir::kOut, &kFloat64Type},
    {"height", PortDir::kOut, &kFloat64Type},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kUrl, "url"},
    {kLayerSet, "layerSet"},
    {kInterpolation, "interpolation"},
    {kBlur, "blur"},
    {kAlpha, "alpha"},
    {kMode, "mode"},
    {kSampleAcrossTiles, "sampleAcrossTiles"},
    {kMovieTime, "movieTime"},
    {kPlaybackMode, "playbackMode"},
    {kPlaybackStart, "playbackStart"},
    {kPlaybackEnd, "playbackEnd"},
    {kFrameStart, "frameStart"},
    {kFrameEnd, "frameEnd"},
    {kFrameRate, "frameRate"},
    {kDefaultColor, "defaultColor"},
    {kResult, "result"},
    {kTexture, "texture"},
    {kLength, "length"},
    {kFps, "fps"},
    {kWidth, "width"},
    {kHeight, "height"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kImageId, "source/pattern/generator/image_node", false, kPorts, kMicro};

}  // namespace

Result RegisterImageNode(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kLayerSetType));
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kThreadedTextureType));
  return RegisterDeclaredNode<kNode>(registry);
}

}  // namespace tessaroc::pattern
