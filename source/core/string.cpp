#include "tessaroc/core/string.h"

#include <new>

namespace tessaroc {

struct String::Rep {
  explicit Rep(std::string_view t) : text(t) {}
  std::atomic<long> refs{1};
  std::string text;
};

String::String(std::string_view text) : rep_(new Rep(text)) {}

std::string_view String::view() const { return rep_ ? std::string_view(rep_->text) : std::string_view(); }

bool String::IsUnique() const { return rep_ != nullptr && rep_->refs.load(std::memory_order_acquire) == 1; }

long String::UseCount() const { return rep_ ? rep_->refs.load(std::memory_order_relaxed) : 0; }

void String::MakeUnique() {
  if (rep_ == nullptr) {
    rep_ = new Rep(std::string_view());
  } else if (!IsUnique()) {
    Rep* copy = new Rep(rep_->text);
    Release();
    rep_ = copy;
  }
}

std::string& String::Mutable() {
  MakeUnique();
  return rep_->text;
}

void String::Retain() const {
  if (rep_) rep_->refs.fetch_add(1, std::memory_order_relaxed);
}

void String::Release() {
  if (rep_ && rep_->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete rep_;
  rep_ = nullptr;
}

namespace {

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

// The byte offset of character `index` (clamped to the text's end).
size_t ByteOffset(std::string_view text, int64_t index) {
  size_t i = 0;
  for (; i < text.size() && index > 0; --index) {
    ++i;
    while (i < text.size() && IsContinuation(text[i])) ++i;
  }
  return i;
}

unsigned char AsciiUpper(unsigned char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; }
unsigned char AsciiLower(unsigned char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; }

template <class F>
String MapBytes(std::string_view text, F f) {
  if (text.empty()) return String();
  String out(text);
  for (char& c : out.Mutable()) c = static_cast<char>(f(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

int64_t String::GetLength() const {
  int64_t n = 0;
  for (char c : view())
    if (!IsContinuation(c)) ++n;
  return n;
}

Result String::Append(const String& other) {
  // Keep a reference: `other` may be this very handle.
  const String keep = other;
  try {
    Mutable().append(keep.view());
  } catch (const std::bad_alloc&) {
    return Result::Fail(errors::kOutOfMemory, "string append");
  } catch (const std::length_error&) { return Result::Fail(errors::kOutOfMemory, "string append"); }
  return Result::Ok();
}

String String::GetPart(int64_t from, int64_t end) const {
  const std::string_view text = view();
  if (from < 0) from = 0;
  const size_t a = ByteOffset(text, from);
  const size_t b = end == -1 ? text.size() : ByteOffset(text, end < 0 ? 0 : end);
  if (b <= a) return String();
  if (a == 0 && b == text.size()) return *this;  // the whole text: share it
  return String(text.substr(a, b - a));
}

String String::GetPartByCount(int64_t from, int64_t count) const {
  if (from < 0) from = 0;
  if (count <= 0) return String();
  // Saturate instead of overflowing: a count past the end means the rest.
  const int64_t end = count > INT64_MAX - from ? INT64_MAX : from + count;
  return GetPart(from, end);
}

String String::ToUpper() const { return MapBytes(view(), AsciiUpper); }

String String::ToLower() const { return MapBytes(view(), AsciiLower); }

Result String::Replace(const String& search, const String& replace) {
  const String find = search;  // either may be this very handle
  const String with = replace;
  const std::string_view s = find.view();
  if (s.empty() || view().find(s) == std::string_view::npos) return Result::Ok();
  try {
    const std::string_view text = view();
    std::string out;
    size_t pos = 0;
    for (size_t hit = text.find(s); hit != std::string_view::npos; hit = text.find(s, pos)) {
      out.append(text.substr(pos, hit - pos));
      out.append(with.view());
      pos = hit + s.size();
    }
    out.append(text.substr(pos));
    Mutable().swap(out);
  } catch (const std::bad_alloc&) {
    return Result::Fail(errors::kOutOfMemory, "string replace");
  } catch (const std::length_error&) { return Result::Fail(errors::kOutOfMemory, "string replace"); }
  return Result::Ok();
}

std::string_view Url::GetDirectory() const {
  std::string_view v = view();
  size_t slash = v.find_last_of('/');
  return slash == std::string_view::npos ? std::string_view() : v.substr(0, slash + 1);
}

std::string_view Url::GetName() const {
  std::string_view v = view();
  size_t slash = v.find_last_of('/');
  return slash == std::string_view::npos ? v : v.substr(slash + 1);
}

bool Url::CheckSuffix(std::string_view suffix) const {
  std::string_view name = GetName();
  size_t dot = name.find_last_of('.');
  if (dot == std::string_view::npos) return false;
  return EqualNoCase(name.substr(dot + 1), suffix);
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (AsciiLower(static_cast<unsigned char>(a[i])) != AsciiLower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

Url Url::Append(std::string_view part) const {
  std::string p(view());
  if (!p.empty() && p.back() != '/') p += '/';
  p += part;
  return Url(p);
}

}  // namespace tessaroc
