// The building blocks of the noise library: seeded tables, lattice hashes,
// gradient noise in 3D and 4D, cellular (Worley) distances with moving
// feature points, and the footprint fade. Everything here is integer or
// IEEE-double arithmetic with a fixed order of operations, so a seed gives the
// same values on every platform.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace tessaroc::host::noise {

inline constexpr int kMaxOctaves = 16;

// ---- Seeding

// Vigna's SplitMix64.
class SplitMix64 {
 public:
  explicit constexpr SplitMix64(uint64_t seed) : state_(seed) {}
  constexpr uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15ull;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // Uniform in [0, n) without modulo bias: draws are redrawn above the last
  // whole multiple of n.
  constexpr uint32_t Below(uint32_t n) {
    const uint64_t limit = (uint64_t{1} << 32) - ((uint64_t{1} << 32) % n);
    for (;;) {
      const uint64_t x = Next() >> 32;
      if (x < limit) return static_cast<uint32_t>(x % n);
    }
  }
  // Uniform in [0, 1) with 53 bits.
  constexpr double Unit() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }

 private:
  uint64_t state_;
};

// The permutation of 0..255 for a seed: seed 0 is the classic published table
// of improved gradient noise; every other seed shuffles 0..255 with
// Fisher-Yates driven by SplitMix64. (std::shuffle and the standard
// distributions are not used: their algorithms differ between libraries.)
void SeededPermutation(uint32_t seed, uint8_t out[256]);

// Murmur3's 32-bit finaliser.
constexpr uint32_t Mix32(uint32_t h) {
  h ^= h >> 16;
  h *= 0x85EBCA6Bu;
  h ^= h >> 13;
  h *= 0xC2B2AE35u;
  h ^= h >> 16;
  return h;
}

// A hash of an integer lattice point and a key.
constexpr uint32_t HashCell(int64_t x, int64_t y, int64_t z, uint32_t key) {
  uint32_t h = Mix32(key ^ (static_cast<uint32_t>(x) * 0x9E3779B1u));
  h = Mix32(h ^ (static_cast<uint32_t>(y) * 0x85EBCA77u));
  return Mix32(h ^ (static_cast<uint32_t>(z) * 0xC2B2AE3Du));
}

constexpr double ToUnit(uint32_t h) { return static_cast<double>(h) * (1.0 / 4294967296.0); }

// floor() as an integer; NaN gives 0 and huge values saturate, so every input
// has a defined lattice cell.
inline int64_t FloorToInt(double v) {
  if (!(v > -4.0e18 && v < 4.0e18))
    return v > 0 ? int64_t{4000000000000000000} : (v < 0 ? -int64_t{4000000000000000000} : 0);
  const double f = std::floor(v);
  return static_cast<int64_t>(f);
}

// ---- Curves

// Perlin's quintic fade 6t^5 - 15t^4 + 10t^3.
inline double Fade(double t) { return t * t * t * (t * (t * 6.0 - 15.0) + 10.0); }
inline double Lerp(double t, double a, double b) { return a + t * (b - a); }
inline double SmoothStep(double e0, double e1, double x) {
  double t = (x - e0) / (e1 - e0);
  t = t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t);
  return t * t * (3.0 - 2.0 * t);
}
// How much of a feature survives a footprint of `w` feature periods: 1 up to
// 0.2, 0 from 0.6 on.
inline double FootprintKeep(double w) { return w <= 0.2 ? 1.0 : 1.0 - SmoothStep(0.2, 0.6, w); }

// ---- Per-object tables

struct Tables {
  uint8_t perm[512];              // the permutation, twice
  uint8_t layer[256];             // per time layer: a shift of x with layer[0] == 0
  uint32_t key = 0;               // key of the lattice hashes
  double offset[kMaxOctaves][3];  // per-octave shift; octave 0 is not shifted
  double cosTurn[256];            // cos and sin of 2 pi k / 256: phases of moving points
  double sinTurn[256];
};

// Fills every table from a seed.
void BuildTables(uint32_t seed, Tables& t);

// ---- Gradient noise

// Improved gradient noise (Perlin 2002): the 12 edge gradients of a cube
// picked by h & 15, quintic fade. Exactly 0 on lattice points; in [-1, 1].
//
// Written without branches: the hash is random, so branches on it would be
// mispredicted half the time, eight corners per lookup. The picks come from
// tables and the signs are flipped by their bit, exactly as a negation does;
// the result is that of u = hh < 8 ? x : y, v = hh < 4 ? y : (hh == 12 or 14
// ? x : z), (hh & 1 ? -u : u) + (hh & 2 ? -v : v).
inline constexpr uint64_t kSignBit = uint64_t{1} << 63;
inline double FlipSign(double a, uint64_t sign) { return std::bit_cast<double>(std::bit_cast<uint64_t>(a) ^ sign); }
inline double Grad3(uint32_t h, double x, double y, double z) {
  static constexpr uint8_t kPickU[16] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1};
  static constexpr uint8_t kPickV[16] = {1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 0, 2, 0, 2};
  const uint32_t hh = h & 15;
  const double c[3] = {x, y, z};
  return FlipSign(c[kPickU[hh]], (hh & 1) != 0 ? kSignBit : 0) + FlipSign(c[kPickV[hh]], (hh & 2) != 0 ? kSignBit : 0);
}

// One w-layer of the 4D noise: the 3D lattice hashed with x shifted by the
// layer's shift; bit 4 of the hash gives the sign of the w gradient.
inline double GradientLayer(const Tables& t, int64_t ix, int64_t iy, int64_t iz, double x, double y, double z,
                            uint32_t shift, double w, double u, double v, double s) {
  const uint8_t* P = t.perm;
  const uint32_t X = static_cast<uint32_t>((ix + shift) & 255);
  const uint32_t Y = static_cast<uint32_t>(iy & 255);
  const uint32_t Z = static_cast<uint32_t>(iz & 255);
  const uint32_t A = P[X] + Y, AA = P[A] + Z, AB = P[A + 1] + Z;
  const uint32_t B = P[X + 1] + Y, BA = P[B] + Z, BB = P[B + 1] + Z;
  auto g = [w](uint32_t h, double gx, double gy, double gz) {
    return Grad3(h, gx, gy, gz) + FlipSign(w, (h & 16) != 0 ? 0 : kSignBit);
  };
  return Lerp(s,
              Lerp(v, Lerp(u, g(P[AA], x, y, z), g(P[BA], x - 1, y, z)),
                   Lerp(u, g(P[AB], x, y - 1, z), g(P[BB], x - 1, y - 1, z))),
              Lerp(v, Lerp(u, g(P[AA + 1], x, y, z - 1), g(P[BA + 1], x - 1, y, z - 1)),
                   Lerp(u, g(P[AB + 1], x, y - 1, z - 1), g(P[BB + 1], x - 1, y - 1, z - 1))));
}

// 3D improved noise with the object's permutation.
inline double Gradient3(const Tables& t, double x, double y, double z) {
  const int64_t ix = FloorToInt(x), iy = FloorToInt(y), iz = FloorToInt(z);
  x -= static_cast<double>(ix);
  y -= static_cast<double>(iy);
  z -= static_cast<double>(iz);
  const uint8_t* P = t.perm;
  const uint32_t X = static_cast<uint32_t>(ix & 255), Y = static_cast<uint32_t>(iy & 255),
                 Z = static_cast<uint32_t>(iz & 255);
  const double u = Fade(x), v = Fade(y), s = Fade(z);
  const uint32_t A = P[X] + Y, AA = P[A] + Z, AB = P[A + 1] + Z;
  const uint32_t B = P[X + 1] + Y, BA = P[B] + Z, BB = P[B + 1] + Z;
  return Lerp(s,
              Lerp(v, Lerp(u, Grad3(P[AA], x, y, z), Grad3(P[BA], x - 1, y, z)),
                   Lerp(u, Grad3(P[AB], x, y - 1, z), Grad3(P[BB], x - 1, y - 1, z))),
              Lerp(v, Lerp(u, Grad3(P[AA + 1], x, y, z - 1), Grad3(P[BA + 1], x - 1, y, z - 1)),
                   Lerp(u, Grad3(P[AB + 1], x, y - 1, z - 1), Grad3(P[BB + 1], x - 1, y - 1, z - 1))));
}

// 4D gradient noise, time as w. Its w = 0 slice is exactly Gradient3, so a
// still image costs 8 corners and animation starts from it without a jump.
inline double Gradient4(const Tables& t, double x, double y, double z, double w) {
  if (w == 0.0) return Gradient3(t, x, y, z);
  const int64_t ix = FloorToInt(x), iy = FloorToInt(y), iz = FloorToInt(z), iw = FloorToInt(w);
  x -= static_cast<double>(ix);
  y -= static_cast<double>(iy);
  z -= static_cast<double>(iz);
  w -= static_cast<double>(iw);
  const double u = Fade(x), v = Fade(y), s = Fade(z), r = Fade(w);
  const uint32_t l0 = t.layer[iw & 255], l1 = t.layer[(iw + 1) & 255];
  return Lerp(r, GradientLayer(t, ix, iy, iz, x, y, z, l0, w, u, v, s),
              GradientLayer(t, ix, iy, iz, x, y, z, l1, w - 1.0, u, v, s));
}

// ---- Cell noise

// A random value in [0, 1) per unit cube, cross-faded between integer times.
// Time 0 is the first of those values like any other time, so that an
// animation starting there moves smoothly.
inline double CellValue(const Tables& t, double x, double y, double z, double time) {
  const int64_t ix = FloorToInt(x), iy = FloorToInt(y), iz = FloorToInt(z);
  const uint32_t h = HashCell(ix, iy, iz, t.key);
  const int64_t it = FloorToInt(time);
  const double f = Fade(time - static_cast<double>(it));
  const double a = ToUnit(Mix32(h ^ (static_cast<uint32_t>(it) * 0x27D4EB2Fu)));
  const double b = ToUnit(Mix32(h ^ (static_cast<uint32_t>(it + 1) * 0x27D4EB2Fu)));
  return Lerp(f, a, b);
}

// ---- Cellular noise

struct Cellular {
  double f1 = 0, f2 = 0;          // distances to the nearest and second nearest point
  uint32_t id = 1;                // positive id of the nearest point's cell
  uint32_t hash = 0;              // that cell's full hash
  double px = 0, py = 0, pz = 0;  // the nearest point
};

// One feature point per unit cube, moving on a closed path inside it: each
// axis sits at 0.5 + 0.45 sin(time + 2 pi phase). The 27 cubes around the
// sample are searched.
void Worley(const Tables& t, double x, double y, double z, double time, Cellular& out);

// A cell's id: positive, never 0, so every cell counts as a feature.
constexpr uint32_t CellId(uint32_t hash) {
  const uint32_t id = (hash ^ (hash >> 31)) & 0x7FFFFFFFu;
  return id == 0 ? 1u : id;
}

}  // namespace tessaroc::host::noise
