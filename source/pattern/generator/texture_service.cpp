#include "pattern/generator/texture_service.h"

#include <atomic>

namespace tessaroc {

constinit const DataType kLayerSetType = MakeDataType<LayerSet>("net.zovan.interface.layerset", "LayerSet");

}  // namespace tessaroc

namespace tessaroc::pattern {

constinit const DataType kThreadedTextureType =
    MakeDataType<ThreadedTextureRef>("net.zovan.render.interface.threadedtexture", "ThreadedTextureRef");

namespace {
std::atomic<TextureService*> gTextureService{nullptr};
}

TextureService* GetTextureService() { return gTextureService.load(std::memory_order_acquire); }
void SetTextureService(TextureService* service) { gTextureService.store(service, std::memory_order_release); }

}  // namespace tessaroc::pattern
