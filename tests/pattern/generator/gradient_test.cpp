// The gradient: gradientpre and gradient wired in one plan, knot functions
// that count their calls. Golden values were computed with python3 from the
// formulas of each interpolation (Catmull-Rom, Bernstein weights, the sRGB
// curves) and the CRC-32C of the positions with a bitwise reference. The
// CRC-32C itself closes the file.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"
#include "core/services.h"
#include "pattern/generator/crc32c.h"
#include "pattern/generator/gradient_node.h"

namespace tessaroc::pattern {
namespace {

struct Knot {
  double position;
  double grey;  // the knot's colour is (grey, grey, grey, 1)
  const char* interpolation = "linearknot";
  double bias = 0.5;
};

ColorA Grey(double g) { return {g, g, g, 1.0}; }

class CapturingLogger final : public Logger {
 public:
  void Write(int, std::string_view text, const SourceLocation&, int) override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

class CapturingSink final : public MessageSink {
 public:
  Result AddMessage(std::string_view text) override {
    lines.emplace_back(text);
    return Result::Ok();
  }
  std::vector<std::string> lines;
};

// A ramp in a plan of its own: the pre node's table wired to the gradient.
class Ramp {
 public:
  explicit Ramp(std::vector<Knot> knots, Id space = CanonicalId("linear")) : knots_(std::move(knots)) {
    const int64_t n = static_cast<int64_t>(knots_.size());
    const int64_t preCounts[] = {n};
    const int64_t counts[] = {n, n, n};
    const MicroNodeGroup *pre = nullptr, *main = nullptr;
    EXPECT_TRUE(testutil::Catalogue().GetGroup(kGradientPreId, preCounts, pre).ok());
    EXPECT_TRUE(testutil::Catalogue().GetGroup(kGradientId, counts, main).ok());
    for (Result r : {plan_.AddNode(pre, "pre", pre_), plan_.AddNode(main, "ramp", main_),
                     plan_.LinkPreNode(pre_, main_), plan_.BindContext(main_, "context"),
                     plan_.BindContext(main_, "contextLocal"), plan_.Set(main_, "colorspace", space)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    colorCalls.assign(n, 0);
    biasCalls.assign(n, 0);
    interpolationCalls.assign(n, 0);
    for (int64_t i = 0; i < n; ++i) {
      const std::string k = std::string("#").append(std::to_string(i));
      EXPECT_TRUE(plan_.Set(pre_, Id::Owned("position" + k), knots_[i].position).ok());
      AddFunction<ColorA>(kColorAType, "color" + k, colorCalls[i], [this, i] { return Grey(knots_[i].grey); });
      AddFunction<double>(kFloat64Type, "bias" + k, biasCalls[i], [this, i] { return knots_[i].bias; });
      AddFunction<Id>(kIdType, "interpolation" + k, interpolationCalls[i],
                      [this, i] { return Id::Owned(knots_[i].interpolation); });
    }
    for (Result r : {plan_.SetOutput(main_, "result"), plan_.RequestOutput(pre_, "crc"), plan_.Finish(),
                     PlanInstance::Create(plan_, inst_)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    EXPECT_TRUE(inst_->Prepare().ok());
  }

  // A knot port fed by a function that counts its calls in `calls`.
  template <class T, class Make>
  void AddFunction(const DataType& type, const std::string& port, int& calls, Make make) {
    fns_.push_back(std::make_unique<CallableFunction<T>>(type, [&calls, make](const ShadingContext&, T& out) {
      ++calls;
      out = make();
      return Result::Ok();
    }));
    EXPECT_TRUE(plan_.SetFunction(main_, Id::Owned(port), fns_.back().get()).ok());
  }

  Result Evaluate(double t, uint8_t uvwvalid = 1, MessageSink* messages = nullptr) {
    ShadingContext ctx;
    ctx.uvw = {t, 0.25, 0.0};
    ctx.uvwvalid = uvwvalid;
    ctx.messagesink = messages;
    return inst_->Evaluate(ctx);
  }
  ColorA At(double t) {
    EXPECT_TRUE(Evaluate(t).ok());
    return inst_->OutputAs<ColorA>();
  }
  double GreyAt(double t) { return At(t).r; }
  // Each (t, grey) pair of the list, exactly up to a double's rounding.
  void ExpectGreys(std::initializer_list<std::pair<double, double>> cases) {
    for (const auto& [t, grey] : cases) EXPECT_DOUBLE_EQ(GreyAt(t), grey) << "t = " << t;
  }
  void ResetCalls() {
    for (auto* calls : {&colorCalls, &biasCalls, &interpolationCalls}) calls->assign(calls->size(), 0);
  }
  int TotalColorCalls() const { return std::accumulate(colorCalls.begin(), colorCalls.end(), 0); }
  void MovePosition(int64_t i, double p) {
    knots_[i].position = p;
    EXPECT_TRUE(inst_->Set(pre_, Id::Owned("position#" + std::to_string(i)), p).ok());
    EXPECT_TRUE(inst_->Prepare().ok());
  }
  std::vector<Knot>& knots() { return knots_; }
  PlanInstance& instance() { return *inst_; }
  uint32_t Crc() const { return inst_->Get<uint32_t>(pre_, "crc"); }
  const SortedKnots* Table() const { return inst_->Get<SortedKnotsRef>(pre_, "sortedKnots").get(); }
  NodeRef main() const { return main_; }

  std::vector<int> colorCalls, biasCalls, interpolationCalls;

 private:
  std::vector<Knot> knots_;
  std::vector<std::unique_ptr<FunctionInterface>> fns_;
  Plan plan_;
  NodeRef pre_, main_;
  std::unique_ptr<PlanInstance> inst_;
};

// ---- lookup

TEST(GradientLookup, AtBetweenAndBeyondKnotsAndFromTheInputPort) {
  Ramp ramp({{0.25, 0.2}, {0.75, 0.6}});
  ramp.ExpectGreys({{0.5, 0.4}, {0.25, 0.2}, {0.75, 0.6}, {-3.0, 0.2}});  // Bend clamps: the first knot holds
  EXPECT_EQ(ramp.At(0.5).a, 1.0);
  // Right of the last knot the span is empty: only that knot's colour is called.
  ramp.ResetCalls();
  EXPECT_DOUBLE_EQ(ramp.GreyAt(9.0), 0.6);
  EXPECT_EQ(ramp.colorCalls, (std::vector<int>{0, 1}));
  EXPECT_EQ(ramp.interpolationCalls, (std::vector<int>{0, 0}));
  EXPECT_EQ(ramp.biasCalls, (std::vector<int>{0, 0}));
  // A set input overrides the context's u.
  Ramp unit({{0.0, 0.0}, {1.0, 1.0}});
  EXPECT_DOUBLE_EQ(unit.GreyAt(0.25), 0.25);
  ASSERT_TRUE(unit.instance().Set(unit.main(), "input", 0.75).ok());
  EXPECT_DOUBLE_EQ(unit.GreyAt(0.25), 0.75);
}

TEST(GradientLookup, ExactlyOnAKnotBelongsToTheSpanOnItsLeftAlsoForCoincidingKnotsAndOneKnot) {
  // With "none" a span shows its left knot: t on knot 1 still reads knot 0,
  // while t on knot 0 reads knot 0 as the left end of its own span.
  Ramp ramp({{0.0, 0.1, "none"}, {0.5, 0.5, "none"}, {1.0, 0.9, "none"}});
  ramp.ExpectGreys({{0.5, 0.1}, {0.5000001, 0.5}, {0.0, 0.1}});
  ramp.ResetCalls();
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.25), 0.1);
  EXPECT_EQ(ramp.biasCalls, (std::vector<int>{0, 0, 0}));  // "none" asks no bias
  // With "linearknot" the same t is s = 1 on the left span: knot 1's colour.
  Ramp linear({{0.0, 0.1}, {0.5, 0.5}, {1.0, 0.9}});
  EXPECT_DOUBLE_EQ(linear.GreyAt(0.5), 0.5);

  // Knots 1 and 2 share 0.5: at 0.5 the span on the left ends there (s = 1,
  // knot 1); just past it the ramp runs on from knot 2.
  Ramp coinciding({{0.0, 0.0}, {0.5, 0.3}, {0.5, 0.7}, {1.0, 1.0}});
  EXPECT_DOUBLE_EQ(coinciding.GreyAt(0.5), 0.0 + (0.3 - 0.0) * 1.0);
  coinciding.ResetCalls();
  EXPECT_NEAR(coinciding.GreyAt(0.75), 0.85, 1e-15);
  EXPECT_EQ(coinciding.colorCalls, (std::vector<int>{0, 0, 1, 1}));
  // Coinciding knots with knot 0 among them: the span between them is empty
  // and shows knot 0.
  Ramp swapped({{0.5, 0.7}, {0.5, 0.3}, {1.0, 1.0}});
  EXPECT_DOUBLE_EQ(swapped.GreyAt(0.5), 0.7);
  EXPECT_NEAR(swapped.GreyAt(0.75), 0.65, 1e-15);

  Ramp one({{0.4, 0.35, "cubicknot"}});
  for (double t : {-1.0, 0.4, 0.5, 3.0}) EXPECT_DOUBLE_EQ(one.GreyAt(t), 0.35);
  EXPECT_EQ(one.interpolationCalls[0], 0);
  EXPECT_EQ(one.biasCalls[0], 0);
}

TEST(GradientLookup, OnlyTheSpansKnotsAreCalled) {
  std::vector<Knot> knots;
  for (int i = 0; i < 32; ++i) knots.push_back({(31 - i) / 31.0, i / 31.0});  // ports in falling order
  Ramp ramp(knots);
  const double t = 10.5 / 31.0;  // between positions 10/31 (port 21) and 11/31 (port 20)
  EXPECT_NEAR(ramp.GreyAt(t), 20.5 / 31.0, 1e-12);
  std::vector<int> colors(32, 0), once(32, 0);
  colors[20] = colors[21] = once[21] = 1;
  EXPECT_EQ(ramp.colorCalls, colors);
  EXPECT_EQ(ramp.interpolationCalls, once);
  EXPECT_EQ(ramp.biasCalls, once);
}

// ---- interpolations

TEST(GradientInterpolation, LinearAndSmoothAtEndsAndMiddle) {
  Ramp lin({{0.0, 0.2}, {1.0, 1.0}});
  lin.ExpectGreys({{0.0, 0.2}, {0.5, 0.6}, {1.0, 1.0}});
  // The bias point lands in the middle of the colour range.
  lin.knots()[0].bias = 0.2;
  lin.ExpectGreys({{0.2, 0.6}, {0.1, 0.4}});
  // Bias 0: s = 0 already takes the upper branch and lands at 0.5.
  lin.knots()[0].bias = 0.0;
  EXPECT_DOUBLE_EQ(lin.GreyAt(0.0), 0.6);

  Ramp smooth({{0.0, 0.0, "smoothknot"}, {1.0, 1.0}});
  // (3 - 2u) u^2 at u = 0.25 is 0.15625.
  smooth.ExpectGreys({{0.0, 0.0}, {0.25, 0.15625}, {0.5, 0.5}, {1.0, 1.0}, {-0.5, 0.0}});
}

TEST(GradientInterpolation, CatmullRomThroughFourKnotsClampedToThem) {
  Ramp ramp({{0.0, 0.0, "cubicknot"}, {1.0, 0.2, "cubicknot"}, {2.0, 0.6, "cubicknot"}, {3.0, 1.0, "cubicknot"}});
  ramp.ExpectGreys({{1.5, 0.3875}, {1.0, 0.2}, {2.0, 0.6}});
  // First span: A is L itself and its colour is fetched once.
  ramp.ResetCalls();
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.5), 0.07500000000000001);
  EXPECT_EQ(ramp.colorCalls, (std::vector<int>{1, 1, 1, 0}));
  // Last span: D is R itself.
  ramp.ResetCalls();
  ramp.GreyAt(2.5);
  EXPECT_EQ(ramp.colorCalls, (std::vector<int>{0, 1, 1, 1}));
  // 0, 1, 1, 0 would overshoot to 1.125 mid-span; the clamp holds it at 1.
  Ramp bump({{0.0, 0.0, "cubicknot"}, {1.0, 1.0, "cubicknot"}, {2.0, 1.0, "cubicknot"}, {3.0, 0.0, "cubicknot"}});
  EXPECT_DOUBLE_EQ(bump.GreyAt(1.5), 1.0);
}

TEST(GradientInterpolation, CubicBiasBlendAndNone) {
  // Cubic bias extrapolates: s is not clamped.
  Ramp cubic({{0.0, 0.2, "cubicbias"}, {1.0, 1.0}});
  cubic.ExpectGreys({{0.5, 0.6}, {0.0, 0.2}, {-0.5, -0.35}});
  cubic.knots()[0].bias = 0.2;
  EXPECT_DOUBLE_EQ(cubic.GreyAt(0.5), 0.7350000000000001);
  cubic.knots()[0].bias = 0.3;
  EXPECT_DOUBLE_EQ(cubic.GreyAt(1.0), 1.0);  // s = 1 is the right knot whatever the bias

  // Blend holds the left colour up to the bias: u = (0.65 - 0.3) / 0.7 = 0.5.
  Ramp blend({{0.0, 0.2, "blend", 0.3}, {1.0, 1.0}});
  blend.ExpectGreys({{0.2, 0.2}, {0.65, 0.6}, {-2.0, 0.2}});
  // Bias 1: left colour all the way up to the next knot.
  blend.knots()[0].bias = 1.0;
  blend.ExpectGreys({{0.999, 0.2}, {1.0, 1.0}});

  Ramp none({{0.0, 0.2, "none"}, {1.0, 1.0}});
  EXPECT_DOUBLE_EQ(none.GreyAt(0.99), 0.2);
}

TEST(GradientInterpolation, BendKeepsEndsAndMapsTheBiasToHalf) {
  for (double b : {0.1, 0.5, 0.9}) {
    EXPECT_EQ(Bend(0.0, b), 0.0);
    EXPECT_EQ(Bend(1.0, b), 1.0);
    EXPECT_EQ(Bend(b, b), 0.5);
    EXPECT_EQ(Bend(-5.0, b), 0.0);
    EXPECT_EQ(Bend(5.0, b), 1.0);
  }
  for (double s = 0.0; s <= 1.0; s += 0.125) EXPECT_DOUBLE_EQ(Bend(s, 0.5), s);
}

// ---- failures and early exits

TEST(GradientFailures, UnknownInterpolationMissingFunctionsOutsideContextAndNoKnots) {
  Ramp ramp({{0.0, 0.2, "zigzag"}, {1.0, 1.0}});
  ramp.At(2.0);  // right of the last knot: no interpolation asked, so no error
  const ColorA before = ramp.instance().OutputAs<ColorA>();
  Result r = ramp.Evaluate(0.5);
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(r.message(), "Unknown gradient interpolation mode.");
  EXPECT_EQ(ramp.instance().OutputAs<ColorA>(), before);  // result untouched on error

  Ramp empty({{0.0, 0.2, ""}, {1.0, 1.0}});
  EXPECT_TRUE(empty.Evaluate(0.5).Is(errors::kIllegalState));

  Ramp unset({{0.0, 0.2}, {1.0, 1.0}});
  ASSERT_TRUE(unset.instance().Set(unset.main(), "color#0", FunctionRef{nullptr}).ok());
  EXPECT_TRUE(unset.Evaluate(0.5).Is(errors::kNullPtr));
  EXPECT_TRUE(unset.Evaluate(2.0).ok());  // right of the last knot only knot 1 is asked

  // Outside the context, and without knots: transparent black.
  Ramp outside({{0.0, 0.2}, {1.0, 1.0}});
  ASSERT_TRUE(outside.Evaluate(0.5, 0).ok());
  EXPECT_EQ(outside.instance().OutputAs<ColorA>(), (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(outside.TotalColorCalls(), 0);
  Ramp noKnots({});
  EXPECT_EQ(noKnots.At(0.5), (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(noKnots.Crc(), 0u);
}

// ---- colour spaces

TEST(GradientColorSpace, SrgbInterpolatesInSrgbAndALookalikeIdGivesMagentaKnots) {
  Ramp ramp({{0.0, 0.0}, {1.0, 1.0}}, CanonicalId("srgb"));
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.5), 0.21404114048223255);
  EXPECT_EQ(ramp.At(0.5).a, 1.0);
  // Round trip at a knot gives the knot's linear colour back.
  Ramp mid({{0.0, 0.1}, {1.0, 0.8}}, CanonicalId("srgb"));
  mid.ExpectGreys({{0.5, 0.35191596126392566}, {0.0, 0.1}, {1.0, 0.8}});
  // Negative channels go through the linear segment both ways.
  EXPECT_DOUBLE_EQ(GradientSrgbToLinear(GradientLinearToSrgb({-0.5, 0, 0, 1})).r, -0.5 * 12.92);

  // A look-alike id (the same text, not the registered constant) gives magenta knots.
  static const char text[] = "srgb";  // same text, not the registered constant
  const Id lookalike = Id::FromParts(text, Id::MakeWord("srgb"));
  ASSERT_EQ(ClassifyGradientSpace(lookalike), GradientSpace::kSrgbLookalike);
  ASSERT_EQ(ClassifyGradientSpace(Id()), GradientSpace::kUnknown);

  Ramp look({{0.0, 0.0}, {1.0, 1.0}}, lookalike);
  ASSERT_TRUE(look.Evaluate(0.5, 0).ok());  // early exit writes (0, 0, 0, 0)
  ASSERT_TRUE(look.Evaluate(0.5).ok());
  EXPECT_EQ(look.instance().OutputAs<ColorA>(), (ColorA{0, 0, 0, 0}));
  EXPECT_EQ(look.TotalColorCalls(), 2);
}

TEST(GradientColorSpace, UnknownSpaceReportsToTheRenderAndStaysUnconverted) {
  // Only the print node writes to the logger; the render's messages get this.
  CapturingLogger log;
  SetDefaultLogger(&log);
  CapturingSink messages;
  Ramp ramp({{0.0, 0.0}, {1.0, 1.0}}, CanonicalId("aces"));
  ASSERT_TRUE(ramp.Evaluate(0.5, 1, &messages).ok());
  EXPECT_DOUBLE_EQ(ramp.instance().OutputAs<ColorA>().r, 0.5);
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.5), 0.5);  // without a sink: nothing to tell
  SetDefaultLogger(nullptr);
  EXPECT_TRUE(log.lines.empty());
  ASSERT_EQ(messages.lines.size(), 3u);  // two knot colours and the way back
  for (const std::string& line : messages.lines) EXPECT_EQ(line, "Stop: Unsupported color space in gradient: aces");
}

// ---- the table and its checksum

TEST(GradientTable, ChecksumFollowsPortOrderReorderingRebuildsAndRankInvertsTheOrderEvenWithNan) {
  Ramp ramp({{0.0, 0.0}, {1.0, 1.0}});
  EXPECT_EQ(ramp.Crc(), 0x681ac101u);  // CRC-32C of the bytes of 0.0 then 1.0
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.25), 0.25);
  ramp.MovePosition(0, 1.0);
  ramp.MovePosition(1, 0.0);
  EXPECT_EQ(ramp.Crc(), 0x765dc065u);
  // Same set of positions, new order: the ramp now runs from white to black.
  EXPECT_DOUBLE_EQ(ramp.GreyAt(0.25), 0.75);
  const SortedKnots* table = ramp.Table();
  ASSERT_NE(table, nullptr);
  ASSERT_EQ(table->knots.size(), 2u);
  EXPECT_EQ(table->knots[0].index, 1);
  EXPECT_EQ(table->rank, (std::vector<int64_t>{1, 0}));
  EXPECT_EQ(KnotPositionsCrc(std::vector<double>{0.25, 0.5, 0.75}), 0x6548cc53u);

  // The rank inverts the order, and a NaN does not break it.
  SortedKnots t;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  ASSERT_TRUE(BuildSortedKnots(std::vector<double>{0.7, nan, 0.1, 0.7, -2.0}, t).ok());
  ASSERT_EQ(t.knots.size(), 5u);
  const int64_t order[] = {4, 2, 0, 3, 1};
  for (size_t p = 0; p < 5; ++p) {
    EXPECT_EQ(t.knots[p].index, order[p]);
    EXPECT_EQ(t.rank[t.knots[p].index], static_cast<int64_t>(p));
  }
}

// ---- CRC-32C, against the published check value and the iSCSI test vectors
// (RFC 3720, B.4)

struct CrcCase {
  std::vector<unsigned char> bytes;
  uint32_t crc;
};

std::vector<CrcCase> PublishedVectors() {
  auto bytes = [](auto at) {
    std::vector<unsigned char> v(32);
    for (int i = 0; i < 32; ++i) v[i] = static_cast<unsigned char>(at(i));
    return v;
  };
  return {{{'1', '2', '3', '4', '5', '6', '7', '8', '9'}, 0xE3069283u},
          {bytes([](int) { return 0x00; }), 0x8A9136AAu},
          {bytes([](int) { return 0xFF; }), 0x62A8AB43u},
          {bytes([](int i) { return i; }), 0x46DD794Eu},
          {bytes([](int i) { return 31 - i; }), 0x113FDB5Cu},
          {{}, 0x00000000u}};
}

// The table path, and the instruction path where the processor has it.
TEST(Crc32c, BothPathsMatchPublishedVectors) {
  for (const CrcCase& t : PublishedVectors()) {
    EXPECT_EQ(~Crc32cExtendTable(kCrc32cStart, t.bytes.data(), t.bytes.size()), t.crc);
    if (Crc32cHardwareAvailable()) {
      EXPECT_EQ(~Crc32cExtendHardware(kCrc32cStart, t.bytes.data(), t.bytes.size()), t.crc);
    }
  }
  EXPECT_EQ(Crc32c("123456789"), 0xE3069283u);
}

TEST(Crc32c, PathsAgreeOnEveryLengthAndSplitAndSeeTheSignOfZero) {
  std::vector<unsigned char> data(67);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i * 37 + 11);
  for (size_t n = 0; n <= data.size(); ++n) {
    const uint32_t whole = Crc32cExtendTable(kCrc32cStart, data.data(), n);
    // Feeding in two pieces gives the same state as feeding at once.
    const size_t half = n / 3;
    EXPECT_EQ(Crc32cExtend(Crc32cExtend(kCrc32cStart, data.data(), half), data.data() + half, n - half), whole);
    if (Crc32cHardwareAvailable()) { EXPECT_EQ(Crc32cExtendHardware(kCrc32cStart, data.data(), n), whole); }
  }
  // Zero and negative zero differ in their bytes, so moving a knot across zero is seen.
  EXPECT_NE(Crc32cExtendDouble(kCrc32cStart, 0.0), Crc32cExtendDouble(kCrc32cStart, -0.0));
}

}  // namespace
}  // namespace tessaroc::pattern
