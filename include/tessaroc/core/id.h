// Id: a text with a packed word of hash and length; InternedId: a canonical,
// pointer-comparable Id for enumeration values; port keys.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace tessaroc {

// The running hash h = h * 31 + c over the bytes, in unsigned 64-bit arithmetic.
constexpr uint64_t RunningHash(std::string_view text) {
  uint64_t h = 0;
  for (char c : text) h = h * 31u + static_cast<unsigned char>(c);
  return h;
}

// A port's key inside its group: the running hash for an output, its
// complement for an input.
constexpr int64_t PortKey(std::string_view id, bool isInput) {
  const uint64_t h = RunningHash(id);
  return static_cast<int64_t>(isInput ? ~h : h);
}

class Id {
 public:
  static constexpr int kLengthShift = 44;
  static constexpr uint64_t kOwnedBit = uint64_t{1} << 43;
  static constexpr uint64_t kHashMask = 0x7ffffffffffULL;  // low 43 bits

  constexpr Id() = default;
  // From a literal (or any text that outlives the Id): no copy, bit 43 clear.
  constexpr Id(const char* literal) : Id(std::string_view(literal)) {}  // NOLINT: ids read like text
  constexpr explicit Id(std::string_view literal)
      : text_(literal.empty() ? nullptr : literal.data()), word_(MakeWord(literal)) {}

  // An Id that owns a reference-counted copy of the text (bit 43 set).
  static Id Owned(std::string_view text);

  constexpr Id(const Id& o) : text_(o.text_), word_(o.word_) { Retain(); }
  constexpr Id(Id&& o) noexcept : text_(o.text_), word_(o.word_) {
    o.text_ = nullptr;
    o.word_ = 0;
  }
  constexpr Id& operator=(const Id& o) {
    if (this != &o) {
      o.Retain();
      Release();
      text_ = o.text_;
      word_ = o.word_;
    }
    return *this;
  }
  constexpr Id& operator=(Id&& o) noexcept {
    if (this != &o) {
      Release();
      text_ = o.text_;
      word_ = o.word_;
      o.text_ = nullptr;
      o.word_ = 0;
    }
    return *this;
  }
  constexpr ~Id() { Release(); }

  static constexpr uint64_t MakeWord(std::string_view text) {
    return (static_cast<uint64_t>(text.size()) << kLengthShift) + (RunningHash(text) & kHashMask);
  }

  constexpr uint64_t word() const { return word_; }
  constexpr const char* text() const { return text_; }
  constexpr size_t length() const { return static_cast<size_t>(word_ >> kLengthShift); }
  constexpr bool empty() const { return length() == 0; }
  constexpr bool owned() const { return (word_ & kOwnedBit) != 0; }
  constexpr std::string_view view() const { return text_ ? std::string_view(text_, length()) : std::string_view(); }
  std::string str() const { return std::string(view()); }

  // Words agree apart from bit 43, then the same pointer, or both non-null and
  // the same bytes, compared from the last to the first.
  friend constexpr bool operator==(const Id& a, const Id& b) {
    if ((a.word_ & ~kOwnedBit) != (b.word_ & ~kOwnedBit)) return false;
    if (a.text_ == b.text_) return true;
    if (a.text_ == nullptr || b.text_ == nullptr) return false;
    for (size_t i = a.length(); i-- > 0;)
      if (a.text_[i] != b.text_[i]) return false;
    return true;
  }

  // For tests: build an Id from raw parts, as a host would hand one over.
  static Id FromParts(const char* text, uint64_t word) {
    Id id;
    id.text_ = text;
    id.word_ = word & ~kOwnedBit;
    return id;
  }

 private:
  struct OwnedHeader;
  static OwnedHeader* HeaderOf(const char* text);
  constexpr void Retain() const {
    if (!std::is_constant_evaluated() && (word_ & kOwnedBit)) RetainOwned();
  }
  constexpr void Release() {
    if (!std::is_constant_evaluated() && (word_ & kOwnedBit)) ReleaseOwned();
  }
  void RetainOwned() const;
  void ReleaseOwned();

  const char* text_ = nullptr;
  uint64_t word_ = 0;
};

static_assert(sizeof(Id) == 2 * sizeof(void*), "an Id is a text pointer and one word");

// A reference-counted pointer to the one canonical Id of a text, held in a
// process-wide intern table. Two InternedIds are the same choice exactly when
// their pointers are equal. Interning takes a lock; copying and comparing do not.
class InternedId {
 public:
  struct Entry;

  constexpr InternedId() = default;
  static InternedId Intern(std::string_view text);

  InternedId(const InternedId& o) : entry_(o.entry_) { Retain(); }
  InternedId(InternedId&& o) noexcept : entry_(o.entry_) { o.entry_ = nullptr; }
  InternedId& operator=(const InternedId& o) {
    if (this != &o) {
      o.Retain();
      Release();
      entry_ = o.entry_;
    }
    return *this;
  }
  InternedId& operator=(InternedId&& o) noexcept {
    if (this != &o) {
      Release();
      entry_ = o.entry_;
      o.entry_ = nullptr;
    }
    return *this;
  }
  ~InternedId() { Release(); }

  bool empty() const { return entry_ == nullptr; }
  // The canonical Id: its text pointer is the same for every InternedId of the text.
  const Id& id() const;
  std::string_view view() const { return id().view(); }
  const Entry* entry() const { return entry_; }
  long UseCount() const;

  friend bool operator==(const InternedId& a, const InternedId& b) { return a.entry_ == b.entry_; }

 private:
  void Retain() const;
  void Release();
  const Entry* entry_ = nullptr;
};

static_assert(sizeof(InternedId) == sizeof(void*));

// A text usable as a template argument, for Interned<"...">().
template <size_t N>
struct FixedText {
  char text[N];
  constexpr FixedText(const char (&s)[N]) {  // NOLINT: made from a literal
    for (size_t i = 0; i < N; ++i) text[i] = s[i];
  }
  constexpr std::string_view view() const { return std::string_view(text, N - 1); }
};

// The interned id of a literal, made once on first use: how kernels name the
// enumeration values they compare ports with.
template <FixedText T>
const InternedId& Interned() {
  static const InternedId id = InternedId::Intern(T.view());
  return id;
}

// The canonical Id of a text: points at the interned copy, so it compares equal
// by pointer with every other canonical Id of the same text. Registered
// enumeration constants are canonical ids.
Id CanonicalId(std::string_view text);

}  // namespace tessaroc
