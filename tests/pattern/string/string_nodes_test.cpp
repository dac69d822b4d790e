// The string nodes: shared handles, edges of the part nodes, print's logging.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../pattern_test_util.h"
#include "core/services.h"
#include "pattern/string/concat_node.h"
#include "pattern/string/length_node.h"
#include "pattern/string/lettercase_node.h"
#include "pattern/string/prefixsuffix_node.h"
#include "pattern/string/print_node.h"
#include "pattern/string/searchandreplace_node.h"
#include "pattern/string/substr_node.h"
#include "pattern/string/truncate_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::RunNode;
using testutil::SetAndRun;

std::unique_ptr<SingleNodeRunner> Concat(const std::vector<const char*>& parts) {
  const int64_t counts[] = {static_cast<int64_t>(parts.size())};
  const MicroNodeGroup* g = nullptr;
  EXPECT_TRUE(testutil::Catalogue().GetGroup(kConcatId, counts, g).ok());
  std::unique_ptr<SingleNodeRunner> run;
  EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
  for (size_t i = 0; i < parts.size(); ++i)
    EXPECT_TRUE(run->Set(Id::Owned("strings#" + std::to_string(i)), String(parts[i])).ok());
  EXPECT_TRUE(run->Run().ok());
  return run;
}

// The value an input port holds, to see that a node left it alone.
const String& Input(SingleNodeRunner& run, const char* port) {
  return *static_cast<const String*>(run.instance().PortValue(run.node(), port, true).value);
}

TEST(Concat, JoinsInOrderAndDoesNotChangeItsInputs) {
  EXPECT_EQ(Concat({"ab", "", "cd", "e"})->Get<String>("result").view(), "abcde");
  EXPECT_EQ(Concat({"only"})->Get<String>("result").view(), "only");
  EXPECT_TRUE(Concat({})->Get<String>("result").empty());
  EXPECT_TRUE(Concat({"", ""})->Get<String>("result").empty());
  auto run = Concat({"x", "y"});
  ASSERT_TRUE(run->Run().ok());  // a second run starts from the inputs again
  EXPECT_EQ(run->Get<String>("result").view(), "xy");
  EXPECT_EQ(Input(*run, "strings#0").view(), "x");
}

int64_t Length(const String& s) { return RunNode(kLengthId, "string", s)->Get<int64_t>("result"); }
String Case(const String& s, const char* mode) {
  return RunNode(kCaseId, "string", s, "mode", InternedId::Intern(mode))->Get<String>("result");
}
String Substr(const char* s, int64_t start, int64_t count) {
  return RunNode(kSubstrId, "string", String(s), "start", start, "count", count)->Get<String>("result");
}
String Truncate(const String& s, int64_t count) {
  return RunNode(kTruncateId, "string", s, "count", count)->Get<String>("result");
}

TEST(Length, CountsCharacters) {
  EXPECT_EQ(Length(String()), 0);
  EXPECT_EQ(Length(String("")), 0);
  EXPECT_EQ(Length(String("shader")), 6);
  EXPECT_EQ(Length(String("caf\xc3\xa9")), 4);
}

TEST(LetterCase, ModesAndUnknownModeHandsOnTheSameHandle) {
  EXPECT_EQ(Case(String("hELLO wOrld"), "lowercase").view(), "hello world");
  EXPECT_EQ(Case(String("hELLO wOrld"), "uppercase").view(), "HELLO WORLD");
  EXPECT_EQ(Case(String("hELLO wOrld"), "capitalize").view(), "Hello world");
  EXPECT_EQ(Case(String("q"), "capitalize").view(), "Q");
  EXPECT_TRUE(Case(String(""), "capitalize").empty());
  EXPECT_TRUE(Case(String(), "capitalize").empty());
  const String s("Mixed Case");
  for (const char* mode : {"", "titlecase"}) EXPECT_TRUE(Case(s, mode).SameHandle(s)) << mode;
}

std::unique_ptr<SingleNodeRunner> PrefixSuffix(const char* s, const char* prefix, const char* suffix) {
  return RunNode(kPrefixSuffixId, "string", String(s), "prefix", String(prefix), "suffix", String(suffix));
}

TEST(PrefixSuffix, WrapsTheStringAndLeavesThePrefixUntouched) {
  EXPECT_EQ(PrefixSuffix("body", "pre_", "_post")->Get<String>("result").view(), "pre_body_post");
  EXPECT_EQ(PrefixSuffix("body", "", "")->Get<String>("result").view(), "body");
  EXPECT_EQ(PrefixSuffix("", "a", "b")->Get<String>("result").view(), "ab");
  auto run = PrefixSuffix("x", "pre_", "!");
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(run->Get<String>("result").view(), "pre_x!");
  EXPECT_EQ(Input(*run, "prefix").view(), "pre_");
}

class RecordingLogger : public Logger {
 public:
  struct Line {
    int target;
    std::string text;
    std::string file;
    int meta;
  };
  void Write(int target, std::string_view text, const SourceLocation& where, int meta) override {
    lines.push_back({target, std::string(text), where.file, meta});
  }
  std::vector<Line> lines;
};

class PrintTest : public ::testing::Test {
 protected:
  void SetUp() override { SetDefaultLogger(&logger_); }
  void TearDown() override { SetDefaultLogger(nullptr); }
  RecordingLogger logger_;
};

TEST_F(PrintTest, LogsOncePerNonEmptyEvaluationAndAlwaysPassesTheString) {
  auto run = RunNode(kPrintId, "string", String("sample reached"));
  ASSERT_EQ(logger_.lines.size(), 1u);
  EXPECT_EQ(logger_.lines[0].target, 8);
  EXPECT_EQ(logger_.lines[0].meta, 1);
  EXPECT_EQ(logger_.lines[0].text, "sample reached");
  EXPECT_NE(logger_.lines[0].file.find("print_node"), std::string::npos);
  EXPECT_EQ(run->Get<String>("passthrough").view(), "sample reached");
  ASSERT_TRUE(run->Run().ok());
  EXPECT_EQ(logger_.lines.size(), 2u);
  // An empty string logs nothing and leaves the passthrough as it was.
  for (const String& empty : {String(), String("")}) {
    SetAndRun(*run, "string", empty);
    EXPECT_EQ(run->Get<String>("passthrough").view(), "sample reached");
  }
  EXPECT_EQ(logger_.lines.size(), 2u);

  // Without a logger it still passes the string.
  SetDefaultLogger(nullptr);
  run = RunNode(kPrintId, "string", String("quiet"));
  EXPECT_EQ(run->Get<String>("passthrough").view(), "quiet");
}

TEST(SearchAndReplace, ReplacesEveryOccurrence) {
  auto run = RunNode(kSearchAndReplaceId, "string", String("a.b.c"), "search", String("."), "replace", String("/"));
  EXPECT_EQ(run->Get<String>("result").view(), "a/b/c");
  EXPECT_EQ(Input(*run, "string").view(), "a.b.c");
  SetAndRun(*run, "search", String("x"));
  EXPECT_EQ(run->Get<String>("result").view(), "a.b.c");
}

TEST(Substr, ClampsStartThenCountAndAnEmptyPartClearsAnEarlierResult) {
  EXPECT_EQ(Substr("abcdef", 1, 3).view(), "bcd");
  // The negative start is raised to 0 before the count is added.
  EXPECT_EQ(Substr("abcdef", -5, 3).view(), "abc");
  EXPECT_EQ(Substr("abcdef", 2, 100).view(), "cdef");
  EXPECT_EQ(Substr("abcdef", 2, INT64_MAX).view(), "cdef");
  EXPECT_TRUE(Substr("abcdef", 2, 0).empty());
  EXPECT_TRUE(Substr("abcdef", 2, -1).empty());
  EXPECT_TRUE(Substr("abcdef", 9, 2).empty());
  EXPECT_TRUE(Substr("", 0, 3).empty());
  EXPECT_EQ(Substr("\xc3\xa9t\xc3\xa9", 1, 2).view(), "t\xc3\xa9");

  auto run = RunNode(kSubstrId, "string", String("abcdef"), "start", int64_t{0}, "count", int64_t{2});
  EXPECT_EQ(run->Get<String>("result").view(), "ab");
  SetAndRun(*run, "count", int64_t{0});
  EXPECT_TRUE(run->Get<String>("result").IsNull());
}

TEST(Truncate, Edges) {
  const String s("abcdef");
  EXPECT_EQ(Truncate(s, 3).view(), "abc");
  EXPECT_TRUE(Truncate(s, 0).empty());
  EXPECT_TRUE(Truncate(s, -4).empty());
  EXPECT_EQ(Truncate(s, 6).view(), "abcdef");
  // Longer than the string: the whole string, shared rather than copied.
  EXPECT_TRUE(Truncate(s, 1000).SameHandle(s));
  EXPECT_TRUE(Truncate(s, INT64_MAX).SameHandle(s));
  EXPECT_TRUE(Truncate(String(), 5).empty());
}

}  // namespace
}  // namespace tessaroc::pattern
