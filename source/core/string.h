// String and Url: shared, reference-counted text values. A null handle is the
// empty text. Text is immutable while shared; MakeUnique copies only when
// another holder exists, so kernels that only read never copy.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

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

  friend bool operator==(const String& a, const String& b) { return a.view() == b.view(); }

 private:
  struct Rep;
  void Retain() const;
  void Release();
  Rep* rep_ = nullptr;
};

static_assert(sizeof(String) == sizeof(void*));

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
