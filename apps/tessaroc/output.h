// What `tessaroc render` writes: frame ranges, a window of the picture, extra
// images (AOVs), the files' depth, compression and colour encoding.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessaroc/core/result.h"
#include "graph/render.h"
#include "host/color/color_transform.h"
#include "host/imageio/image_writer.h"

namespace CLI {
class App;
}

namespace tessaroc::app {

struct OutputOptions {
  std::optional<std::string> frames;  // A-B[xSTEP] and single frames, comma-separated
  std::optional<std::string> crop;    // X0,Y0,X1,Y1
  std::optional<std::string> tile;    // I/N
  std::vector<std::string> aovs;      // NAME=NODE.PORT
  std::optional<std::string> depth;   // half, float, 8, 16
  std::string compression;
  std::optional<std::string> colorspace;
  std::optional<std::string> display;
  std::optional<std::string> view;
  std::optional<std::string> ocio;
};

// Adds the output options to the render command (after --frame and --time,
// which --frames excludes).
void AddOutputOptions(CLI::App& render, OutputOptions& options);

// Frames first to last, every step-th.
struct FrameRange {
  int64_t first = 0;
  int64_t last = 0;
  int64_t step = 1;
};
// "A-B[xSTEP]" ranges and single frames "A", separated by commas; frames may
// be negative ("-5--1").
Result ParseFrames(const std::string& text, std::vector<FrameRange>& out);

// Whether a file name holds a frame number: a run of '#' (as many digits as
// signs) or printf's "%d" / "%04d".
bool NamesFrame(const std::string& pattern);
// The file name with every frame field replaced by the frame.
std::string FrameFile(const std::string& pattern, int64_t frame);

// --crop X0,Y0,X1,Y1 (pixels of the whole picture, X1 and Y1 excluded) or
// --tile I/N (the I-th of N horizontal bands from the top, I from 1).
Result ParseCrop(const std::string& text, int width, int height, graph::Window& out);
Result ParseTile(const std::string& text, int width, int height, graph::Window& out);

// Everything the options say about the files, checked before rendering.
struct OutputPlan {
  std::string pattern;                    // -o
  std::vector<FrameRange> frames;         // none: one render at the settings' time
  std::vector<std::string> extraOutputs;  // NODE.PORT of each AOV, for the material
  host::WriteOptions write;
  std::unique_ptr<host::ColorTransform> color;  // held for `write`
  bool opaque = false;                          // an integer file: the background shows
};

// Fills the plan and the settings' window and AOVs from the options.
Result PlanOutputs(const std::string& output, std::optional<int64_t> frame, const OutputOptions& options,
                   graph::RenderSettings& settings, OutputPlan& plan);

// Writes the image of one frame (or of no frame), timing the write, and
// says which files it wrote.
Result WriteOutputs(const OutputPlan& plan, std::optional<int64_t> frame, const host::Image& image, double& seconds,
                    std::string& files);

}  // namespace tessaroc::app
