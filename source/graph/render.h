// Rendering a material over the UV square: one sample per pixel, on all
// cores, bit-identical for any thread count.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tessaroc/graph/material.h"
#include "host/imageio/image_writer.h"

namespace tessaroc::graph {

struct RenderSettings {
  int width = 512;
  int height = 512;
  int threads = 0;  // 0: every core
  double time = 0;
  double fps = 24;
  SearchPathsType searchPaths;
  MessageSink* messages = nullptr;
  // Called with the share done, 0 to 1, from the rendering threads (one at a time).
  std::function<void(double)> progress;
};

// A sample of the plane z = 0 at uvw, seen from straight above by an
// orthographic camera: position = uvw, normals (0, 0, 1), tangent along u,
// the ray coming down. Differentials are given as points (uvw of the
// neighbouring samples); pass uvw itself for a sample with no footprint.
ShadingContext SurfaceContext(const Vector& uvw, const Vector& uvwdx, const Vector& uvwdy);

// The context of the centre of pixel (x, y): uvw over the unit square with v
// up, differentials from the neighbouring pixel centres, a point on the plane
// z = 0 seen from above, normals facing the camera.
ShadingContext PixelContext(int x, int y, const RenderSettings& settings);

// Prepares the material (primed at the image's centre) if it is not, renders
// it, and converts the output to RGBA floats.
Result Render(Material& material, const RenderSettings& settings, host::Image& out);

// Whether a value of this type can become a pixel.
bool Renderable(const DataType& type);

}  // namespace tessaroc::graph
