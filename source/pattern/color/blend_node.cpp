#include "pattern/color/blend_node.h"

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/pixel_blend.h"

namespace tessaroc::pattern {

namespace {

const InternedId& Compositing() { return Interned<"compositing">(); }
const InternedId& BackgroundAlpha() { return Interned<"background">(); }
const InternedId& ForegroundAlpha() { return Interned<"foreground">(); }
const InternedId& ZeroAlpha() { return Interned<"zero">(); }
const InternedId& OneAlpha() { return Interned<"one">(); }

}  // namespace

ColorA FinishBlend(const ColorA& background, const ColorA& foreground, const ColorA& blended, const MaskBlock& mask,
                   const InternedId& alphaHandling) {
  ColorA out = ApplyMask(background, blended, mask, true);
  if (!mask.alpha) {
    out.a = background.a;
  } else if (alphaHandling == Compositing()) {
    const double q = mask.blend * foreground.a;
    out.a = (q + background.a) - background.a * q;
  } else if (alphaHandling == BackgroundAlpha()) {
    out.a = background.a;
  } else if (alphaHandling == ForegroundAlpha()) {
    out.a = foreground.a;
  } else if (alphaHandling == ZeroAlpha()) {
    out.a = 0.0;
  } else if (alphaHandling == OneAlpha()) {
    out.a = 1.0;
  }
  // "blend", empty and unknown handlings keep what the mask rule gave.
  return out;
}

namespace {

enum Access {
  kBackground,
  kForeground,
  kBlendMode,
  kAlphaHandling,
  kMaskBlend,
  kMaskRed,
  kMaskGreen,
  kMaskBlue,
  kMaskAlpha,
  kResult,
  kLastBlendMode,
  kHandlerRef,
};

constexpr Id kOverMode{kOverBlendModeId};

void BlendKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const Id& mode = ports.In<Id>(kBlendMode);
  Id& lastMode = ports.Out<Id>(kLastBlendMode);
  BlendPixelHandlerRef& cached = ports.Out<BlendPixelHandlerRef>(kHandlerRef);

  // The handler is found once per mode; per sample this is one id compare,
  // which tests the hash word before any text.
  if (!(mode == lastMode) || !cached) {
    const ImagePixelBlendInterface* blendClass = BlendModeClasses().Find(mode.empty() ? kOverMode : mode);
    BlendPixelHandlerRef made;
    Result r = MakeBlendPixelHandler(blendClass, made);
    if (r.failed()) {
      result = std::move(r);
      return;
    }
    cached = std::move(made);
    lastMode = mode;
  }

  // A reference of our own for the call, so that replacing the cached handler
  // can never free one in use.
  const BlendPixelHandlerRef handler = cached;
  const ColorA background = ports.In<ColorA>(kBackground);
  const ColorA foreground = ports.In<ColorA>(kForeground);
  ColorA blended{0.0, 0.0, 0.0, 1.0};
  Result r = handler.Blend(blended, background, foreground);
  if (r.failed()) {
    result = std::move(r);
    return;
  }
  ports.Out<ColorA>(kResult) =
      FinishBlend(background, foreground, blended, ReadMask(ports, kMaskBlend), ports.In<InternedId>(kAlphaHandling));
}

constexpr uint32_t kPrivate = MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP;

constexpr PortDecl kPorts[] = {
    kMaskBlendPort,
    kMaskRedPort,
    kMaskGreenPort,
    kMaskBluePort,
    kMaskAlphaPort,
    {"background", PortDir::kIn, &kColorAType},
    {"foreground", PortDir::kIn, &kColorAType},
    {"blendMode", PortDir::kIn, &kIdType},
    {"alphaHandling", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kColorAType},
    {"lastBlendMode", PortDir::kOut, &kIdType, kPrivate},
    {"blendPixelHandlerRef", PortDir::kOut, &kBlendPixelHandlerRefType, kPrivate},
};
constexpr AccessDecl kAccess[] = {
    {kBackground, "background"},       {kForeground, "foreground"},
    {kBlendMode, "blendMode"},         {kAlphaHandling, "alphaHandling"},
    {kMaskBlend, "maskblend"},         {kMaskRed, "maskred"},
    {kMaskGreen, "maskgreen"},         {kMaskBlue, "maskblue"},
    {kMaskAlpha, "maskalpha"},         {kResult, "result"},
    {kLastBlendMode, "lastBlendMode"}, {kHandlerRef, "blendPixelHandlerRef"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &BlendKernel}};
constexpr CoreNodeDecl kNode{kBlendId, "source/pattern/color/blend_node", true, kPorts, kMicro};

}  // namespace

Result RegisterBlendNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
