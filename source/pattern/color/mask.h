// The mask block shared by the colour effects: maskblend, maskred, maskgreen,
// maskblue, maskalpha, and the rule that mixes an effect into its input.
#pragma once

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/micronode.h"
#include "core/node_decl.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc::pattern {

struct MaskBlock {
  double blend = 1.0;
  bool red = true;
  bool green = true;
  bool blue = true;
  bool alpha = true;
};

// A Bool port is one byte; any non-zero byte is true.
inline bool ReadBool(const PortAccess& ports, int index) {
  return *static_cast<const uint8_t*>(ports.slot(index).value) != 0;
}

// Reads the five mask ports, which stand at consecutive access indices.
inline MaskBlock ReadMask(const PortAccess& ports, int first) {
  return {ports.In<double>(first), ReadBool(ports, first + 1), ReadBool(ports, first + 2), ReadBool(ports, first + 3),
          ReadBool(ports, first + 4)};
}

// Per channel: candidate = effect where the channel's mask is set, else the
// input; result = (candidate - input) * blend + input. No clamp and no special
// case: a false mask still goes through the formula. `alphaHasEffect` false
// means the node defines no alpha effect and maskalpha is not read. Inline:
// called out of line, its result came back through memory in pieces that the
// caller's wider loads had to wait for.
inline double MixChannel(double input, double effect, bool masked, double blend) {
  const double candidate = masked ? effect : input;
  return (candidate - input) * blend + input;
}
inline ColorA ApplyMask(const ColorA& input, const ColorA& effect, const MaskBlock& mask, bool alphaHasEffect) {
  return {MixChannel(input.r, effect.r, mask.red, mask.blend), MixChannel(input.g, effect.g, mask.green, mask.blend),
          MixChannel(input.b, effect.b, mask.blue, mask.blend),
          MixChannel(input.a, effect.a, alphaHasEffect && mask.alpha, mask.blend)};
}

// The mask ports as a node declares them, in creation order.
inline constexpr PortDecl kMaskBlendPort{"maskblend", PortDir::kIn, &kFloat64Type};
inline constexpr PortDecl kMaskRedPort{"maskred", PortDir::kIn, &kBoolType};
inline constexpr PortDecl kMaskGreenPort{"maskgreen", PortDir::kIn, &kBoolType};
inline constexpr PortDecl kMaskBluePort{"maskblue", PortDir::kIn, &kBoolType};
inline constexpr PortDecl kMaskAlphaPort{"maskalpha", PortDir::kIn, &kBoolType};

// The kernel shape of every masked effect: read `color` and the mask, compute
// the effect from the ports, mix it in, write `result`. Nothing fails. The
// effect is compiled into the kernel (flatten), so that its colour stays in
// registers instead of coming back through memory.
template <ColorA (*Effect)(const ColorA&, const PortAccess&), int kColor, int kMaskFirst, int kResult,
          bool kAlphaEffect>
[[gnu::flatten]] void MaskedEffectKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ColorA input = ports.In<ColorA>(kColor);
  const MaskBlock mask = ReadMask(ports, kMaskFirst);
  ports.Out<ColorA>(kResult) = ApplyMask(input, Effect(input, ports), mask, kAlphaEffect);
}

}  // namespace tessaroc::pattern
