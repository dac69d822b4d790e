#include "pattern/color/colorprofile_node.h"

#include <cmath>

#include "core/srgb.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

Profile ProfileFromId(const InternedId& id) {
  static const InternedId kSrgb = InternedId::Intern("srgb");
  static const InternedId kGamma = InternedId::Intern("gamma");
  static const InternedId kRec709 = InternedId::Intern("rec709");
  static const InternedId kCineon = InternedId::Intern("cineon");
  if (id.empty()) return Profile::kLinear;
  if (id == kSrgb) return Profile::kSrgb;
  if (id == kGamma) return Profile::kGamma;
  if (id == kRec709) return Profile::kRec709;
  if (id == kCineon) return Profile::kCineon;
  return Profile::kLinear;
}

double DecodeProfile(Profile p, double x, const ProfileParams& params) {
  switch (p) {
    case Profile::kSrgb: return SrgbToLinear(x);
    case Profile::kGamma: return std::pow(x, params.gamma);
    case Profile::kRec709:
      // A product above the knee, not the inverse power of the encode: the
      // pair is deliberately not a round trip there.
      return x >= 0.081 ? 2.2222222222222223 * ((x + 0.099) / 1.099) : x / 4.5;
    case Profile::kCineon:
      return (std::pow(10.0, (1023.0 * std::pow(x, params.filmGamma) - params.whitePoint) / params.blackPoint) -
              0.0108) /
             0.9892;
    case Profile::kLinear: break;
  }
  return x;
}

double EncodeProfile(Profile p, double x, const ProfileParams& params) {
  switch (p) {
    case Profile::kSrgb: return LinearToSrgb(x);
    case Profile::kGamma: return params.gamma > 0.0 ? std::pow(x, 1.0 / params.gamma) : 0.0;
    case Profile::kRec709: return x >= 0.018 ? std::pow(x, 0.45) * 1.099 - 0.099 : x * 4.5;
    case Profile::kCineon:
      return (std::log10(std::pow(x, 1.0 / params.filmGamma) * 0.9892 + 0.0108) * params.blackPoint +
              params.whitePoint) /
             1023.0;
    case Profile::kLinear: break;
  }
  return x;
}

ColorA ColorProfileEffect(const ColorA& c, Profile in, Profile out, bool forward, const ProfileParams& params) {
  const Profile first = forward ? in : out;
  const Profile second = forward ? out : in;
  double v[4] = {c.r, c.g, c.b, c.a};
  if (first != Profile::kLinear)
    for (double& x : v) x = DecodeProfile(first, x, params);
  if (second != Profile::kLinear)
    for (double& x : v) x = EncodeProfile(second, x, params);
  return {v[0], v[1], v[2], v[3]};
}

namespace {

enum Access {
  kColor,
  kInProfile,
  kOutProfile,
  kDirection,
  kGamma,
  kFilmGamma,
  kBlackPoint,
  kWhitePoint,
  kMaskBlend,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kResult
};

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  static const InternedId kForward = InternedId::Intern("forward");
  const ProfileParams params{ports.In<double>(kGamma), ports.In<double>(kFilmGamma), ports.In<double>(kBlackPoint),
                             ports.In<double>(kWhitePoint)};
  return ColorProfileEffect(c, ProfileFromId(ports.In<InternedId>(kInProfile)),
                            ProfileFromId(ports.In<InternedId>(kOutProfile)),
                            ports.In<InternedId>(kDirection) == kForward, params);
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"inProfile", PortDir::kIn, &kInternedIdType},
    {"outProfile", PortDir::kIn, &kInternedIdType},
    {"direction", PortDir::kIn, &kInternedIdType},
    {"gamma", PortDir::kIn, &kFloat64Type},
    {"filmgamma", PortDir::kIn, &kFloat64Type},
    {"blackpoint", PortDir::kIn, &kFloat64Type},
    {"whitepoint", PortDir::kIn, &kFloat64Type},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kInProfile, "inProfile"}, {kOutProfile, "outProfile"}, {kDirection, "direction"},
    {kGamma, "gamma"},         {kFilmGamma, "filmgamma"}, {kBlackPoint, "blackpoint"}, {kWhitePoint, "whitepoint"},
    {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},     {kMaskGreen, "maskgreen"},   {kMaskBlue, "maskblue"},
    {kMaskAlpha, "maskalpha"}, {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, true>}};
constexpr CoreNodeDecl kNode{kColorProfileId, "source/pattern/color/colorprofile_node", true, kPorts, kMicro};

}  // namespace

Result RegisterColorProfileNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
