#include "pattern/color/pixel_blend.h"

#include <cstddef>
#include <new>

namespace tessaroc::pattern {

namespace {

class RgbaF64Format final : public PixelFormatInterface {
 public:
  const Id& GetId() const override { return id_; }
  Result GetChannelOffsets(ChannelOffsets& out) const override {
    out.channelCount = 4;
    out.bitsPerChannel = 64;
    out.bitsPerPixel = static_cast<int32_t>(sizeof(ColorA) * 8);
    out.offsets = {static_cast<int32_t>(offsetof(ColorA, r) * 8), static_cast<int32_t>(offsetof(ColorA, g) * 8),
                   static_cast<int32_t>(offsetof(ColorA, b) * 8), static_cast<int32_t>(offsetof(ColorA, a) * 8)};
    return Result::Ok();
  }

 private:
  Id id_{kRgbaF64PixelFormatId};
};

}  // namespace

const PixelFormatInterface& RgbaF64PixelFormat() {
  static const RgbaF64Format format;
  return format;
}

constinit const DataType kBlendPixelHandlerRefType =
    MakeDataType<BlendPixelHandlerRef>(kBlendPixelHandlerRefTypeId, "tessaroc::pattern::BlendPixelHandlerRef");

BlendPixelHandler* BlendPixelHandler::Make(BlendPixelDelegates&& delegates) noexcept {
  auto* handler = new (std::nothrow) BlendPixelHandler(std::move(delegates));
  if (handler == nullptr && delegates.release.call) {
    delegates.release.call(delegates.release.context);
    delegates = {};
  }
  return handler;
}

ClassRegistry<ImagePixelBlendInterface>& BlendModeClasses() {
  static ClassRegistry<ImagePixelBlendInterface> registry(kBlendModeClassesRegistryId);
  return registry;
}

Result MakeBlendPixelHandler(const ImagePixelBlendInterface* blendClass, BlendPixelHandlerRef& out) {
  const PixelFormatInterface& format = RgbaF64PixelFormat();
  ChannelOffsets destination, source;
  TESSAROC_RETURN_IF_FAILED(format.GetChannelOffsets(destination));
  TESSAROC_RETURN_IF_FAILED(format.GetChannelOffsets(source));
  if (blendClass == nullptr) return Result::Fail(errors::kNullPtr, "no blend-mode class");

  BlendPixelDelegates delegates;
  TESSAROC_RETURN_IF_FAILED(blendClass->GetBlendPixelHandler(format, destination, format, source, 1.0, delegates));
  if (delegates.blend.call == nullptr) {
    if (delegates.release.call) delegates.release.call(delegates.release.context);
    return Result::Fail(errors::kNullPtr, "the blend-mode class gave no pixel handler");
  }
  BlendPixelHandler* handler = BlendPixelHandler::Make(std::move(delegates));
  if (handler == nullptr) return Result::Fail(errors::kOutOfMemory, "cannot allocate a pixel handler");
  out = BlendPixelHandlerRef::Adopt(handler);
  return Result::Ok();
}

}  // namespace tessaroc::pattern
