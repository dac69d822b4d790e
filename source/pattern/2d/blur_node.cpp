#include "pattern/2d/blur_node.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/2d/parallel_loop.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {

const InternedId& Baked() { return Interned<"baked">(); }
const InternedId& KernelMode() { return Interned<"kernel">(); }
const InternedId& Stochastic() { return Interned<"stochastic">(); }
const InternedId& Nearest() { return Interned<"nearest">(); }

// Truncation toward zero into int64, saturating; a NaN gives 0.
int64_t TruncateToInt64(double x) {
  if (std::isnan(x)) return 0;
  if (x >= 9.2233720368547758e18) return std::numeric_limits<int64_t>::max();
  if (x <= -9.2233720368547758e18) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(x);
}

inline ColorA Add(const ColorA& a, const ColorA& b) { return {a.r + b.r, a.g + b.g, a.b + b.b, a.a + b.a}; }
inline ColorA Sub(const ColorA& a, const ColorA& b) { return {a.r - b.r, a.g - b.g, a.b - b.b, a.a - b.a}; }
inline ColorA Scale(const ColorA& a, double s) { return {a.r * s, a.g * s, a.b * s, a.a * s}; }

// One box pass along a line of R pixels that lie `step` apart.
void BoxLine(const ColorA* src, ColorA* dst, int32_t R, int32_t r, double scale, int64_t step) {
  auto at = [&](int64_t i) -> const ColorA& { return src[i * step]; };
  const ColorA first = at(0);
  const ColorA last = at(R - 1);
  ColorA sum = Scale(first, r + 1.0);
  for (int32_t i = 0; i < r; ++i) sum = Add(sum, at(i));
  int32_t x = 0;
  for (; x <= r; ++x) {
    sum = Add(sum, Sub(at(x + r), first));
    dst[x * step] = Scale(sum, scale);
  }
  for (; x <= R - r - 1; ++x) {
    sum = Add(sum, Sub(at(x + r), at(x - r - 1)));
    dst[x * step] = Scale(sum, scale);
  }
  for (; x < R; ++x) {
    sum = Add(sum, Sub(last, at(x - r - 1)));
    dst[x * step] = Scale(sum, scale);
  }
}

}  // namespace

int64_t KernelBlurHalfWidth(double sigma) {
  constexpr double kBound = 2147483647.0;  // 2^31 - 1: (2 half)^2 still fits in 64 bits
  const double half = std::ceil(2.57 * sigma);
  return std::isnan(half) ? 0 : static_cast<int64_t>(std::clamp(half, -kBound, kBound));
}

namespace {

// ---- blurpre

enum PreAccess { kPreColor, kPreResolution, kPreRadius, kPreMode, kPreRenderMode, kPreSearchPaths, kPreImageData };

void PreKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  if (!(ports.In<InternedId>(kPreMode) == Baked())) return;
  BakedImageData* record = EnsureBakedImage(ports.Out<BakedImageRef>(kPreImageData), result);
  if (!record) return;
  BakedImageData& image = *record;
  uint32_t R = ports.In<uint32_t>(kPreResolution);
  const uint32_t renderMode = ports.In<uint32_t>(kPreRenderMode);
  if (renderMode == kRenderModeNoBake || renderMode == kRenderModePreview) R = std::min(R, kPreviewCap);
  if (!ports.HasValue(kPreColor)) return;
  // A changed radius alone does not rebake.
  if (!image.pixels.empty() && image.width == R && image.height == R) return;
  result = ResizeBakedImage(image, R, R);
  if (result.failed()) return;
  const double half = 0.5 / R;
  PrecomputePortData(&ports.In<SearchPathsType>(kPreSearchPaths), R, R, {half, half}, ports.In<FunctionRef>(kPreColor),
                     image);
  const double sigma = std::min(R * ports.In<double>(kPreRadius), (R - 1.0) * 0.5);
  result = ThreeBoxBlur(image, sigma);
}

constexpr PortDecl kPrePorts[] = {
    {"color", PortDir::kIn, &kColorFunctionType},
    {"resolution", PortDir::kIn, &kUInt32Type},
    {"radius", PortDir::kIn, &kFloat64Type},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"renderMode", PortDir::kIn, &kRenderModeType},
    {"searchPaths", PortDir::kIn, &kSearchPathsType},
    {"imageData", PortDir::kOut, &kBakedImageDataType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kPreAccess[] = {
    {kPreColor, "color"},           {kPreResolution, "resolution"},   {kPreRadius, "radius"},       {kPreMode, "mode"},
    {kPreRenderMode, "renderMode"}, {kPreSearchPaths, "searchPaths"}, {kPreImageData, "imageData"},
};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &PreKernel}};
constexpr CoreNodeDecl kPreNode{kBlurPreId, "source/pattern/2d/blur_node", false, kPrePorts, kPreMicro};

// ---- blur

enum Access {
  kContext,
  kColor,
  kRadius,
  kResolution,
  kInterpolation,
  kSamples,
  kSeed,
  kStaticNoise,
  kMode,
  kImageData,
  kMaskBlend,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kRenderMode,
  kResult
};

// Mode "kernel": a true Gaussian over the grid pixels around the sample's pixel.
Result KernelBlur(const FunctionInterface* fn, ShadingContext& local, double u, double v, int32_t R, double radius,
                  ColorA& out) {
  const double s = radius * R;
  const int64_t half = KernelBlurHalfWidth(s);
  double fu = u - std::trunc(u);
  if (fu < 0) fu = fu + 1;
  double fv = v - std::trunc(v);
  if (fv < 0) fv = fv + 1;
  const int64_t px = TruncateToInt64(fu * R);
  const int64_t py = TruncateToInt64(fv * R);
  ColorA sum{};
  double total = 0;
  for (int64_t x = px - half; x <= px + half; ++x) {
    for (int64_t y = py - half; y <= py + half; ++y) {
      double weight = 1;
      if (!(s <= 0)) {
        const int64_t d2 = (x - px) * (x - px) + (y - py) * (y - py);
        weight = std::exp(-static_cast<double>(d2) / ((s + s) * s)) / (6.283185307179586 * s * s);
      }
      const int64_t cx = x < 0 ? 0 : (x > R - 1 ? R - 1 : x);
      const int64_t cy = y < 0 ? 0 : (y > R - 1 ? R - 1 : y);
      const Vector p{static_cast<double>(cx) / R + 0.5 / R, static_cast<double>(cy) / R + 0.5 / R, 0.0};
      local.uvw = local.uvwdx = local.uvwdy = p;
      ColorA c;
      TESSAROC_RETURN_IF_FAILED(InvokeColor(fn, local, c));
      sum = Add(sum, Scale(c, weight));
      total += weight;
    }
  }
  out = total == 0 ? Scale(sum, 0.0) : Scale(sum, 1.0 / total);
  return Result::Ok();
}

// Mode "stochastic": random taps; their numbers depend on the sample alone.
Result StochasticBlur(const FunctionInterface* fn, ShadingContext& local, const ShadingContext& ctx, double radius,
                      int32_t samples, int32_t seed, bool staticNoise, ColorA& out) {
  if (samples < 1) {
    out = ColorA{};
    return Result::Ok();
  }
  if (samples > kMaxStochasticSamples)
    return Result::Fail(errors::kIllegalArgument, "blur: samples " + std::to_string(samples) + " is more than the " +
                                                      std::to_string(kMaxStochasticSamples) +
                                                      " a stochastic blur takes");
  const double u = ctx.uvw.x, v = ctx.uvw.y, w = ctx.uvw.z;
  // The seed wraps: sums and products run in unsigned 64-bit arithmetic, the
  // same bits as two's complement, and only the low 32 bits are used.
  auto bits = [](int64_t x) { return static_cast<uint64_t>(x); };
  uint64_t s = bits(seed);
  s += (bits(ctx.pixelx) + bits(ctx.pixely)) * 43778u;
  s += bits(TruncateToInt64(15362.567 * u)) + bits(TruncateToInt64(13671.123 * v));
  s += bits(TruncateToInt64((ctx.subpixelx + ctx.subpixely) * 23676.123));
  s += bits(TruncateToInt64((ctx.rayorigin.x + ctx.rayorigin.y + ctx.rayorigin.z) * 12644.123));
  s += bits(TruncateToInt64((ctx.raydirection.x + ctx.raydirection.y + ctx.raydirection.z) * 14551.123));
  if (!staticNoise) s += bits(FrameNumber(ctx.time, ctx.framerate)) * 74643u;
  LcgRandom rnd;
  rnd.SetState(HashInt32(static_cast<uint32_t>(s)));
  const double e = 2 * radius;
  const double g = 1024 / e;
  const double centre = 0.15915494309189535;
  ColorA sum{};
  for (int32_t i = 0; i < samples; ++i) {
    const double dx = (2 * rnd.Next01() - 1) * e;
    const double dy = (2 * rnd.Next01() - 1) * e;
    const double dz = (2 * rnd.Next01() - 1) * e;
    const double pu = u + dx, pv = v + dy, pw = w + dz;
    local.uvw = local.uvwdx = local.uvwdy = Vector{pu, pv, pw};
    // Taken at the absolute position, so it falls off away from the UV origin.
    const double weight =
        std::exp(((pu * 1024) * (pu * 1024) + (pv * 1024) * (pv * 1024)) * -0.5 / g / g) * 0.15915494309189535 / centre;
    ColorA c;
    TESSAROC_RETURN_IF_FAILED(InvokeColor(fn, local, c));
    sum = Add(sum, Scale(c, weight));
  }
  out = ColorA{sum.r / samples, sum.g / samples, sum.b / samples, sum.a / samples};
  return Result::Ok();
}

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& ctx = ports.In<ShadingContext>(kContext);
  ShadingContext local = ctx;
  const double u = ctx.uvw.x, v = ctx.uvw.y;
  int32_t R = ports.In<int32_t>(kResolution);
  const uint32_t renderMode = ports.In<uint32_t>(kRenderMode);
  if (renderMode == kRenderModeNoBake || renderMode == kRenderModePreview)
    R = std::min<int32_t>(R, static_cast<int32_t>(kPreviewCap));
  const FunctionInterface* fn = ports.In<FunctionRef>(kColor);
  ColorA input;
  result = InvokeColor(fn, local, input);
  if (result.failed()) return;
  const double radius = ports.In<double>(kRadius);
  const InternedId& mode = ports.In<InternedId>(kMode);
  ColorA blurred{};
  if (radius <= 0 && mode == Stochastic()) {
    result = InvokeColor(fn, local, blurred);
    if (result.failed()) return;
  } else if (mode == KernelMode()) {
    result = KernelBlur(fn, local, u, v, R, radius, blurred);
    if (result.failed()) return;
  } else if (mode == Stochastic()) {
    result = StochasticBlur(fn, local, ctx, radius, ports.In<int32_t>(kSamples), ports.In<int32_t>(kSeed),
                            ReadBool(ports, kStaticNoise), blurred);
    if (result.failed()) return;
  } else if (mode == Baked()) {
    const BakedImageRef& ref = ports.In<BakedImageRef>(kImageData);
    if (!ref) {
      ports.Out<ColorA>(kResult) = kOpaqueBlack;
      return;
    }
    if (!ref->pixels.empty()) {
      const float fu = static_cast<float>(u), fv = static_cast<float>(v);
      blurred = ports.In<InternedId>(kInterpolation) == Nearest() ? SampleBakedNearest(fu, fv, *ref)
                                                                  : SampleBakedLinear(fu, fv, *ref);
    }
  }
  ports.Out<ColorA>(kResult) = ApplyMask(input, blurred, ReadMask(ports, kMaskBlend), true);
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"context", PortDir::kIn, &kShadingContextType},
    {"color", PortDir::kIn, &kColorFunctionType},
    {"radius", PortDir::kIn, &kFloat64Type},
    {"resolution", PortDir::kIn, &kInt32Type},
    {"interpolation", PortDir::kIn, &kInternedIdType},
    {"samples", PortDir::kIn, &kInt32Type},
    {"seed", PortDir::kIn, &kInt32Type},
    {"staticNoise", PortDir::kIn, &kBoolType},
    {"mode", PortDir::kIn, &kInternedIdType},
    {"imageData", PortDir::kIn, &kBakedImageDataType},
    {"renderMode", PortDir::kIn, &kRenderModeType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kColor, "color"},
    {kRadius, "radius"},
    {kResolution, "resolution"},
    {kInterpolation, "interpolation"},
    {kSamples, "samples"},
    {kSeed, "seed"},
    {kStaticNoise, "staticNoise"},
    {kMode, "mode"},
    {kImageData, "imageData"},
    {kMaskBlend, "maskblend"},
    {kMaskRed, "maskred"},
    {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},
    {kMaskAlpha, "maskalpha"},
    {kRenderMode, "renderMode"},
    {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kBlurId, "source/pattern/2d/blur_node", false, kPorts, kMicro};

}  // namespace

std::array<int, 3> ThreeBoxSizes(double sigma) {
  const double q = sigma * 12 * sigma;
  const double wlReal = std::floor(std::sqrt(q / 3 + 1));
  // A NaN or endless sigma has no box; leave the image as it is.
  if (!(wlReal < 1e9)) return {1, 1, 1};
  int64_t wl = static_cast<int64_t>(wlReal);
  if (wl % 2 == 0) wl = wl - 1;
  const int64_t wu = wl + 2;
  const double m = std::round((q - 3.0 * wl * wl - 12.0 * wl - 9) / (-4.0 * wl - 4));
  std::array<int, 3> sizes{};
  for (int i = 0; i < 3; ++i) sizes[i] = static_cast<int>(i < m ? wl : wu);
  return sizes;
}

void BoxBlurH(const ColorA* source, ColorA* target, int32_t R, int32_t r, double scale) {
  auto rows = [&](int64_t first, int64_t end) {
    for (int64_t y = first; y < end; ++y) BoxLine(source + y * R, target + y * R, R, r, scale, 1);
  };
  ParallelFor(R, rows);
}

void BoxBlurT(const ColorA* source, ColorA* target, int32_t R, int32_t r, double scale) {
  auto columns = [&](int64_t first, int64_t end) {
    for (int64_t x = first; x < end; ++x) BoxLine(source + x, target + x, R, r, scale, R);
  };
  ParallelFor(R, columns);
}

Result ThreeBoxBlur(BakedImageData& image, double sigma) {
  const int32_t R = static_cast<int32_t>(image.width);
  if (image.pixels.empty() || image.width != image.height || image.pixels.size() != size_t{image.width} * image.height)
    return Result::Ok();
  std::vector<ColorA> buffer;
  try {
    buffer.resize(image.pixels.size());
  } catch (const std::bad_alloc&) { return Result::Fail(errors::kOutOfMemory, "cannot allocate the blur buffer"); }
  for (int size : ThreeBoxSizes(sigma)) {
    // A box never reaches past the far edge of the image.
    const int32_t r = std::clamp((size - 1) / 2, 0, (R - 1) / 2);
    const double scale = 1.0 / (2 * r + 1);
    BoxBlurH(image.pixels.data(), buffer.data(), R, r, scale);
    BoxBlurT(buffer.data(), image.pixels.data(), R, r, scale);
  }
  return Result::Ok();
}

Result RegisterBlurNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
