#include "tessaroc/core/result.h"

namespace tessaroc {

Result Result::Fail(std::string_view id, std::string message, const std::source_location& loc) {
  Result r;
  r.error_ = new Error(id, std::move(message), SourceLocation::From(loc));
  return r;
}

std::string Result::ToString() const {
  if (!error_) return "ok";
  std::string s(error_->id());
  if (!error_->message().empty()) {
    s += ": ";
    s += error_->message();
  }
  return s;
}

}  // namespace tessaroc
