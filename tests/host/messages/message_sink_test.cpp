#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

#include "host/messages/message_sink.h"

namespace tessaroc::host {
namespace {

TEST(CollectingMessageSink, KeepsEachTextOnceInArrivalOrderFromManyThreads) {
  CollectingMessageSink sink;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(sink.AddMessage("cannot open missing.png").ok());
        ASSERT_TRUE(sink.AddMessage(i % 2 ? "odd" : "even").ok());
      }
    });
  for (auto& t : threads) t.join();
  const std::vector<std::string> m = sink.Messages();
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m[0], "cannot open missing.png");
}

TEST(StreamLogger, WritesWholeLines) {
  std::ostringstream out;
  StreamLogger logger(out);
  SetDefaultLogger(&logger);
  DefaultLogger()->Write(8, "hello", {}, 1);
  SetDefaultLogger(nullptr);
  EXPECT_EQ(out.str(), "hello\n");
  EXPECT_EQ(DefaultLogger(), nullptr);
}

}  // namespace
}  // namespace tessaroc::host
