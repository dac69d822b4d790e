// The shapes a material is previewed on, each a pure function from a ray to
// the first point where it meets the surface from outside, with the surface's
// UV and frame there. All of them are centred at the origin, z up, and fill
// the box from -0.5 to 0.5, so a material reads at the same scale on each and
// on the unit UV square of the plane.
#pragma once

#include <string_view>

#include "tessaroc/core/value_types.h"

namespace tessaroc::graph {

// The plane is the UV square seen straight from above, without a camera; the
// others are ray traced.
enum class Shape { kPlane, kSphere, kCube, kCylinder, kTorus };

// "plane", "sphere", "cube", "cylinder", "torus".
std::string_view ShapeName(Shape shape);
bool ParseShape(std::string_view name, Shape& out);

struct Ray {
  Vector origin;
  Vector direction;  // unit length
};

// Where a ray meets a shape. `dpdu` and `dpdv` are the derivatives of the
// position by u and v (not normalised); their cross product points outward.
struct SurfacePoint {
  double distance = 0;  // along the ray
  Vector position;
  Vector normal;  // outward, unit length
  Vector uvw;     // w is 0
  Vector dpdu;
  Vector dpdv;
};

// A ball of radius 0.5. u is the longitude, 0 to 1 from the back (+y) round
// through the front (-y, u = 0.5); v the latitude, 0 at the south pole, 1 at
// the north pole.
bool HitSphere(const Ray& ray, SurfacePoint& out);
// The unit cube; each face holds a whole UV square, v up on the four sides,
// and on the top and bottom u along x.
bool HitCube(const Ray& ray, SurfacePoint& out);
// Radius 0.5, height 1: u around as on the sphere, v up the side; each cap
// holds a UV square as the cube's top and bottom do.
bool HitCylinder(const Ray& ray, SurfacePoint& out);
// A ring round z with radii 0.35 (to the tube's centre) and 0.15 (the tube):
// u around z as on the sphere, v around the tube, 0.5 on the outer equator,
// 0.75 on top.
bool HitTorus(const Ray& ray, SurfacePoint& out);

// The first hit of a ray on a traced shape; false for the plane.
bool Hit(Shape shape, const Ray& ray, SurfacePoint& out);
// The radius of the smallest ball round the origin that holds the shape.
double BoundingRadius(Shape shape);

}  // namespace tessaroc::graph
