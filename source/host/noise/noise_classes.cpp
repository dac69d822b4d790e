#include "host/noise/noise_classes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tessaroc::host::noise {

namespace {

constexpr double kPi = std::numbers::pi;

// Means of the terms that fractal sums centre before adding, so that an
// octave faded by the footprint settles on its mean rather than on 0. Measured
// once with seed 0 and default parameters over 2^15 samples.
constexpr double kMeanAbsGradient = 0.2182;  // |N|
constexpr double kMeanF1 = 0.5279;
constexpr double kMeanF2 = 0.7167;
constexpr double kMeanF2MinusF1 = 0.1889;
constexpr double kMeanDent = 0.8978;
constexpr double kMeanLuka = 0.0893;
constexpr double kMeanPoxo = -0.0061;
constexpr double kMeanBlister = 0.0983;
constexpr double kMeanVl = 0.0121;

// ---- Octave loops

int WholeOctaves(double octaves) { return static_cast<int>(octaves); }

// A fractal sum of a term over the octaves: octave i sees the position
// scaled by lacunarity^i plus its own offset and the time scaled alike, and
// weighs gain^i; the last, fractional octave weighs its fraction. Octaves
// finer than the footprint fade out. The sum is divided by the root of the
// summed squared weights, so its spread does not change with the octave count
// or the gain; or, with `bySum`, by the summed weights, so that terms in
// [-1, 1] keep the sum in [-1, 1].
template <class Term>
Centred Fractal(const NoiseState& st, const Sample& s, double featureScale, Term term, bool bySum = false) {
  const int n = WholeOctaves(s.octaves);
  const double r = s.octaves - n;
  const int count = std::min(r > 0.0 ? n + 1 : n, kMaxOctaves);
  const double f = s.footprint * featureScale;
  double acc = 0.0, w1 = 0.0, w2 = 0.0, k2 = 0.0;
  for (int i = 0; i < count; ++i) {
    const double w = st.gainPow[i] * (i == n ? r : 1.0);
    w1 += w;
    w2 += w * w;
    const double l = st.lacPow[i];
    const double keep = FootprintKeep(f * l);
    if (keep <= 0.0) continue;
    const double* o = st.tables.offset[i];
    acc += w * keep * term(s.x * l + o[0], s.y * l + o[1], s.z * l + o[2], s.t * l);
    k2 += (w * keep) * (w * keep);
  }
  const double rms = std::sqrt(w2);
  return {acc / (bySum ? w1 : rms), std::sqrt(k2) / rms, s.octaves};
}

Centred Fbm(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 1.0, [&](double x, double y, double z, double t) { return Gradient4(st.tables, x, y, z, t); });
}

Centred Turbulence(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 1.0, [&](double x, double y, double z, double t) {
    return std::fabs(Gradient4(st.tables, x, y, z, t)) - kMeanAbsGradient;
  });
}

Sample Moved(const Sample& s, double dx, double dy, double dz) {
  Sample m = s;
  m.x += dx;
  m.y += dy;
  m.z += dz;
  return m;
}

// Nonlinear octave chains (ridged, hybrid) are band-limited by running fewer
// octaves: those whose footprint stays below 0.2 of their period, the last
// fractionally. Below one octave the whole value fades by `keep`.
double EffectiveOctaves(const NoiseState& st, const Sample& s, double& keep) {
  keep = 1.0;
  if (!(s.footprint > 0.0)) return s.octaves;
  keep = FootprintKeep(s.footprint);
  if (s.footprint >= 0.2) return 1.0;
  const double limit = 1.0 + std::log(0.2 / s.footprint) * st.invLogLac;
  return std::clamp(limit, 1.0, s.octaves);
}

// The saw of a growth ring: slow rise, quick fall over `fall` of the period
// (0.1 when sharp, up to 0.5, a triangle, when the footprint covers much of a
// period), continuous, mean 0.5.
double Saw(double x, double fall) {
  const double rise = 1.0 - fall;
  return x < rise ? x / rise : (1.0 - x) / fall;
}

// The fall of a saw whose period spans `footprintInPeriods` of the footprint.
double SawFall(double footprintInPeriods) { return std::clamp(0.1 + 2.0 * footprintInPeriods, 0.1, 0.5); }

double Frac(double x) { return x - std::floor(x); }

// A second, independent number in [0, 1) from a cell's hash.
double CellUnit(uint32_t hash, uint32_t salt) { return ToUnit(Mix32(hash ^ salt)); }

// 0 on a cell border, 1 a little inside: features that differ per cell are
// multiplied by it, so that the pattern stays continuous across borders.
double BorderFade(const Cellular& c, double width) { return SmoothStep(0.0, width, c.f2 - c.f1); }

// ---- The classes

Centred Perlin(const NoiseState& st, const Sample& s) {
  const double k = FootprintKeep(s.footprint);
  return {k * Gradient4(st.tables, s.x, s.y, s.z, s.t), k, 1.0};
}

Centred FbmClass(const NoiseState& st, const Sample& s) { return Fbm(st, s); }

Centred TurbulenceClass(const NoiseState& st, const Sample& s) { return Turbulence(st, s); }

Centred Ridged(const NoiseState& st, const Sample& s) {
  double keep;
  const double o = EffectiveOctaves(st, s, keep);
  const int n = WholeOctaves(o);
  const double r = o - n;
  const int count = std::min(r > 0.0 ? n + 1 : n, kMaxOctaves);
  double sum = 0.0, total = 0.0, prev = 1.0;
  for (int i = 0; i < count; ++i) {
    const double l = st.lacPow[i];
    const double* off = st.tables.offset[i];
    double ridge = 1.0 - std::fabs(Gradient4(st.tables, s.x * l + off[0], s.y * l + off[1], s.z * l + off[2], s.t * l));
    ridge *= ridge;
    if (i > 0) ridge *= std::clamp(st.gain * prev, 0.0, 1.0);
    prev = ridge;
    const double w = st.specPow[i] * (i == n ? r : 1.0);
    sum += w * ridge;
    total += w;
  }
  return {keep * (sum / total), keep, o};
}

Centred Hybrid(const NoiseState& st, const Sample& s) {
  constexpr double kOffset = 0.7;
  double keep;
  const double o = EffectiveOctaves(st, s, keep);
  const int n = WholeOctaves(o);
  const double r = o - n;
  const int count = std::min(r > 0.0 ? n + 1 : n, kMaxOctaves);
  double result = Gradient4(st.tables, s.x, s.y, s.z, s.t) + kOffset;
  double weight = st.gain * result;
  double total = 1.0;
  for (int i = 1; i < count; ++i) {
    weight = std::min(weight, 1.0);
    const double l = st.lacPow[i];
    const double* off = st.tables.offset[i];
    const double signal =
        (Gradient4(st.tables, s.x * l + off[0], s.y * l + off[1], s.z * l + off[2], s.t * l) + kOffset) * st.specPow[i];
    const double part = i == n ? r : 1.0;
    result += part * weight * signal;
    total += part * st.specPow[i];
    weight *= st.gain * signal;
  }
  return {keep * (result / total), keep, o};
}

Centred Gaseous(const NoiseState& st, const Sample& s) {
  const Centred a = Fbm(st, Moved(s, 31.7, 4.1, 17.3));
  const Centred b = Fbm(st, Moved(s, 9.2, 27.9, 3.6));
  const Centred c = Fbm(st, Moved(s, 22.5, 13.4, 41.8));
  // Only the warp moves with time: the smoke flows instead of boiling.
  Sample outer = Moved(s, 1.5 * a.c, 1.5 * b.c, 1.5 * c.c);
  outer.t = 0.0;
  return Fbm(st, outer);
}

Centred Electric(const NoiseState& st, const Sample& s) {
  const double power = 8.0 * st.exponent;
  const Centred a = Fbm(st, Moved(s, 13.1, 7.3, 29.9));
  const Centred b = Fbm(st, Moved(s, 45.6, 38.2, 2.7));
  // The filaments follow the zero lines of the fBm. When the footprint fades
  // its fine octaves the fBm's spread shrinks and the filaments would
  // thicken; measured against the spread that is left they keep their width
  // and fade instead.
  const double keep = 0.5 * (a.keep + b.keep);
  if (!(keep > 1e-6)) return {0.0, 0.0, s.octaves};
  const double ea = std::pow(std::max(0.0, 1.0 - std::fabs(a.c / a.keep)), power);
  const double eb = std::pow(std::max(0.0, 1.0 - std::fabs(b.c / b.keep)), power);
  return {keep * (ea - eb), keep, s.octaves};
}

Centred Box(const NoiseState& st, const Sample& s) {
  return Fractal(
      st, s, 1.0, [&](double x, double y, double z, double t) { return 2.0 * CellValue(st.tables, x, y, z, t) - 1.0; },
      /*bySum*/ true);
}

Centred Blistered(const NoiseState& st, const Sample& s) {
  const Centred turb = Turbulence(st, s);
  Cellular cell;
  Worley(st.tables, 2.0 * s.x + 5.5, 2.0 * s.y + 3.25, 2.0 * s.z + 8.75, s.t, cell);
  const double q = cell.f1 / 0.35;
  const double blister = std::sqrt(std::max(0.0, 1.0 - q * q));
  const double kb = FootprintKeep(s.footprint * 4.0);
  return {turb.c + 0.6 * kb * (blister - kMeanBlister), 0.5 * (turb.keep + kb), s.octaves};
}

Centred Cranal(const NoiseState& st, const Sample& s) {
  Sample fine = s;
  fine.x *= 2.0;
  fine.y *= 2.0;
  fine.z *= 2.0;
  fine.footprint *= 2.0;
  const Centred a = Fbm(st, Moved(fine, 3.3, 19.1, 7.7));
  const Centred b = Fbm(st, Moved(fine, 12.8, 1.9, 33.4));
  const Centred c = Fbm(st, Moved(fine, 27.2, 8.6, 15.5));
  Cellular cell;
  Worley(st.tables, s.x + 0.3 * a.c, s.y + 0.3 * b.c, s.z + 0.3 * c.c, s.t, cell);
  // A line narrower than the footprint is drawn as wide as the footprint and
  // as much dimmer, so that it neither breaks into dots nor changes the mean.
  const double width = std::max(0.04, s.footprint);
  const double k = FootprintKeep(s.footprint * 5.0);
  const double line = (0.04 / width) * (1.0 - SmoothStep(0.0, width, cell.f2 - cell.f1));
  return {k * line, k, s.octaves};
}

Centred Buya(const NoiseState& st, const Sample& s) {
  // Five terraces over twice the spread of the fBm, so that most of a surface
  // lies on a few broad plateaus; the map is point-symmetric about the middle,
  // which keeps the mean.
  constexpr double kLevels = 5.0;
  const Centred f = Fbm(st, s);
  const double u = kLevels * std::clamp(0.5 + f.c, 0.0, 1.0);
  const double terrace = std::floor(u) + SmoothStep(0.4, 0.6, Frac(u));
  return {2.0 * terrace / kLevels - 1.0, f.keep, s.octaves};
}

Centred Dents(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 1.0, [&](double x, double y, double z, double t) {
    Cellular cell;
    Worley(st.tables, x, y, z, t, cell);
    const double d = std::min(1.0, cell.f1 / 0.4);
    return d * d - kMeanDent;
  });
}

Centred Cell(const NoiseState& st, const Sample& s) {
  const double k = FootprintKeep(s.footprint);
  return {k * (2.0 * CellValue(st.tables, s.x, s.y, s.z, s.t) - 1.0), k, 1.0};
}

Centred DisplacedTurbulence(const NoiseState& st, const Sample& s) {
  // Two levels of domain warping by smooth fields: at half the frequency and
  // with at most three octaves, so that the warp bends the creases into swirls
  // instead of crumpling them finer than a pixel.
  Sample w = s;
  w.x *= 0.5;
  w.y *= 0.5;
  w.z *= 0.5;
  w.footprint *= 0.5;
  w.octaves = std::min(s.octaves, 3.0);
  const double q0 = Fbm(st, w).c;
  const double q1 = Fbm(st, Moved(w, 5.2, 1.3, 2.7)).c;
  const double q2 = Fbm(st, Moved(w, 3.1, 7.7, 4.4)).c;
  const Sample v = Moved(w, 1.5 * q0, 1.5 * q1, 1.5 * q2);
  const double r0 = Fbm(st, Moved(v, 1.7, 9.2, 0.6)).c;
  const double r1 = Fbm(st, Moved(v, 8.3, 2.8, 5.1)).c;
  const double r2 = Fbm(st, Moved(v, 6.2, 0.9, 7.4)).c;
  return Turbulence(st, Moved(s, r0, r1, r2));
}

Centred Hama(const NoiseState& st, const Sample& s) {
  const Centred turb = Turbulence(st, s);
  const double k = FootprintKeep(s.footprint * 0.5);
  return {k * std::sin(kPi * s.x + 6.0 * turb.c), k, s.octaves};
}

Centred Luka(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 4.0, [&](double x, double y, double z, double t) {
    Cellular cell;
    Worley(st.tables, x, y, z, t, cell);
    const double radius = 0.2 + 0.2 * CellUnit(cell.hash, 0x5BD1E995u);
    const double e = (cell.f1 - radius) / 0.06;
    const double broken = SmoothStep(-0.4, -0.2, Gradient4(st.tables, 4.0 * x, 4.0 * y, 4.0 * z, t));
    return std::exp(-e * e) * broken * BorderFade(cell, 0.08) - kMeanLuka;
  });
}

Centred Mod(const NoiseState& st, const Sample& s) {
  const Centred f = Fbm(st, s);
  // Three bands over the range of the fBm; its slope makes them about five
  // times finer than a noise unit, which sets their footprint fade.
  const double k = FootprintKeep(s.footprint * 5.0);
  const double band = Saw(Frac(3.0 * (0.5 + 0.5 * f.c)), SawFall(s.footprint * 5.0));
  return {k * (2.0 * band - 1.0), k * f.keep, s.octaves};
}

Centred Naki(const NoiseState& st, const Sample& s) {
  const Centred f = Fbm(st, s);
  // Rings per noise unit: wide enough to read as wood at the noise node's
  // default scale.
  constexpr double kRings = 1.5;
  const double radius = std::sqrt(s.x * s.x + s.y * s.y);
  const double k = FootprintKeep(s.footprint * kRings);
  const double ring = Saw(Frac(kRings * radius + 0.5 * f.c), SawFall(s.footprint * kRings));
  return {k * (2.0 * ring - 1.0), k, s.octaves};
}

Centred Nutous(const NoiseState& st, const Sample& s) {
  Cellular cell;
  Worley(st.tables, s.x, s.y, s.z, s.t, cell);
  const double k = FootprintKeep(s.footprint);
  return {k * std::sqrt(SmoothStep(0.0, 0.35, cell.f2 - cell.f1)), k, 1.0};
}

Centred Pezo(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 3.0, [&](double x, double y, double z, double t) {
    Cellular cell;
    Worley(st.tables, x, y, z, t, cell);
    // Wide enough that most cells cut by a plane show their speck; squared,
    // so that it is a bright point with a soft skirt that is nearly 0 where
    // it meets a cell border.
    const double radius = 0.3 + 0.15 * CellUnit(cell.hash, 0x68E31DA4u);
    const double sign = (cell.hash & 0x01000000u) != 0 ? 1.0 : -1.0;
    const double cone = std::max(0.0, 1.0 - cell.f1 / radius);
    return sign * cone * cone * BorderFade(cell, 0.05);
  });
}

Centred Poxo(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 2.0, [&](double x, double y, double z, double t) {
    Cellular cell;
    Worley(st.tables, x, y, z, t, cell);
    if (CellUnit(cell.hash, 0x1B873593u) >= 0.5) return -kMeanPoxo;
    const double radius = 0.2 + 0.25 * CellUnit(cell.hash, 0xCC9E2D51u);
    const double d = cell.f1 / radius;
    const double rim = (d - 1.0) / 0.15;
    const double crater = -std::max(0.0, 1.0 - d * d) + 0.5 * std::exp(-rim * rim);
    return crater * BorderFade(cell, 0.1) - kMeanPoxo;
  });
}

Centred Sema(const NoiseState& st, const Sample& s) {
  Cellular cell;
  Worley(st.tables, s.x, s.y, s.z, s.t, cell);
  double nx = 2.0 * CellUnit(cell.hash, 0x85EBCA6Bu) - 1.0;
  double ny = 2.0 * CellUnit(cell.hash, 0xC2B2AE35u) - 1.0;
  double nz = 2.0 * CellUnit(cell.hash, 0x27D4EB2Fu) - 1.0;
  const double len = std::sqrt(nx * nx + ny * ny + nz * nz);
  if (len > 0.0) {
    nx /= len;
    ny /= len;
    nz /= len;
  } else {
    nx = 1.0;
  }
  const double ramp = 2.0 * (nx * (s.x - cell.px) + ny * (s.y - cell.py) + nz * (s.z - cell.pz)) +
                      CellUnit(cell.hash, 0x165667B1u) - 0.5;
  const double k = FootprintKeep(s.footprint);
  return {k * std::clamp(ramp, -1.0, 1.0), k, 1.0};
}

Centred Stupl(const NoiseState& st, const Sample& s) {
  // Two dots per noise unit over an fBm of half the frequency: large enough
  // to read as halftone at the noise node's default scale.
  constexpr double kDots = 2.0;
  Sample half = s;
  half.x *= 0.5;
  half.y *= 0.5;
  half.z *= 0.5;
  half.footprint *= 0.5;
  const Centred f = Fbm(st, half);
  const double u = 0.5 + 1.2 * f.c;
  // A screen of dots in x and y, the same along z like a printed halftone: a
  // third cosine factor would set the dots' contrast by where a flat texture
  // cuts it, so by the seed. The seed shifts and turns the screen (a quarter
  // turn maps the screen onto itself).
  const double* o = st.tables.offset[1];
  const double angle = st.tables.offset[2][0] * (0.5 * kPi / 64.0);
  const double ca = std::cos(angle), sa = std::sin(angle);
  const double sx = ca * s.x - sa * s.y, sy = sa * s.x + ca * s.y;
  const double dots = 0.5 + 0.5 * std::cos(2.0 * kPi * (kDots * sx + o[0])) * std::cos(2.0 * kPi * (kDots * sy + o[1]));
  // A step widened by the footprint: sharp dots up close, their average far away.
  const double width = 0.05 + kDots * kPi * s.footprint;
  return {2.0 * SmoothStep(-width, width, u - dots) - 1.0, FootprintKeep(s.footprint * kDots), s.octaves};
}

Centred Vl(const NoiseState& st, const Sample& s) {
  const double d = st.exponent;
  return Fractal(st, s, 1.0, [&](double x, double y, double z, double t) {
    const double dx = Gradient4(st.tables, x + 0.5, y + 0.5, z + 0.5, t);
    const double dy = Gradient4(st.tables, x + 19.5, y + 3.5, z + 7.5, t);
    const double dz = Gradient4(st.tables, x + 5.5, y + 23.5, z + 11.5, t);
    return Gradient4(st.tables, x + d * dx, y + d * dy, z + d * dz, t) - kMeanVl;
  });
}

Centred Wavy(const NoiseState& st, const Sample& s) {
  const double dx = 0.25 * std::sin(2.0 * kPi * s.y + s.t);
  const double dy = 0.25 * std::sin(2.0 * kPi * s.z + s.t);
  const double dz = 0.25 * std::sin(2.0 * kPi * s.x + s.t);
  return Turbulence(st, Moved(s, dx, dy, dz));
}

Centred Zada(const NoiseState& st, const Sample& s) {
  Sample fibre = s;
  fibre.x = s.x / 8.0;
  return Fbm(st, fibre);
}

Centred CellVoronoi(const NoiseState& st, const Sample& s) {
  Cellular cell;
  Worley(st.tables, s.x, s.y, s.z, s.t, cell);
  const double k = FootprintKeep(s.footprint);
  return {k * (2.0 * CellUnit(cell.hash, 0x9E3779B9u) - 1.0), k, 1.0};
}

Centred DisplacedVoronoi(const NoiseState& st, const Sample& s) {
  const double a = Fbm(st, Moved(s, 14.2, 3.9, 8.1)).c;
  const double b = Fbm(st, Moved(s, 2.6, 25.3, 19.7)).c;
  const double c = Fbm(st, Moved(s, 37.4, 11.8, 4.9)).c;
  Cellular cell;
  Worley(st.tables, s.x + 0.6 * a, s.y + 0.6 * b, s.z + 0.6 * c, s.t, cell);
  const double k = FootprintKeep(s.footprint);
  return {k * cell.f1, k, 1.0};
}

template <int Which>
Centred VoronoiFractal(const NoiseState& st, const Sample& s) {
  return Fractal(st, s, 1.0, [&](double x, double y, double z, double t) {
    Cellular cell;
    Worley(st.tables, x, y, z, t, cell);
    if constexpr (Which == 1) return cell.f1 - kMeanF1;
    else if constexpr (Which == 2) return cell.f2 - kMeanF2;
    else return (cell.f2 - cell.f1) - kMeanF2MinusF1;
  });
}

// ---- The table

// clang-format off
#define TESSAROC_SAME8(v) {v, v, v, v, v, v, v, v}

// Per class: name, shape, default lacunarity, gain and exponent, whether the
// exponent reshapes the output, then the mean and scale per octave count 1..8
// and the mean of |s|. Classes whose raw value is symmetric by construction
// keep mean 0 and scale 1; the others are centred and scaled to three standard
// deviations (cranal instead so that its line cores reach 1; pezo, mostly 0
// with sparse specks, by 2, so that only the brightest cores clip). Measured
// with seed 0, default parameters, 2^15 uniform samples in a cube 1000 units
// wide, per octave count: bench/noise_statistics prints these rows.
constexpr NoiseClassInfo kClasses[] = {
    {"perlin", &Perlin, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2197},
    {"fbm", &FbmClass, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2180},
    {"turbulence", &TurbulenceClass, 2.0, 0.5, 1.0, true,
     {0.0013, 0.0018, 0.0025, 0.0028, 0.0029, 0.0029, 0.0030, 0.0030},
     {2.1231, 2.1272, 2.1245, 2.1259, 2.1259, 2.1259, 2.1259, 2.1259}, 0.2698},
    {"ridgedmultifractal", &Ridged, 2.0, 2.0, 1.0, false,
     {0.6338, 0.6144, 0.6045, 0.5992, 0.5965, 0.5950, 0.5942, 0.5938},
     {1.4512, 1.6869, 1.8038, 1.8706, 1.9080, 1.9290, 1.9414, 1.9470}, 0.2693},
    {"gaseous", &Gaseous, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2181},
    {"electric", &Electric, 2.0, 0.5, 1.0, false, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.3055},
    {"box", &Box, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2960},
    {"blisteredturbulence", &Blistered, 2.0, 0.5, 1.0, true,
     {0.0033, 0.0038, 0.0045, 0.0048, 0.0049, 0.0049, 0.0049, 0.0049},
     {1.5504, 1.5504, 1.5518, 1.5518, 1.5518, 1.5518, 1.5518, 1.5518}, 0.2626},
    {"cranal", &Cranal, 2.0, 0.5, 1.0, true,
     {0.0802, 0.0801, 0.0801, 0.0795, 0.0791, 0.0790, 0.0788, 0.0787},
     {1.0870, 1.0870, 1.0870, 1.0870, 1.0870, 1.0870, 1.0870, 1.0870}, 0.1491},
    {"buya", &Buya, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.4418},
    {"dents", &Dents, 2.0, 0.5, 1.0, true,
     {0.0002, 0.0002, 0.0003, 0.0003, 0.0004, 0.0003, 0.0003, 0.0003},
     {1.5056, 1.5035, 1.5042, 1.5042, 1.5035, 1.5035, 1.5035, 1.5035}, 0.2533},
    {"cell", &Cell, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.5034},
    {"displacedturbulence", &DisplacedTurbulence, 2.0, 0.5, 1.0, true,
     {0.0028, 0.0028, 0.0035, 0.0038, 0.0040, 0.0040, 0.0040, 0.0040},
     {2.1286, 2.1238, 2.1355, 2.1344, 2.1348, 2.1353, 2.1351, 2.1351}, 0.2676},
    {"hama", &Hama, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.6337},
    {"luka", &Luka, 2.0, 0.5, 1.0, true,
     {0.0019, 0.0033, 0.0038, 0.0042, 0.0043, 0.0043, 0.0044, 0.0044},
     {1.4418, 1.4355, 1.4374, 1.4368, 1.4368, 1.4368, 1.4368, 1.4368}, 0.2404},
    {"mod", &Mod, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.4937},
    {"naki", &Naki, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.5005},
    {"nutous", &Nutous, 2.0, 0.5, 1.0, true,
     {0.6010, 0.6010, 0.6010, 0.6010, 0.6010, 0.6010, 0.6010, 0.6010},
     {1.0113, 1.0113, 1.0113, 1.0113, 1.0113, 1.0113, 1.0113, 1.0113}, 0.2959},
    {"ober", &Hybrid, 2.0, 1.0, 0.25, false,
     {0.7027, 0.6003, 0.5120, 0.4414, 0.3888, 0.3507, 0.3231, 0.3028},
     {1.2350, 1.3900, 1.5576, 1.7637, 1.9841, 2.1930, 2.3793, 2.5368}, 0.2704},
    {"pezo", &Pezo, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0),
     TESSAROC_SAME8(2.0), 0.0668},
    {"poxo", &Poxo, 2.0, 0.5, 1.0, true,
     {0.0008, 0.0013, 0.0014, 0.0016, 0.0016, 0.0015, 0.0016, 0.0016},
     {2.1730, 2.1673, 2.1701, 2.1716, 2.1701, 2.1701, 2.1701, 2.1701}, 0.1564},
    {"sema", &Sema, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.5275},
    {"stupl", &Stupl, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.9649},
    {"vl", &Vl, 2.0, 0.5, 1.0, false, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2192},
    {"wavyturbulence", &Wavy, 2.0, 0.5, 1.0, true,
     {0.0060, 0.0054, 0.0055, 0.0056, 0.0059, 0.0060, 0.0060, 0.0060},
     {2.1354, 2.1299, 2.1299, 2.1272, 2.1286, 2.1286, 2.1286, 2.1286}, 0.2699},
    {"zada", &Zada, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.2185},
    {"cellvoronoi", &CellVoronoi, 2.0, 0.5, 1.0, true, TESSAROC_SAME8(0.0), TESSAROC_SAME8(1.0), 0.5006},
    {"displacedvoronoi", &DisplacedVoronoi, 2.0, 0.5, 1.0, true,
     {0.5268, 0.5270, 0.5269, 0.5269, 0.5269, 0.5269, 0.5269, 0.5268},
     {1.8832, 1.8811, 1.8822, 1.8822, 1.8832, 1.8832, 1.8832, 1.8832}, 0.2692},
    {"voronoi1", &VoronoiFractal<1>, 2.0, 0.5, 1.0, true,
     {-0.0008, -0.0012, -0.0016, -0.0018, -0.0018, -0.0019, -0.0019, -0.0019},
     {1.8832, 1.8790, 1.8811, 1.8811, 1.8822, 1.8822, 1.8822, 1.8822}, 0.2677},
    {"voronoi2", &VoronoiFractal<2>, 2.0, 0.5, 1.0, true,
     {0.0002, 0.0005, 0.0007, 0.0008, 0.0009, 0.0009, 0.0009, 0.0009},
     {2.2341, 2.2297, 2.2267, 2.2297, 2.2282, 2.2282, 2.2282, 2.2282}, 0.2681},
    {"voronoi3", &VoronoiFractal<3>, 2.0, 0.5, 1.0, true,
     {0.0009, 0.0016, 0.0022, 0.0024, 0.0025, 0.0026, 0.0026, 0.0026},
     {2.1492, 2.1464, 2.1450, 2.1450, 2.1450, 2.1450, 2.1450, 2.1450}, 0.2657},
};
// clang-format on

#undef TESSAROC_SAME8

// Mean and scale of a class at a (fractional) octave count.
void Statistics(const NoiseClassInfo& info, double octaves, double& mean, double& scale) {
  const double o = std::clamp(octaves, 1.0, 8.0);
  const int i = std::min(static_cast<int>(o), 8) - 1;
  const int j = std::min(i + 1, 7);
  const double f = o - (i + 1);
  mean = Lerp(f, info.mean[i], info.mean[j]);
  scale = Lerp(f, info.scale[i], info.scale[j]);
}

bool Finite(double v) { return v - v == 0.0; }

}  // namespace

std::span<const NoiseClassInfo> NoiseClassInfos() { return kClasses; }

Result LibraryNoise::Init(uint32_t seed, int32_t tablePower, const DataDictionary& parameters) {
  if (tablePower <= 0 || tablePower > 30)
    return Result::Fail(errors::kIllegalArgument, "noise table power must lie in 1..30");
  // A parameter of 0 (or below, or not a number) selects the class's default.
  auto param = [&](int64_t key, double fallback, double lo, double hi) {
    const double v = parameters.Get(key, 0.0);
    return v > 0.0 ? std::clamp(v, lo, hi) : fallback;
  };
  NoiseState& st = state_;
  st.lacunarity = param(kNoiseLacunarityKey, info_.lacunarity, 1.01, 8.0);
  st.gain = param(kNoiseGainKey, info_.gain, 1e-3, 8.0);
  st.exponent = param(kNoiseExponentKey, info_.exponent, 0.05, 20.0);
  BuildTables(seed, st.tables);
  double l = 1.0, g = 1.0;
  for (int i = 0; i < kMaxOctaves; ++i) {
    st.lacPow[i] = l;
    st.gainPow[i] = g;
    st.specPow[i] = std::pow(st.lacunarity, -static_cast<double>(i) * st.exponent);
    l *= st.lacunarity;
    g *= st.gain;
  }
  st.invLogLac = 1.0 / std::log(st.lacunarity);
  ready_ = true;
  return Result::Ok();
}

Centred LibraryNoise::Raw(double x, double y, double z, double t, double octaves, double footprint) const {
  const double o = octaves >= 1.0 ? std::min(octaves, static_cast<double>(kMaxOctaves)) : 1.0;
  const double f = footprint > 0.0 && Finite(footprint) ? footprint : 0.0;
  return info_.shape(state_, Sample{x, y, z, t, o, f});
}

float LibraryNoise::Noise(float x, float y, float z, bool absolute, float time, float octaves, float footprint) const {
  if (!ready_ || !Finite(x) || !Finite(y) || !Finite(z) || !Finite(time)) return 0.5f;
  // Flat textures are sampled at z = 0, a plane of the lattice, where gradient
  // noise is exactly 0 along every lattice edge whose two corner gradients lie
  // across it: straight seams in an absolute noise. A shift off the lattice
  // (exact in binary) keeps flat renders clear of it.
  constexpr double kSliceShift = 0.40625;
  const Centred v = Raw(x, y, static_cast<double>(z) + kSliceShift, time, octaves, footprint);
  double mean, scale;
  Statistics(info_, v.octaves, mean, scale);
  const double keep = std::clamp(v.keep, 0.0, 1.0);
  double s = (v.c - keep * mean) * scale;
  if (!Finite(s)) s = 0.0;
  const bool shaped = info_.shapedByExponent && state_.exponent != 1.0;
  if (!absolute) {
    s = std::clamp(s, -1.0, 1.0);
    if (shaped) s = std::copysign(std::pow(std::fabs(s), state_.exponent), s);
    return static_cast<float>(0.5 + 0.5 * s);
  }
  // What |s| averages to over the footprint: the part of the spread that the
  // fade removed comes back as the class's mean magnitude, so a minified
  // absolute noise keeps its brightness.
  const double lost = (1.0 - keep * keep) * info_.meanMagnitude * info_.meanMagnitude;
  double a = std::min(std::sqrt(s * s + lost), 1.0);
  if (shaped) a = std::pow(a, state_.exponent);
  return static_cast<float>(a);
}

float LibraryNoise::Noise(float x, float y, bool absolute, float time, float octaves, float footprint) const {
  // The plane z = 0 of the 3D noise, so 2D and 3D uses of a class agree.
  return Noise(x, y, 0.0f, absolute, time, octaves, footprint);
}

}  // namespace tessaroc::host::noise
