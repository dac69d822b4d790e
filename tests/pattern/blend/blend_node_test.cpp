// The blend and layer nodes, run through their registered kernels on the
// blend modes the host installs.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "../pattern_test_util.h"
#include "host/blend/blend_modes.h"
#include "pattern/color/blend_node.h"
#include "pattern/color/layer_node.h"
#include "pattern/color/pixel_blend.h"

namespace tessaroc::pattern {
namespace {

constexpr const char* kCountingMode = "test.blendmode.counting";
constexpr const char* kRefusingMode = "test.blendmode.refusing";
constexpr const char* kFailingMode = "test.blendmode.failing";

// A mode that works like `over` and counts the handlers made from it and the
// handlers released.
class CountingMode final : public ImagePixelBlendInterface {
 public:
  Result GetBlendPixelHandler(const PixelFormatInterface& df, const ChannelOffsets& d, const PixelFormatInterface& sf,
                              const ChannelOffsets& s, double opacity, BlendPixelDelegates& out) const override {
    ++made;
    auto* w = new Wrapped{{}, this};
    TESSAROC_RETURN_IF_FAILED(host::BlendModeClass("over")->GetBlendPixelHandler(df, d, sf, s, opacity, w->inner));
    out.blend = {&Call, w};
    out.release = {&Free, w};
    return Result::Ok();
  }
  mutable int made = 0;
  mutable int released = 0;

 private:
  struct Wrapped {
    BlendPixelDelegates inner;
    const CountingMode* owner;
  };
  static Result Call(void* c, PixelRun dst, ConstPixelRun bg, ConstPixelRun fg, int64_t n, int64_t flags) {
    auto* w = static_cast<Wrapped*>(c);
    return w->inner.blend.call(w->inner.blend.context, dst, bg, fg, n, flags);
  }
  static void Free(void* c) {
    auto* w = static_cast<Wrapped*>(c);
    ++w->owner->released;
    w->inner.release.call(w->inner.release.context);
    delete w;
  }
};

// A mode whose class refuses to make a handler, or whose handler fails every call.
class BrokenMode final : public ImagePixelBlendInterface {
 public:
  explicit BrokenMode(bool refuse) : refuse_(refuse) {}
  Result GetBlendPixelHandler(const PixelFormatInterface&, const ChannelOffsets&, const PixelFormatInterface&,
                              const ChannelOffsets&, double, BlendPixelDelegates& out) const override {
    if (refuse_) return Result::Fail(errors::kIllegalState, "refused on purpose");
    out.blend = {&Fail, nullptr};
    return Result::Ok();
  }

 private:
  static Result Fail(void*, PixelRun, ConstPixelRun, ConstPixelRun, int64_t, int64_t) {
    return Result::Fail(errors::kUnsupportedOperation, "handler failed on purpose");
  }
  bool refuse_;
};

class BlendNodeTest : public ::testing::Test {
 protected:
  // Runs for each suite of this fixture; the mode classes are registered once.
  static void SetUpTestSuite() {
    static const bool ready = [] {
      return host::InstallBlendModes().ok() && BlendModeClasses().Register(kRefusingMode, &refusing_).ok() &&
             BlendModeClasses().Register(kFailingMode, &failing_).ok();
    }();
    ASSERT_TRUE(ready);
  }
  void SetUp() override {
    counting_ = std::make_unique<CountingMode>();
    ASSERT_TRUE(BlendModeClasses().Register(kCountingMode, counting_.get()).ok());
  }
  void TearDown() override { EXPECT_TRUE(BlendModeClasses().Unregister(kCountingMode).ok()); }

  static std::string ModeId(const char* name) { return std::string(kBlendModeIdPrefix) + name; }

  // A blend node with the full mask and the given handling (may be empty).
  std::unique_ptr<SingleNodeRunner> BlendRunner(const ColorA& bg, const ColorA& fg, const Id& mode,
                                                const char* handling = "blend") {
    auto run = testutil::Runner(kBlendId);
    const InternedId alpha = handling[0] ? InternedId::Intern(handling) : InternedId();
    for (Result r : {run->Set("background", bg), run->Set("foreground", fg), run->Set("blendMode", mode),
                     run->Set("alphaHandling", alpha), run->Set("maskblend", 1.0), run->Set("maskred", true),
                     run->Set("maskgreen", true), run->Set("maskblue", true), run->Set("maskalpha", true)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static ColorA Run(SingleNodeRunner& run) {
    const Result r = run.Run();
    EXPECT_TRUE(r.ok()) << r.ToString();
    return run.Get<ColorA>("result");
  }
  static ColorA Direct(const char* name, const ColorA& bg, const ColorA& fg) {
    BlendPixelHandlerRef h;
    EXPECT_TRUE(MakeBlendPixelHandler(host::BlendModeClass(name), h).ok());
    ColorA d{0, 0, 0, 1};
    EXPECT_TRUE(h.Blend(d, bg, fg).ok());
    return d;
  }

  static inline BrokenMode refusing_{true};
  static inline BrokenMode failing_{false};
  std::unique_ptr<CountingMode> counting_;
};

// ---- the handler object

TEST_F(BlendNodeTest, HandlerObjectReleasesItsDelegatesWithTheLastReference) {
  BlendPixelHandlerRef first;
  ASSERT_TRUE(MakeBlendPixelHandler(counting_.get(), first).ok());
  EXPECT_EQ(first.get()->UseCount(), 1);
  {
    BlendPixelHandlerRef second = first;
    EXPECT_EQ(first.get()->UseCount(), 2);
    BlendPixelHandlerRef third = std::move(second);
    EXPECT_EQ(first.get()->UseCount(), 2);
  }
  EXPECT_EQ(counting_->released, 0);
  first.reset();
  EXPECT_EQ(counting_->released, 1);
  EXPECT_TRUE(MakeBlendPixelHandler(nullptr, first).Is(errors::kNullPtr));
  EXPECT_TRUE(MakeBlendPixelHandler(&refusing_, first).Is(errors::kIllegalState));
  EXPECT_FALSE(first);
}

// ---- blend: which mode, and when it is looked up

TEST_F(BlendNodeTest, EveryModeReachesItsClassAndAnEmptyModeBlendsAsOver) {
  const ColorA bg{0.2, 0.5, 0.9, 1.0}, fg{0.7, 0.3, 0.6, 1.0};
  for (const char* name : kBlendModeNames) {
    const std::string id = ModeId(name);
    auto run = BlendRunner(bg, fg, Id(std::string_view(id)));
    // The mask rule at maskblend 1 still goes through (d - b) * 1 + b.
    const ColorA d = Direct(name, bg, fg);
    const ColorA want{(d.r - bg.r) * 1.0 + bg.r, (d.g - bg.g) * 1.0 + bg.g, (d.b - bg.b) * 1.0 + bg.b,
                      (d.a - bg.a) * 1.0 + bg.a};
    EXPECT_EQ(Run(*run), want) << name;
  }
  // An empty mode blends as over and is remembered.
  const ColorA bg2{0.2, 0.4, 0.6, 1.0}, fg2{0.9, 0.1, 0.5, 0.5};
  auto run = BlendRunner(bg2, fg2, Id());
  const ColorA got = Run(*run);
  EXPECT_EQ(got, Direct("over", bg2, fg2));
  EXPECT_NE(got, Direct("multiply", bg2, fg2));
  EXPECT_TRUE(run->Get<Id>("lastBlendMode").empty());
  EXPECT_TRUE(run->Get<BlendPixelHandlerRef>("blendPixelHandlerRef"));
}

TEST_F(BlendNodeTest, RepeatedModeMakesOneHandlerAndAChangeReleasesTheOld) {
  auto run = BlendRunner({0.2, 0.4, 0.6, 1.0}, {0.9, 0.1, 0.5, 1.0}, Id(kCountingMode));
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(run->Set("foreground", ColorA{0.1 * i, 0.2, 0.3, 1.0}).ok());
    EXPECT_EQ(Run(*run), (ColorA{0.1 * i, 0.2, 0.3, 1.0}));
  }
  EXPECT_EQ(counting_->made, 1);
  EXPECT_EQ(counting_->released, 0);
  const BlendPixelHandler* first = run->Get<BlendPixelHandlerRef>("blendPixelHandlerRef").get();
  EXPECT_EQ(first->UseCount(), 1);  // the kernel gave back the reference it took for the call

  // The same text from another buffer is the same mode: no new lookup.
  const std::string copy = kCountingMode;
  ASSERT_TRUE(run->Set("blendMode", Id(std::string_view(copy))).ok());
  Run(*run);
  EXPECT_EQ(counting_->made, 1);

  const std::string multiply = ModeId("multiply");
  ASSERT_TRUE(run->Set("blendMode", Id(std::string_view(multiply))).ok());
  Run(*run);
  EXPECT_EQ(counting_->released, 1);
  EXPECT_EQ(run->Get<Id>("lastBlendMode").view(), multiply);

  ASSERT_TRUE(run->Set("blendMode", Id(kCountingMode)).ok());
  Run(*run);
  Run(*run);
  EXPECT_EQ(counting_->made, 2);
}

TEST_F(BlendNodeTest, LookupAndHandlerErrorsPassUnchangedAndKeepTheResult) {
  const ColorA bg{0.2, 0.4, 0.6, 1.0}, fg{0.9, 0.1, 0.5, 1.0};
  auto run = BlendRunner(bg, fg, Id(kCountingMode));
  const ColorA before = Run(*run);
  const BlendPixelHandler* handler = run->Get<BlendPixelHandlerRef>("blendPixelHandlerRef").get();

  // An unknown mode is a null pointer error and changes nothing.
  ASSERT_TRUE(run->Set("blendMode", Id("net.zovan.render.blendmode.normal")).ok());
  ASSERT_TRUE(run->Set("foreground", ColorA{0, 0, 0, 1}).ok());
  Result r = run->Run();
  EXPECT_TRUE(r.Is(errors::kNullPtr)) << r.ToString();
  EXPECT_EQ(run->Get<ColorA>("result"), before);
  EXPECT_EQ(run->Get<Id>("lastBlendMode"), Id(kCountingMode));
  EXPECT_EQ(run->Get<BlendPixelHandlerRef>("blendPixelHandlerRef").get(), handler);
  // It fails again on the next sample rather than reusing the old handler.
  EXPECT_TRUE(run->Run().Is(errors::kNullPtr));
  EXPECT_EQ(counting_->released, 0);

  // The class's own error.
  ASSERT_TRUE(run->Set("blendMode", Id(kRefusingMode)).ok());
  r = run->Run();
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(r.message(), "refused on purpose");
  EXPECT_EQ(run->Get<Id>("lastBlendMode"), Id(kCountingMode));
  EXPECT_EQ(counting_->released, 0);

  // The handler's error.
  ASSERT_TRUE(run->Set("blendMode", Id(kFailingMode)).ok());
  r = run->Run();
  EXPECT_TRUE(r.Is(errors::kUnsupportedOperation));
  EXPECT_EQ(r.message(), "handler failed on purpose");
  EXPECT_EQ(run->Get<ColorA>("result"), before);
  // The handler itself was made, so the cache moved on to it.
  EXPECT_EQ(run->Get<Id>("lastBlendMode"), Id(kFailingMode));
  EXPECT_EQ(counting_->released, 1);
}

// ---- blend: mask rule and alpha

TEST_F(BlendNodeTest, MaskRuleMixesTheBlendIntoTheBackground) {
  const ColorA bg{0.2, 0.4, 0.6, 1.0}, fg{0.5, 0.5, 0.5, 1.0};
  const std::string id = ModeId("multiply");
  auto run = BlendRunner(bg, fg, Id(std::string_view(id)));
  // Multiply by 0.5 halves each channel.
  const ColorA full = Run(*run);
  EXPECT_NEAR(full.r, 0.1, 1e-15);
  EXPECT_NEAR(full.g, 0.2, 1e-15);
  EXPECT_NEAR(full.b, 0.3, 1e-15);
  ASSERT_TRUE(run->Set("maskblend", 0.0).ok());
  EXPECT_EQ(Run(*run), bg);
  ASSERT_TRUE(run->Set("maskblend", 2.0).ok());  // overshoots: bg + 2 (B - bg)
  ColorA got = Run(*run);
  EXPECT_NEAR(got.r, 0.0, 1e-15);
  EXPECT_NEAR(got.b, 0.0, 1e-15);
  ASSERT_TRUE(run->Set("maskblend", 0.5).ok());
  ASSERT_TRUE(run->Set("maskgreen", false).ok());
  got = Run(*run);
  EXPECT_NEAR(got.r, 0.15, 1e-15);
  EXPECT_EQ(got.g, 0.4);
  EXPECT_NEAR(got.b, 0.45, 1e-15);
}

TEST_F(BlendNodeTest, AlphaHandlingTable) {
  // applyalpha gives the handler's alpha ba * fa = 0.4, apart from every row.
  const ColorA bg{0.2, 0.4, 0.6, 0.5}, fg{0.9, 0.1, 0.3, 0.8};
  const std::string id = ModeId("applyalpha");
  struct Row {
    const char* handling;
    double alpha;      // maskblend 1
    double halfAlpha;  // maskblend 0.5
  };
  const Row rows[] = {
      {"compositing", 0.9, 0.7},  // q = mb * fa: (q + ba) - ba * q
      {"blend", 0.4, 0.45},       // the mask rule on the handler's alpha
      {"background", 0.5, 0.5},  {"foreground", 0.8, 0.8}, {"zero", 0.0, 0.0},
      {"one", 1.0, 1.0},         {"", 0.4, 0.45},          {"sideways", 0.4, 0.45},
  };
  for (const Row& row : rows) {
    auto run = BlendRunner(bg, fg, Id(std::string_view(id)), row.handling);
    ColorA got = Run(*run);
    EXPECT_NEAR(got.a, row.alpha, 1e-15) << row.handling;
    EXPECT_EQ(got.r, 0.2) << row.handling;  // applyalpha keeps the background colour
    ASSERT_TRUE(run->Set("maskblend", 0.5).ok());
    EXPECT_NEAR(Run(*run).a, row.halfAlpha, 1e-15) << row.handling;
    // Without maskalpha alpha is the background's, whatever the handling.
    ASSERT_TRUE(run->Set("maskalpha", false).ok());
    EXPECT_EQ(Run(*run).a, 0.5) << row.handling;
  }
  // Half over half: compositing gives 0.75.
  auto run = BlendRunner({0.2, 0.4, 0.6, 0.5}, {0.9, 0.1, 0.3, 0.5}, Id(), "compositing");
  EXPECT_EQ(Run(*run).a, 0.75);
}

TEST_F(BlendNodeTest, ClonedInstancesShareOneHandler) {
  // One blend node, primed once, then cloned; each clone is fed its own
  // background. (Clones on two threads at once: the catalogue's render test.)
  Plan plan;
  NodeRef blend;
  ASSERT_TRUE(plan.AddNode(testutil::Group(kBlendId), "blend", blend).ok());
  for (Result r :
       {plan.Set(blend, "background", ColorA{0.5, 0.5, 0.5, 1.0}),
        plan.Set(blend, "foreground", ColorA{0.8, 0.3, 0.6, 0.7}), plan.Set(blend, "blendMode", Id(kCountingMode)),
        plan.Set(blend, "alphaHandling", InternedId()), plan.Set(blend, "maskblend", 1.0),
        plan.Set(blend, "maskred", true), plan.Set(blend, "maskgreen", true), plan.Set(blend, "maskblue", true),
        plan.Set(blend, "maskalpha", true), plan.SetOutput(blend, "result")})
    ASSERT_TRUE(r.ok()) << r.ToString();
  ASSERT_TRUE(plan.Finish().ok());
  std::unique_ptr<PlanInstance> primed;
  ASSERT_TRUE(PlanInstance::Create(plan, primed).ok());
  ASSERT_TRUE(primed->Prepare().ok());

  constexpr int kClones = 4;
  auto sample = [&](PlanInstance& inst, int i) {
    EXPECT_TRUE(inst.Set(blend, "background", ColorA{i / 8.0, 1.0 - i / 8.0, 0.5, 0.9}).ok());
    EXPECT_TRUE(inst.Prepare().ok());
    return inst.OutputAs<ColorA>();
  };
  std::vector<std::unique_ptr<PlanInstance>> clones(kClones);
  for (auto& c : clones) ASSERT_TRUE(primed->Clone(c).ok());
  for (int t = 0; t < kClones; ++t) EXPECT_EQ(sample(*clones[t], t), sample(*primed, t)) << "clone " << t;
  // One handler, held once by each instance; every call gave its reference back.
  EXPECT_EQ(counting_->made, 1);
  const BlendPixelHandler* h = primed->Get<BlendPixelHandlerRef>(blend, "blendPixelHandlerRef").get();
  EXPECT_EQ(h->UseCount(), 1 + kClones);
  clones.clear();
  primed.reset();
  EXPECT_EQ(counting_->released, 1);
}

// ---- layer

class LayerNodeTest : public BlendNodeTest {
 protected:
  struct Layer {
    ColorA color;
    const char* mode;  // short name, a full id, or "" for none
    double strength = 1.0;
    bool active = true;
  };

  std::unique_ptr<SingleNodeRunner> LayerRunner(int64_t n) {
    const int64_t counts[] = {n, n, n, n};
    const MicroNodeGroup* g = nullptr;
    EXPECT_TRUE(testutil::Catalogue().GetGroup(kLayerId, counts, g).ok());
    std::unique_ptr<SingleNodeRunner> run;
    EXPECT_TRUE(SingleNodeRunner::Create(g, run).ok());
    return run;
  }
  std::unique_ptr<SingleNodeRunner> Stack(const std::vector<Layer>& layers) {
    auto run = LayerRunner(static_cast<int64_t>(layers.size()));
    for (size_t i = 0; i < layers.size(); ++i) {
      const Layer& l = layers[i];
      const std::string n = std::to_string(i);
      const std::string mode =
          std::string(l.mode).find('.') == std::string::npos && l.mode[0] ? ModeId(l.mode) : l.mode;
      for (Result r : {run->Set(Id::Owned("color#" + n), l.color), run->Set(Id::Owned("strength#" + n), l.strength),
                       run->Set(Id::Owned("active#" + n), l.active), run->Set(Id::Owned("mode#" + n), Id::Owned(mode))})
        EXPECT_TRUE(r.ok()) << r.ToString();
    }
    return run;
  }
};

TEST_F(LayerNodeTest, NoLayersOrNoActiveLayerGiveTransparentBlack) {
  auto none = LayerRunner(0);
  EXPECT_EQ(Run(*none), (ColorA{0, 0, 0, 0}));
  auto off = Stack({{{1, 0, 0, 1}, "over", 1.0, false}, {{0, 1, 0, 1}, "nonsense", 1.0, false}});
  EXPECT_EQ(Run(*off), (ColorA{0, 0, 0, 0}));
  // The cache still has an entry per layer, empty for layers never active.
  const auto& cache = off->Get<CachedBlendModes>("cachedBlendModes");
  ASSERT_EQ(cache.size(), 2u);
  EXPECT_FALSE(cache[0].handler);
  EXPECT_TRUE(cache[1].mode.empty());
}

TEST_F(LayerNodeTest, LayersStackFromTheLastUpToTheFirst) {
  // Bottom: opaque grey over nothing; top: multiply.
  auto run = Stack({{{0.2, 0.4, 1.0, 1.0}, "multiply"}, {{0.5, 0.5, 0.5, 1.0}, "over"}});
  ColorA got = Run(*run);
  EXPECT_NEAR(got.r, 0.1, 1e-15);
  EXPECT_NEAR(got.g, 0.2, 1e-15);
  EXPECT_NEAR(got.b, 0.5, 1e-15);
  EXPECT_EQ(got.a, 1.0);
  // Opaque over opaque: the first layer wins.
  run = Stack({{{1, 0, 0, 1}, "over"}, {{0, 0, 1, 1}, "over"}});
  EXPECT_EQ(Run(*run), (ColorA{1, 0, 0, 1}));
  run = Stack({{{0, 0, 1, 1}, "over"}, {{1, 0, 0, 1}, "over"}});
  EXPECT_EQ(Run(*run), (ColorA{0, 0, 1, 1}));
  // A half-covering top layer over an opaque bottom one: b + (f - b) / 2.
  run = Stack({{{1, 1, 1, 0.5}, "over"}, {{0, 0.5, 0, 1}, "over"}});
  got = Run(*run);
  EXPECT_NEAR(got.r, 0.5, 1e-15);
  EXPECT_NEAR(got.g, 0.75, 1e-15);
  EXPECT_NEAR(got.a, 1.0, 1e-15);
}

TEST_F(LayerNodeTest, StrengthMultipliesTheLayerAlphaUnclamped) {
  auto run = Stack({{{0.5, 0.25, 1.0, 0.5}, "over", 0.5}});
  ColorA got = Run(*run);
  EXPECT_NEAR(got.r, 0.5, 1e-15);
  EXPECT_NEAR(got.a, 0.25, 1e-15);
  ASSERT_TRUE(run->Set("strength#0", 3.0).ok());
  got = Run(*run);
  EXPECT_NEAR(got.a, 1.5, 1e-15);  // above 1, not clamped
  EXPECT_NEAR(got.g, 0.25, 1e-15);
  // Over an opaque layer a strength above 1 overshoots the colour.
  run = Stack({{{1, 1, 1, 1}, "over", 1.5}, {{0.5, 0.5, 0.5, 1}, "over"}});
  EXPECT_NEAR(Run(*run).r, 1.25, 1e-15);
}

TEST_F(LayerNodeTest, SkippedLayersLeaveNoTrace) {
  const ColorA wild{50, -3, 7, 1};
  auto two = Stack({{{0.3, 0.6, 0.9, 0.7}, "screen"}, {{0.2, 0.2, 0.2, 1}, "over"}});
  const ColorA want = Run(*two);
  for (const Layer& skipped : {Layer{wild, "difference", 1.0, false}, Layer{wild, "difference", 0.0, true},
                               Layer{wild, "difference", -1.0, true}, Layer{wild, "difference", std::nan(""), true}}) {
    auto three = Stack({{{0.3, 0.6, 0.9, 0.7}, "screen"}, skipped, {{0.2, 0.2, 0.2, 1}, "over"}});
    EXPECT_EQ(Run(*three), want);
  }
}

TEST_F(LayerNodeTest, UnknownModeFailsOnlyOnActiveLayersWhateverTheStrength) {
  auto inactive = Stack({{{1, 1, 1, 1}, "net.zovan.render.blendmode.normal", 1.0, false}, {{0, 0, 0, 1}, "over"}});
  EXPECT_TRUE(inactive->Run().ok());
  auto weak = Stack({{{1, 1, 1, 1}, "net.zovan.render.blendmode.normal", 0.0, true}, {{0, 0, 0, 1}, "over"}});
  EXPECT_TRUE(weak->Run().Is(errors::kNullPtr));
  EXPECT_TRUE(weak->Run().Is(errors::kNullPtr));  // and again on the next sample
  auto strong = Stack({{{1, 1, 1, 1}, "net.zovan.render.blendmode.normal", 1.0, true}});
  EXPECT_TRUE(strong->Run().Is(errors::kNullPtr));
  // No mode at all: nothing to look up, but nothing to call either.
  auto unset = Stack({{{1, 1, 1, 1}, "", 0.0, true}});
  EXPECT_TRUE(unset->Run().ok());
  ASSERT_TRUE(unset->Set("strength#0", 1.0).ok());
  const Result r = unset->Run();
  EXPECT_TRUE(r.Is(errors::kNullPtr)) << r.ToString();
}

TEST_F(LayerNodeTest, EachLayerKeepsItsHandlerUntilItsModeChanges) {
  auto run = Stack({{{0.5, 0.5, 0.5, 1}, kCountingMode}, {{0.2, 0.2, 0.2, 1}, kCountingMode}});
  for (int i = 0; i < 4; ++i) Run(*run);
  EXPECT_EQ(counting_->made, 2);
  // Switched off and on again: the entry was kept.
  ASSERT_TRUE(run->Set("active#1", false).ok());
  Run(*run);
  ASSERT_TRUE(run->Set("active#1", true).ok());
  Run(*run);
  EXPECT_EQ(counting_->made, 2);
  EXPECT_EQ(counting_->released, 0);
  // One layer changes its mode: one release, and the other layer is untouched.
  const std::string multiply = ModeId("multiply");
  ASSERT_TRUE(run->Set("mode#0", Id(std::string_view(multiply))).ok());
  const ColorA got = Run(*run);
  EXPECT_NEAR(got.r, 0.1, 1e-15);
  EXPECT_EQ(counting_->released, 1);
  EXPECT_EQ(counting_->made, 2);
  const auto& cache = run->Get<CachedBlendModes>("cachedBlendModes");
  EXPECT_EQ(cache[0].blendClass, host::BlendModeClass("multiply"));
  EXPECT_EQ(cache[1].blendClass, counting_.get());
}

}  // namespace
}  // namespace tessaroc::pattern
