// The 31 render-noise classes of the library. Each class is one row of a
// table: its name, its default parameters, how it builds a signed value from
// the shared building blocks, and the statistics that centre and scale it.
#pragma once

#include <span>
#include <string_view>

#include "host/noise/noise_math.h"
#include "pattern/generator/noise_interface.h"

namespace tessaroc::host::noise {

// What an object knows after Init.
struct NoiseState {
  Tables tables;
  double lacunarity = 2.0;
  double gain = 0.5;
  double exponent = 1.0;
  double lacPow[kMaxOctaves];   // lacunarity^i
  double gainPow[kMaxOctaves];  // gain^i
  double specPow[kMaxOctaves];  // lacunarity^(-i exponent), the spectral weights of the multifractals
  double invLogLac = 1.0;       // 1 / ln(lacunarity)
};

// One sample as a class sees it: position, time, octaves in [1, kMaxOctaves],
// footprint >= 0.
struct Sample {
  double x, y, z, t;
  double octaves;
  double footprint;
};

// A class's value before scaling, the share of its spread that survived the
// footprint fade (1 sharp, 0 fully averaged out), and the octave count its
// statistics are looked up with.
struct Centred {
  double c;
  double keep;
  double octaves;
};

using ShapeFn = Centred (*)(const NoiseState& st, const Sample& s);

struct NoiseClassInfo {
  const char* name;
  ShapeFn shape;
  double lacunarity, gain, exponent;  // defaults for parameters <= 0
  bool shapedByExponent;              // false where the exponent has a meaning of its own
  // Scale and residual mean of the centred value, per whole octave count 1..8
  // (8 also stands for more): s = (c - mean) * scale.
  double mean[8];
  double scale[8];
  double meanMagnitude;  // mean of |s|, what an absolute value settles on under a footprint
};

// The classes in registry order.
std::span<const NoiseClassInfo> NoiseClassInfos();

// The object of one class.
class LibraryNoise final : public RenderNoiseInterface {
 public:
  explicit LibraryNoise(const NoiseClassInfo& info) : info_(info) {}

  Result Init(uint32_t seed, int32_t tablePower, const DataDictionary& parameters) override;
  float Noise(float x, float y, float z, bool absolute, float time, float octaves, float footprint) const override;
  float Noise(float x, float y, bool absolute, float time, float octaves, float footprint) const override;

  const NoiseClassInfo& info() const { return info_; }
  // The centred value before scaling, for measuring a class.
  Centred Raw(double x, double y, double z, double t, double octaves, double footprint) const;

 private:
  const NoiseClassInfo& info_;
  NoiseState state_;
  bool ready_ = false;
};

}  // namespace tessaroc::host::noise
