#include "host/noise/noise_library.h"

#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "host/noise/noise_classes.h"
#include "host/noise/noise_math.h"

namespace tessaroc::host {

namespace {

using noise::LibraryNoise;
using noise::NoiseClassInfo;

class LibraryNoiseClass final : public RenderNoiseClass {
 public:
  explicit LibraryNoiseClass(const NoiseClassInfo& info) : info_(info) {}
  Result Create(RenderNoiseRef& out) const override {
    auto* object = new (std::nothrow) LibraryNoise(info_);
    if (object == nullptr) return Result::Fail(errors::kOutOfMemory, "no memory for a noise object");
    out = RenderNoiseRef::Adopt(object);
    return Result::Ok();
  }

 private:
  const NoiseClassInfo& info_;
};

// The default object class, for a class id the registry does not know: its
// objects are no noise, and a noise node reading one gives 0.
class NoNoise final : public RenderNoiseInterface {
 public:
  Result Init(uint32_t, int32_t, const DataDictionary&) override { return Result::Ok(); }
  float Noise(float, float, float, bool, float, float, float) const override { return 0.0f; }
  float Noise(float, float, bool, float, float, float) const override { return 0.0f; }
};

class NoNoiseClass final : public RenderNoiseClass {
 public:
  Result Create(RenderNoiseRef& out) const override {
    auto* object = new (std::nothrow) NoNoise;
    if (object == nullptr) return Result::Fail(errors::kOutOfMemory, "no memory for a noise object");
    out = RenderNoiseRef::Adopt(object);
    return Result::Ok();
  }
};

// A NoiseInterface object: the seeded tables behind Voronoi.
class VoronoiObject final : public NoiseObject {
 public:
  explicit VoronoiObject(const NoiseInterface* owner) : NoiseObject(owner) { noise::BuildTables(0, tables); }
  ~VoronoiObject() = default;
  noise::Tables tables;
  int32_t tablePower = kNoiseTablePower;
};

class VoronoiService final : public NoiseInterface {
 public:
  VoronoiService() : default_(this) { default_.SetStrongCount(1); }

  NoiseObject* Alloc(const SourceLocation&) const override { return new (std::nothrow) VoronoiObject(this); }
  void Free(NoiseObject* object) const override { delete static_cast<VoronoiObject*>(object); }
  Result Init(NoiseObject* object, uint32_t seed, int32_t tablePower) const override {
    if (object == nullptr) return Result::Fail(errors::kNullPtr, "Init of a null noise object");
    if (tablePower <= 0 || tablePower > 30)
      return Result::Fail(errors::kIllegalArgument, "noise table power must lie in 1..30");
    auto* v = static_cast<VoronoiObject*>(object);
    noise::BuildTables(seed, v->tables);
    v->tablePower = tablePower;
    return Result::Ok();
  }
  void Voronoi(const NoiseObject* object, const float position[3], int32_t count, float* distances,
               int32_t* ids) const override {
    const auto* v = static_cast<const VoronoiObject*>(object != nullptr ? object : &default_);
    noise::Cellular cell;
    noise::Worley(v->tables, position[0], position[1], position[2], 0.0, cell);
    // Two distances are computed; further entries are left as they are.
    if (count > 0) distances[0] = static_cast<float>(cell.f1);
    if (count > 1) distances[1] = static_cast<float>(cell.f2);
    if (count > 0 && ids != nullptr) ids[0] = static_cast<int32_t>(cell.id);
  }
  const NoiseObject* DefaultObject() const override { return &default_; }

 private:
  VoronoiObject default_;
};

}  // namespace

const NoiseInterface& LibraryNoiseInterface() {
  static const VoronoiService service;
  return service;
}

Result InstallNoiseClasses() {
  static std::mutex mutex;
  static std::vector<LibraryNoiseClass> classes = [] {
    std::vector<LibraryNoiseClass> v;
    for (const NoiseClassInfo& info : noise::NoiseClassInfos()) v.emplace_back(info);
    return v;
  }();
  std::lock_guard<std::mutex> lock(mutex);
  ClassRegistry<RenderNoiseClass>& registry = RenderNoiseClasses();
  const auto infos = noise::NoiseClassInfos();
  for (size_t i = 0; i < infos.size(); ++i) {
    const std::string id = std::string(kRenderNoiseClassPrefix) + infos[i].name;
    const RenderNoiseClass* existing = registry.Find(Id(std::string_view(id)));
    if (existing == &classes[i]) continue;
    TESSAROC_RETURN_IF_FAILED(registry.Register(Id(std::string_view(id)), &classes[i]));
  }
  static const NoNoiseClass fallback;
  SetDefaultRenderNoiseClass(&fallback);
  SetHostNoiseInterface(&LibraryNoiseInterface());
  return Result::Ok();
}

}  // namespace tessaroc::host
