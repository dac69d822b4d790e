// The message sink a render hands to its nodes, and the default logger.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "core/services.h"

namespace tessaroc::host {

// Collects the messages of a render; each distinct text is kept once, in the
// order it first arrived. Safe to call from many threads. A node may report
// the same text on every sample (a gradient with an unknown colour space), so
// a text already kept is recognised without a lock and without allocating;
// only a text's first arrival takes the lock.
class CollectingMessageSink final : public MessageSink {
 public:
  CollectingMessageSink();
  ~CollectingMessageSink() override;
  Result AddMessage(std::string_view text) override;
  std::vector<std::string> Messages() const;

 private:
  // Texts already kept, found by hash; a slot is written once, under the lock.
  static constexpr size_t kSeen = 256;
  bool Seen(std::string_view text, uint64_t hash) const;

  std::array<std::atomic<const std::string*>, kSeen> seen_;
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<const std::string>> messages_;
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
