#include "host/messages/message_sink.h"

#include <algorithm>

namespace tessaroc::host {

Result CollectingMessageSink::AddMessage(std::string_view text) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (std::find(messages_.begin(), messages_.end(), text) == messages_.end()) messages_.emplace_back(text);
  return Result::Ok();
}

std::vector<std::string> CollectingMessageSink::Messages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return messages_;
}

void StreamLogger::Write(int, std::string_view text, const SourceLocation&, int) {
  std::lock_guard<std::mutex> lock(mutex_);
  out_ << text << '\n';
  out_.flush();
}

}  // namespace tessaroc::host
