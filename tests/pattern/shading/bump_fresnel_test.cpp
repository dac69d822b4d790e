// Bump (with its plain-normal micro node) and the two Fresnel nodes.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>

#include "../pattern_test_util.h"
#include "tessaroc/core/function.h"
#include "pattern/shading/bump_node.h"
#include "pattern/shading/fresnel_node.h"

namespace tessaroc::pattern {
namespace {

using testutil::Runner;

// A height function of the context, counting its calls. The height is spread
// over the channels: the node must sum r, g and b.
struct Height {
  explicit Height(double (*height)(const ShadingContext&)) : fn(height) {}
  double (*fn)(const ShadingContext&);
  int calls = 0;
  bool sawImageFlag = true;
  int failOnCall = 0;
  const CallableFunction<ColorA> function{kColorAType, [this](const ShadingContext& ctx, ColorA& out) {
                                            ++calls;
                                            sawImageFlag = sawImageFlag && ctx.imageflag == 1;
                                            if (failOnCall == calls)
                                              return Result::Fail(errors::kIllegalState, "height refused");
                                            const double h = fn(ctx);
                                            out = ColorA{h * 0.5, h * 0.25, h * 0.25, 123.0};
                                            return Result::Ok();
                                          }};
};

ShadingContext Surface() {
  ShadingContext c;
  c.position = c.positiondx = c.positiondy = {0.3, -0.2, 1.0};
  c.uvw = c.uvwdx = c.uvwdy = {0.4, 0.7, 0};
  c.tangent = {1, 0, 0};
  c.bitangent = {0, 1, 0};
  c.shadingnormal = {0, 0, 1};
  return c;
}

class BumpTest : public ::testing::Test {
 protected:
  std::unique_ptr<SingleNodeRunner> Make(const FunctionInterface* height, double strength, double epsUv, double eps3d) {
    auto run = Runner(kBumpId);
    for (Result r : {height ? run->SetFunction("color", height) : Result::Ok(), run->Set("strength", strength),
                     run->Set("epsilonuv", epsUv), run->Set("epsilon3d", eps3d)})
      EXPECT_TRUE(r.ok()) << r.ToString();
    return run;
  }
  static Vector Normalised(double x, double y, double z) {
    const double l = std::sqrt(x * x + y * y + z * z);
    return {x / l, y / l, z / l};
  }
  // The bumped normal of Surface() with the given shading normal.
  Vector Bumped(const Height& h, double strength, double epsUv, double eps3d, const Vector& normal) {
    auto run = Make(&h.function, strength, epsUv, eps3d);
    ShadingContext c = Surface();
    c.shadingnormal = normal;
    EXPECT_TRUE(run->Run(c).ok());
    return run->Get<Vector>("result");
  }
  static void ExpectNear(const Vector& a, const Vector& b, double tol) {
    EXPECT_NEAR(a.x, b.x, tol);
    EXPECT_NEAR(a.y, b.y, tol);
    EXPECT_NEAR(a.z, b.z, tol);
  }
};

TEST_F(BumpTest, PlaneOnTheSurfaceAndHeightInUvTiltTheNormalByTheirSlopes) {
  // h = 2 x - 3 y on the surface: the taps at +e3 T and +e3 B see the exact
  // slope, tilted with k = strength * 1000 / 6 and the two tangents in
  // opposite senses: n = (-2 e3 k, -3 e3 k, 1).
  Height h([](const ShadingContext& c) { return 2.0 * c.position.x - 3.0 * c.position.y; });
  const double strength = 0.3, e3 = 0.5 * 0.01, k = strength * 1000.0 / 6.0;
  ExpectNear(Bumped(h, strength, 0.0, 0.5, Surface().shadingnormal), Normalised(-2 * e3 * k, -3 * e3 * k, 1), 1e-12);
  EXPECT_EQ(h.calls, 3);
  EXPECT_TRUE(h.sawImageFlag);

  // A height in uv: the second tap sits diagonally.
  // h = 0.3 u^2 + 0.2 v. The first tap is at (u + eu, v), the second at
  // (u + eu, v + eu): its slope is dh/du + dh/dv, not dh/dv alone.
  Height uv([](const ShadingContext& c) { return 0.3 * c.uvw.x * c.uvw.x + 0.2 * c.uvw.y; });
  const double eu = 1e-4, kUv = 1.0 * 1000.0 / 6.0, u = 0.4;
  const double du = 0.6 * u * eu * kUv, dv = (0.6 * u + 0.2) * eu * kUv;
  ExpectNear(Bumped(uv, 1.0, 1.0, 0.0, Surface().shadingnormal), Normalised(-du, dv, 1), 1e-6);
}

TEST_F(BumpTest, FlatOrWeakHeightLeavesTheNormalNormalised) {
  Height flat([](const ShadingContext&) { return 5.0; });
  const Vector normal{0, 3, 4}, unit{0, 3 * 0.2, 4 * 0.2};
  EXPECT_TRUE(testutil::Same(Bumped(flat, 2.0, 1.0, 1.0, normal), unit));
  // Strength 0: no tilt, but still three evaluations.
  Height slope([](const ShadingContext& s) { return 100.0 * s.position.x + s.uvw.y; });
  EXPECT_TRUE(testutil::Same(Bumped(slope, 0.0, 1.0, 1.0, normal), unit));
  EXPECT_EQ(slope.calls, 3);
  // Both steps 0: all taps equal.
  EXPECT_TRUE(testutil::Same(Bumped(slope, 5.0, 0.0, 0.0, normal), unit));
  // A zero normal on a flat height stays zero rather than NaN.
  EXPECT_TRUE(testutil::Same(Bumped(flat, 1.0, 1.0, 1.0, {0, 0, 0}), Vector{0, 0, 0}));
}

TEST_F(BumpTest, NothingToBumpGivesAZeroNormalWithoutCallsAndErrorsStopAtTheFailingTap) {
  Height h([](const ShadingContext& s) { return s.position.x; });
  auto run = Make(&h.function, 1.0, 1.0, 1.0);
  ShadingContext c = Surface();
  c.uvwvalid = 0;
  ASSERT_TRUE(run->Run(c).ok());
  EXPECT_TRUE(testutil::Same(run->Get<Vector>("result"), Vector{0, 0, 0}));
  EXPECT_EQ(h.calls, 0);
  // No height connected at all.
  auto none = Make(nullptr, 1.0, 1.0, 1.0);
  ASSERT_TRUE(none->Run(Surface()).ok());
  EXPECT_TRUE(testutil::Same(none->Get<Vector>("result"), Vector{0, 0, 0}));

  // Errors stop at the failing tap.
  Height failing([](const ShadingContext& s) { return s.position.x; });
  failing.failOnCall = 2;
  auto broken = Make(&failing.function, 1.0, 1.0, 1.0);
  const Result r = broken->Run(Surface());
  EXPECT_TRUE(r.Is(errors::kIllegalState));
  EXPECT_EQ(failing.calls, 2);
  // A port that holds a null function.
  auto nullFn = Make(nullptr, 1.0, 1.0, 1.0);
  ASSERT_TRUE(nullFn->SetFunction("color", nullptr).ok());
  EXPECT_TRUE(nullFn->Run(Surface()).Is(errors::kNullPtr));
}

TEST_F(BumpTest, PlainNormalMicroNodeHandsOnTheShadingNormal) {
  const MicroNodeGroup* g = testutil::Group(kBumpId);
  const MicroNodeEntry* phong = nullptr;
  for (const MicroNodeEntry& m : g->microNodes())
    if (m.name == Id(kGetPhongNormalName)) phong = &m;
  ASSERT_NE(phong, nullptr);
  ASSERT_EQ(phong->impl->portCount, 2u);

  // Run its kernel alone on a port access of two slots.
  ShadingContext c = Surface();
  c.shadingnormal = {0.1, 0.2, 0.3};
  Vector out{9, 9, 9};
  PortSlot slots[2] = {};
  slots[0].value = &c;
  slots[1].value = &out;
  const int32_t offsets[2] = {0, static_cast<int32_t>(sizeof(PortSlot))};
  const PortAccess access{reinterpret_cast<std::byte*>(slots), offsets};
  Result r;
  phong->impl->kernel(r, *phong->impl, access);
  ASSERT_TRUE(r.ok());
  EXPECT_TRUE(testutil::Same(out, Vector{0.1, 0.2, 0.3}));
  c.uvwvalid = 0;
  phong->impl->kernel(r, *phong->impl, access);
  EXPECT_TRUE(testutil::Same(out, Vector{0, 0, 0}));
}

// ---- Fresnel

ShadingContext Ray(const Vector& d, const Vector& n, const Vector& g) {
  ShadingContext c;
  c.raydirection = d;
  c.shadingnormal = n;
  c.geometricnormal = g;
  return c;
}

double Dielectric(const ShadingContext& c, double ior) {
  auto run = Runner(kFresnelDielectricId);
  EXPECT_TRUE(run->Set("ior", ior).ok());
  EXPECT_TRUE(run->Run(c).ok());
  return run->Get<double>("result");
}

// The exact unpolarised reflectance going from index n1 into n2 at cos(i).
double ExactDielectric(double n1, double n2, double cosI) {
  const double sinT = n1 / n2 * std::sqrt(1 - cosI * cosI);
  if (sinT >= 1) return 1;
  const double cosT = std::sqrt(1 - sinT * sinT);
  const double rs = (n1 * cosI - n2 * cosT) / (n1 * cosI + n2 * cosT);
  const double rp = (n2 * cosI - n1 * cosT) / (n2 * cosI + n1 * cosT);
  return (rs * rs + rp * rp) / 2;
}

const Vector kUp{0, 0, 1};

TEST(FresnelDielectric, MatchesTheExactEquationsEitherWayAndVanishesAtIndexOne) {
  // Head on, glass reflects four percent, from the back face too: the normals
  // are turned to face the ray.
  EXPECT_NEAR(Dielectric(Ray({0, 0, -1}, kUp, kUp), 1.5), 0.04, 1e-15);
  EXPECT_NEAR(Dielectric(Ray({0, 0, 1}, kUp, kUp), 1.5), 0.04, 1e-15);
  for (double deg = 0; deg < 89.5; deg += 7.5) {
    const double t = deg * 3.141592653589793 / 180;
    const ShadingContext c = Ray({std::sin(t), 0, -std::cos(t)}, kUp, kUp);
    // The cosine is narrowed to 32 bits on the way.
    EXPECT_NEAR(Dielectric(c, 1.5), ExactDielectric(1.0, 1.5, std::cos(t)), 2e-7) << deg;
    EXPECT_NEAR(Dielectric(c, 1.0), 0.0, 1e-15) << deg;
  }

  // Leaving the denser medium.
  // The geometric normal points down, so the shading normal stays and faces
  // away from the ray: c > 0, the ray leaves the glass.
  const Vector down{0, 0, -1};
  EXPECT_NEAR(Dielectric(Ray({0.6, 0, 0.8}, kUp, down), 1.5), ExactDielectric(1.5, 1.0, 0.8), 2e-7);
  // Past the critical angle (41.8 degrees): total internal reflection.
  EXPECT_EQ(Dielectric(Ray({0.8, 0, 0.6}, kUp, down), 1.5), 1.0);
  // Grazing exactly: c = 0 counts as leaving.
  EXPECT_EQ(Dielectric(Ray({1, 0, 0}, kUp, kUp), 1.5), 1.0);
  // The flip is decided by the geometric normal alone.
  EXPECT_NE(Dielectric(Ray({0.6, 0, 0.8}, kUp, down), 1.5), Dielectric(Ray({0.6, 0, 0.8}, kUp, kUp), 1.5));
}

ColorA Conductor(const ShadingContext& c, const Vector& eta, const Vector& k) {
  auto run = Runner(kFresnelConductorId);
  for (Result r : {run->Set("ior", eta), run->Set("absorption", k), run->Run(c)}) EXPECT_TRUE(r.ok()) << r.ToString();
  return run->Get<ColorA>("result");
}

// The exact reflectance of a conductor of complex index eta + i k.
double ExactConductor(double eta, double k, double cosI) {
  const std::complex<double> n(eta, k);
  const double sin2 = 1 - cosI * cosI;
  const std::complex<double> cosT = std::sqrt(1.0 - sin2 / (n * n));
  const std::complex<double> rs = (cosI - n * cosT) / (cosI + n * cosT);
  const std::complex<double> rp = (n * cosI - cosT) / (n * cosI + cosT);
  return (std::norm(rs) + std::norm(rp)) / 2;
}

TEST(FresnelConductor, FollowsTheExactEquationsWithinTheApproximationAndDoesNotMirrorABackFacingNormal) {
  // Gold-like indices per channel.
  const Vector eta{0.143, 0.374, 1.442}, k{3.98, 2.38, 1.60};
  auto expectExact = [&](const Vector& d, double cosI, double tol) {
    const ColorA got = Conductor(Ray(d, kUp, kUp), eta, k);
    EXPECT_NEAR(got.r, ExactConductor(eta.x, k.x, cosI), tol) << cosI;
    EXPECT_NEAR(got.g, ExactConductor(eta.y, k.y, cosI), tol) << cosI;
    EXPECT_NEAR(got.b, ExactConductor(eta.z, k.z, cosI), tol) << cosI;
    EXPECT_EQ(got.a, 1.0);
  };
  // Exact at normal incidence.
  expectExact({0, 0, -1}, 1, 1e-14);
  // Elsewhere within 0.01: the approximation's error for metals stays below
  // 0.007 (checked against these equations in python3 from 0 to 89 degrees).
  for (double deg = 5; deg < 89.5; deg += 7) {
    const double t = deg * 3.141592653589793 / 180;
    expectExact({std::sin(t), 0, -std::cos(t)}, std::cos(t), 0.01);
  }

  // c > 0 from a shading normal facing away: w is negative, and the value
  // differs from the mirror angle's.
  const Vector eta2{0.2, 0.2, 0.2}, k2{3, 3, 3};
  const Vector down{0, 0, -1};
  const ColorA back = Conductor(Ray({0.6, 0, 0.8}, kUp, down), eta2, k2);
  const ColorA front = Conductor(Ray({0.6, 0, -0.8}, kUp, kUp), eta2, k2);
  EXPECT_GT(std::fabs(back.r - front.r), 1e-3);
  EXPECT_EQ(back.a, 1.0);
}

}  // namespace
}  // namespace tessaroc::pattern
