// voronoinoisepre, voronoinoise and flakes through the runtime. A scripted
// NoiseInterface gives known distances and ids where the arithmetic on them
// is checked; the library's own service where the cell structure matters.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "../pattern_test_util.h"
#include "host/noise/noise_library.h"
#include "pattern/generator/flakes_node.h"
#include "pattern/generator/voronoinoise_node.h"

namespace tessaroc::pattern {
namespace {

// Cells are the unit squares of x and y: F1 = frac(x), F2 = F1 + gap,
// id = floor(x) + 1000 floor(y) + idOffset. Every lookup is recorded.
class ScriptedVoronoi final : public NoiseInterface {
 public:
  struct Object final : NoiseObject {
    explicit Object(const NoiseInterface* owner) : NoiseObject(owner) {}
    uint32_t seed = 0;
  };
  NoiseObject* Alloc(const SourceLocation& where) const override {
    lastAllocFile = where.file;
    if (failAlloc) return nullptr;
    ++allocs;
    return new Object(this);
  }
  void Free(NoiseObject* object) const override {
    ++frees;
    delete static_cast<Object*>(object);
  }
  Result Init(NoiseObject* object, uint32_t seed, int32_t power) const override {
    static_cast<Object*>(object)->seed = seed;
    lastPower = power;
    return Result::Ok();
  }
  void Voronoi(const NoiseObject*, const float p[3], int32_t count, float* d, int32_t* ids) const override {
    lookups.push_back({p[0], p[1], p[2]});
    EXPECT_EQ(count, 2);
    d[0] = p[0] - std::floor(p[0]);
    d[1] = d[0] + gap;
    ids[0] = static_cast<int32_t>(std::floor(p[0]) + 1000 * std::floor(p[1])) + idOffset;
  }
  const NoiseObject* DefaultObject() const override { return &default_; }

  using P = std::array<float, 3>;
  mutable std::vector<P> lookups;
  mutable int allocs = 0, frees = 0;
  mutable int32_t lastPower = 0;
  mutable const char* lastAllocFile = "";
  bool failAlloc = false;
  float gap = 0.5f;
  int32_t idOffset = 0;

 private:
  Object default_{this};
};

class VoronoiNodesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(host::InstallNoiseClasses().ok()); }
  void SetUp() override { SetHostNoiseInterface(&scripted_); }
  void TearDown() override {
    inst_.reset();  // objects go back to their interface before it is swapped
    plan_.reset();
    SetHostNoiseInterface(&host::LibraryNoiseInterface());
  }

  void Build(const char* consumerId, uint32_t seed = 1) {
    inst_.reset();  // an instance never outlives its plan
    plan_ = std::make_unique<Plan>();
    ASSERT_TRUE(plan_->AddNode(testutil::Group(kVoronoiNoisePreId), "pre", pre_).ok());
    ASSERT_TRUE(plan_->AddNode(testutil::Group(consumerId), "main", main_).ok());
    for (Result r : {plan_->Set<uint32_t>(pre_, "seed", seed), plan_->LinkPreNode(pre_, main_),
                     plan_->BindContext(main_, "context"), plan_->Set<double>(main_, "scale", 1.0)})
      ASSERT_TRUE(r.ok()) << r.ToString();
    if (std::string_view(consumerId) == kVoronoiNoiseId) {
      for (Result r :
           {plan_->BindContext(main_, "contextLocal"), plan_->Set<bool>(main_, "randomColor", false),
            plan_->Set<double>(main_, "borderWidth", 0.0), plan_->Set<bool>(main_, "evenWidthBorder", false)})
        ASSERT_TRUE(r.ok()) << r.ToString();
      for (const char* out : {"resultColor", "resultFloat", "distance", "f1", "f2", "index"})
        ASSERT_TRUE(plan_->RequestOutput(main_, out).ok());
    } else {
      for (Result r : {plan_->Set<double>(main_, "density", 1.0), plan_->Set<double>(main_, "intensity", 1.0)})
        ASSERT_TRUE(r.ok()) << r.ToString();
      for (const char* out : {"normal", "index", "mask"}) ASSERT_TRUE(plan_->RequestOutput(main_, out).ok());
    }
    ASSERT_TRUE(plan_->Finish().ok());
    ASSERT_TRUE(PlanInstance::Create(*plan_, inst_).ok());
  }
  template <class T>
  const T& Out(const char* port) {
    return inst_->Get<T>(main_, port);
  }
  void Eval(const Vector& uvw, const Vector& normal = {0, 0, 1}) {
    ShadingContext ctx;
    ctx.uvw = uvw;
    ctx.shadingnormal = normal;
    ASSERT_TRUE(inst_->Evaluate(ctx).ok());
  }
  const VoronoiNoiseTable& Table() { return inst_->Get<VoronoiNoiseTable>(pre_, "voronoinoise"); }

  using P = ScriptedVoronoi::P;
  ScriptedVoronoi scripted_;
  std::unique_ptr<Plan> plan_;
  std::unique_ptr<PlanInstance> inst_;
  NodeRef pre_, main_;
};

// ---- voronoinoisepre

TEST_F(VoronoiNodesTest, PreNodeKeepsItsObjectWhileTheSeedStaysAndReportsFailures) {
  Build(kVoronoiNoiseId, 7);
  ASSERT_TRUE(inst_->Prepare().ok());
  ASSERT_TRUE(inst_->Prepare().ok());
  EXPECT_EQ(scripted_.allocs, 1);
  EXPECT_EQ(scripted_.lastPower, 10);
  EXPECT_STREQ(scripted_.lastAllocFile, "frameworks/math.framework/generated/hxx/noise2.hxx");
  EXPECT_EQ(Table().seed, 7u);
  EXPECT_EQ(static_cast<const ScriptedVoronoi::Object*>(Table().noise.get())->seed, 7u);
  EXPECT_EQ(Table().noise->StrongCount(), 1);

  ASSERT_TRUE(inst_->Set<uint32_t>(pre_, "seed", 8u).ok());
  ASSERT_TRUE(inst_->Prepare().ok());
  EXPECT_EQ(scripted_.allocs, 2);
  EXPECT_EQ(scripted_.frees, 1);  // the replaced object is released
  EXPECT_EQ(static_cast<const ScriptedVoronoi::Object*>(Table().noise.get())->seed, 8u);

  // Missing memory or a missing library is reported; the old object is released.
  scripted_.frees = 0;
  scripted_.failAlloc = true;
  ASSERT_TRUE(inst_->Set<uint32_t>(pre_, "seed", 9u).ok());
  EXPECT_TRUE(inst_->Prepare().Is(errors::kOutOfMemory));
  EXPECT_FALSE(Table().noise);
  EXPECT_EQ(scripted_.frees, 1);
  SetHostNoiseInterface(nullptr);
  EXPECT_TRUE(inst_->Prepare().Is(errors::kNullPtr));
}

// ---- voronoinoise

TEST_F(VoronoiNodesTest, OutputsFollowTheLookupAndScaleDividesThePositionUnlessNotPositive) {
  Build(kVoronoiNoiseId);
  ASSERT_TRUE(inst_->Prepare().ok());
  ASSERT_TRUE(inst_->Set<double>(main_, "scale", 0.5).ok());
  scripted_.gap = 0.375f;
  Eval({1.1, 2.3, -0.4});  // position (2.2, 4.6, -0.8)
  ASSERT_EQ(scripted_.lookups.size(), 1u);
  EXPECT_EQ(scripted_.lookups[0], (P{float(1.1 * 2.0), float(2.3 * 2.0), float(-0.4 * 2.0)}));
  const float f1 = static_cast<float>(1.1 * 2.0) - 2.0f;
  EXPECT_EQ(Out<double>("f1"), static_cast<double>(f1));
  EXPECT_EQ(Out<double>("f2"), static_cast<double>(f1 + 0.375f));
  EXPECT_EQ(Out<double>("distance"), static_cast<double>((f1 + 0.375f) - f1));
  EXPECT_EQ(Out<int64_t>("index"), 4002);
  EXPECT_EQ(Out<Color>("resultColor"), (Color{1, 1, 1}));
  EXPECT_EQ(Out<double>("resultFloat"), 1.0);

  scripted_.idOffset = -5000;  // negative ids are sign-extended
  Eval({1.1, 2.3, -0.4});
  EXPECT_EQ(Out<int64_t>("index"), -998);

  // A scale of zero or below puts every sample at the origin.
  for (double scale : {0.0, -2.0}) {
    ASSERT_TRUE(inst_->Set<double>(main_, "scale", scale).ok());
    scripted_.lookups.clear();
    Eval({3.7, -8.1, 2.2});
    ASSERT_EQ(scripted_.lookups.size(), 1u);
    EXPECT_EQ(scripted_.lookups[0], (P{0, 0, 0}));
  }
}

TEST_F(VoronoiNodesTest, GapBorderBlackensWhereTheGapIsNarrowerThanTheWidthAndEvenBorderComparesIds) {
  Build(kVoronoiNoiseId);
  ASSERT_TRUE(inst_->Prepare().ok());
  scripted_.gap = 0.25f;
  ASSERT_TRUE(inst_->Set<double>(main_, "borderWidth", 0.2).ok());
  Eval({0.5, 0.5, 0});
  EXPECT_EQ(Out<double>("resultFloat"), 1.0);
  ASSERT_TRUE(inst_->Set<double>(main_, "borderWidth", 0.25).ok());  // not strictly below: border
  Eval({0.5, 0.5, 0});
  EXPECT_EQ(Out<double>("resultFloat"), 0.0);
  EXPECT_EQ(scripted_.lookups.size(), 2u);  // one lookup per sample

  // Width 0 is no border, also with the even test selected.
  ASSERT_TRUE(inst_->Set<double>(main_, "borderWidth", 0.0).ok());
  ASSERT_TRUE(inst_->Set<bool>(main_, "evenWidthBorder", true).ok());
  scripted_.gap = 0.0f;
  Eval({0.99, 0.99, 0});
  EXPECT_EQ(Out<double>("resultFloat"), 1.0);
  EXPECT_EQ(scripted_.lookups.size(), 3u);

  // The even border compares the ids one width along u and along v.
  scripted_.lookups.clear();
  scripted_.gap = 0.5f;
  ASSERT_TRUE(inst_->Set<double>(main_, "borderWidth", 0.1).ok());
  Eval({0.5, 0.5, 0.25});  // both steps stay in the cell
  EXPECT_EQ(Out<double>("resultFloat"), 1.0);
  ASSERT_EQ(scripted_.lookups.size(), 3u);
  EXPECT_EQ(scripted_.lookups[1], (P{float(0.1 + 0.5), 0.5f, 0.25f}));
  EXPECT_EQ(scripted_.lookups[2], (P{0.5f, float(0.1 + 0.5), 0.25f}));
  Eval({0.95, 0.5, 0});  // the u step crosses: ids differ by one
  EXPECT_EQ(Out<double>("resultFloat"), 0.0);
  Eval({0.5, 0.95, 0});  // the v step crosses: ids differ by a thousand
  EXPECT_EQ(Out<double>("resultFloat"), 0.0);
}

TEST_F(VoronoiNodesTest, RandomColourDependsOnTheCellIdAloneAndResultFloatIsItsRed) {
  Build(kVoronoiNoiseId);
  ASSERT_TRUE(inst_->Prepare().ok());
  ASSERT_TRUE(inst_->Set<bool>(main_, "randomColor", true).ok());
  Eval({5.5, 0.5, 0});  // id 5
  // LcgRandom seeded with 5 (after 100), three Next01() values; from Python.
  const Color want{0.5536401632707566, 0.372436948120594, 0.8475697415415198};
  EXPECT_EQ(Out<Color>("resultColor"), want);
  EXPECT_EQ(Out<double>("resultFloat"), want.r);
  ASSERT_TRUE(inst_->Set<uint32_t>(pre_, "seed", 99u).ok());
  ASSERT_TRUE(inst_->Prepare().ok());
  Eval({5.25, 0.75, 3});
  EXPECT_EQ(Out<Color>("resultColor"), want);
  // A border darkens the random colour.
  scripted_.gap = 0.1f;
  ASSERT_TRUE(inst_->Set<double>(main_, "borderWidth", 0.2).ok());
  Eval({5.5, 0.5, 0});
  EXPECT_EQ(Out<Color>("resultColor"), (Color{0, 0, 0}));
}

TEST_F(VoronoiNodesTest, WithoutARecordObjectTheSharedDefaultIsUsed) {
  Build(kVoronoiNoiseId);  // never prepared: the record holds nothing
  Eval({2.5, 1.5, 0});
  EXPECT_EQ(scripted_.lookups.size(), 1u);
  EXPECT_EQ(Out<int64_t>("index"), 1002);
  SetHostNoiseInterface(nullptr);  // no object at all: the call is left out
  Eval({2.5, 1.5, 0});
  EXPECT_EQ(scripted_.lookups.size(), 1u);
  EXPECT_EQ(Out<int64_t>("index"), 0);
}

// ---- flakes

TEST_F(VoronoiNodesTest, FlakeNormalIsTheCellsRandomVectorFacingTheSurfaceInsideTheDensity) {
  Build(kFlakesId);
  ASSERT_TRUE(inst_->Prepare().ok());
  Eval({0.52, 0.01, 0}, {0, 0, 1});  // position (5.2, 0.1): id 5, F1 0.2
  // LcgRandom seeded with 5, three NextSigned(), normalised; from Python.
  const Vector& n = Out<Vector>("normal");
  EXPECT_NEAR(n.x, 0.1433827579692062, 1e-12);
  EXPECT_NEAR(n.y, -0.34098222447823234, 1e-12);
  EXPECT_NEAR(n.z, 0.929070776263585, 1e-12);
  EXPECT_EQ(Out<int64_t>("index"), 5);
  EXPECT_TRUE(Out<bool>("mask"));
  Eval({0.52, 0.01, 0}, {0, 0, -1});  // the other side: the flake turns over
  EXPECT_NEAR(Out<Vector>("normal").z, -0.929070776263585, 1e-12);

  // Outside the density the shading normal is kept, not even normalised.
  ASSERT_TRUE(inst_->Set<double>(main_, "density", 0.3).ok());
  Eval({0.05, 0.05, 0}, {0, 2, 0});  // scale 1: position x 10 -> F1 = 0.5
  EXPECT_EQ(scripted_.lookups.back()[0], 0.5f);
  EXPECT_EQ(Out<Vector>("normal"), (Vector{0, 2, 0}));
  EXPECT_EQ(Out<int64_t>("index"), 0);
  EXPECT_FALSE(Out<bool>("mask"));
  ASSERT_TRUE(inst_->Set<double>(main_, "density", 0.5).ok());  // equal is not inside
  Eval({0.05, 0.05, 0}, {0, 2, 0});
  EXPECT_FALSE(Out<bool>("mask"));

  // Cell id 0 is perturbed but not masked.
  ASSERT_TRUE(inst_->Set<double>(main_, "density", 1.0).ok());
  ASSERT_TRUE(inst_->Set<double>(main_, "scale", 2.0).ok());  // k = 5
  Eval({0.02, 0.02, 0}, {0, 0, 1});                           // position (0.1, 0.1): id 0
  EXPECT_EQ(scripted_.lookups.back()[0], static_cast<float>(0.02 * 5.0));
  EXPECT_EQ(Out<int64_t>("index"), 0);
  EXPECT_FALSE(Out<bool>("mask"));
  EXPECT_NE(Out<Vector>("normal"), (Vector{0, 0, 1}));
}

TEST_F(VoronoiNodesTest, FlakeIntensityBlendsFromTheNormalAndTheResultIsUnitLength) {
  for (double intensity : {0.0, 0.3, 0.8}) {
    for (int32_t id = -50; id < 50; ++id) {
      const Vector n{0.3, -0.4, 1.2};
      const Vector m = FlakeNormal(n, id, intensity);
      EXPECT_NEAR(m.x * m.x + m.y * m.y + m.z * m.z, 1.0, 1e-12);
      EXPECT_GT(m.x * n.x + m.y * n.y + m.z * n.z, 0.0);
      if (intensity == 0.0) {
        EXPECT_NEAR(m.x, 0.3 / 1.3, 1e-12);
        EXPECT_NEAR(m.z, 1.2 / 1.3, 1e-12);
      }
    }
  }
  EXPECT_EQ(FlakeNormal({0, 0, 0}, 5, 0.0), (Vector{0, 0, 0}));  // zero stays zero
}

}  // namespace
}  // namespace tessaroc::pattern
