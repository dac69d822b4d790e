#include "host/noise/noise_math.h"

#include <numbers>

namespace tessaroc::host::noise {

namespace {

// The permutation published with improved gradient noise (Perlin 2002).
constexpr uint8_t kClassicPermutation[256] = {
    151, 160, 137, 91,  90,  15,  131, 13,  201, 95,  96,  53,  194, 233, 7,   225, 140, 36,  103, 30,  69,  142,
    8,   99,  37,  240, 21,  10,  23,  190, 6,   148, 247, 120, 234, 75,  0,   26,  197, 62,  94,  252, 219, 203,
    117, 35,  11,  32,  57,  177, 33,  88,  237, 149, 56,  87,  174, 20,  125, 136, 171, 168, 68,  175, 74,  165,
    71,  134, 139, 48,  27,  166, 77,  146, 158, 231, 83,  111, 229, 122, 60,  211, 133, 230, 220, 105, 92,  41,
    55,  46,  245, 40,  244, 102, 143, 54,  65,  25,  63,  161, 1,   216, 80,  73,  209, 76,  132, 187, 208, 89,
    18,  169, 200, 196, 135, 130, 116, 188, 159, 86,  164, 100, 109, 198, 173, 186, 3,   64,  52,  217, 226, 250,
    124, 123, 5,   202, 38,  147, 118, 126, 255, 82,  85,  212, 207, 206, 59,  227, 47,  16,  58,  17,  182, 189,
    28,  42,  223, 183, 170, 213, 119, 248, 152, 2,   44,  154, 163, 70,  221, 153, 101, 155, 167, 43,  172, 9,
    129, 22,  39,  253, 19,  98,  108, 110, 79,  113, 224, 232, 178, 185, 112, 104, 218, 246, 97,  228, 251, 34,
    242, 193, 238, 210, 144, 12,  191, 179, 162, 241, 81,  51,  145, 235, 249, 14,  239, 107, 49,  192, 214, 31,
    181, 199, 106, 157, 184, 84,  204, 176, 115, 121, 50,  45,  127, 4,   150, 254, 138, 236, 205, 93,  222, 114,
    67,  29,  24,  72,  243, 141, 128, 195, 78,  66,  215, 61,  156, 180};

}  // namespace

void SeededPermutation(uint32_t seed, uint8_t out[256]) {
  if (seed == 0) {
    for (int i = 0; i < 256; ++i) out[i] = kClassicPermutation[i];
    return;
  }
  for (int i = 0; i < 256; ++i) out[i] = static_cast<uint8_t>(i);
  SplitMix64 rng(seed);
  for (uint32_t i = 255; i >= 1; --i) {
    const uint32_t j = rng.Below(i + 1);
    const uint8_t tmp = out[i];
    out[i] = out[j];
    out[j] = tmp;
  }
}

void BuildTables(uint32_t seed, Tables& t) {
  SeededPermutation(seed, t.perm);
  for (int i = 0; i < 256; ++i) t.perm[256 + i] = t.perm[i];
  // Time layers shift x by a seeded amount; layer 0 is unshifted so that the
  // still image is plain 3D noise.
  for (int i = 0; i < 256; ++i) t.layer[i] = static_cast<uint8_t>((t.perm[i] - t.perm[0]) & 255);
  // A stream of its own for everything else, so these draws never disturb
  // the permutation of a seed.
  SplitMix64 rng(uint64_t{seed} ^ 0xD1B54A32D192ED03ull);
  t.key = static_cast<uint32_t>(rng.Next() >> 32);
  for (int i = 0; i < kMaxOctaves; ++i)
    for (int a = 0; a < 3; ++a) t.offset[i][a] = i == 0 ? 0.0 : 64.0 * rng.Unit();
  for (int k = 0; k < 256; ++k) {
    const double turn = 2.0 * std::numbers::pi * static_cast<double>(k) / 256.0;
    t.cosTurn[k] = std::cos(turn);
    t.sinTurn[k] = std::sin(turn);
  }
}

namespace {

// The 27 cubes around a sample: its own first, then the 6 sharing a face, the
// 12 sharing an edge and the 8 sharing a corner, so that the nearest points
// are usually found early and far cubes can be skipped.
struct Offset {
  int8_t x, y, z;
};
constexpr Offset kSearchOrder[27] = {
    {0, 0, 0},  {-1, 0, 0},   {1, 0, 0},   {0, -1, 0},  {0, 1, 0},  {0, 0, -1},  {0, 0, 1},   {-1, -1, 0}, {-1, 1, 0},
    {1, -1, 0}, {1, 1, 0},    {-1, 0, -1}, {-1, 0, 1},  {1, 0, -1}, {1, 0, 1},   {0, -1, -1}, {0, -1, 1},  {0, 1, -1},
    {0, 1, 1},  {-1, -1, -1}, {-1, -1, 1}, {-1, 1, -1}, {-1, 1, 1}, {1, -1, -1}, {1, -1, 1},  {1, 1, -1},  {1, 1, 1},
};

}  // namespace

void Worley(const Tables& t, double x, double y, double z, double time, Cellular& out) {
  const int64_t ix = FloorToInt(x), iy = FloorToInt(y), iz = FloorToInt(z);
  const double fx = x - static_cast<double>(ix), fy = y - static_cast<double>(iy), fz = z - static_cast<double>(iz);
  // sin(time + phase) = sin(phase) cos(time) + cos(phase) sin(time).
  const double ct = time == 0.0 ? 1.0 : std::cos(time);
  const double st = time == 0.0 ? 0.0 : std::sin(time);
  // Points stay within [0.05, 0.95] of their cube, so a neighbour whose
  // nearest possible point lies beyond the second distance found so far is
  // skipped without hashing it.
  auto reach = [](double f, int d) {
    const double g = d < 0 ? f + 0.05 : (d > 0 ? 1.05 - f : 0.0);
    return g * g;
  };
  const double rx[3] = {reach(fx, -1), 0.0, reach(fx, 1)};
  const double ry[3] = {reach(fy, -1), 0.0, reach(fy, 1)};
  const double rz[3] = {reach(fz, -1), 0.0, reach(fz, 1)};
  // The lattice hash in stages: x, then y, then z.
  uint32_t hxy[3][3];
  for (int a = 0; a < 3; ++a) {
    const uint32_t hx = Mix32(t.key ^ (static_cast<uint32_t>(ix + a - 1) * 0x9E3779B1u));
    for (int b = 0; b < 3; ++b) hxy[a][b] = Mix32(hx ^ (static_cast<uint32_t>(iy + b - 1) * 0x85EBCA77u));
  }
  double d1 = 1e300, d2 = 1e300;
  uint32_t h1 = 0;
  double p1x = 0, p1y = 0, p1z = 0;
  for (const Offset& o : kSearchOrder) {
    if (rx[o.x + 1] + ry[o.y + 1] + rz[o.z + 1] >= d2) continue;
    const int64_t cx = ix + o.x, cy = iy + o.y, cz = iz + o.z;
    const uint32_t h = Mix32(hxy[o.x + 1][o.y + 1] ^ (static_cast<uint32_t>(cz) * 0xC2B2AE3Du));
    const uint32_t a = h & 255, b = (h >> 8) & 255, c = (h >> 16) & 255;
    const double px = static_cast<double>(cx) + 0.5 + 0.45 * (t.sinTurn[a] * ct + t.cosTurn[a] * st);
    const double py = static_cast<double>(cy) + 0.5 + 0.45 * (t.sinTurn[b] * ct + t.cosTurn[b] * st);
    const double pz = static_cast<double>(cz) + 0.5 + 0.45 * (t.sinTurn[c] * ct + t.cosTurn[c] * st);
    const double ex = px - x, ey = py - y, ez = pz - z;
    const double d = ex * ex + ey * ey + ez * ez;
    if (d < d1) {
      d2 = d1;
      d1 = d;
      h1 = h;
      p1x = px;
      p1y = py;
      p1z = pz;
    } else if (d < d2) {
      d2 = d;
    }
  }
  out.f1 = std::sqrt(d1);
  out.f2 = std::sqrt(d2);
  out.hash = h1;
  out.id = CellId(h1);
  out.px = p1x;
  out.py = p1y;
  out.pz = p1z;
}

}  // namespace tessaroc::host::noise
