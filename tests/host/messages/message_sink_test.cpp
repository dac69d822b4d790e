#include <gtest/gtest.h>

#include <sstream>
#include <thread>
#include <vector>

#include "allocation_counter.h"
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

// A text reported per sample must cost no allocation once it is kept, also
// past the size of the lock-free table of known texts.
TEST(CollectingMessageSink, RepeatsAllocateNothingAndManyTextsStayDistinct) {
  CollectingMessageSink sink;
  std::vector<std::string> texts;
  for (int i = 0; i < 300; ++i) texts.push_back("message " + std::to_string(i));
  for (int round = 0; round < 2; ++round)
    for (const std::string& t : texts) ASSERT_TRUE(sink.AddMessage(t).ok());
  EXPECT_EQ(sink.Messages(), texts);
  const long before = AllocationCount();
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(sink.AddMessage(texts[7]).ok());
  EXPECT_EQ(AllocationCount(), before);
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
