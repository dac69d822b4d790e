#include "pattern/color/whitebalance_node.h"

#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorA WhiteBalanceEffect(const ColorA& c, const Color& whitePoint) {
  // A zero white-point component sends its channel to black.
  auto scale = [](double w) { return w != 0.0 ? 1.0 / w : 0.0; };
  return {scale(whitePoint.r) * c.r, scale(whitePoint.g) * c.g, scale(whitePoint.b) * c.b, c.a};
}

namespace {

enum Access { kColor, kWhitePoint, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) { return WhiteBalanceEffect(c, ports.In<Color>(kWhitePoint)); }

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"whitePoint", PortDir::kIn, &kColorType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kWhitePoint, "whitePoint"}, {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},
    {kMaskGreen, "maskgreen"}, {kMaskBlue, "maskblue"},     {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, false>}};
constexpr CoreNodeDecl kNode{kWhiteBalanceId, "source/pattern/color/whitebalance_node", true, kPorts, kMicro};

}  // namespace

Result RegisterWhiteBalanceNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
