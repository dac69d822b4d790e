// What the noise nodes need of the host's noise library: the render-noise
// classes of the registry `net.zovan.render.registry.rendernoiseclasses`, each
// making objects with RenderNoiseInterface, and the Voronoi operations of
// NoiseInterface. The host fills the registry and the NoiseInterface slot at
// start (see host/noise/noise_library.h); the nodes only read them.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "core/class_registry.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"

namespace tessaroc {

// ---- Strong references

// An intrusive strong reference. T offers AddStrongRef() and ReleaseStrongRef()
// (which destroys the object when the last reference goes); both are const and
// thread-safe, so one object can be shared by any number of records.
template <class T>
class StrongRef {
 public:
  StrongRef() = default;
  // Adopts a reference the caller already holds (a new object's first one).
  static StrongRef Adopt(T* p) {
    StrongRef r;
    r.p_ = p;
    return r;
  }
  StrongRef(const StrongRef& o) : p_(o.p_) {
    if (p_) p_->AddStrongRef();
  }
  StrongRef(StrongRef&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  StrongRef& operator=(const StrongRef& o) {
    if (o.p_) o.p_->AddStrongRef();
    Reset(o.p_);
    return *this;
  }
  StrongRef& operator=(StrongRef&& o) noexcept {
    if (this != &o) Reset(std::exchange(o.p_, nullptr));
    return *this;
  }
  ~StrongRef() { Reset(nullptr); }

  T* get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // Drops the held reference; takes over `p` without counting it.
  void Reset(T* p) {
    T* old = std::exchange(p_, p);
    if (old) old->ReleaseStrongRef();
  }

 private:
  T* p_ = nullptr;
};

// ---- The parameter dictionary handed to RenderNoiseInterface::Init

// A small dictionary from integer keys to Float64 values.
class DataDictionary {
 public:
  Result Set(int64_t key, double value);
  // The value of a key, or `fallback` when the key is missing.
  double Get(int64_t key, double fallback) const;
  bool Has(int64_t key) const;
  size_t size() const { return entries_.size(); }

 private:
  std::vector<std::pair<int64_t, double>> entries_;
};

inline constexpr int64_t kNoiseLacunarityKey = 0;
inline constexpr int64_t kNoiseGainKey = 1;
inline constexpr int64_t kNoiseExponentKey = 2;
// The permutation-table power the nodes hand to every Init.
inline constexpr int32_t kNoiseTablePower = 10;

// ---- Render noises

inline constexpr Id kRenderNoiseClassesRegistryId = "net.zovan.render.registry.rendernoiseclasses";
inline constexpr const char* kRenderNoiseClassPrefix = "net.zovan.render.rendernoiseclass.";

// A seeded noise: Init once, then Noise from any number of threads. Values are
// the host's; the nodes pass them on unchanged.
class RenderNoiseInterface {
 public:
  RenderNoiseInterface() = default;
  RenderNoiseInterface(const RenderNoiseInterface&) = delete;
  RenderNoiseInterface& operator=(const RenderNoiseInterface&) = delete;

  virtual Result Init(uint32_t seed, int32_t tablePower, const DataDictionary& parameters) = 0;
  virtual float Noise(float x, float y, float z, bool absolute, float time, float octaves, float footprint) const = 0;
  virtual float Noise(float x, float y, bool absolute, float time, float octaves, float footprint) const = 0;

  void AddStrongRef() const { refs_.fetch_add(1, std::memory_order_relaxed); }
  void ReleaseStrongRef() const {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  long StrongCount() const { return refs_.load(std::memory_order_relaxed); }

 protected:
  virtual ~RenderNoiseInterface() = default;

 private:
  mutable std::atomic<long> refs_{1};
};

using RenderNoiseRef = StrongRef<RenderNoiseInterface>;

// An object class of the registry: makes new render-noise objects, each with
// one strong reference that `out` takes over.
class RenderNoiseClass {
 public:
  virtual ~RenderNoiseClass() = default;
  virtual Result Create(RenderNoiseRef& out) const = 0;
};

// The registry of noise classes. Filled by the host before rendering.
ClassRegistry<RenderNoiseClass>& RenderNoiseClasses();

// The class used for a noise type the registry does not know; null (the
// default) makes such a type an error. Set by a host before rendering.
const RenderNoiseClass* DefaultRenderNoiseClass();
void SetDefaultRenderNoiseClass(const RenderNoiseClass* cls);

// ---- The Voronoi operations

class NoiseInterface;

// A noise object of NoiseInterface. The interface that allocated it frees it
// when the last strong reference goes.
class NoiseObject {
 public:
  explicit NoiseObject(const NoiseInterface* owner) : owner_(owner) {}
  NoiseObject(const NoiseObject&) = delete;
  NoiseObject& operator=(const NoiseObject&) = delete;

  // Callers set the count of a new object (Alloc leaves it at 0).
  void SetStrongCount(long n) { refs_.store(n, std::memory_order_relaxed); }
  void AddStrongRef() const { refs_.fetch_add(1, std::memory_order_relaxed); }
  void ReleaseStrongRef() const;
  long StrongCount() const { return refs_.load(std::memory_order_relaxed); }
  const NoiseInterface* owner() const { return owner_; }

 protected:
  ~NoiseObject() = default;

 private:
  const NoiseInterface* owner_;
  mutable std::atomic<long> refs_{0};
};

using NoiseObjectRef = StrongRef<NoiseObject>;

class NoiseInterface {
 public:
  virtual ~NoiseInterface() = default;
  // A new object, not yet initialised, strong count 0; null when out of memory.
  virtual NoiseObject* Alloc(const SourceLocation& where) const = 0;
  virtual void Free(NoiseObject* object) const = 0;
  virtual Result Init(NoiseObject* object, uint32_t seed, int32_t tablePower) const = 0;
  // Fills distances[0..count) with the distances to the nearest feature points
  // in increasing order and ids[0] with the nearest cell's id. Only count 2 is
  // asked for by the nodes; thread-safe on one object.
  virtual void Voronoi(const NoiseObject* object, const float position[3], int32_t count, float* distances,
                       int32_t* ids) const = 0;
  // The shared object callers use when they hold none; may be null.
  virtual const NoiseObject* DefaultObject() const = 0;
};

// The host's NoiseInterface, or null when none is installed.
const NoiseInterface* HostNoiseInterface();
void SetHostNoiseInterface(const NoiseInterface* noise);

}  // namespace tessaroc
