// What kernels may call of the host beyond their Function ports, as small
// abstract tables. The host layer implements them; kernels reach them through
// the context (message sink) or a process-wide slot set by the host (logger).
#pragma once

#include <string_view>

#include "tessaroc/core/result.h"

namespace tessaroc {

// The render's message sink: what a render reports to its user, once per text.
class MessageSink {
 public:
  virtual ~MessageSink() = default;
  virtual Result AddMessage(std::string_view text) = 0;
};

// The logger `net.zovan.core.logger.default`.
class Logger {
 public:
  virtual ~Logger() = default;
  virtual void Write(int target, std::string_view text, const SourceLocation& where, int meta) = 0;
};

inline constexpr const char* kDefaultLoggerId = "net.zovan.core.logger.default";

// The default logger, or null when the host has set none. Setting it is not
// synchronised with kernels: a host sets it before rendering.
Logger* DefaultLogger();
void SetDefaultLogger(Logger* logger);

}  // namespace tessaroc
