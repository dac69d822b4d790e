// Helpers for the node tests: the catalogue in a registry of its own, a
// runner per node with its mask and enumeration inputs, and comparisons of
// colours, contexts and values that treat NaN as a value.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "tessaroc/core/runtime.h"
#include "pattern/catalogue.h"

namespace tessaroc::pattern::testutil {

inline CoreNodeRegistry& Catalogue() {
  static CoreNodeRegistry* registry = [] {
    auto* r = new CoreNodeRegistry;
    EXPECT_TRUE(RegisterCatalogue(*r).ok());
    return r;
  }();
  return *registry;
}

inline const MicroNodeGroup* Group(const char* id) {
  const MicroNodeGroup* g = nullptr;
  EXPECT_TRUE(Catalogue().GetGroup(id, g).ok()) << id;
  return g;
}

inline std::unique_ptr<SingleNodeRunner> Runner(const char* id) {
  std::unique_ptr<SingleNodeRunner> run;
  EXPECT_TRUE(SingleNodeRunner::Create(Group(id), run).ok()) << id;
  return run;
}

// Sets the five mask ports.
inline void SetMask(SingleNodeRunner& run, double blend, bool r, bool g, bool b, bool a) {
  EXPECT_TRUE(run.Set("maskblend", blend).ok());
  EXPECT_TRUE(run.Set("maskred", r).ok());
  EXPECT_TRUE(run.Set("maskgreen", g).ok());
  EXPECT_TRUE(run.Set("maskblue", b).ok());
  EXPECT_TRUE(run.Set("maskalpha", a).ok());
}

// Sets each (port, value) pair in order; a refused one fails the test.
inline void SetAll(SingleNodeRunner&) {}
template <class T, class... Rest>
void SetAll(SingleNodeRunner& run, const char* port, const T& value, const Rest&... rest) {
  EXPECT_TRUE(run.Set(port, value).ok()) << port;
  SetAll(run, rest...);
}

// Sets the (port, value) pairs on `run` and runs it once.
template <class... Inputs>
void SetAndRun(SingleNodeRunner& run, const Inputs&... inputs) {
  SetAll(run, inputs...);
  EXPECT_TRUE(run.Run().ok());
}

// A runner of node `id` run once with the (port, value) pairs given.
template <class... Inputs>
std::unique_ptr<SingleNodeRunner> RunNode(const char* id, const Inputs&... inputs) {
  auto run = Runner(id);
  SetAndRun(*run, inputs...);
  return run;
}

inline void SetEnum(SingleNodeRunner& run, const char* port, const char* value) {
  EXPECT_TRUE(run.Set(port, InternedId::Intern(value)).ok());
}

inline ColorA RunColor(SingleNodeRunner& run, const char* port = "result") {
  EXPECT_TRUE(run.Run().ok());
  return run.Get<ColorA>(port);
}

inline ::testing::AssertionResult ColorNear(const ColorA& got, const ColorA& want, double tol) {
  auto same = [tol](double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || a == b || std::fabs(a - b) <= tol;
  };
  if (same(got.r, want.r) && same(got.g, want.g) && same(got.b, want.b) && same(got.a, want.a))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got (" << got.r << ", " << got.g << ", " << got.b << ", " << got.a
                                       << ") want (" << want.r << ", " << want.g << ", " << want.b << ", " << want.a
                                       << ") within " << tol;
}

// The inputs of a placement2d, with its identity settings.
struct Placement2dSettings {
  Vector2d offset{0, 0};
  Vector2d length{1, 1};
  Vector2d pivot{0.5, 0.5};
  double rotation = 0;
  Vector2d repetitions{1, 1};
  bool decalU = false;
  bool decalV = false;
  const char* modeU = "repeat";
  const char* modeV = "repeat";
};

// Adds a placement2d reading the plan's context, with every input set.
inline ::testing::AssertionResult AddPlacement(Plan& plan, const Placement2dSettings& s, NodeRef& out) {
  const char* id = "net.zovan.render.corenode.placement2d";
  Result r = plan.AddNode(Group(id), "place", out);
  for (Result step : {r, plan.BindContext(out, "context"), plan.Set(out, "localOffset", s.offset),
                      plan.Set(out, "localLength", s.length), plan.Set(out, "localPivot", s.pivot),
                      plan.Set(out, "localRotation", s.rotation), plan.Set(out, "localRepetitions", s.repetitions),
                      plan.Set(out, "localDecalU", s.decalU), plan.Set(out, "localDecalV", s.decalV),
                      plan.Set(out, "localModeU", InternedId::Intern(s.modeU)),
                      plan.Set(out, "localModeV", InternedId::Intern(s.modeV))})
    if (step.failed()) return ::testing::AssertionFailure() << step.ToString();
  return ::testing::AssertionSuccess();
}

// NaN equals NaN; otherwise bit-exact equality of the value.
inline bool Same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }
inline bool Same(const Vector& a, const Vector& b) { return Same(a.x, b.x) && Same(a.y, b.y) && Same(a.z, b.z); }

// Every field of two contexts, the carried ones included.
// clang-format off
inline ::testing::AssertionResult SameContext(const ShadingContext& a, const ShadingContext& b) {
#define TESSAROC_FIELD(f) \
  if (std::memcmp(&a.f, &b.f, sizeof(a.f)) != 0) return ::testing::AssertionFailure() << "field " #f " differs";
  TESSAROC_FIELD(carried0) TESSAROC_FIELD(carried1) TESSAROC_FIELD(carried2)
  TESSAROC_FIELD(carried3) TESSAROC_FIELD(carried4) TESSAROC_FIELD(carried5) TESSAROC_FIELD(position) TESSAROC_FIELD(positiondx)
  TESSAROC_FIELD(positiondy) TESSAROC_FIELD(carried9) TESSAROC_FIELD(carried10) TESSAROC_FIELD(geometricnormal)
  TESSAROC_FIELD(carried11) TESSAROC_FIELD(shadingnormal) TESSAROC_FIELD(carried12) TESSAROC_FIELD(carried13)
  TESSAROC_FIELD(uvw) TESSAROC_FIELD(uvwdx) TESSAROC_FIELD(uvwdy) TESSAROC_FIELD(carried14) TESSAROC_FIELD(tangent) TESSAROC_FIELD(bitangent)
  TESSAROC_FIELD(carried17) TESSAROC_FIELD(carried18) TESSAROC_FIELD(uvwvalid) TESSAROC_FIELD(carried19)
  TESSAROC_FIELD(wrapmodeu) TESSAROC_FIELD(wrapmodev) TESSAROC_FIELD(carried20) TESSAROC_FIELD(pixelx)
  TESSAROC_FIELD(pixely) TESSAROC_FIELD(subpixelx) TESSAROC_FIELD(subpixely) TESSAROC_FIELD(time)
  TESSAROC_FIELD(framerate) TESSAROC_FIELD(rayorigin) TESSAROC_FIELD(raydirection) TESSAROC_FIELD(raymindistance)
  TESSAROC_FIELD(raymaxdistance) TESSAROC_FIELD(carried22) TESSAROC_FIELD(carried23) TESSAROC_FIELD(rayorigindx)
  TESSAROC_FIELD(rayorigindy) TESSAROC_FIELD(raydirectiondx) TESSAROC_FIELD(raydirectiondy) TESSAROC_FIELD(carried24)
  TESSAROC_FIELD(carried25) TESSAROC_FIELD(carried26) TESSAROC_FIELD(carried27) TESSAROC_FIELD(carried28)
  TESSAROC_FIELD(carried29) TESSAROC_FIELD(carried30) TESSAROC_FIELD(carried31) TESSAROC_FIELD(carried32)
  TESSAROC_FIELD(imageflag) TESSAROC_FIELD(carried33) TESSAROC_FIELD(carried34) TESSAROC_FIELD(searchpaths)
  TESSAROC_FIELD(messagesink)
#undef TESSAROC_FIELD
  return ::testing::AssertionSuccess();
}
// clang-format on

// Whether `out` equals `in` in every field but the `moved` ones (by default
// the uvw block), which it may change.
inline ::testing::AssertionResult SameContextBut(const ShadingContext& out, ShadingContext in,
                                                 const std::vector<Vector ShadingContext::*>& moved = {
                                                     &ShadingContext::uvw, &ShadingContext::uvwdx,
                                                     &ShadingContext::uvwdy}) {
  for (Vector ShadingContext::*f : moved) in.*f = out.*f;
  return SameContext(out, in);
}

// A context at `uvw` with its x and y neighbours.
inline ShadingContext UvwContext(const Vector& uvw, const Vector& dx, const Vector& dy) {
  ShadingContext c;
  c.uvw = uvw;
  c.uvwdx = dx;
  c.uvwdy = dy;
  return c;
}

// A context with something other than its default in 28 of its fields, from
// each group (positions, normals, uvw, frame, ray, pixel, time, carried), so
// that a field lost on the way shows; the others keep their defaults.
inline ShadingContext BusyContext() {
  ShadingContext c;
  c.carried0 = 11;
  c.carried1 = 12;
  c.carried5 = 13;
  c.position = {1, 2, 3};
  c.positiondx = {1.1, 2, 3};
  c.positiondy = {1, 2.1, 3};
  c.carried9 = {4, 5, 6};
  c.geometricnormal = {0, 0, 1};
  c.shadingnormal = {0, 0.6, 0.8};
  c.carried13 = 14;
  c.uvw = {0.3, 0.6, 0.9};
  c.uvwdx = {0.31, 0.6, 0.9};
  c.uvwdy = {0.3, 0.62, 0.9};
  c.carried14 = {7, 8, 9};
  c.tangent = {1, 0, 0};
  c.bitangent = {0, 1, 0};
  c.carried19 = 3;
  c.pixelx = 40;
  c.pixely = 41;
  c.subpixelx = 0.25;
  c.time = 1.5;
  c.framerate = 24;
  c.rayorigin = {0, 0, 5};
  c.raydirection = {0, 0, -1};
  c.carried23 = 99;
  c.carried27 = 7;
  c.imageflag = 0;
  c.carried34 = 15;
  return c;
}

}  // namespace tessaroc::pattern::testutil
