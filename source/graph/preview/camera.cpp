#include "graph/preview/camera.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

#include "graph/preview/vector_math.h"

namespace tessaroc::graph {

using namespace vmath;

namespace {

constexpr double kMargin = 1.1;  // the framed shape's bounding ball fills 1 / kMargin of the shorter side
double Radians(double degrees) { return degrees * (std::numbers::pi / 180.0); }

std::string Number(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", v);
  return text;
}

}  // namespace

Vector CameraFrame::Direction(double px, double py) const {
  const double sx = (px - centreX) * pixel, sy = (centreY - py) * pixel;
  return Normalize(forward + sx * right + sy * up);
}

Result PlaceCamera(const Camera& camera, Shape shape, int width, int height, CameraFrame& out) {
  const auto bad = [](const std::string& why) { return Result::Fail(errors::kIllegalArgument, why); };
  if (!(camera.fov > 0 && camera.fov < 180))
    return bad("the camera's field of view must lie between 0 and 180 degrees, got " + Number(camera.fov));
  if (!(std::fabs(camera.elevation) < 90))
    return bad("the camera's elevation must lie between -90 and 90 degrees, got " + Number(camera.elevation));
  if (!std::isfinite(camera.azimuth)) return bad("the camera's azimuth must be a number of degrees");
  if (width < 1 || height < 1) return bad("the image size must be at least 1x1");
  const double half = Radians(camera.fov) / 2;
  const double bound = BoundingRadius(shape);
  double distance = camera.distance;
  if (distance == 0) distance = kMargin * bound / std::sin(half);
  if (!(distance > bound) || !std::isfinite(distance))
    return bad("the camera must stay outside the " + std::string(ShapeName(shape)) + ": a distance above " +
               Number(bound) + " (0 frames it), got " + Number(camera.distance));

  const double az = Radians(camera.azimuth), el = Radians(camera.elevation);
  const Vector away{std::sin(az) * std::cos(el), -std::cos(az) * std::cos(el), std::sin(el)};
  out.position = distance * away;
  out.forward = -1.0 * away;
  out.right = Normalize(Cross(out.forward, {0, 0, 1}));
  out.up = Cross(out.right, out.forward);
  out.pixel = std::tan(half) / (0.5 * std::min(width, height));
  out.centreX = 0.5 * width;
  out.centreY = 0.5 * height;
  return Result::Ok();
}

}  // namespace tessaroc::graph
