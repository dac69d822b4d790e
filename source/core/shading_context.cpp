#include "tessaroc/core/shading_context.h"

#include <cmath>

namespace tessaroc {

namespace {
// Max and min of three where a NaN never wins a comparison.
void Spread(double a, double b, double c, double& hi, double& lo) {
  hi = a;
  lo = a;
  if (b > hi) hi = b;
  if (c > hi) hi = c;
  if (lo > b) lo = b;
  if (lo > c) lo = c;
}
}  // namespace

UvwFootprint ComputeUvwFootprint(const ShadingContext& ctx) {
  double maxU, minU, maxV, minV;
  Spread(ctx.uvw.x, ctx.uvwdx.x, ctx.uvwdy.x, maxU, minU);
  Spread(ctx.uvw.y, ctx.uvwdx.y, ctx.uvwdy.y, maxV, minV);
  if (maxU >= minU && maxV >= minV) return {maxU - minU, maxV - minV};
  return {0.0, 0.0};
}

int64_t FrameNumber(double time, double rate) {
  const double scaled = time * rate;
  const double shifted = time >= 0 ? scaled + 0.001 : scaled - 0.001;
  if (!(std::fabs(shifted) < 9.2233720368547758e18)) {
    if (std::isnan(shifted)) return 0;
    return shifted > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
  }
  return static_cast<int64_t>(shifted);
}

}  // namespace tessaroc
