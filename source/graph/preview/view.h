// What a render's pixels show: the UV square seen straight from above (the
// plane), or a shape seen through a perspective camera over a background,
// shown as it is or lit.
#pragma once

#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"
#include "graph/preview/camera.h"
#include "graph/preview/shapes.h"

namespace tessaroc::graph {

// What pixels that miss a traced shape show.
struct Background {
  enum class Kind { kChecker, kColor };
  Kind kind = Kind::kChecker;
  Color color{0.18, 0.18, 0.18};  // for kColor
  double alpha = 0;               // 0 lets a compositor cut the shape out
};

struct View {
  Shape shape = Shape::kPlane;
  Camera camera;          // traced shapes only
  Background background;  // traced shapes only
  // Shows the output as the albedo of a diffuse surface under a key light
  // from the camera's upper left and an ambient term.
  bool lit = false;
};

// A sample of the plane z = 0 at uvw, seen from straight above by an
// orthographic camera: position = uvw, normals (0, 0, 1), tangent along u,
// the ray coming down. Differentials are given as points (uvw of the
// neighbouring samples); pass uvw itself for a sample with no footprint.
ShadingContext SurfaceContext(const Vector& uvw, const Vector& uvwdx, const Vector& uvwdy);
// The plane's surface at the centre of pixel (x, y) of a width x height image:
// uvw over the unit square with v up, differentials from the neighbouring
// pixel centres.
ShadingContext PlaneContext(int x, int y, int width, int height);
// Makes `c`, a plane context of another pixel of the same image, the context
// of pixel (x, y): only the fields that differ between pixels are written
// (not pixelx and pixely, which must still name the pixel `c` was made for),
// with PlaneContext's arithmetic. A renderer going along a row saves building
// the whole context for each pixel, and most of the arithmetic of a step.
void MovePlaneContext(int x, int y, int width, int height, ShadingContext& c);

// A view set up for one image size. Per pixel it allocates nothing.
class ViewSampler {
 public:
  // Checks the view; a camera inside its shape, say, is refused.
  static Result Create(const View& view, int width, int height, ViewSampler& out);

  // A context made from scratch with the surface at pixel (x, y): position,
  // normals, tangent and bitangent (unit vectors along which u and v grow, as
  // the plane's (1, 0, 0) and (0, 1, 0), so that a bump is as strong on every
  // shape as on the plane), uvw, the ray, and each of their differentials as the value at the
  // neighbouring pixels (x + 1, y) and (x, y + 1), taken where those pixels'
  // rays meet the tangent plane. False when the pixel misses the shape; the
  // plane covers every pixel.
  bool Surface(int x, int y, ShadingContext& ctx) const;
  // The background's colour and alpha at pixel (x, y).
  void BackgroundPixel(int x, int y, double rgba[4]) const;
  // Scales the colour by the light a diffuse surface with this normal gets;
  // `normal` of null, zero length or not finite uses the context's shading normal.
  void Light(const ShadingContext& ctx, const Vector* normal, double rgba[4]) const;

  const View& view() const { return view_; }
  // The key light's direction, toward the light.
  const Vector& light() const { return light_; }

 private:
  View view_;
  int width_ = 1, height_ = 1;
  CameraFrame camera_;
  Vector light_;
  int checker_ = 1;  // the background checker's square, in pixels
};

}  // namespace tessaroc::graph
