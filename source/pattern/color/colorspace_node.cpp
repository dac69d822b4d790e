#include "pattern/color/colorspace_node.h"

#include "pattern/color/color_math.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

ColorSpace ColorSpaceFromId(const InternedId& id) {
  static const InternedId kRgb = InternedId::Intern("rgb");
  static const InternedId kHsv = InternedId::Intern("hsv");
  static const InternedId kHsl = InternedId::Intern("hsl");
  static const InternedId kXyz = InternedId::Intern("xyz");
  static const InternedId kCmy = InternedId::Intern("cmy");
  if (id.empty()) return ColorSpace::kNone;
  if (id == kRgb) return ColorSpace::kRgb;
  if (id == kHsv) return ColorSpace::kHsv;
  if (id == kHsl) return ColorSpace::kHsl;
  if (id == kXyz) return ColorSpace::kXyz;
  if (id == kCmy) return ColorSpace::kCmy;
  return ColorSpace::kNone;
}

namespace {

Color ToRgb(ColorSpace from, const Color& c) {
  switch (from) {
    case ColorSpace::kHsv: return HsvToRgb(c.r, c.g, c.b);
    case ColorSpace::kHsl: return HslToRgb(c.r, c.g, c.b);
    case ColorSpace::kXyz: return XyzToRgb(c.r, c.g, c.b);
    case ColorSpace::kCmy: return {1.0 - c.r, 1.0 - c.g, 1.0 - c.b};
    case ColorSpace::kRgb:
    case ColorSpace::kNone: break;
  }
  return c;
}

Color FromRgb(ColorSpace to, const Color& c) {
  switch (to) {
    case ColorSpace::kHsv: {
      const Hsv v = RgbToHsv(c.r, c.g, c.b);
      return {v.h, v.s, v.v};
    }
    case ColorSpace::kHsl: {
      const Hsl v = RgbToHsl(c.r, c.g, c.b);
      return {v.h, v.s, v.l};
    }
    case ColorSpace::kXyz: {
      const Xyz v = RgbToXyz(c.r, c.g, c.b);
      return {v.x, v.y, v.z};
    }
    case ColorSpace::kCmy: return {1.0 - c.r, 1.0 - c.g, 1.0 - c.b};
    case ColorSpace::kRgb:
    case ColorSpace::kNone: break;
  }
  return c;
}

}  // namespace

ColorA ConvertColorSpace(const ColorA& c, ColorSpace from, ColorSpace to) {
  if (from == ColorSpace::kNone || to == ColorSpace::kNone || from == to) return c;
  const Color out = FromRgb(to, ToRgb(from, {c.r, c.g, c.b}));
  return {out.r, out.g, out.b, c.a};
}

namespace {

enum Access { kColor, kInSpace, kOutSpace, kMaskBlend, kMaskRed, kMaskGreen, kMaskBlue, kMaskAlpha, kResult };

ColorA Effect(const ColorA& c, const PortAccess& ports) {
  return ConvertColorSpace(c, ColorSpaceFromId(ports.In<InternedId>(kInSpace)),
                           ColorSpaceFromId(ports.In<InternedId>(kOutSpace)));
}

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"color", PortDir::kIn, &kColorAType},
    {"incolorspace", PortDir::kIn, &kInternedIdType},
    {"outcolorspace", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kColorAType},
};
constexpr AccessDecl kAccess[] = {
    {kColor, "color"},         {kInSpace, "incolorspace"}, {kOutSpace, "outcolorspace"},
    {kMaskBlend, "maskblend"}, {kMaskRed, "maskred"},      {kMaskGreen, "maskgreen"},
    {kMaskBlue, "maskblue"},   {kMaskAlpha, "maskalpha"},  {kResult, "result"},
};
static_assert(AccessInOrder(kAccess));
// No alpha effect: maskalpha is declared but not read.
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &MaskedEffectKernel<Effect, kColor, kMaskBlend, kResult, false>}};
constexpr CoreNodeDecl kNode{kColorSpaceId, "source/pattern/color/colorspace_node", true, kPorts, kMicro};

}  // namespace

Result RegisterColorSpaceNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
