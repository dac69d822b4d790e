// noisepre, noise and mathnoise through the runtime: the table's rebuild rule,
// what crosses to the noise object (rounded to 32 bits in the right order),
// and the null and invalid cases. A recording noise class stands in for the
// library where the arguments matter; the library itself where values do.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "../pattern_test_util.h"
#include "host/noise/noise_library.h"
#include "pattern/generator/noise_node.h"

namespace tessaroc::pattern {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Call {
  int dims = 0;
  float x = 0, y = 0, z = 0;
  bool absolute = false;
  float time = 0, octaves = 0, footprint = 0;
  friend bool operator==(const Call&, const Call&) = default;
  friend void PrintTo(const Call& c, std::ostream* os) {
    *os << c.dims << "d (" << c.x << ", " << c.y << ", " << c.z << ") abs " << c.absolute << " time " << c.time
        << " octaves " << c.octaves << " footprint " << c.footprint;
  }
};

// Remembers what it was given; 3D calls return 0.25, 2D calls 0.75.
class RecordingNoise final : public RenderNoiseInterface {
 public:
  Result Init(uint32_t seed, int32_t power, const DataDictionary& d) override {
    seed_ = seed;
    power_ = power;
    lacunarity_ = d.Get(kNoiseLacunarityKey, kNaN);
    gain_ = d.Get(kNoiseGainKey, kNaN);
    exponent_ = d.Get(kNoiseExponentKey, kNaN);
    entries_ = d.size();
    return failInit ? Result::Fail(errors::kIllegalState, "init refused") : Result::Ok();
  }
  float Noise(float x, float y, float z, bool absolute, float time, float octaves, float footprint) const override {
    ++calls;
    last = {3, x, y, z, absolute, time, octaves, footprint};
    return 0.25f;
  }
  float Noise(float x, float y, bool absolute, float time, float octaves, float footprint) const override {
    ++calls;
    last = {2, x, y, 0, absolute, time, octaves, footprint};
    return 0.75f;
  }
  static inline bool failInit = false;
  mutable int calls = 0;
  mutable Call last;
  uint32_t seed_ = 0;
  int32_t power_ = 0;
  double lacunarity_ = 0, gain_ = 0, exponent_ = 0;
  size_t entries_ = 0;
};

class RecordingClass final : public RenderNoiseClass {
 public:
  Result Create(RenderNoiseRef& out) const override {
    ++created;
    out = RenderNoiseRef::Adopt(new RecordingNoise);
    return Result::Ok();
  }
  mutable int created = 0;
};

RecordingClass& Recording() {
  static RecordingClass cls;
  return cls;
}
constexpr const char* kRecordingId = "test.rendernoiseclass.recording";

class NoiseNodesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(host::InstallNoiseClasses().ok());
    if (RenderNoiseClasses().Find(kRecordingId) == nullptr) {
      ASSERT_TRUE(RenderNoiseClasses().Register(kRecordingId, &Recording()).ok());
    }
  }
  void SetUp() override {
    Recording().created = 0;
    RecordingNoise::failInit = false;
  }

  // pre -> consumer (noise or mathnoise), with the given class and settings.
  void Build(const char* consumerId, const char* noiseType, uint32_t seed = 1, double lacunarity = 0.0,
             double gain = 0.0, double exponent = 0.0) {
    inst_.reset();  // an instance never outlives its plan
    plan_ = std::make_unique<Plan>();
    ASSERT_TRUE(plan_->AddNode(testutil::Group(kNoisePreId), "pre", pre_).ok());
    ASSERT_TRUE(plan_->AddNode(testutil::Group(consumerId), "main", main_).ok());
    for (Result r : {plan_->Set<uint32_t>(pre_, "seed", seed), plan_->Set<double>(pre_, "lacunarity", lacunarity),
                     plan_->Set<double>(pre_, "gain", gain), plan_->Set<double>(pre_, "exponent", exponent),
                     plan_->Set<Id>(pre_, "noiseType", Id(noiseType)), plan_->LinkPreNode(pre_, main_),
                     plan_->Set<double>(main_, "octaves", 3.0), plan_->Set<bool>(main_, "absolute", false),
                     plan_->SetOutput(main_, "result")})
      ASSERT_TRUE(r.ok()) << r.ToString();
    const bool noise = std::string_view(consumerId) == kNoiseId;
    for (Result r :
         noise
             ? std::vector<Result>{plan_->BindContext(main_, "context"), plan_->BindContext(main_, "contextLocal"),
                                   plan_->Set<double>(main_, "animationSpeed", 1.0)}
             : std::vector<Result>{plan_->Set<Vector>(main_, "value", Vector{}), plan_->Set<double>(main_, "time", 0.0),
                                   plan_->Set<bool>(main_, "twod", false), plan_->Set<double>(main_, "scale", 1.0)})
      ASSERT_TRUE(r.ok()) << r.ToString();
    ASSERT_TRUE(plan_->Finish().ok());
    ASSERT_TRUE(PlanInstance::Create(*plan_, inst_).ok());
  }
  const NoiseTable& Table() { return inst_->Get<NoiseTable>(pre_, "noisetable"); }
  const RecordingNoise& Recorded() { return *static_cast<const RecordingNoise*>(Table().noise.get()); }
  // mathnoise has no context, so the runtime runs it with the uniform nodes.
  double Eval(const ShadingContext& ctx = ShadingContext()) {
    EXPECT_TRUE((plan_->IsUniform(main_) ? inst_->Prepare() : inst_->Evaluate(ctx)).ok());
    return inst_->OutputAs<double>();
  }

  std::unique_ptr<Plan> plan_;
  std::unique_ptr<PlanInstance> inst_;
  NodeRef pre_, main_;
};

// ---- noisepre

TEST_F(NoiseNodesTest, ObjectIsKeptOnlyWhileLacunarityGainAndExponentAreAllZeroAndAllReachInit) {
  Build(kNoiseId, kRecordingId, 3);
  ASSERT_TRUE(inst_->Prepare().ok());
  const RenderNoiseInterface* first = Table().noise.get();
  ASSERT_NE(first, nullptr);
  ASSERT_TRUE(inst_->Prepare().ok());
  EXPECT_EQ(Table().noise.get(), first);
  EXPECT_EQ(Recording().created, 1);

  // Any non-zero parameter rebuilds at every run: the table never stores them.
  for (Result r : {inst_->Set<double>(pre_, "gain", 0.5), inst_->Prepare(), inst_->Prepare()})
    ASSERT_TRUE(r.ok()) << r.ToString();
  EXPECT_EQ(Recording().created, 3);
  EXPECT_EQ(Table().lacunarity, 0.0);
  EXPECT_EQ(Table().gain, 0.0);
  EXPECT_EQ(Table().exponent, 0.0);

  // Back at zeros the latest object stays; a new seed builds once more.
  ASSERT_TRUE(inst_->Set<double>(pre_, "gain", 0.0).ok());
  ASSERT_TRUE(inst_->Prepare().ok());
  EXPECT_EQ(Recording().created, 3);
  for (Result r : {inst_->Set<uint32_t>(pre_, "seed", 4u), inst_->Prepare(), inst_->Prepare()})
    ASSERT_TRUE(r.ok()) << r.ToString();
  EXPECT_EQ(Recording().created, 4);
  EXPECT_EQ(Table().seed, 4u);
  EXPECT_EQ(Recorded().seed_, 4u);

  // The parameters reach Init as a dictionary, with a table of power ten.
  Build(kNoiseId, kRecordingId, 9, 2.5, 0.75, 1.5);
  ASSERT_TRUE(inst_->Prepare().ok());
  const RecordingNoise& n = Recorded();
  EXPECT_EQ(n.seed_, 9u);
  EXPECT_EQ(n.power_, 10);
  EXPECT_EQ(n.entries_, 3u);
  EXPECT_EQ(n.lacunarity_, 2.5);
  EXPECT_EQ(n.gain_, 0.75);
  EXPECT_EQ(n.exponent_, 1.5);
  EXPECT_EQ(Table().noiseType, Id(kRecordingId));
}

TEST_F(NoiseNodesTest, EmptyTypeGivesZeroUnknownTypeFailsWithoutAHostDefaultAndAFailedInitKeepsItsObject) {
  Build(kNoiseId, "");
  ASSERT_TRUE(inst_->Prepare().ok());
  EXPECT_FALSE(Table().noise);
  EXPECT_EQ(Eval(), 0.0);
  Build(kMathNoiseId, "");
  ASSERT_TRUE(inst_->Prepare().ok());
  ASSERT_TRUE(inst_->Set<Vector>(main_, "value", Vector{1.3, 2.7, 0.4}).ok());
  EXPECT_EQ(Eval(), 0.0);

  // An unknown type fails unless the host gives a default class.
  const RenderNoiseClass* hostDefault = DefaultRenderNoiseClass();
  SetDefaultRenderNoiseClass(nullptr);
  Build(kNoiseId, "net.zovan.render.rendernoiseclass.nosuch");
  Result r = inst_->Prepare();
  EXPECT_TRUE(r.Is(errors::kNullPtr));
  EXPECT_NE(r.message().find("nosuch"), std::string_view::npos);
  EXPECT_FALSE(Table().noise);

  SetDefaultRenderNoiseClass(&Recording());
  ASSERT_TRUE(inst_->Prepare().ok());
  SetDefaultRenderNoiseClass(hostDefault);
  EXPECT_EQ(Recording().created, 1);
  EXPECT_EQ(Eval(), 0.25);

  RecordingNoise::failInit = true;
  Build(kNoiseId, kRecordingId);
  EXPECT_TRUE(inst_->Prepare().Is(errors::kIllegalState));
  EXPECT_TRUE(Table().noise);
}

TEST_F(NoiseNodesTest, TableCopiesShareTheObjectAndMovesEmptyTheSource) {
  NoiseTable t;
  t.seed = 5;
  t.noiseType = Id::Owned("net.zovan.render.rendernoiseclass.fbm");
  ASSERT_TRUE(Recording().Create(t.noise).ok());
  NoiseTable copy = t;
  EXPECT_EQ(copy.noise.get(), t.noise.get());
  EXPECT_EQ(t.noise->StrongCount(), 2);
  NoiseTable moved = std::move(t);
  EXPECT_FALSE(t.noise);  // NOLINT: the moved-from state is what is checked
  EXPECT_TRUE(t.noiseType.empty());
  EXPECT_EQ(moved.seed, 5u);
  EXPECT_EQ(moved.noise->StrongCount(), 2);
  copy = NoiseTable();
  EXPECT_EQ(moved.noise->StrongCount(), 1);
}

// ---- noise

TEST_F(NoiseNodesTest, ArgumentsAndFootprintCrossIn32BitsAfter64BitArithmeticAndInvalidUvwGivesZero) {
  Build(kNoiseId, kRecordingId);
  for (Result r : {inst_->Prepare(), inst_->Set<double>(main_, "animationSpeed", 0.1),
                   inst_->Set<double>(main_, "octaves", 2.7), inst_->Set<bool>(main_, "absolute", true)})
    ASSERT_TRUE(r.ok()) << r.ToString();
  ShadingContext ctx;
  // Python: float32(0.0938595867742349 * 10) = 0.9385958909988403, while
  // float32(float32(u) * 10) would be 0.9385958313941956.
  ctx.uvw = {0.0938595867742349, 0.2, 0.3};
  ctx.uvwdx = ctx.uvwdy = ctx.uvw;
  ctx.time = 0.7;
  EXPECT_EQ(Eval(ctx), 0.25);
  // The footprint is 0: the derivatives equal uvw.
  const float time = static_cast<float>(0.1 * 0.7);
  EXPECT_EQ(Recorded().last, (Call{3, 0.9385958909988403f, 2.0f, 3.0f, true, time, 2.7f, 0.0f}));
  EXPECT_EQ(Recorded().calls, 1);
  // An invalid uvw gives zero without calling the object.
  ctx.uvwvalid = 0;
  EXPECT_EQ(Eval(ctx), 0.0);
  EXPECT_EQ(Recorded().calls, 1);

  // The footprint is the mean spread times ten, rounded before the multiply.
  ctx = ShadingContext();
  ctx.uvw = {0.1, 0.2, 0.3};
  ctx.uvwdx = {0.15, 0.2, 0.3};
  ctx.uvwdy = {0.1, 0.26, 0.3};
  // Python: float32(float32((0.05 + 0.06 + 0) * 0.3333333333333333) * float32(10)).
  EXPECT_EQ(NoiseFootprint(ctx), 0.36666664481163025f);
  ctx.uvw = {0, 0, 0};
  ctx.uvwdx = {0.8357651039198697, 0, 0};
  ctx.uvwdy = {0, 0, 0};
  // Rounding to 32 bits before the 32-bit multiply: 2.7858834266662598, not
  // the 2.785883665084839 of a single rounding.
  EXPECT_EQ(NoiseFootprint(ctx), 2.7858834266662598f);
  ctx.uvwdy = {-0.5, 0, 0};  // the spread counts from the smallest to the largest
  EXPECT_EQ(NoiseFootprint(ctx),
            static_cast<float>(static_cast<float>(1.3357651039198697 * 0.3333333333333333) * 10.0f));
  for (int slot = 0; slot < 6; ++slot) {
    ShadingContext bad = ctx;
    double* v = slot < 3 ? &(&bad.uvwdx.x)[slot] : &(&bad.uvwdy.x)[slot - 3];
    *v = kNaN;
    EXPECT_EQ(NoiseFootprint(bad), 0.0f) << "NaN in slot " << slot;
  }
  // The node hands the footprint on as it is, and 0 where a NaN takes part.
  Eval(ctx);
  EXPECT_EQ(Recorded().last.footprint, NoiseFootprint(ctx));
  EXPECT_GT(Recorded().last.footprint, 0.0f);
  ctx.uvwdx.y = kNaN;
  Eval(ctx);
  EXPECT_EQ(Recorded().calls, 3);
  EXPECT_EQ(Recorded().last.footprint, 0.0f);
}

// ---- mathnoise

TEST_F(NoiseNodesTest, MathNoiseScalesTheValueButNotTheTimeAndIn2dNeverReadsZ) {
  Build(kMathNoiseId, kRecordingId);
  for (Result r : {inst_->Prepare(), inst_->Set<Vector>(main_, "value", Vector{0.0938595867742349, -1.5, 0.25}),
                   inst_->Set<double>(main_, "scale", 10.0), inst_->Set<double>(main_, "time", 0.7),
                   inst_->Set<double>(main_, "octaves", 1.5)})
    ASSERT_TRUE(r.ok()) << r.ToString();
  EXPECT_EQ(Eval(), 0.25);
  EXPECT_EQ(Recorded().last, (Call{3, 0.9385958909988403f, -15.0f, 2.5f, false, 0.7f, 1.5f, 0.0f}));
  // In two dimensions z is never read.
  for (Result r : {inst_->Set<Vector>(main_, "value", Vector{1.5, 2.5, kNaN}), inst_->Set<double>(main_, "scale", 2.0),
                   inst_->Set<bool>(main_, "twod", true)})
    ASSERT_TRUE(r.ok()) << r.ToString();
  EXPECT_EQ(Eval(), 0.75);
  EXPECT_EQ(Recorded().last, (Call{2, 3.0f, 5.0f, 0.0f, false, 0.7f, 1.5f, 0.0f}));
}

}  // namespace
}  // namespace tessaroc::pattern
