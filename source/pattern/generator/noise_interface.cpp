#include "pattern/generator/noise_interface.h"

namespace tessaroc {

Result DataDictionary::Set(int64_t key, double value) {
  for (auto& e : entries_)
    if (e.first == key) {
      e.second = value;
      return Result::Ok();
    }
  entries_.emplace_back(key, value);
  return Result::Ok();
}

double DataDictionary::Get(int64_t key, double fallback) const {
  for (const auto& e : entries_)
    if (e.first == key) return e.second;
  return fallback;
}

bool DataDictionary::Has(int64_t key) const {
  for (const auto& e : entries_)
    if (e.first == key) return true;
  return false;
}

void NoiseObject::ReleaseStrongRef() const {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) owner_->Free(const_cast<NoiseObject*>(this));
}

namespace {
std::atomic<const RenderNoiseClass*> g_defaultClass{nullptr};
std::atomic<const NoiseInterface*> g_noise{nullptr};
}  // namespace

ClassRegistry<RenderNoiseClass>& RenderNoiseClasses() {
  static ClassRegistry<RenderNoiseClass> registry(kRenderNoiseClassesRegistryId.text());
  return registry;
}

const RenderNoiseClass* DefaultRenderNoiseClass() { return g_defaultClass.load(std::memory_order_acquire); }
void SetDefaultRenderNoiseClass(const RenderNoiseClass* cls) { g_defaultClass.store(cls, std::memory_order_release); }

const NoiseInterface* HostNoiseInterface() { return g_noise.load(std::memory_order_acquire); }
void SetHostNoiseInterface(const NoiseInterface* noise) { g_noise.store(noise, std::memory_order_release); }

}  // namespace tessaroc
