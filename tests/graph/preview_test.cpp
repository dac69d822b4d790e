// The preview shapes and their per-pixel contexts, against closed-form
// geometry and against the neighbouring pixels' own hits.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "graph/preview/vector_math.h"
#include "graph/render.h"
#include "tessaroc/host/host_services.h"
#include "tessaroc/module/register.h"

namespace tessaroc::graph {
namespace {

using namespace vmath;

constexpr double kDegree = std::numbers::pi / 180;

void ExpectNear(const Vector& got, const Vector& want, double tolerance, const char* what) {
  EXPECT_NEAR(got.x, want.x, tolerance) << what;
  EXPECT_NEAR(got.y, want.y, tolerance) << what;
  EXPECT_NEAR(got.z, want.z, tolerance) << what;
}

RenderSettings Settings(Shape shape, int width, int height, double azimuth = 30, double elevation = 25) {
  RenderSettings s;
  s.width = width;
  s.height = height;
  s.view.shape = shape;
  s.view.camera.azimuth = azimuth;
  s.view.camera.elevation = elevation;
  return s;
}

TEST(Preview, TheSphereAtTheImageCentreFacesTheCamera) {
  // With odd sizes a pixel centre lies on the camera's axis, whose ray meets
  // the sphere at 0.5 times the unit vector toward the camera.
  const double orbits[][2] = {{30, 25}, {-70, 10}, {160, -40}};
  for (const auto& [azimuth, elevation] : orbits) {
    const RenderSettings s = Settings(Shape::kSphere, 65, 33, azimuth, elevation);
    ViewSampler sampler;
    ASSERT_TRUE(ViewSampler::Create(s.view, s.width, s.height, sampler).ok());
    ShadingContext c;
    ASSERT_TRUE(ViewContext(sampler, 32, 16, s, c));
    const double a = azimuth * kDegree, e = elevation * kDegree;
    const Vector toCamera{std::sin(a) * std::cos(e), -std::cos(a) * std::cos(e), std::sin(e)};
    ExpectNear(c.position, 0.5 * toCamera, 1e-12, "position");
    ExpectNear(c.geometricnormal, toCamera, 1e-12, "geometric normal");
    EXPECT_EQ(c.shadingnormal, c.geometricnormal);
    ExpectNear(c.raydirection, -1.0 * toCamera, 1e-12, "ray");
    // u grows along the longitude, v toward the north pole.
    ExpectNear(c.tangent, {std::cos(a), std::sin(a), 0}, 1e-12, "tangent");
    ExpectNear(c.bitangent, {-std::sin(e) * std::sin(a), std::sin(e) * std::cos(a), std::cos(e)}, 1e-12, "bitangent");
    ExpectNear(c.uvw, {0.5 + azimuth / 360, 0.5 + elevation / 180, 0}, 1e-12, "uvw");
    EXPECT_EQ(c.pixelx, 32);
    EXPECT_EQ(c.pixely, 16);
    EXPECT_EQ(c.uvwvalid, 1);
  }
}

// Every shape, every pixel whose neighbours to the right and below hit it too:
// a point on the pixel's ray facing it, an orthonormal right-handed frame, and
// the neighbours' rays as the ray differentials. Where the three lie on one smooth patch facing the camera,
// the differential points and uvw agree with the neighbours' real hits up to
// the surface's curvature.
TEST(Preview, DifferentialsMatchTheNeighbouringPixelsHits) {
  for (Shape shape : {Shape::kSphere, Shape::kCube, Shape::kCylinder, Shape::kTorus}) {
    const RenderSettings s = Settings(shape, 64, 64);
    ViewSampler sampler;
    ASSERT_TRUE(ViewSampler::Create(s.view, s.width, s.height, sampler).ok());
    int compared = 0;
    for (int y = 0; y + 1 < s.height; ++y)
      for (int x = 0; x + 1 < s.width; ++x) {
        ShadingContext c, right, below;
        if (!ViewContext(sampler, x, y, s, c) || !ViewContext(sampler, x + 1, y, s, right) ||
            !ViewContext(sampler, x, y + 1, s, below))
          continue;
        const Vector& n = c.geometricnormal;
        ASSERT_LT(Length(Cross(c.position - c.rayorigin, c.raydirection)), 1e-12);  // on the pixel's ray
        ASSERT_LT(Dot(n, c.raydirection), 0);                                       // the first hit, from outside
        ASSERT_NEAR(Length(n), 1, 1e-12);
        ASSERT_NEAR(Dot(c.tangent, n), 0, 1e-12);
        ASSERT_NEAR(Dot(c.bitangent, n), 0, 1e-12);
        ASSERT_NEAR(Dot(Cross(c.tangent, c.bitangent), n), 1, 1e-12) << "x " << x << " y " << y;
        ASSERT_EQ(c.raydirectiondx, right.raydirection);
        ASSERT_EQ(c.raydirectiondy, below.raydirection);
        ASSERT_EQ(c.rayorigindx, right.rayorigin);
        auto close = [&](const ShadingContext& o) {
          return Dot(n, o.geometricnormal) > 0.99 && Dot(c.tangent, o.tangent) > 0.99 &&
                 Dot(c.bitangent, o.bitangent) > 0.99;
        };
        if (!close(right) || !close(below) || -Dot(n, c.raydirection) < 0.5) continue;
        // Tangent-plane points are exact to first order: a few percent of a
        // pixel's step here, and whole steps when a neighbour is mistaken.
        for (const auto& [point, uvw, other] :
             {std::tuple{c.positiondx, c.uvwdx, &right}, {c.positiondy, c.uvwdy, &below}}) {
          EXPECT_LE(Length(point - other->position), 0.15 * Length(other->position - c.position))
              << ShapeName(shape) << " x " << x << " y " << y;
          if (std::fabs(other->uvw.x - c.uvw.x) < 0.5 && std::fabs(other->uvw.y - c.uvw.y) < 0.5) {  // no seam
            EXPECT_LE(Length(uvw - other->uvw), 0.15 * Length(other->uvw - c.uvw))
                << ShapeName(shape) << " x " << x << " y " << y;
          }
        }
        ++compared;
      }
    EXPECT_GT(compared, 500) << ShapeName(shape);
  }
}

}  // namespace
}  // namespace tessaroc::graph
