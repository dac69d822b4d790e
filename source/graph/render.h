// Rendering a material over the UV square or on a preview shape: one sample
// per pixel, on all cores, bit-identical for any thread count.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tessaroc/graph/material.h"
#include "graph/preview/view.h"
#include "host/imageio/image_writer.h"

namespace tessaroc::graph {

// The largest image side a render takes, in pixels; a render also needs its
// window's pixels to fit in the memory available.
inline constexpr int kMaxImageSide = 65536;

// The most threads a render or bake runs on: each holds a stack and an
// evaluator, and far more than the cores only costs memory.
inline constexpr int kMaxThreads = 1024;

// Pixels of the picture: columns x0 to x1 and rows y0 to y1, ends excluded.
struct Window {
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

// An image written beside the main one: `output` ("NODE.PORT") must be one
// of the material's extra outputs (Material::Compile).
struct RenderAov {
  std::string name;
  std::string output;
};

// Where a render's time went, per node of the material, when a render is
// asked for it (RenderSettings::stats).
struct NodeStats {
  std::string label;     // the document's node (an asset's part after a dot)
  std::string type;      // the core node's id
  bool uniform = false;  // runs once when the material is prepared; else per sample
  uint64_t calls = 0;    // a node of a function body runs once per call of the body
  double seconds = 0;    // its own time, without the function bodies it called, summed over threads
};
struct RenderStats {
  // Every node that ran, the most expensive first; copies of a node in
  // several function bodies are counted as one.
  std::vector<NodeStats> nodes;
  // Thread time of the render outside the nodes' kernels: contexts, dispatch,
  // pixel conversion and lighting, and what measuring itself costs.
  double engineSeconds = 0;
  int64_t samples = 0;
  // Whether this render prepared the material; if not, no uniform node ran.
  bool prepared = false;
};

struct RenderSettings {
  int width = 512;
  int height = 512;
  int threads = 0;  // 0: every core; at most kMaxThreads
  double time = 0;
  double fps = 24;
  SearchPathsType searchPaths;
  MessageSink* messages = nullptr;
  // Called with the share done, 0 to 1, from the rendering threads (one at a time).
  std::function<void(double)> progress;
  // What the pixels show: the plane by default.
  View view;
  // The part of the picture to render, whose pixels are those of the whole
  // picture, bit for bit; none: all of it.
  std::optional<Window> window;
  // Extra images, as layers after the main RGBA: colours unlit, values as
  // they are, zero where a shape is missed.
  std::vector<RenderAov> aovs;
  // Filled with calls and time per node when set. The samples then run
  // through the profiling evaluation (a few nanoseconds more per node);
  // without it they pay nothing for it.
  RenderStats* stats = nullptr;
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

// Prepares the material (primed at the picture's centre) if it is not,
// renders the window, and converts the outputs to floats: RGBA, then each
// AOV's layer. `out` may hold an earlier picture: one of the same size is
// rendered over without being cleared first. On failure every pixel is 0.
Result Render(Material& material, const RenderSettings& settings, host::Image& out);

// Whether a value of this type can become a pixel.
bool Renderable(const DataType& type);

}  // namespace tessaroc::graph
