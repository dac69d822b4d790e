#include "pattern/generator/gradientmath.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace tessaroc::pattern {

constinit const DataType kSortedKnotsRefType =
    MakeDataType<SortedKnotsRef>("net.zovan.render.datatype.sortedknotsref", "SortedKnotsRef");

bool KnotLess(const KnotEntry& a, const KnotEntry& b) {
  const bool an = std::isnan(a.position), bn = std::isnan(b.position);
  if (an != bn) return bn;
  if (!an && a.position != b.position) return a.position < b.position;
  return a.index < b.index;
}

Result BuildSortedKnots(std::span<const double> positions, SortedKnots& table) {
  try {
    table.knots.clear();
    table.rank.clear();
    for (size_t i = 0; i < positions.size(); ++i) table.knots.push_back({static_cast<int64_t>(i), positions[i]});
    std::sort(table.knots.begin(), table.knots.end(), KnotLess);
    table.rank.resize(table.knots.size());
    for (size_t p = 0; p < table.knots.size(); ++p) table.rank[table.knots[p].index] = static_cast<int64_t>(p);
  } catch (const std::bad_alloc&) { return Result::Fail(errors::kOutOfMemory, "cannot allocate the knot table"); }
  return Result::Ok();
}

double Bend(double s, double b) {
  if (b > s) {
    double v;
    if (b == 0.0) v = s < 0.0 ? 0.0 : 1.0;
    else v = std::clamp(s / b, 0.0, 1.0);
    return v * 0.5;
  }
  double v;
  if (1.0 - b == 0.0) v = 1.0;
  else v = std::clamp((s - b) / (1.0 - b), 0.0, 1.0);
  return v * 0.5 + 0.5;
}

namespace {

constexpr Id kNone = "none";
constexpr Id kLinearKnot = "linearknot";
constexpr Id kSmoothKnot = "smoothknot";
constexpr Id kCubicKnot = "cubicknot";
constexpr Id kCubicBias = "cubicbias";
constexpr Id kBlend = "blend";

ColorA LerpColor(const ColorA& l, const ColorA& r, double u) {
  return {(r.r - l.r) * u + l.r, (r.g - l.g) * u + l.g, (r.b - l.b) * u + l.b, (r.a - l.a) * u + l.a};
}

Result Lerp(const KnotAccessor& k, const KnotEntry& L, const KnotEntry& R, double u, ColorA& out) {
  ColorA l, r;
  TESSAROC_RETURN_IF_FAILED(k.Color(L.index, l));
  if (R.index != L.index) TESSAROC_RETURN_IF_FAILED(k.Color(R.index, r));
  else r = l;
  out = LerpColor(l, r, u);
  return Result::Ok();
}

double CatmullRomChannel(double p0, double p1, double p2, double p3, double u) {
  const double a = -0.5 * p0 + 1.5 * p1 - 1.5 * p2 + 0.5 * p3;
  const double b = p0 - 2.5 * p1 + 2.0 * p2 - 0.5 * p3;
  const double c = -0.5 * p0 + 0.5 * p2;
  const double d = p1;
  const double value = ((a * u + b) * u + c) * u + d;
  // Never beyond the four knots: no ringing at hard colour steps.
  const double lo = std::min(std::min(p0, p1), std::min(p2, p3));
  const double hi = std::max(std::max(p0, p1), std::max(p2, p3));
  return std::clamp(value, lo, hi);
}

Result CatmullRom(const KnotAccessor& k, const KnotEntry* chain[4], double u, ColorA& out) {
  ColorA c[4];
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && chain[i]->index == chain[i - 1]->index) c[i] = c[i - 1];
    else TESSAROC_RETURN_IF_FAILED(k.Color(chain[i]->index, c[i]));
  }
  out = {CatmullRomChannel(c[0].r, c[1].r, c[2].r, c[3].r, u), CatmullRomChannel(c[0].g, c[1].g, c[2].g, c[3].g, u),
         CatmullRomChannel(c[0].b, c[1].b, c[2].b, c[3].b, u), CatmullRomChannel(c[0].a, c[1].a, c[2].a, c[3].a, u)};
  return Result::Ok();
}

double BiasBezierChannel(double l, double r, double e1, double e2, double B0, double B1, double B2, double B3) {
  return (e1 * (r - l) + l) * B1 + B0 * l + ((r - l) * e2 + l) * B2 + r * B3;
}

Result Span(const SortedKnots& table, const KnotAccessor& k, double t, ColorA& out) {
  const std::vector<KnotEntry>& knots = table.knots;
  const int64_t n = static_cast<int64_t>(knots.size());
  // The first knot after the key (t, 0): a knot at t itself counts as after
  // it unless it is knot 0.
  const KnotEntry key{0, t};
  const int64_t p = std::upper_bound(knots.begin(), knots.end(), key, KnotLess) - knots.begin();
  const KnotEntry& L = knots[std::max<int64_t>(p - 1, 0)];
  const KnotEntry& R = knots[std::min(table.rank[L.index] + 1, n - 1)];

  const double span = R.position - L.position;
  if (span == 0.0) return k.Color(L.index, out);

  Id id;
  TESSAROC_RETURN_IF_FAILED(k.Interpolation(L.index, id));
  if (id == kNone) return k.Color(L.index, out);

  const double s = (t - L.position) / span;
  double b = 0.0;
  TESSAROC_RETURN_IF_FAILED(k.Bias(L.index, b));

  if (id == kLinearKnot) return Lerp(k, L, R, Bend(s, b), out);
  if (id == kSmoothKnot) {
    const double u = Bend(s, b);
    const double w = u <= 0.0 ? 0.0 : (u >= 1.0 ? 1.0 : (3.0 - 2.0 * u) * (u * u));
    return Lerp(k, L, R, w, out);
  }
  if (id == kCubicKnot) {
    const double u = Bend(s, b);
    const KnotEntry& A = knots[std::max<int64_t>(table.rank[L.index] - 1, 0)];
    const KnotEntry& D = knots[std::min(table.rank[R.index] + 1, n - 1)];
    const KnotEntry* chain[4] = {&A, &L, &R, &D};
    return CatmullRom(k, chain, u, out);
  }
  if (id == kBlend) {
    if (b > s) return k.Color(L.index, out);
    double u;
    if (1.0 - b == 0.0) u = 1.0;
    else u = std::clamp((s - b) / (1.0 - b), 0.0, 1.0);
    return Lerp(k, L, R, u, out);
  }
  if (id == kCubicBias) {
    // A cubic Bezier whose inner control points slide with the bias; s is
    // not clamped, so outside the knots it extrapolates.
    const double c = 1.0 - b;
    const double e1 = c * 0.75;
    const double e2 = (1.0 - c) * 0.25 + c;
    const double o = 1.0 - s;
    const double B0 = o * o * o;
    const double B1 = 3.0 * s * o * o;
    const double B2 = 3.0 * s * s * o;
    const double B3 = s * s * s;
    ColorA l, r;
    TESSAROC_RETURN_IF_FAILED(k.Color(L.index, l));
    if (R.index != L.index) TESSAROC_RETURN_IF_FAILED(k.Color(R.index, r));
    else r = l;
    out = {BiasBezierChannel(l.r, r.r, e1, e2, B0, B1, B2, B3), BiasBezierChannel(l.g, r.g, e1, e2, B0, B1, B2, B3),
           BiasBezierChannel(l.b, r.b, e1, e2, B0, B1, B2, B3), BiasBezierChannel(l.a, r.a, e1, e2, B0, B1, B2, B3)};
    return Result::Ok();
  }
  return Result::Fail(errors::kIllegalState, "Unknown gradient interpolation mode.");
}

}  // namespace

Result GradientColor(const SortedKnots& table, const KnotAccessor& knots, double t, ColorA& out) {
  out = kOpaqueBlack;
  if (table.knots.empty()) return Result::Ok();
  Result r = Span(table, knots, t, out);
  if (r.failed()) out = kOpaqueBlack;
  return r;
}

}  // namespace tessaroc::pattern
