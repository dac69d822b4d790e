#include "core/string.h"

#include <cctype>

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
  std::string_view s = name.substr(dot + 1);
  if (s.size() != suffix.size()) return false;
  for (size_t i = 0; i < s.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(s[i])) != std::tolower(static_cast<unsigned char>(suffix[i])))
      return false;
  return true;
}

Url Url::Append(std::string_view part) const {
  std::string p(view());
  if (!p.empty() && p.back() != '/') p += '/';
  p += part;
  return Url(p);
}

}  // namespace tessaroc
