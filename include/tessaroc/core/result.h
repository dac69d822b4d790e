// Result: the one-pointer error reference every kernel and registration step returns.
#pragma once

#include <atomic>
#include <source_location>
#include <string>
#include <string_view>

namespace tessaroc {

// The framework's error ids. Kernels and the runtime report only these.
namespace errors {
inline constexpr std::string_view kNullPtr = "net.zovan.error.nullptr";
inline constexpr std::string_view kOutOfMemory = "net.zovan.error.outofmemory";
inline constexpr std::string_view kIllegalArgument = "net.zovan.error.illegalargument";
inline constexpr std::string_view kIllegalState = "net.zovan.error.illegalstate";
inline constexpr std::string_view kUnresolved = "net.zovan.error.unresolved";
inline constexpr std::string_view kFunctionNotImplemented = "net.zovan.error.functionnotimplemented";
inline constexpr std::string_view kUnsupportedOperation = "net.zovan.error.unsupportedoperation";
inline constexpr std::string_view kIo = "net.zovan.error.io";
}  // namespace errors

struct SourceLocation {
  const char* file = "";
  unsigned line = 0;
  const char* function = "";

  static SourceLocation From(const std::source_location& loc) {
    return {loc.file_name(), static_cast<unsigned>(loc.line()), loc.function_name()};
  }
};

// An immutable, reference-counted error record. Errors are rare, so making one
// may allocate; success is a null pointer and costs nothing.
class Error {
 public:
  Error(std::string_view id, std::string message, SourceLocation where)
      : id_(id), message_(std::move(message)), where_(where) {}

  const std::string& id() const { return id_; }
  const std::string& message() const { return message_; }
  const SourceLocation& where() const { return where_; }

 private:
  friend class Result;
  mutable std::atomic<int> refs_{1};
  std::string id_;
  std::string message_;
  SourceLocation where_;
};

class [[nodiscard]] Result {
 public:
  Result() = default;
  Result(const Result& o) : error_(o.error_) { Retain(); }
  Result(Result&& o) noexcept : error_(o.error_) { o.error_ = nullptr; }
  Result& operator=(const Result& o) {
    if (this != &o) {
      o.Retain();
      Release();
      error_ = o.error_;
    }
    return *this;
  }
  Result& operator=(Result&& o) noexcept {
    if (this != &o) {
      Release();
      error_ = o.error_;
      o.error_ = nullptr;
    }
    return *this;
  }
  ~Result() { Release(); }

  static Result Ok() { return Result(); }
  static Result Fail(std::string_view id, std::string message,
                     const std::source_location& loc = std::source_location::current());

  bool ok() const { return error_ == nullptr; }
  bool failed() const { return error_ != nullptr; }
  const Error* error() const { return error_; }

  // True when this is an error with the given framework id.
  bool Is(std::string_view id) const { return error_ != nullptr && error_->id() == id; }
  std::string_view id() const { return error_ ? std::string_view(error_->id()) : std::string_view(); }
  std::string_view message() const { return error_ ? std::string_view(error_->message()) : std::string_view(); }
  // "id: message", or "ok".
  std::string ToString() const;

 private:
  void Retain() const {
    if (error_) error_->refs_.fetch_add(1, std::memory_order_relaxed);
  }
  void Release() {
    if (error_ && error_->refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete error_;
    error_ = nullptr;
  }

  const Error* error_ = nullptr;
};

static_assert(sizeof(Result) == sizeof(void*), "a Result is one pointer wide");

// Returns from the enclosing function when the expression yields an error.
#define TESSAROC_RETURN_IF_FAILED(expr)                     \
  do {                                                      \
    ::tessaroc::Result tessaroc_result_ = (expr);           \
    if (tessaroc_result_.failed()) return tessaroc_result_; \
  } while (0)

}  // namespace tessaroc
