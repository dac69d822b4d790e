// The text operations of String: lengths and parts in characters of UTF-8
// text, ASCII case mapping and comparing, appending and replacing on the
// handle's own text.
#include <gtest/gtest.h>

#include "tessaroc/core/string.h"

namespace tessaroc {
namespace {

TEST(StringOps, LengthCountsCharactersNotBytes) {
  EXPECT_EQ(String().GetLength(), 0);
  EXPECT_EQ(String("").GetLength(), 0);
  EXPECT_EQ(String("abc").GetLength(), 3);
  // "h", e-acute (2 bytes), "llo", the euro sign (3 bytes): 6 characters in 9 bytes.
  EXPECT_EQ(String("h\xc3\xa9llo\xe2\x82\xac").GetLength(), 6);
}

TEST(StringOps, PartsAreClampedAndShareTheWholeText) {
  const String s("h\xc3\xa9llo");
  EXPECT_EQ(s.GetPart(1, 3).view(), "\xc3\xa9l");
  EXPECT_EQ(s.GetPart(2, -1).view(), "llo");
  EXPECT_EQ(s.GetPart(3, 99).view(), "lo");
  EXPECT_EQ(s.GetPart(-4, 1).view(), "h");
  EXPECT_TRUE(s.GetPart(3, 3).IsNull());
  EXPECT_TRUE(s.GetPart(4, 2).IsNull());
  EXPECT_TRUE(s.GetPart(9, -1).IsNull());
  EXPECT_TRUE(s.GetPart(0, s.GetLength()).SameHandle(s));
  EXPECT_TRUE(String().GetPart(0, -1).IsNull());

  EXPECT_EQ(s.GetPartByCount(0, 2).view(), "h\xc3\xa9");
  EXPECT_EQ(s.GetPartByCount(2, INT64_MAX).view(), "llo");  // no overflow past the end
  EXPECT_TRUE(s.GetPartByCount(1, 0).IsNull());
  EXPECT_TRUE(s.GetPartByCount(1, -3).IsNull());
}

TEST(StringOps, CaseMappingAndComparingTouchAsciiLettersOnly) {
  const String s("hELLo, W\xc3\xa9rld 42");
  EXPECT_EQ(s.ToUpper().view(), "HELLO, W\xc3\xa9RLD 42");
  EXPECT_EQ(s.ToLower().view(), "hello, w\xc3\xa9rld 42");
  EXPECT_EQ(s.view(), "hELLo, W\xc3\xa9rld 42");  // the original is untouched
  EXPECT_TRUE(String().ToUpper().IsNull());

  struct Pair {
    const char *a, *b;
    bool equal;
  };
  const Pair pairs[] = {{"Color#3", "cOLOR#3", true},
                        {"", "", true},
                        {"srgb", "srgbx", false},
                        {"[@", "{`", false},               // neighbours of the letters
                        {"\xc3\xa9", "\xc3\x89", false}};  // e-acute and E-acute: not ASCII
  for (const Pair& p : pairs) EXPECT_EQ(EqualNoCase(p.a, p.b), p.equal) << p.a << " vs " << p.b;
}

TEST(StringOps, AppendCopiesASharedTextFirst) {
  String a("ab");
  const String shared = a;
  ASSERT_TRUE(a.Append(String("cd")).ok());
  EXPECT_EQ(a.view(), "abcd");
  EXPECT_EQ(shared.view(), "ab");

  String n;
  ASSERT_TRUE(n.Append(String("x")).ok());
  EXPECT_EQ(n.view(), "x");
  ASSERT_TRUE(n.Append(n).ok());  // appending itself
  EXPECT_EQ(n.view(), "xx");
}

TEST(StringOps, ReplaceChangesEveryOccurrenceWithoutOverlap) {
  struct Case {
    const char *text, *search, *replace, *want;  // nullptr: the null String
  };
  const Case cases[] = {{"aaa-aa-a", "aa", "b", "ba-b-a"},
                        {"x.y.z", ".", "::", "x::y::z"},
                        {"a, b, c", ", ", nullptr, "abc"},
                        {"abc", nullptr, "z", "abc"},  // empty search: nothing to find
                        {"abc", "q", "z", "abc"}};
  auto text = [](const char* t) { return t ? String(t) : String(); };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    String s(c.text);
    const String before = s;
    ASSERT_TRUE(s.Replace(text(c.search), text(c.replace)).ok());
    EXPECT_EQ(s.view(), c.want);
    EXPECT_EQ(before.view(), c.text);  // a shared text is copied first
  }
}

}  // namespace
}  // namespace tessaroc
