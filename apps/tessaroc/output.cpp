#include "output.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <limits>

namespace tessaroc::app {

void AddOutputOptions(CLI::App& r, OutputOptions& o) {
  CLI::Option* frames =
      r.add_option("--frames", o.frames,
                   "Frames to render, each at FRAME / FPS seconds: A-B[xSTEP] ranges and single frames, "
                   "comma-separated (1-24x2,30); the output name holds #### or %04d");
  for (const char* other : {"--frame", "--time"})
    if (CLI::Option* x = r.get_option_no_throw(other)) frames->excludes(x);
  CLI::Option* crop = r.add_option("--crop", o.crop,
                                   "X0,Y0,X1,Y1: render and write only these pixels of the --size picture "
                                   "(X1 and Y1 excluded); EXR keeps their place as a data window");
  r.add_option("--tile", o.tile, "I/N: render and write only the I-th of N horizontal bands (1 is the top)")
      ->excludes(crop);
  r.add_option("--aov", o.aovs,
               "NAME=NODE.PORT: write that output too, as channels NAME.R, NAME.G, ... of an EXR, or as "
               "FILE.NAME.EXT in other formats (repeatable)");
  r.add_option("--depth", o.depth,
               "half, float, 8 or 16: the numbers the file holds (default: float for EXR and "
               "TIFF, 8 for the others)");
  r.add_option("--compression", o.compression,
               "EXR: none, rle, zips (default), zip, piz, pxr24, b44, b44a, dwaa, dwab; TIFF: none, lzw, zip, "
               "packbits; PNG: none, zip[:0-9]; JPEG: jpeg:QUALITY (1-100)");
  CLI::Option* space = r.add_option("--colorspace", o.colorspace,
                                    "Colour space of the file's values: linear, sRGB, Rec709, GammaG (Gamma2.2) or "
                                    "one of the OpenColorIO config (default: sRGB at depths 8 and 16, else linear)");
  CLI::Option* display =
      r.add_option("--display", o.display, "DISPLAY of the OpenColorIO config to write for, with --view")
          ->excludes(space);
  CLI::Option* view = r.add_option("--view", o.view, "VIEW of --display to write through");
  display->needs(view);
  view->needs(display);
  r.add_option("--ocio", o.ocio, "OpenColorIO config file (default: $OCIO)")->check(CLI::ExistingFile);
}

namespace {

// A whole number at `text[at]`, with an optional minus sign; moves `at` past it.
bool ReadInteger(const std::string& text, size_t& at, int64_t& out) {
  const char* begin = text.data() + at;
  auto [end, ec] = std::from_chars(begin, text.data() + text.size(), out);
  if (ec != std::errc() || end == begin) return false;
  at = static_cast<size_t>(end - text.data());
  return true;
}

// Whole numbers separated by `separator`, `count` of them.
bool ReadIntegers(const std::string& text, char separator, size_t count, std::vector<int64_t>& out) {
  out.clear();
  size_t at = 0;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0 && (at >= text.size() || text[at++] != separator)) return false;
    int64_t v = 0;
    if (!ReadInteger(text, at, v)) return false;
    out.push_back(v);
  }
  return at == text.size();
}

// The frame fields of a file name: where, how long, how many digits.
struct FrameField {
  size_t at = 0, length = 0;
  int digits = 0;
};

std::vector<FrameField> FrameFields(const std::string& pattern) {
  std::vector<FrameField> fields;
  for (size_t i = 0; i < pattern.size();) {
    if (pattern[i] == '#') {
      const size_t end = pattern.find_first_not_of('#', i);
      const size_t length = (end == std::string::npos ? pattern.size() : end) - i;
      fields.push_back({i, length, static_cast<int>(length)});
      i += length;
      continue;
    }
    if (pattern[i] == '%') {
      size_t j = i + 1;
      while (j < pattern.size() && pattern[j] >= '0' && pattern[j] <= '9' && j - i < 4) ++j;
      if (j < pattern.size() && pattern[j] == 'd') {
        fields.push_back({i, j + 1 - i, j > i + 1 ? std::atoi(pattern.c_str() + i + 1) : 0});
        i = j + 1;
        continue;
      }
    }
    ++i;
  }
  return fields;
}

bool ValidLayerName(const std::string& name) {
  if (name.empty()) return false;
  for (unsigned char c : name)
    if (!std::isalnum(c) && c != '_' && c != '-') return false;
  return true;
}

}  // namespace

Result ParseFrames(const std::string& text, std::vector<FrameRange>& out) {
  out.clear();
  size_t at = 0;
  while (true) {
    FrameRange range;
    bool ok = ReadInteger(text, at, range.first);
    range.last = range.first;
    if (ok && at < text.size() && text[at] == '-') {
      ++at;
      ok = ReadInteger(text, at, range.last);
      if (ok && at < text.size() && text[at] == 'x') {
        ++at;
        ok = ReadInteger(text, at, range.step) && range.step >= 1;
      }
    }
    if (!ok || (at < text.size() && text[at] != ','))
      return Result::Fail(errors::kIllegalArgument,
                          "--frames " + text +
                              ": expected A-B[xSTEP] ranges and single frames separated by commas, "
                              "e.g. 1-24x2,30");
    if (range.last < range.first)
      return Result::Fail(errors::kIllegalArgument, fmt::format("--frames {}: the range {}-{} ends before it starts",
                                                                text, range.first, range.last));
    out.push_back(range);
    if (at == text.size()) return Result::Ok();
    ++at;
  }
}

bool NamesFrame(const std::string& pattern) { return !FrameFields(pattern).empty(); }

std::string FrameFile(const std::string& pattern, int64_t frame) {
  std::string file;
  size_t from = 0;
  for (const FrameField& f : FrameFields(pattern)) {
    file += pattern.substr(from, f.at - from);
    file += fmt::format("{:0{}d}", frame, f.digits);
    from = f.at + f.length;
  }
  return file + pattern.substr(from);
}

Result ParseCrop(const std::string& text, int width, int height, graph::Window& out) {
  std::vector<int64_t> v;
  if (!ReadIntegers(text, ',', 4, v) || v[0] < 0 || v[1] < 0 || v[0] >= v[2] || v[1] >= v[3] || v[2] > width ||
      v[3] > height)
    return Result::Fail(errors::kIllegalArgument,
                        fmt::format("--crop {}: expected X0,Y0,X1,Y1 with 0 <= X0 < X1 <= {} and 0 <= Y0 < Y1 <= {} "
                                    "(pixels of the --size picture, X1 and Y1 excluded)",
                                    text, width, height));
  out = {static_cast<int>(v[0]), static_cast<int>(v[1]), static_cast<int>(v[2]), static_cast<int>(v[3])};
  return Result::Ok();
}

Result ParseTile(const std::string& text, int width, int height, graph::Window& out) {
  std::vector<int64_t> v;
  if (!ReadIntegers(text, '/', 2, v) || v[0] < 1 || v[0] > v[1] || v[1] > height)
    return Result::Fail(
        errors::kIllegalArgument,
        fmt::format("--tile {}: expected I/N with 1 <= I <= N <= {} (the image's height)", text, height));
  // Bands of (nearly) equal height that meet exactly.
  out = {0, static_cast<int>(height * (v[0] - 1) / v[1]), width, static_cast<int>(height * v[0] / v[1])};
  return Result::Ok();
}

Result PlanOutputs(const std::string& output, std::optional<int64_t> frame, const OutputOptions& o,
                   graph::RenderSettings& settings, OutputPlan& plan) {
  auto fail = [](const std::string& option, const Result& r) {
    return Result::Fail(r.id(), option + ": " + std::string(r.message()));
  };
  plan.pattern = output;
  plan.frames.clear();
  if (o.frames) TESSAROC_RETURN_IF_FAILED(ParseFrames(*o.frames, plan.frames));
  else if (frame) plan.frames.push_back({*frame, *frame, 1});
  const bool numbered = NamesFrame(output);
  if (!numbered && !plan.frames.empty() && (plan.frames.size() > 1 || plan.frames[0].first != plan.frames[0].last))
    return Result::Fail(errors::kIllegalArgument,
                        "-o " + output + ": several frames need a frame number in the file name, e.g. out.####.exr");
  if (numbered && plan.frames.empty())
    return Result::Fail(errors::kIllegalArgument,
                        "-o " + output + " holds a frame number (#### or %d): give --frame or --frames");

  if (o.crop) TESSAROC_RETURN_IF_FAILED(ParseCrop(*o.crop, settings.width, settings.height, settings.window.emplace()));
  if (o.tile) TESSAROC_RETURN_IF_FAILED(ParseTile(*o.tile, settings.width, settings.height, settings.window.emplace()));

  settings.aovs.clear();
  plan.extraOutputs.clear();
  std::vector<host::ImageLayer> layers{{}};
  for (const std::string& aov : o.aovs) {
    const size_t eq = aov.find('=');
    const std::string name = aov.substr(0, eq);
    if (eq == std::string::npos || !ValidLayerName(name) || eq + 1 == aov.size())
      return Result::Fail(errors::kIllegalArgument,
                          "--aov " + aov + ": expected NAME=NODE.PORT, the name of letters, digits, _ and -");
    for (const graph::RenderAov& a : settings.aovs)
      if (a.name == name) return Result::Fail(errors::kIllegalArgument, "--aov " + name + " is given twice");
    settings.aovs.push_back({name, aov.substr(eq + 1)});
    plan.extraOutputs.push_back(aov.substr(eq + 1));
    layers.push_back({name});
  }

  plan.write = {};
  if (o.depth)
    if (Result r = host::ParseDepth(*o.depth, plan.write.depth); r.failed()) return fail("--depth", r);
  plan.write.compression = o.compression;
  if (o.ocio)
    if (Result r = host::UseColorConfig(*o.ocio); r.failed()) return fail("--ocio", r);
  plan.color.reset();
  if (o.colorspace) {
    if (Result r = host::ColorTransform::ToColorSpace(*o.colorspace, plan.color); r.failed())
      return fail("--colorspace", r);
  } else if (o.display && o.view) {
    if (Result r = host::ColorTransform::ToDisplay(*o.display, *o.view, plan.color); r.failed())
      return fail("--display", r);
  }
  plan.write.color = plan.color.get();
  plan.opaque = o.depth ? plan.write.depth == host::Depth::kUint8 || plan.write.depth == host::Depth::kUint16
                        : host::WritesEightBit(output);

  // Every file of the first frame, before anything is rendered.
  const std::string first = numbered ? FrameFile(output, plan.frames[0].first) : output;
  for (const std::string& file : host::ImageFiles(first, layers))
    TESSAROC_RETURN_IF_FAILED(host::CheckImageWriter(file, plan.write));
  return Result::Ok();
}

Result WriteOutputs(const OutputPlan& plan, std::optional<int64_t> frame, const host::Image& image, double& seconds,
                    std::string& files) {
  const std::string path = frame && NamesFrame(plan.pattern) ? FrameFile(plan.pattern, *frame) : plan.pattern;
  const auto start = std::chrono::steady_clock::now();
  TESSAROC_RETURN_IF_FAILED(host::WriteImage(path, image, plan.write));
  seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  files.clear();
  for (const std::string& file : host::ImageFiles(path, image.layers)) files += (files.empty() ? "" : ", ") + file;
  return Result::Ok();
}

}  // namespace tessaroc::app
