// Thin film: the interference colour of a thin coating, summed over a
// wavelength grid. thinfilmpre averages the colour matching functions over
// the grid's bins once per instance; thinfilm sums the film's reflectance per
// sample.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tessaroc/core/data_type.h"
#include "tessaroc/core/registry.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

inline constexpr const char* kThinFilmPreId = "net.zovan.pattern.corenode.generator.thinfilmpre";
inline constexpr const char* kThinFilmId = "net.zovan.pattern.corenode.generator.thinfilm";

// What thinfilmpre prepares: per bin of the 400-700 nm range, the average of
// x̄, ȳ, z̄ over the bin. Empty (count 0) until first filled.
struct ThinFilmInit {
  std::vector<std::array<double, 3>> samples;
  int64_t count = 0;
  float step = 0.0f;   // 1 / count
  float scale = 0.0f;  // (step * 300) / the integral of ȳ, so that Y is normalised
};
extern const DataType kThinFilmInitType;

// The integral of ȳ over the 1 nm table, which normalises luminance.
inline constexpr float kThinFilmYIntegral = 106.85689544677734f;

// The average of a table v over wavelengths L (the 1 nm table's) between s and
// e: the piecewise-linear curve integrated and divided by e - s, with the end
// values held outside the table.
float SpectrumAverage(const float* wavelengths, const float* values, size_t count, float s, float e);

// The most wavelength bins a film takes: every sample sums all of them, and
// each holds 24 bytes, so this bounds both time and memory (24 MB).
inline constexpr int64_t kMaxThinFilmBins = 1000000;

// Fills `init` for `samples` bins (at least one) unless it already holds that
// many. More than kMaxThinFilmBins is an error, checked before allocating; it
// fails otherwise only when out of memory, leaving `init` as it was.
Result FillThinFilmInit(int64_t samples, ThinFilmInit& init);

struct ThinFilmParams {
  double ior = 1.33;
  double thickness = 500.0;  // nm
  double variation = 0.0;    // nm, added to the thickness
};

// The film's colour for a sample: black with alpha 0 where uvw is invalid,
// white at total internal reflection.
ColorA ThinFilmColor(const ShadingContext& ctx, const ThinFilmParams& params, const ThinFilmInit& init);

Result RegisterThinFilmNodes(CoreNodeRegistry& registry);

}  // namespace tessaroc::pattern
