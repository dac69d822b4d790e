// Id words, equality rules, ownership, interned ids and port keys.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tessaroc/core/id.h"

namespace tessaroc {
namespace {

TEST(IdWord, LengthAboveBit44AndMaskedHashBelowEmptyIsZero) {
  const Id id("net.zovan.pattern.corenode.effect.invertcolor");
  EXPECT_EQ(id.length(), 45u);
  // Length 45 (0x2d) above bit 44, the hash part below, computed independently of the project's code.
  EXPECT_EQ(id.word(), 0x2d31eeee18aceULL);
  EXPECT_FALSE(id.owned());
  EXPECT_EQ(Id("net.zovan.tessarocs.module").word(), 0x1a0805ce74daeULL);  // length 26 (0x1a)
  EXPECT_EQ(Id("net.zovan.patterns.module").word() >> 44, 25u);
  // The empty text has word 0 and equals the null id.
  const Id empty("");
  EXPECT_EQ(empty.word(), 0u);
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty, Id());
  EXPECT_EQ(empty, Id::FromParts(nullptr, 0));
  EXPECT_EQ(empty.view(), "");
}

TEST(IdEquality, ComparesWordThenBytesNotAddresses) {
  std::string a = "noiseType", b = "noiseType";
  EXPECT_NE(a.data(), b.data());
  EXPECT_EQ(Id(std::string_view(a)), Id(std::string_view(b)));
  // Force both to carry the same word, so only the byte comparison (which runs
  // from the last byte to the first) can tell them apart.
  const char* x = "xabc";
  const char* y = "yabc";
  const uint64_t word = Id(x).word();
  EXPECT_NE(Id::FromParts(x, word), Id::FromParts(y, word));
  EXPECT_EQ(Id::FromParts(x, word), Id::FromParts("xabc", word));
  // A null pointer against text is unequal even with the same word.
  const Id text("abc");
  EXPECT_NE(Id::FromParts(nullptr, text.word()), text);
  EXPECT_NE(text, Id::FromParts(nullptr, text.word()));
  // Words that differ are unequal without looking at the text.
  EXPECT_NE(Id("abc"), Id("abd"));
  EXPECT_NE(Id("abc"), Id("abcd"));
}

TEST(IdOwnership, OwnedCopySetsBit43ComparesAndIsShared) {
  std::string text = "localModeU";
  Id owned = Id::Owned(text);
  text[0] = 'X';  // the owned copy does not follow the original
  EXPECT_TRUE(owned.owned());
  EXPECT_EQ(owned.word() & ~Id::kOwnedBit, Id("localModeU").word());
  EXPECT_EQ(owned, Id("localModeU"));
  EXPECT_EQ(Id("localModeU"), owned);
  EXPECT_EQ(owned.view(), "localModeU");
  // Copies share the text and outlive the original.
  Id copy;
  {
    Id original = Id::Owned("shared text");
    copy = original;
    Id moved = std::move(original);
    EXPECT_EQ(moved, copy);
    EXPECT_TRUE(original.empty());
  }
  EXPECT_EQ(copy.view(), "shared text");
  copy = Id("literal");
  EXPECT_FALSE(copy.owned());
}

TEST(InternedIdTable, SameTextGivesSamePointerAndCountsReferences) {
  std::string a = "pingpong";
  InternedId x = InternedId::Intern(a);
  InternedId y = InternedId::Intern(std::string("ping") + "pong");
  EXPECT_EQ(x, y);
  EXPECT_EQ(x.entry(), y.entry());
  EXPECT_EQ(x.id().text(), y.id().text());
  EXPECT_NE(x, InternedId::Intern("loop"));
  EXPECT_TRUE(InternedId::Intern("").empty());
  EXPECT_EQ(InternedId(), InternedId::Intern(""));
  // References are counted.
  InternedId r = InternedId::Intern("a-rarely-used-choice");
  const long base = r.UseCount();
  {
    InternedId share = r;
    EXPECT_EQ(r.UseCount(), base + 1);
  }
  EXPECT_EQ(r.UseCount(), base);
  // Canonical ids share the interned text, so they compare by pointer.
  const Id c1 = CanonicalId("srgb");
  const Id c2 = CanonicalId(std::string("s") + "rgb");
  EXPECT_EQ(c1.text(), c2.text());
  EXPECT_EQ(c1.text(), InternedId::Intern("srgb").id().text());
  EXPECT_NE(c1.text(), Id("srgb").text());  // a literal has its own address
}

TEST(PortKeys, OutputsUseTheHashAndInputsItsComplement) {
  EXPECT_EQ(PortKey("result", false), 0xc84dc81dLL);
  EXPECT_EQ(static_cast<uint64_t>(PortKey("context", true)), ~uint64_t{0x1538b735afULL});
  EXPECT_EQ(PortKey("color", true), ~PortKey("color", false));
}

}  // namespace
}  // namespace tessaroc
