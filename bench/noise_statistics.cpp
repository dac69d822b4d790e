// Not a benchmark: measures the statistics in the class table of
// source/host/noise/noise_classes.cpp, so that a changed class can be measured
// again the way the others were (seed 0, default parameters, 2^15 uniform
// samples in a cube 1000 units wide, per whole octave count 1..8).
//   build/bench/noise_statistics            every class
//   build/bench/noise_statistics pezo mod   some of them
// Per class it prints the mean and the scale that would centre it and put
// three standard deviations at 1, and the mean of |s| at 5 octaves with the
// statistics the table holds now (meanMagnitude). Classes that are symmetric
// by construction keep mean 0 and scale 1 in the table; only their mean |s|
// is taken from here.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host/noise/noise_classes.h"

using namespace tessaroc;
using namespace tessaroc::host::noise;

namespace {

constexpr int kSamples = 1 << 15;

template <class F>
void ForSamples(uint64_t stream, F f) {
  SplitMix64 rng(stream);
  for (int i = 0; i < kSamples; ++i) {
    const double x = (rng.Unit() - 0.5) * 1000.0, y = (rng.Unit() - 0.5) * 1000.0, z = (rng.Unit() - 0.5) * 1000.0;
    f(x, y, z);
  }
}

void PrintRow(const char* label, const double (&v)[8]) {
  std::printf("  %s {", label);
  for (int i = 0; i < 8; ++i) std::printf("%.4f%s", v[i], i < 7 ? ", " : "}\n");
}

}  // namespace

int main(int argc, char** argv) {
  for (const NoiseClassInfo& info : NoiseClassInfos()) {
    bool wanted = argc < 2;
    for (int a = 1; a < argc; ++a) wanted = wanted || std::strcmp(argv[a], info.name) == 0;
    if (!wanted) continue;
    LibraryNoise noise(info);
    if (noise.Init(0, kNoiseTablePower, DataDictionary()).failed()) return 1;
    double mean[8], scale[8];
    for (int o = 1; o <= 8; ++o) {
      double s = 0, s2 = 0;
      ForSamples(12345, [&](double x, double y, double z) {
        const double c = noise.Raw(x, y, z, 0.0, o, 0.0).c;
        s += c;
        s2 += c * c;
      });
      mean[o - 1] = s / kSamples;
      scale[o - 1] = 1.0 / (3.0 * std::sqrt(s2 / kSamples - mean[o - 1] * mean[o - 1]));
    }
    double magnitude = 0;
    ForSamples(999, [&](double x, double y, double z) {
      const double v = (noise.Raw(x, y, z, 0.0, 5.0, 0.0).c - info.mean[4]) * info.scale[4];
      magnitude += std::fabs(std::fmax(-1.0, std::fmin(1.0, v)));
    });
    std::printf("%s\n", info.name);
    PrintRow("mean ", mean);
    PrintRow("scale", scale);
    std::printf("  meanMagnitude %.4f\n", magnitude / kSamples);
  }
  return 0;
}
