// DataType: what the runtime needs to know of a port's value type to lay it
// out, construct, copy and destroy it. Each type has its registered id.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"

namespace tessaroc {

struct DataType {
  Id id;
  const char* name;  // the C++ name, for messages
  size_t size;
  size_t align;
  bool trivial;  // plain bytes: copy with memcpy, nothing to destroy
  void (*construct)(void* p);
  void (*destroy)(void* p);
  void (*copyAssign)(void* dst, const void* src);
  // For function types: the type the function returns; null otherwise.
  const DataType* functionResult = nullptr;
  // A type stored exactly like another (time like Float64): values move freely
  // between the two.
  const DataType* storedAs = nullptr;

  bool IsFunction() const { return functionResult != nullptr; }
  const DataType* Storage() const { return storedAs ? storedAs : this; }
  bool StoredLike(const DataType& o) const { return Storage() == o.Storage(); }
};

template <class T>
constexpr DataType MakeDataType(Id id, const char* name, const DataType* functionResult = nullptr,
                                const DataType* storedAs = nullptr) {
  return DataType{
      id,
      name,
      sizeof(T),
      alignof(T),
      std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
      [](void* p) { new (p) T(); },
      [](void* p) { static_cast<T*>(p)->~T(); },
      // Plain values are copied as bytes: a Bool port may hold any byte (any
      // non-zero byte is true), which a bool load would not take.
      [](void* d, const void* s) {
        if constexpr (std::is_trivially_copyable_v<T>) std::memcpy(d, s, sizeof(T));
        else *static_cast<T*>(d) = *static_cast<const T*>(s);
      },
      functionResult,
      storedAs,
  };
}

// The process-wide table of data types by id. Built-in types are always there;
// nodes and the module add their own at load.
Result RegisterDataType(const DataType* type);
Result UnregisterDataType(const DataType* type);
const DataType* FindDataType(const Id& id);

}  // namespace tessaroc
