// Colour management: the render's linear values turned into a file's
// encoding, by a built-in curve or by an OpenColorIO transform of the
// process's colour config, and files in a colour space of the config decoded
// to linear.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tessaroc/core/result.h"

namespace tessaroc::host {

// Chooses the OpenColorIO config for the process: a config file, or with an
// empty path the one $OCIO names. Fails with the library's reason when it
// does not load. Without a call, the first transform asked for reads $OCIO.
// Call it before rendering starts.
Result UseColorConfig(const std::string& path);
// Whether the process has a config (from UseColorConfig or $OCIO).
bool HasColorConfig();

class ColorTransform {
 public:
  ~ColorTransform();

  // From the render's linear values (the config's scene_linear role) to a
  // colour space of the config, or to a built-in one: "linear", "sRGB",
  // "Rec709", "GammaG" (any positive G, e.g. "Gamma2.2"). Names of the
  // config win over the built-in ones.
  static Result ToColorSpace(const std::string& name, std::unique_ptr<ColorTransform>& out);
  // From a colour space of the config to the render's linear values, for
  // files tagged with it; null when there is no config, the config has no
  // such space, or it is the linear space itself.
  static std::shared_ptr<const ColorTransform> FromConfigSpace(const std::string& name);
  // Through a display's view of the config, as a viewer shows the image.
  static Result ToDisplay(const std::string& display, const std::string& view, std::unique_ptr<ColorTransform>& out);
  // The sRGB encode that integer files get by default.
  static const ColorTransform& Srgb();

  // Transforms the first three channels of `count` pixels, `stride` floats
  // apart, in place; the other channels stay.
  void Apply(float* pixels, size_t count, int stride) const;
  // The colour space of the transformed values, for a file's metadata.
  const std::string& name() const { return name_; }
  bool identity() const;

 private:
  enum class Curve { kLinear, kSrgb, kRec709, kGamma, kConfig };
  ColorTransform(Curve curve, std::string name) : curve_(curve), name_(std::move(name)) {}
  struct Processor;

  Curve curve_;
  std::string name_;
  double gamma_ = 1;
  std::shared_ptr<Processor> processor_;
};

}  // namespace tessaroc::host
