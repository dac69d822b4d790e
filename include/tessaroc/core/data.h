// Data: a value of any data type, used only as private cache storage that a
// callee keeps between calls (for example a colour function's cache ports).
#pragma once

#include <cstdlib>

#include "tessaroc/core/data_type.h"

namespace tessaroc {

class Data {
 public:
  Data() = default;
  Data(const Data& o) { CopyFrom(o); }
  Data& operator=(const Data& o) {
    if (this != &o) {
      Reset();
      CopyFrom(o);
    }
    return *this;
  }
  ~Data() { Reset(); }

  bool empty() const { return type_ == nullptr; }
  const DataType* type() const { return type_; }

  // Makes the held value a default value of the type (allocates: never per sample
  // once a cache is set up).
  void* Emplace(const DataType* type) {
    if (type_ == type) return ptr_;
    Reset();
    ptr_ = ::operator new(
        type->size,
        std::align_val_t(type->align < alignof(std::max_align_t) ? alignof(std::max_align_t) : type->align));
    type->construct(ptr_);
    type_ = type;
    return ptr_;
  }
  void* get() { return ptr_; }
  const void* get() const { return ptr_; }

  void Reset() {
    if (type_) {
      type_->destroy(ptr_);
      ::operator delete(
          ptr_, std::align_val_t(type_->align < alignof(std::max_align_t) ? alignof(std::max_align_t) : type_->align));
    }
    type_ = nullptr;
    ptr_ = nullptr;
  }

 private:
  void CopyFrom(const Data& o) {
    if (o.type_) {
      Emplace(o.type_);
      type_->copyAssign(ptr_, o.ptr_);
    }
  }
  const DataType* type_ = nullptr;
  void* ptr_ = nullptr;
};

}  // namespace tessaroc
