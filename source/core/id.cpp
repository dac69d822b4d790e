#include "tessaroc/core/id.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

namespace tessaroc {

struct Id::OwnedHeader {
  std::atomic<uint32_t> refs;
};

Id::OwnedHeader* Id::HeaderOf(const char* text) {
  return reinterpret_cast<OwnedHeader*>(const_cast<char*>(text) - sizeof(std::max_align_t));
}

Id Id::Owned(std::string_view text) {
  if (text.empty()) return Id();
  // Header padded to max_align_t so the text keeps a sane alignment.
  char* block = static_cast<char*>(::operator new(sizeof(std::max_align_t) + text.size() + 1));
  new (block) OwnedHeader{1};
  char* copy = block + sizeof(std::max_align_t);
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  Id id;
  id.text_ = copy;
  id.word_ = MakeWord(text) | kOwnedBit;
  return id;
}

void Id::RetainOwned() const { HeaderOf(text_)->refs.fetch_add(1, std::memory_order_relaxed); }

void Id::ReleaseOwned() {
  OwnedHeader* h = HeaderOf(text_);
  if (h->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    h->~OwnedHeader();
    ::operator delete(reinterpret_cast<char*>(h));
  }
  text_ = nullptr;
  word_ = 0;
}

struct InternedId::Entry {
  explicit Entry(std::string_view text) : storage(text), id(std::string_view(storage)) {}
  std::string storage;
  Id id;
  mutable std::atomic<long> refs{1};  // the table's own reference
};

namespace {
struct InternTable {
  std::mutex mutex;
  std::unordered_map<std::string_view, std::unique_ptr<InternedId::Entry>> entries;
};
// Leaked on purpose: interned ids must stay valid for static objects that are
// destroyed after any table would be.
InternTable& Table() {
  static InternTable* table = new InternTable;
  return *table;
}
const Id kEmptyId;
}  // namespace

InternedId InternedId::Intern(std::string_view text) {
  InternedId result;
  if (text.empty()) return result;
  InternTable& t = Table();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.entries.find(text);
  if (it == t.entries.end()) {
    auto entry = std::make_unique<Entry>(text);
    std::string_view key(entry->storage);
    it = t.entries.emplace(key, std::move(entry)).first;
  }
  result.entry_ = it->second.get();
  result.Retain();
  return result;
}

const Id& InternedId::id() const { return entry_ ? entry_->id : kEmptyId; }

long InternedId::UseCount() const { return entry_ ? entry_->refs.load(std::memory_order_relaxed) - 1 : 0; }

void InternedId::Retain() const {
  if (entry_) entry_->refs.fetch_add(1, std::memory_order_relaxed);
}

void InternedId::Release() {
  // Entries live as long as the table; the count tells who still holds one.
  if (entry_) entry_->refs.fetch_sub(1, std::memory_order_relaxed);
  entry_ = nullptr;
}

Id CanonicalId(std::string_view text) { return InternedId::Intern(text).id(); }

}  // namespace tessaroc
