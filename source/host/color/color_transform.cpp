#include "host/color/color_transform.h"

#include <OpenImageIO/color.h>
#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>

#include "core/srgb.h"

namespace tessaroc::host {

namespace {

// The process's config, chosen once before rendering starts. Never destroyed:
// processors handed out may outlive static destruction at exit.
struct ConfigState {
  std::mutex mutex;
  bool chosen = false;
  std::unique_ptr<OIIO::ColorConfig> config;
  std::string file;
  Result error;
};

ConfigState& State() {
  static ConfigState* state = new ConfigState;
  return *state;
}

Result Choose(ConfigState& s, const std::string& path) {
  const char* env = std::getenv("OCIO");
  const std::string file = !path.empty() ? path : env ? env : "";
  s.chosen = true;
  s.config.reset();
  s.file = file;
  s.error = Result::Ok();
  if (file.empty()) return s.error;
  const std::string from = path.empty() ? " ($OCIO)" : "";
  auto config = std::make_unique<OIIO::ColorConfig>(file);
  if (config->has_error() || OIIO::ColorConfig::supportsOpenColorIO() == false) {
    std::string why = config->geterror();
    if (why.empty()) why = "the image library was built without OpenColorIO";
    s.error = Result::Fail(errors::kIo, file + from + ": not a usable OpenColorIO config: " + why);
    return s.error;
  }
  s.config = std::move(config);
  return s.error;
}

// The config, reading $OCIO the first time when no config was chosen; null
// when there is none.
Result Config(OIIO::ColorConfig*& out) {
  ConfigState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (!s.chosen) (void)Choose(s, "");
  out = s.config.get();
  return s.error;
}

// Built-in names, as OpenImageIO spells them, compared without case.
bool BuiltInGamma(const std::string& name, double& gamma) {
  if (!OIIO::Strutil::istarts_with(name, "gamma") || name.size() == 5) return false;
  char* end = nullptr;
  const std::string number = name.substr(5);
  gamma = std::strtod(number.c_str(), &end);
  return end == number.c_str() + number.size() && std::isfinite(gamma) && gamma > 0;
}

float Rec709Curve(float v) { return v < 0.018f ? v * 4.5f : 1.099f * std::pow(v, 0.45f) - 0.099f; }

std::string Join(const std::vector<std::string>& names) {
  std::string all;
  for (const std::string& n : names) all += (all.empty() ? "" : ", ") + n;
  return all;
}

}  // namespace

struct ColorTransform::Processor {
  OIIO::ColorProcessorHandle handle;
};

ColorTransform::~ColorTransform() = default;

Result UseColorConfig(const std::string& path) {
  ConfigState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  return Choose(s, path);
}

bool HasColorConfig() {
  OIIO::ColorConfig* config = nullptr;
  return Config(config).ok() && config != nullptr;
}

Result ColorTransform::ToColorSpace(const std::string& name, std::unique_ptr<ColorTransform>& out) {
  OIIO::ColorConfig* config = nullptr;
  TESSAROC_RETURN_IF_FAILED(Config(config));
  if (config) {
    if (auto handle = config->createColorProcessor("scene_linear", name)) {
      out.reset(new ColorTransform(Curve::kConfig, name));
      out->processor_ = std::make_shared<Processor>(Processor{handle});
      return Result::Ok();
    }
  }
  double gamma = 1;
  if (OIIO::Strutil::iequals(name, "linear")) out.reset(new ColorTransform(Curve::kLinear, "linear"));
  else if (OIIO::Strutil::iequals(name, "sRGB")) out.reset(new ColorTransform(Curve::kSrgb, "sRGB"));
  else if (OIIO::Strutil::iequals(name, "Rec709")) out.reset(new ColorTransform(Curve::kRec709, "Rec709"));
  else if (BuiltInGamma(name, gamma)) {
    out.reset(new ColorTransform(Curve::kGamma, name));
    out->gamma_ = gamma;
  } else {
    std::string message =
        "unknown colour space \"" + name + "\"; built in: linear, sRGB, Rec709, GammaG (e.g. Gamma2.2)";
    if (config) {
      const char* linear = config->getColorSpaceNameByRole("scene_linear");
      message += linear ? "; the config has " + Join(config->getColorSpaceNames())
                        : "; the config names no scene_linear role, the space of the render's values";
    }
    return Result::Fail(errors::kIllegalArgument, message);
  }
  return Result::Ok();
}

std::shared_ptr<const ColorTransform> ColorTransform::FromConfigSpace(const std::string& name) {
  OIIO::ColorConfig* config = nullptr;
  if (name.empty() || Config(config).failed() || config == nullptr) return nullptr;
  const std::vector<std::string> spaces = config->getColorSpaceNames();
  if (std::find(spaces.begin(), spaces.end(), name) == spaces.end()) return nullptr;
  auto handle = config->createColorProcessor(name, "scene_linear");
  if (!handle || handle->isNoOp()) return nullptr;
  std::shared_ptr<ColorTransform> decoding(new ColorTransform(Curve::kConfig, "linear"));
  decoding->processor_ = std::make_shared<Processor>(Processor{handle});
  return decoding;
}

Result ColorTransform::ToDisplay(const std::string& display, const std::string& view,
                                 std::unique_ptr<ColorTransform>& out) {
  OIIO::ColorConfig* config = nullptr;
  TESSAROC_RETURN_IF_FAILED(Config(config));
  if (!config)
    return Result::Fail(errors::kIllegalArgument,
                        "a display and view come from an OpenColorIO config: give --ocio FILE or set $OCIO");
  const std::vector<std::string> displays = config->getDisplayNames();
  if (std::find(displays.begin(), displays.end(), display) == displays.end())
    return Result::Fail(errors::kIllegalArgument,
                        "unknown display \"" + display + "\"; the config has " + Join(displays));
  const std::vector<std::string> views = config->getViewNames(display);
  if (std::find(views.begin(), views.end(), view) == views.end())
    return Result::Fail(errors::kIllegalArgument,
                        "display " + display + " has no view \"" + view + "\"; it has " + Join(views));
  auto handle = config->createDisplayTransform(display, view, "scene_linear");
  if (!handle) {
    std::string why = config->geterror();
    if (config->getColorSpaceNameByRole("scene_linear") == nullptr)
      why = "the config names no scene_linear role, the space of the render's values";
    return Result::Fail(errors::kIllegalArgument, "display " + display + ", view " + view + ": " + why);
  }
  const char* space = config->getDisplayViewColorSpaceName(display, view);
  out.reset(new ColorTransform(Curve::kConfig, space && *space ? space : display + " " + view));
  out->processor_ = std::make_shared<Processor>(Processor{handle});
  return Result::Ok();
}

const ColorTransform& ColorTransform::Srgb() {
  static const ColorTransform* srgb = new ColorTransform(Curve::kSrgb, "sRGB");
  return *srgb;
}

bool ColorTransform::identity() const {
  return curve_ == Curve::kLinear || (curve_ == Curve::kConfig && processor_->handle->isNoOp());
}

void ColorTransform::Apply(float* pixels, size_t count, int stride) const {
  switch (curve_) {
    case Curve::kLinear: return;
    case Curve::kConfig:
      processor_->handle->apply(pixels, static_cast<int>(count), 1, 3, sizeof(float), stride * sizeof(float),
                                OIIO::AutoStride);
      return;
    default: break;
  }
  const float inverse = static_cast<float>(1.0 / gamma_);
  for (size_t p = 0; p < count; ++p)
    for (int c = 0; c < 3; ++c) {
      float& v = pixels[p * stride + c];
      if (curve_ == Curve::kSrgb) v = LinearToSrgb32(v);
      else if (curve_ == Curve::kRec709) v = Rec709Curve(v);
      else if (v > 0) v = std::pow(v, inverse);
    }
}

}  // namespace tessaroc::host
