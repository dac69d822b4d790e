#include "pattern/generator/thinfilm_node.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/color_math.h"
#include "pattern/generator/cie1931_tables.h"

namespace tessaroc::pattern {

constinit const DataType kThinFilmInitType =
    MakeDataType<ThinFilmInit>("net.zovan.render.datatype.thinfilminit", "ThinFilmInit");

float SpectrumAverage(const float* wavelengths, const float* values, size_t count, float s, float e) {
  const float* L = wavelengths;
  const float* v = values;
  const size_t last = count - 1;
  if (e <= L[0]) return v[0];
  if (s >= L[last]) return v[last];
  float sum = 0.0f;
  if (s < L[0]) sum += v[0] * (L[0] - s);
  if (e > L[last]) sum += v[last] * (e - L[last]);
  size_t k = 0;
  while (k + 1 < count && s > L[k + 1]) ++k;
  for (; k + 1 < count && !(L[k] > e); ++k) {
    const float a = std::max(s, L[k]);
    const float b = std::min(e, L[k + 1]);
    const float inv = 1.0f / (L[k + 1] - L[k]);
    const float ta = (a - L[k]) * inv;
    const float tb = (b - L[k]) * inv;
    const float va = (1.0f - ta) * v[k] + ta * v[k + 1];
    const float vb = (1.0f - tb) * v[k] + tb * v[k + 1];
    sum += (va + vb) * 0.5f * (b - a);
  }
  return sum * (1.0f / (e - s));
}

Result FillThinFilmInit(int64_t samples, ThinFilmInit& init) {
  // A count of 0 or below is one bin; the comparison is with what the record
  // would hold, so an unchanged port never refills it.
  const int64_t n = samples <= 0 ? 1 : samples;
  if (n == init.count) return Result::Ok();
  if (n > kMaxThinFilmBins)
    return Result::Fail(errors::kIllegalArgument, "thinfilm: spectralsamples " + std::to_string(n) +
                                                      " is more than the " + std::to_string(kMaxThinFilmBins) +
                                                      " wavelength bins a film takes");
  std::vector<std::array<double, 3>> bins;
  try {
    bins.resize(static_cast<size_t>(n));
  } catch (const std::bad_alloc&) {
    return Result::Fail(errors::kOutOfMemory, "thin film bins");
  } catch (const std::length_error&) { return Result::Fail(errors::kOutOfMemory, "thin film bins"); }
  const float nf = static_cast<float>(n);
  for (int64_t i = 0; i < n; ++i) {
    const float f0 = static_cast<float>(i) / nf;
    const float f1 = static_cast<float>(i + 1) / nf;
    const float s = (1.0f - f0) * 400.0f + f0 * 700.0f;
    const float e = (1.0f - f1) * 400.0f + f1 * 700.0f;
    bins[static_cast<size_t>(i)] = {
        static_cast<double>(SpectrumAverage(kCie1931_1nmWavelength, kCie1931_1nmX, kCie1931_1nmCount, s, e)),
        static_cast<double>(SpectrumAverage(kCie1931_1nmWavelength, kCie1931_1nmY, kCie1931_1nmCount, s, e)),
        static_cast<double>(SpectrumAverage(kCie1931_1nmWavelength, kCie1931_1nmZ, kCie1931_1nmCount, s, e))};
  }
  init.samples.swap(bins);
  init.count = n;
  init.step = 1.0f / nf;
  init.scale = (1.0f / nf * 300.0f) / kThinFilmYIntegral;
  return Result::Ok();
}

namespace {

// a / x, with the factor 1e7 standing in for 1 / x where x is tiny.
inline float GuardedDivide(float a, float x) { return a * (x < 1e-7f ? 1e7f : 1.0f / x); }

inline float RootOrZero(float x) { return x < 0.0f ? 0.0f : std::sqrt(x); }

inline double Dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

}  // namespace

ColorA ThinFilmColor(const ShadingContext& ctx, const ThinFilmParams& params, const ThinFilmInit& init) {
  if (!ctx.uvwvalid) return {0.0, 0.0, 0.0, 0.0};
  Vector n = ctx.shadingnormal;
  const Vector& d = ctx.raydirection;
  if (Dot(ctx.geometricnormal, d) > 0.0) n = {-n.x, -n.y, -n.z};
  const float c = static_cast<float>(Dot(n, d));

  const float eta = static_cast<float>(params.ior);
  float sine;
  if (c <= -1.0f) {
    sine = 0.0f;
  } else if (c >= 1.0f) {
    sine = -8.742277657347586e-08f;  // sinf of the 32-bit pi
  } else {
    sine = std::sin(std::acos(-c));
    if (sine >= 1.0f) return {1.0, 1.0, 1.0, 1.0};
  }
  const float q = 1.0f / eta;
  if (q * q * (1.0f - c * c) > 1.0f) return {1.0, 1.0, 1.0, 1.0};  // total internal reflection

  float thickness = static_cast<float>(params.thickness) + static_cast<float>(params.variation);
  if (thickness < 1.0f) thickness = 1.0f;

  const float ci = RootOrZero(1.0f - sine * sine);
  const float st = sine / eta;
  const float ct = RootOrZero(1.0f - st * st);

  // Fresnel amplitude coefficients of the two interfaces, per polarisation.
  const float p1 = GuardedDivide(eta * ci - ct, eta * ci + ct);
  const float s1 = GuardedDivide(ci - eta * ct, ci + eta * ct);
  const float p2 = GuardedDivide(ct - eta * ci, ct + eta * ci);
  const float s2 = GuardedDivide(eta * ct - ci, eta * ct + ci);
  const float h = eta * ct;

  // The real part of the Airy sum, averaged over the two polarisations.
  double x = 0.0, y = 0.0, z = 0.0;
  const std::array<double, 3>* bins = init.samples.data();
  for (int64_t i = 0; i < init.count; ++i) {
    const float lambda = static_cast<float>(i) * init.step * 300.0f + 400.0f;  // the bin's start
    const float phi = thickness * h * (6.2831855f / lambda);
    const float k = std::cos(phi + phi);
    const float dp = p1 * (p2 * k) + 1.0f;
    const float ds = s1 * (s2 * k) + 1.0f;
    const float dp2 = dp * dp;
    const float ds2 = ds * ds;
    const float ip = dp2 == 0.0f ? 0.0f : 1.0f / dp2;
    const float is = ds2 == 0.0f ? 0.0f : 1.0f / ds2;
    const float rp = (k * p2 + p1) * dp * ip;
    const float rs = (s2 * k + s1) * ds * is;
    const double r = static_cast<double>((rp * rp + rs * rs) * 0.5f);
    x = x + bins[i][0] * r;
    y = y + bins[i][1] * r;
    z = z + bins[i][2] * r;
  }
  const double scale = init.scale;
  const Color rgb = XyzToRgb(x * scale, y * scale, z * scale);
  return {rgb.r, rgb.g, rgb.b, 1.0};
}

namespace {

enum PreAccess { kSpectralSamples, kInitOut };

void PreKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  result = FillThinFilmInit(ports.In<int64_t>(kSpectralSamples), ports.Out<ThinFilmInit>(kInitOut));
}

constexpr PortDecl kPrePorts[] = {
    {"spectralsamples", PortDir::kIn, &kInt64Type},
    {"thinfilminit", PortDir::kOut, &kThinFilmInitType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kPreAccess[] = {{kSpectralSamples, "spectralsamples"}, {kInitOut, "thinfilminit"}};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &PreKernel}};
constexpr CoreNodeDecl kPreNode{kThinFilmPreId, "source/pattern/generator/thinfilm_node", true, kPrePorts, kPreMicro};

enum Access { kContext, kIor, kThickness, kVariation, kInit, kResult };

void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ThinFilmParams params{ports.In<double>(kIor), ports.In<double>(kThickness), ports.In<double>(kVariation)};
  ports.Out<ColorA>(kResult) = ThinFilmColor(ports.In<ShadingContext>(kContext), params, ports.In<ThinFilmInit>(kInit));
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},    {"ior", PortDir::kIn, &kFloat64Type},
    {"thickness", PortDir::kIn, &kFloat64Type},         {"variation", PortDir::kIn, &kFloat64Type},
    {"thinfilminit", PortDir::kIn, &kThinFilmInitType}, {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},     {kIor, "ior"},           {kThickness, "thickness"},
    {kVariation, "variation"}, {kInit, "thinfilminit"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kThinFilmId, "source/pattern/generator/thinfilm_node", false, kPorts, kMicro};

}  // namespace

Result RegisterThinFilmNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
