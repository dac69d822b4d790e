// The random sequence, the integer mix, the context and its helpers, Result.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

#include "core/random.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/string.h"

namespace tessaroc {
namespace {

// Reference values below were computed outside the project (Python, unbounded
// integers masked to 32 bits and sign-extended for the arithmetic shifts).
TEST(HashInt32, MatchesAnIndependentComputation) {
  const uint32_t cases[][2] = {
      {0u, 0x94b1d927u},         {1u, 0xb48681b6u},         {42u, 0xc343bb70u}, {0xdeadbeefu, 0x800feadau},
      {123456789u, 0xd9ab9e21u}, {0x80000000u, 0xc68fa4e6u}};  // the sign bit makes the shifts differ
  for (const auto& [in, out] : cases) EXPECT_EQ(HashInt32(in), out) << in;
}

TEST(LcgRandom, SequenceMatchesAnIndependentComputation) {
  LcgRandom r;
  r.Init(0);
  EXPECT_EQ(r.state(), 1u);
  EXPECT_EQ(r.Next01(), 69070.0 / 4294967296.0);
  EXPECT_EQ(r.state(), 69070u);
  EXPECT_EQ(r.Next01(), 0.11074089794419706);
  EXPECT_EQ(r.Next01(), 0.7630801079794765);

  r.Init(12345);
  EXPECT_EQ(r.Next01(), 0.8978736957069486);
  EXPECT_EQ(r.Next01(), 0.23828878346830606);
  EXPECT_EQ(r.state(), 1023442532u);

  // It stays in [0, 1), and the signed draw is twice the plain one minus one.
  LcgRandom a, b;
  a.Init(7);
  b.Init(7);
  for (int i = 0; i < 10000; ++i) {
    const double u = a.Next01();
    ASSERT_GE(u, 0.0);
    ASSERT_LT(u, 1.0);
    ASSERT_EQ(b.NextSigned(), 2.0 * u - 1.0);
  }
}

TEST(ShadingContextDefaults, FromScratch) {
  const ShadingContext c;
  EXPECT_EQ(c.carried1, -1);
  EXPECT_EQ(c.carried23, -1);
  EXPECT_EQ(c.carried28, -1);
  EXPECT_EQ(c.carried29, -1);
  EXPECT_EQ(c.carried30, -1);
  EXPECT_EQ(c.uvwvalid, 1);
  EXPECT_EQ(c.raymaxdistance, 1.7976931348623157e308);
  EXPECT_EQ(c.carried24[0], 1.0);
  EXPECT_EQ(c.carried24[3], 1.0);
  EXPECT_EQ(c.carried25, 1.0);
  EXPECT_EQ(c.carried26, 1);
  EXPECT_EQ(c.carried27, 1);
  EXPECT_EQ(c.uvw, Vector{});
  EXPECT_EQ(c.wrapmodeu, kWrapExtend);
  EXPECT_EQ(c.imageflag, 0);
  EXPECT_EQ(c.searchpaths, nullptr);
  EXPECT_EQ(c.messagesink, nullptr);
}

// The fields stand in declaration order with their widths, and a context
// copies as plain bytes: no field can be lost on the way.
static_assert(sizeof(ShadingContext::carried5) == 1);
static_assert(sizeof(ShadingContext::carried26) == 2);
static_assert(sizeof(ShadingContext::uvwvalid) == 1);
static_assert(sizeof(ShadingContext::carried17) == 16);
static_assert(sizeof(ShadingContext::carried24) == 32);
static_assert(offsetof(ShadingContext, position) > offsetof(ShadingContext, carried5));
static_assert(offsetof(ShadingContext, uvw) > offsetof(ShadingContext, shadingnormal));
static_assert(offsetof(ShadingContext, uvwvalid) > offsetof(ShadingContext, carried18));
static_assert(offsetof(ShadingContext, raydirectiondy) > offsetof(ShadingContext, rayorigindy));
static_assert(offsetof(ShadingContext, messagesink) > offsetof(ShadingContext, searchpaths));
static_assert(std::is_trivially_copyable_v<ShadingContext>);

TEST(UvwFootprint, SpreadOfTheThreePointsWhereNaNDropsOutOrZeroes) {
  ShadingContext c;
  c.uvw = {0.5, 0.5, 0};
  c.uvwdx = {0.6, 0.45, 0};
  c.uvwdy = {0.45, 0.75, 0};
  UvwFootprint f = ComputeUvwFootprint(c);
  EXPECT_DOUBLE_EQ(f.du, 0.15);
  EXPECT_DOUBLE_EQ(f.dv, 0.3);
  c.uvwdx = {std::nan(""), 0.5, 0};
  c.uvwdy = {0.75, 0.5, 0};
  f = ComputeUvwFootprint(c);
  EXPECT_EQ(f.du, 0.25);  // the NaN falls out of max and min
  EXPECT_EQ(f.dv, 0.0);
  c.uvw.x = std::nan("");  // the first member seeds max and min: nothing is at or above NaN
  f = ComputeUvwFootprint(c);
  EXPECT_EQ(f.du, 0.0);
  EXPECT_EQ(f.dv, 0.0);
}

TEST(FrameNumber, TruncatesWithTheSmallBiasAwayFromZero) {
  EXPECT_EQ(FrameNumber(1.0, 24.0), 24);
  EXPECT_EQ(FrameNumber(0.9999999, 24.0), 24);  // 23.9999976 + 0.001
  EXPECT_EQ(FrameNumber(0.5 / 24.0, 24.0), 0);
  EXPECT_EQ(FrameNumber(-1.0, 24.0), -24);
  EXPECT_EQ(FrameNumber(-0.9999999, 24.0), -24);
  EXPECT_EQ(FrameNumber(2.0, 0.0), 0);
  EXPECT_EQ(FrameNumber(std::nan(""), 24.0), 0);
}

TEST(ResultValue, CarriesIdMessageAndLocation) {
  Result ok;
  EXPECT_TRUE(ok.ok());
  const int line = __LINE__ + 1;
  Result r = Result::Fail(errors::kNullPtr, "no function");
  EXPECT_TRUE(r.failed());
  EXPECT_TRUE(r.Is(errors::kNullPtr));
  EXPECT_FALSE(r.Is(errors::kOutOfMemory));
  EXPECT_EQ(r.message(), "no function");
  EXPECT_EQ(r.error()->where().line, static_cast<unsigned>(line));
  EXPECT_NE(std::string(r.error()->where().file).find("values_test"), std::string::npos);
  Result copy = r;
  EXPECT_EQ(copy.error(), r.error());  // shared, not copied
  EXPECT_EQ(copy.ToString(), "net.zovan.error.nullptr: no function");
}

TEST(StringValue, SharesUntilMadeUnique) {
  String a("hello");
  String b = a;
  EXPECT_TRUE(a.SameHandle(b));
  EXPECT_EQ(a.UseCount(), 2);
  b.Mutable() += " world";
  EXPECT_FALSE(a.SameHandle(b));
  EXPECT_EQ(a.view(), "hello");
  EXPECT_EQ(b.view(), "hello world");
  String n;
  EXPECT_TRUE(n.IsNull());
  EXPECT_TRUE(n.empty());
  n.MakeUnique();
  EXPECT_FALSE(n.IsNull());
}

TEST(UrlValue, SplitsDirectoryNameAndSuffix) {
  Url u("/textures/wood/tex_0012.PNG");
  EXPECT_EQ(u.GetDirectory(), "/textures/wood/");
  EXPECT_EQ(u.GetName(), "tex_0012.PNG");
  EXPECT_TRUE(u.CheckSuffix("png"));
  EXPECT_FALSE(u.CheckSuffix("mp4"));
  EXPECT_EQ(Url("a").Append("b.png").view(), "a/b.png");
  EXPECT_EQ(Url("rel.png").GetDirectory(), "");
}

}  // namespace
}  // namespace tessaroc
