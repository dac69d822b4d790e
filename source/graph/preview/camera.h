// The perspective camera that looks at a preview shape: it orbits the origin
// and always aims at it, with z up.
#pragma once

#include "tessaroc/core/result.h"
#include "graph/preview/shapes.h"

namespace tessaroc::graph {

struct Camera {
  double fov = 30;        // degrees, across the image's shorter side
  double distance = 0;    // from the origin; 0 frames the shape with a margin
  double azimuth = 30;    // degrees, turning from the front (-y) toward +x
  double elevation = 25;  // degrees above the horizon
};

// A camera placed for one image: where it is, its axes, and the size of a
// pixel on the image plane one unit in front of it.
struct CameraFrame {
  Vector position;
  Vector forward;
  Vector right;
  Vector up;
  double pixel = 0;
  double centreX = 0, centreY = 0;  // the image's centre, in pixels

  // The unit direction through the image point (px, py), in pixels from the
  // top left corner: the centre of pixel (x, y) is (x + 0.5, y + 0.5).
  Vector Direction(double px, double py) const;
};

// Checks the camera against the shape (it must look from outside the shape's
// bounding ball) and places it for a width x height image.
Result PlaceCamera(const Camera& camera, Shape shape, int width, int height, CameraFrame& out);

}  // namespace tessaroc::graph
