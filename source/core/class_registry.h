// A registry of host classes under one registry id (noise classes, blend
// modes, ...): entry id -> an object of the host's that implements the
// interface T. Entries are registered at module start, before any render, and
// only read afterwards; reads take no lock.
#pragma once

#include <string>
#include <vector>

#include "tessaroc/core/id.h"
#include "tessaroc/core/result.h"

namespace tessaroc {

template <class T>
class ClassRegistry {
 public:
  struct Entry {
    Id id;
    const T* value;
  };

  explicit ClassRegistry(const char* registryId) : id_(registryId) {}

  const Id& id() const { return id_; }

  // Registration happens while nothing renders.
  Result Register(const Id& entry, const T* value) {
    if (entry.empty() || value == nullptr)
      return Result::Fail(errors::kIllegalArgument, "registering in " + id_.str() + " needs an id and a class");
    if (Find(entry) != nullptr) return Result::Fail(errors::kIllegalState, entry.str() + " registered twice");
    entries_.push_back({Id::Owned(entry.view()), value});
    return Result::Ok();
  }
  Result Unregister(const Id& entry) {
    for (auto it = entries_.begin(); it != entries_.end(); ++it)
      if (it->id == entry) {
        entries_.erase(it);
        return Result::Ok();
      }
    return Result::Fail(errors::kUnresolved, entry.str() + " is not registered in " + id_.str());
  }

  // FindEntryValue: the class of an entry, or null. The hash word is compared
  // before any text.
  const T* Find(const Id& entry) const {
    for (const Entry& e : entries_)
      if (e.id == entry) return e.value;
    return nullptr;
  }
  // Entries in the order they were declared.
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  Id id_;
  std::vector<Entry> entries_;
};

}  // namespace tessaroc
