// String and Url: shared, reference-counted text values. A null handle is the
// empty text. Text is immutable while shared; MakeUnique copies only when
// another holder exists, so kernels that only read never copy.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tessaroc/core/result.h"

namespace tessaroc {

class String {
 public:
  String() = default;
  explicit String(std::string_view text);
  String(const String& o) : rep_(o.rep_) { Retain(); }
  String(String&& o) noexcept : rep_(o.rep_) { o.rep_ = nullptr; }
  String& operator=(const String& o) {
    if (rep_ != o.rep_) {
      o.Retain();
      Release();
      rep_ = o.rep_;
    }
    return *this;
  }
  String& operator=(String&& o) noexcept {
    if (this != &o) {
      Release();
      rep_ = o.rep_;
      o.rep_ = nullptr;
    }
    return *this;
  }
  ~String() { Release(); }

  bool IsNull() const { return rep_ == nullptr; }
  bool empty() const { return view().empty(); }
  std::string_view view() const;
  std::string str() const { return std::string(view()); }

  // True when both handles share one text (or both are null).
  bool SameHandle(const String& o) const { return rep_ == o.rep_; }
  bool IsUnique() const;
  long UseCount() const;

  // Gives this handle a text of its own: creates one when null, copies when shared.
  void MakeUnique();
  // Mutable access after MakeUnique.
  std::string& Mutable();

  // ---- Text operations. Characters are Unicode code points of the UTF-8
  // text; positions and counts are in characters. Case mapping is ASCII only.

  // The number of characters; 0 for a null handle.
  int64_t GetLength() const;
  // Appends `other`, making this handle's text its own first. Fails with the
  // out-of-memory error and leaves the text as it was.
  Result Append(const String& other);
  // The characters from `from` up to but excluding `end`; `end` -1 means the
  // end of the text. Positions are clamped to the text. A null handle for an
  // empty part.
  String GetPart(int64_t from, int64_t end) const;
  // The same with a character count in place of an end position.
  String GetPartByCount(int64_t from, int64_t count) const;
  // A new text with ASCII letters in upper or lower case; null for an empty one.
  String ToUpper() const;
  String ToLower() const;
  // Replaces every occurrence of `search` (left to right, not overlapping) by
  // `replace`, in this handle's own text. An empty `search` changes nothing.
  // Fails with the out-of-memory error and leaves the text as it was.
  Result Replace(const String& search, const String& replace);

  friend bool operator==(const String& a, const String& b) { return a.view() == b.view(); }

 private:
  struct Rep;
  void Retain() const;
  void Release();
  Rep* rep_ = nullptr;
};

static_assert(sizeof(String) == sizeof(void*));

// Whether two texts are equal when ASCII letters are compared without case;
// other bytes must match exactly. Port ids, enumeration values and file
// suffixes are compared this way.
bool EqualNoCase(std::string_view a, std::string_view b);

// A resource locator: a path or file url. Shares its text like String.
class Url {
 public:
  Url() = default;
  explicit Url(std::string_view path) : text_(path) {}

  bool IsEmpty() const { return text_.empty(); }
  std::string_view view() const { return text_.view(); }
  std::string str() const { return text_.str(); }
  // The part before the last '/', with the '/' (empty when there is none).
  std::string_view GetDirectory() const;
  // The part after the last '/'.
  std::string_view GetName() const;
  void SetUrl(std::string_view path) { text_ = String(path); }
  // Case-insensitive test of the name's suffix after its last '.'.
  bool CheckSuffix(std::string_view suffix) const;
  // Appends a path part, with a '/' between.
  Url Append(std::string_view part) const;

  friend bool operator==(const Url& a, const Url& b) { return a.view() == b.view(); }

 private:
  String text_;
};

}  // namespace tessaroc
