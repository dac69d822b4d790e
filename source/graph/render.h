// Rendering a material over the UV square or on a preview shape: one sample
// per pixel, on all cores, bit-identical for any thread count.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "graph/material.h"
#include "graph/preview/view.h"
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
  // What the pixels show: the plane by default.
  View view;
};

// The context of the centre of pixel (x, y) of the plane, whatever the view:
// uvw over the unit square with v up, differentials from the neighbouring
// pixel centres, a point on the plane z = 0 seen from above, normals facing
// the camera.
ShadingContext PixelContext(int x, int y, const RenderSettings& settings);

// The context that pixel (x, y) of this render evaluates, seen through the
// sampler made for the settings' view and size, with the pixel, time and
// search paths of the settings. False when the pixel shows the background.
bool ViewContext(const ViewSampler& sampler, int x, int y, const RenderSettings& settings, ShadingContext& out);

// Prepares the material (primed at the image's centre) if it is not, renders
// it, and converts the output to RGBA floats.
Result Render(Material& material, const RenderSettings& settings, host::Image& out);

// Whether a value of this type can become a pixel.
bool Renderable(const DataType& type);

}  // namespace tessaroc::graph
