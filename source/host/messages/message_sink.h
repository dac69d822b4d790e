// The message sink a render hands to its nodes, and the default logger.
#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "core/services.h"

namespace tessaroc::host {

// Collects the messages of a render; each distinct text is kept once, in the
// order it first arrived. Safe to call from many threads.
class CollectingMessageSink final : public MessageSink {
 public:
  Result AddMessage(std::string_view text) override;
  std::vector<std::string> Messages() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> messages_;
};

// Writes each line to a stream, whole lines at a time, from any thread.
class StreamLogger final : public Logger {
 public:
  explicit StreamLogger(std::ostream& out) : out_(out) {}
  void Write(int target, std::string_view text, const SourceLocation& where, int meta) override;

 private:
  std::mutex mutex_;
  std::ostream& out_;
};

}  // namespace tessaroc::host
