#include "pattern/generator/checkerboard_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "core/node_decl.h"

namespace tessaroc::pattern {

namespace {

// The coordinate inside its square pair: the last column for clamp (0.99999
// keeps it inside), the fractional part for every other mode.
double WrapAxis(double c, uint8_t mode) {
  if (mode == kWrapClamp) return c < 0.0 ? 0.0 : std::min(0.99999, c);
  if (std::fabs(c) >= 4503599627370496.0) return c - c;
  return c - std::floor(c);
}

// Clips an interval of a half-cell at the texture's border where the mode
// does not continue the board (clamp, mirror); returns the kept width.
double IntervalWidth(double x, uint8_t mode, double& lo, double& hi) {
  if (mode != kWrapClamp && mode != kWrapMirror) return hi - lo;
  if (x >= 0.5) {
    if (hi > 0.5) {
      hi = 0.5;
      return 0.5 - lo;
    }
    return hi - lo;
  }
  if (0.0 > lo) {
    lo = 0.0;
    return hi;
  }
  return hi - lo;
}

// The part of an interval that lies inside its half-cell [0, 0.5].
double ClippedWidth(double w, double lo, double hi) {
  double c = w, base = lo;
  if (0.0 > lo) {
    c = hi;
    base = 0.0;
  }
  if (hi > 0.5) c = 0.5 - base;
  return c;
}

}  // namespace

CheckerCoverage CheckerboardCoverage(const ShadingContext& local) {
  if (local.uvwvalid == 0) return {CheckerCoverage::kNothing, 0.0};
  const UvwFootprint fp = ComputeUvwFootprint(local);
  const double du = fp.du, dv = fp.dv;
  // A NaN in the footprint gives du = dv = 0: the sample is taken sharp.
  const bool tinyU = 1e-8 > du, tinyV = 1e-8 > dv;

  const double x = WrapAxis(local.uvw.x, local.wrapmodeu);
  const double y = WrapAxis(local.uvw.y, local.wrapmodev);

  if (tinyU && tinyV) return {(x > 0.5) == (y > 0.5) ? CheckerCoverage::kColor1 : CheckerCoverage::kColor2, 0.0};

  const bool hiX = x >= 0.5, hiY = y >= 0.5;
  const double fx = hiX ? x - 0.5 : x;
  const double fy = hiY ? y - 0.5 : y;

  const double hu = du > 0.5 ? 0.5 : du;
  const double hv = dv > 0.5 ? 0.5 : dv;
  // An axis without footprint gets an interval well inside one half-cell, so
  // that it adds no edge.
  double loU, hiU, loV, hiV;
  if (dv != 0.0 && tinyU) {
    loU = 0.1, hiU = 0.30000000000000004;
    loV = fy - hv, hiV = fy + hv;
  } else if (du != 0.0 && tinyV) {
    loU = fx - hu, hiU = fx + hu;
    loV = 0.1, hiV = 0.30000000000000004;
  } else {
    loU = fx - hu, hiU = fx + hu;
    loV = fy - hv, hiV = fy + hv;
  }

  const double wU = IntervalWidth(x, local.wrapmodeu, loU, hiU);
  const double wV = IntervalWidth(y, local.wrapmodev, loV, hiV);
  const double area = wU * wV;
  const double divisor = area == 0.0 ? 1.0 : area;

  const double cU = ClippedWidth(wU, loU, hiU);
  const double cV = ClippedWidth(wV, loV, hiV);

  // Remove the strips that leave the half-cell; the corners stay, since the
  // diagonal neighbour has the same colour.
  double acc = area;
  if (hiU > 0.5) acc -= (hiU - 0.5) * cV;
  if (0.0 > loU) acc += loU * cV;
  if (hiV > 0.5) acc -= (hiV - 0.5) * cU;
  if (0.0 > loV) acc += loV * cU;
  double t = acc / divisor;
  if (hiX == hiY) t = 1.0 - t;

  if (0.0 >= t) return {CheckerCoverage::kColor1, 0.0};
  if (t >= 1.0) return {CheckerCoverage::kColor2, 0.0};
  return {CheckerCoverage::kBoth, t};
}

namespace {

enum Access { kContext, kContextLocal, kColor1, kColor2, kResult, kCache1, kCache2 };

void Kernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const CheckerCoverage cov = CheckerboardCoverage(ports.In<ShadingContext>(kContextLocal));
  ColorA& out = ports.Out<ColorA>(kResult);
  const ShadingContext& ctx = ports.In<ShadingContext>(kContext);
  switch (cov.need) {
    case CheckerCoverage::kNothing: out = ColorA{0, 0, 0, 0}; return;
    case CheckerCoverage::kColor1:
      result = InvokeColor(ports.In<FunctionRef>(kColor1), ctx, out, &ports.Out<Data>(kCache1));
      return;
    case CheckerCoverage::kColor2:
      result = InvokeColor(ports.In<FunctionRef>(kColor2), ctx, out, &ports.Out<Data>(kCache2));
      return;
    case CheckerCoverage::kBoth: {
      // A failure of either colour leaves the result as it was.
      ColorA c1, c2;
      result = InvokeColor(ports.In<FunctionRef>(kColor1), ctx, c1, &ports.Out<Data>(kCache1));
      if (result.failed()) return;
      result = InvokeColor(ports.In<FunctionRef>(kColor2), ctx, c2, &ports.Out<Data>(kCache2));
      if (result.failed()) return;
      const double t = cov.share2;
      out = ColorA{(c2.r - c1.r) * t + c1.r, (c2.g - c1.g) * t + c1.g, (c2.b - c1.b) * t + c1.b,
                   (c2.a - c1.a) * t + c1.a};
      return;
    }
  }
}

constexpr uint32_t kPrivate = MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP;

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType}, {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"color1", PortDir::kIn, &kColorFunctionType},   {"color2", PortDir::kIn, &kColorFunctionType},
    {"result", PortDir::kOut, &kColorAType},         {"cache1", PortDir::kOut, &kDataType, kPrivate},
    {"cache2", PortDir::kOut, &kDataType, kPrivate},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"}, {kContextLocal, "contextLocal"},
    {kColor1, "color1"},   {kColor2, "color2"},
    {kResult, "result"},   {kCache1, "cache1"},
    {kCache2, "cache2"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kCheckerboardId, "source/pattern/generator/checkerboard_node", false, kPorts, kMicro};

}  // namespace

Result RegisterCheckerboardNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
