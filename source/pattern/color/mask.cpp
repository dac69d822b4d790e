#include "pattern/color/mask.h"

namespace tessaroc::pattern {

namespace {
inline double MixChannel(double input, double effect, bool masked, double blend) {
  const double candidate = masked ? effect : input;
  return (candidate - input) * blend + input;
}
}  // namespace

ColorA ApplyMask(const ColorA& input, const ColorA& effect, const MaskBlock& mask, bool alphaHasEffect) {
  return {MixChannel(input.r, effect.r, mask.red, mask.blend), MixChannel(input.g, effect.g, mask.green, mask.blend),
          MixChannel(input.b, effect.b, mask.blue, mask.blend),
          MixChannel(input.a, effect.a, alphaHasEffect && mask.alpha, mask.blend)};
}

}  // namespace tessaroc::pattern
