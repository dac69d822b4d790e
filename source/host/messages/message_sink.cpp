#include "host/messages/message_sink.h"

namespace tessaroc::host {

namespace {

uint64_t Fnv1a(std::string_view text) {
  uint64_t h = 14695981039346656037ull;
  for (char c : text) h = (h ^ static_cast<unsigned char>(c)) * 1099511628211ull;
  return h;
}

}  // namespace

CollectingMessageSink::CollectingMessageSink() {
  for (auto& s : seen_) s.store(nullptr, std::memory_order_relaxed);
}

CollectingMessageSink::~CollectingMessageSink() = default;

// Linear probing from the text's hash; texts are never removed, so an empty
// slot ends the search.
bool CollectingMessageSink::Seen(std::string_view text, uint64_t hash) const {
  for (size_t i = 0; i < kSeen; ++i) {
    const std::string* s = seen_[(hash + i) % kSeen].load(std::memory_order_acquire);
    if (s == nullptr) return false;
    if (*s == text) return true;
  }
  return false;
}

Result CollectingMessageSink::AddMessage(std::string_view text) {
  const uint64_t hash = Fnv1a(text);
  if (Seen(text, hash)) return Result::Ok();
  std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& m : messages_)
    if (*m == text) return Result::Ok();  // arrived meanwhile, or beyond the table
  messages_.push_back(std::make_unique<const std::string>(text));
  // Published after it is complete; a full table only means later repeats of
  // this text take the lock.
  for (size_t i = 0; i < kSeen; ++i) {
    auto& slot = seen_[(hash + i) % kSeen];
    if (slot.load(std::memory_order_relaxed) == nullptr) {
      slot.store(messages_.back().get(), std::memory_order_release);
      break;
    }
  }
  return Result::Ok();
}

std::vector<std::string> CollectingMessageSink::Messages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> out;
  out.reserve(messages_.size());
  for (const auto& m : messages_) out.push_back(*m);
  return out;
}

void StreamLogger::Write(int, std::string_view text, const SourceLocation&, int) {
  std::lock_guard<std::mutex> lock(mutex_);
  out_ << text << '\n';
  out_.flush();
}

}  // namespace tessaroc::host
