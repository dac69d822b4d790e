#include "host/imageio/image_writer.h"

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/strutil.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <filesystem>

#include "core/srgb.h"
#include "host/color/color_transform.h"
#include "host/imageio/output_file.h"

namespace tessaroc::host {

namespace {

std::string Extension(const std::string& path) {
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

const char* DepthName(Depth d) {
  switch (d) {
    case Depth::kHalf: return "half";
    case Depth::kFloat: return "float";
    case Depth::kUint8: return "8";
    case Depth::kUint16: return "16";
    default: return "default";
  }
}

OIIO::TypeDesc DepthType(Depth d) {
  switch (d) {
    case Depth::kHalf: return OIIO::TypeDesc::HALF;
    case Depth::kUint8: return OIIO::TypeDesc::UINT8;
    case Depth::kUint16: return OIIO::TypeDesc::UINT16;
    default: return OIIO::TypeDesc::FLOAT;
  }
}

// A compression method and the levels it takes after a colon ("zip:4");
// none when `most` is 0.
struct Method {
  const char* name;
  double least = 0, most = 0;
};

// What each format takes. The first depth is the format's default. Layers
// share one file, with a data window, where the format has named channels.
// Formats whose writer is known to write correctly through an I/O proxy
// use one (TIFF's does not in OpenImageIO 2.4: it loses a rewritten
// directory); the others write the file themselves and it is read back.
struct Rules {
  const char* format;  // OpenImageIO's name
  const char* label;
  std::vector<Depth> depths;
  std::vector<Method> methods;
  bool layers = false;
  bool proxy = false;
};

// clang-format off
const Rules kRules[] = {
    {"openexr", "EXR", {Depth::kFloat, Depth::kHalf},
     {{"none"}, {"rle"}, {"zips", 1, 9}, {"zip", 1, 9}, {"piz"}, {"pxr24"}, {"b44"}, {"b44a"},
      {"dwaa", 1, 1e6}, {"dwab", 1, 1e6}}, true, true},
    {"tiff", "TIFF", {Depth::kFloat, Depth::kHalf, Depth::kUint8, Depth::kUint16},
     {{"none"}, {"lzw"}, {"zip"}, {"packbits"}}},
    {"png", "PNG", {Depth::kUint8, Depth::kUint16}, {{"none"}, {"zip", 0, 9}}, false, true},
    {"jpeg", "JPEG", {Depth::kUint8}, {{"jpeg", 1, 100}}, false, true},
};
// clang-format on

Rules RulesOf(const OIIO::ImageOutput& out, const std::string& path) {
  for (const Rules& r : kRules)
    if (out.format_name() == std::string_view(r.format)) return r;
  // Any other format: one depth, as before.
  return {out.format_name(), out.format_name(), {WritesEightBit(path) ? Depth::kUint8 : Depth::kFloat}, {}};
}

Result CheckDepth(const Rules& rules, Depth depth) {
  if (depth == Depth::kDefault || std::find(rules.depths.begin(), rules.depths.end(), depth) != rules.depths.end())
    return Result::Ok();
  std::string takes;
  for (Depth d : rules.depths) takes += std::string(takes.empty() ? "" : ", ") + DepthName(d);
  return Result::Fail(errors::kIllegalArgument,
                      std::string(rules.label) + " files take no depth " + DepthName(depth) + "; " + takes);
}

// Finds the method of `text` ("zip" or "zip:4") and its level (NaN: none).
Result CheckCompression(const Rules& rules, const std::string& text, const Method*& method, double& level) {
  method = nullptr;
  level = NAN;
  if (text.empty()) return Result::Ok();
  const size_t colon = text.find(':');
  const std::string name = text.substr(0, colon);
  for (const Method& m : rules.methods)
    if (name == m.name) method = &m;
  bool ok = method != nullptr;
  if (ok && colon != std::string::npos) {
    char* end = nullptr;
    const std::string number = text.substr(colon + 1);
    level = std::strtod(number.c_str(), &end);
    ok = method->most > 0 && !number.empty() && end == number.c_str() + number.size() && level >= method->least &&
         level <= method->most && (method->most > 1000 || level == std::floor(level));
  }
  if (ok) return Result::Ok();
  if (rules.methods.empty())
    return Result::Fail(errors::kIllegalArgument, std::string(rules.label) + " files take no compression");
  std::string takes;
  for (const Method& m : rules.methods) {
    takes += std::string(takes.empty() ? "" : ", ") + m.name;
    if (m.most > 1000) takes += "[:LEVEL]";
    else if (m.most > 0)
      takes += "[:" + std::to_string(static_cast<int>(m.least)) + "-" + std::to_string(static_cast<int>(m.most)) + "]";
  }
  return Result::Fail(errors::kIllegalArgument,
                      "compression \"" + text + "\": " + rules.label + " files take " + takes);
}

bool IsExr(const std::string& path) {
  auto out = OIIO::ImageOutput::create(path);
  return out && out->format_name() == std::string_view("openexr");
}

std::vector<std::string> ChannelNames(const ImageLayer& layer, int count) {
  static const char* const kColor[] = {"R", "G", "B", "A"};
  std::vector<std::string> names;
  for (int c = 0; c < count; ++c) {
    const std::string channel = layer.count == 1 ? "Y" : kColor[c];
    names.push_back(layer.name.empty() ? channel : layer.name + "." + channel);
  }
  return names;
}

// Rows converted at a time when the pixels can't go to the writer as they are.
constexpr int kStripRows = 64;

// The writer of OpenImageIO 2.4 for HEIF copies a whole row of its plane
// (16-byte aligned, at least 64 pixels wide) out of each row it is given; a
// row of 8-bit values with that much to spare keeps the copy in our memory.
size_t HeifRowSpare(int channels) { return 64 * static_cast<size_t>(channels) + 16; }

// One file: some layers of the image, written in strips.
Result WriteFile(OutputFile& file, const Image& image, const std::vector<const ImageLayer*>& layers,
                 const WriteOptions& options) {
  const std::string& path = file.target();
  auto out = OIIO::ImageOutput::create(path);
  if (!out) return Result::Fail(errors::kIo, path + ": no writer for this file type (" + OIIO::geterror() + ")");
  const Rules rules = RulesOf(*out, path);
  TESSAROC_RETURN_IF_FAILED(CheckDepth(rules, options.depth));
  const Method* method = nullptr;
  double level = NAN;
  TESSAROC_RETURN_IF_FAILED(CheckCompression(rules, options.compression, method, level));
  const Depth depth = options.depth == Depth::kDefault ? rules.depths[0] : options.depth;
  const bool integer = depth == Depth::kUint8 || depth == Depth::kUint16;
  const ColorTransform* color = options.color ? options.color : integer ? &ColorTransform::Srgb() : nullptr;
  // A file of data alone (an AOV of numbers) is not encoded.
  if (std::none_of(layers.begin(), layers.end(), [](const ImageLayer* l) { return l->color; })) color = nullptr;
  const std::string space = color ? color->name() : "Linear";
  if (color && color->identity()) color = nullptr;

  // The file's channels: each layer's, without alpha where the format has none.
  std::vector<std::string> names;
  std::vector<int> counts;
  int alpha = -1;
  for (const ImageLayer* layer : layers) {
    const int count = layer->count == 4 && !out->supports("alpha") ? 3 : layer->count;
    if (layer->name.empty() && count == 4) alpha = static_cast<int>(names.size()) + 3;
    for (const std::string& n : ChannelNames(*layer, count)) names.push_back(n);
    counts.push_back(count);
  }
  const int channels = static_cast<int>(names.size());
  OIIO::ImageSpec layout(image.width, image.height, channels, DepthType(depth));
  layout.channelnames = names;
  layout.alpha_channel = alpha;
  if (rules.layers) {
    layout.x = image.x;
    layout.y = image.y;
    layout.full_x = layout.full_y = 0;
    layout.full_width = image.fullWidth > 0 ? image.fullWidth : image.width;
    layout.full_height = image.fullHeight > 0 ? image.fullHeight : image.height;
  }
  layout.attribute("oiio:ColorSpace", space);
  // The render's colours are not premultiplied by alpha: say so, or some
  // writers (PNG) divide them by alpha on the way out. EXR holds the values
  // as they are.
  if (!rules.layers) layout.attribute("oiio:UnassociatedAlpha", 1);
  if (rules.layers && options.compression.empty()) layout.attribute("compression", kDefaultExrCompression);
  if (method && rules.format == std::string_view("png")) {
    layout.attribute("png:compressionLevel",
                     std::isnan(level) ? (method->name == std::string_view("none") ? 0 : 6) : static_cast<int>(level));
  } else if (method) {
    layout.attribute("compression", options.compression);
  }
  const bool proxied = rules.proxy && out->supports("ioproxy");
  if (proxied) out->set_ioproxy(&file);
  if (!out->open(file.temporary(), layout)) return file.Failure(out->geterror());

  // The writer converts the floats to the file's depth (with rounding); the
  // pixels go to it as they lie in the image when nothing else changes them
  // and the file's channels are a run of the image's.
  bool direct = !color && !integer;
  for (size_t i = 0, at = layers[0]->first; i < layers.size(); at += counts[i++])
    direct = direct && counts[i] == layers[i]->count && layers[i]->first == static_cast<int>(at);
  const bool heif = rules.format == std::string_view("heif");
  direct = direct && !heif;
  const size_t width = static_cast<size_t>(image.width);
  const OIIO::stride_t pixelBytes = static_cast<OIIO::stride_t>(image.channels * sizeof(float));
  std::vector<float> strip;
  std::vector<uint8_t> row;
  if (!direct) strip.resize(width * channels * std::min(kStripRows, image.height));
  if (heif) row.resize(width * channels + HeifRowSpare(channels));

  bool ok = true;
  for (int y0 = 0; ok && y0 < image.height; y0 += kStripRows) {
    const int y1 = std::min(y0 + kStripRows, image.height);
    const float* first = image.pixels.data() + (static_cast<size_t>(y0) * width * image.channels + layers[0]->first);
    if (direct) {
      ok = out->write_scanlines(layout.y + y0, layout.y + y1, 0, OIIO::TypeDesc::FLOAT, first, pixelBytes,
                                pixelBytes * static_cast<OIIO::stride_t>(width));
      continue;
    }
    const size_t n = width * (y1 - y0);
    int at = 0;
    for (size_t i = 0; i < layers.size(); ++i) {
      const ImageLayer& layer = *layers[i];
      const float* from = image.pixels.data() + static_cast<size_t>(y0) * width * image.channels + layer.first;
      for (size_t p = 0; p < n; ++p)
        for (int c = 0; c < counts[i]; ++c) strip[p * channels + at + c] = from[p * image.channels + c];
      if (color && layer.color && counts[i] >= 3) color->Apply(strip.data() + at, n, channels);
      at += counts[i];
    }
    // Integer files hold [0, 1]; NaN becomes 0.
    if (integer)
      for (size_t i = 0; i < n * channels; ++i) {
        float& v = strip[i];
        v = !(v > 0.0f) ? 0.0f : v < 1.0f ? v : 1.0f;
      }
    if (!heif) {
      ok = out->write_scanlines(layout.y + y0, layout.y + y1, 0, OIIO::TypeDesc::FLOAT, strip.data());
      continue;
    }
    for (int y = y0; ok && y < y1; ++y) {
      const float* v = strip.data() + static_cast<size_t>(y - y0) * width * channels;
      for (size_t i = 0; i < width * channels; ++i) row[i] = static_cast<uint8_t>(v[i] * 255.0f + 0.5f);
      ok = out->write_scanline(y, 0, OIIO::TypeDesc::UINT8, row.data());
    }
  }
  ok = out->close() && ok;
  if (!ok) {
    // A failed write of the file itself says more than the codec.
    TESSAROC_RETURN_IF_FAILED(file.Finish());
    return file.Failure(out->geterror());
  }
  if (proxied) return Result::Ok();
  // A writer that writes the file itself may not tell a failed write: the
  // file must read back whole.
  auto back = OIIO::ImageInput::open(file.temporary());
  ok = back != nullptr;
  const OIIO::ImageSpec written = ok ? back->spec_dimensions(0) : OIIO::ImageSpec();
  std::vector<float> line(ok ? width * written.nchannels : 0);
  for (int y = 0; ok && y < image.height; ++y)
    ok = back->read_scanline(written.y + y, 0, OIIO::TypeDesc::FLOAT, line.data());
  if (!ok) return file.Failure("the file does not read back: " + (back ? back->geterror() : OIIO::geterror()));
  return Result::Ok();
}

// The files of an image and the layers each holds: one EXR file for all, or
// a file per layer with the layer's name before the extension.
struct FilePart {
  std::string path;
  std::vector<const ImageLayer*> layers;
};

std::vector<FilePart> SplitFiles(const std::string& path, const std::vector<ImageLayer>& layers) {
  std::vector<FilePart> parts;
  const bool exr = IsExr(path);
  const std::filesystem::path p(path);
  for (const ImageLayer& layer : layers) {
    if (exr && !parts.empty()) {
      parts[0].layers.push_back(&layer);
      continue;
    }
    const std::string name =
        exr || layer.name.empty()
            ? path
            : (p.parent_path() / (p.stem().string() + "." + layer.name + p.extension().string())).string();
    parts.push_back({name, {&layer}});
  }
  return parts;
}

}  // namespace

Result ParseDepth(const std::string& text, Depth& out) {
  for (Depth d : {Depth::kHalf, Depth::kFloat, Depth::kUint8, Depth::kUint16})
    if (text == DepthName(d)) {
      out = d;
      return Result::Ok();
    }
  return Result::Fail(errors::kIllegalArgument, "unknown depth \"" + text + "\"; half, float, 8 or 16");
}

bool WritesEightBit(const std::string& path) {
  const std::string ext = Extension(path);
  return ext == ".png" || ext == ".jpg" || ext == ".jpeg" || ext == ".bmp" || ext == ".tga" || ext == ".webp" ||
         ext == ".gif" || ext == ".heic" || ext == ".heif" || ext == ".avif";
}

float EncodeSrgb(float v) {
  if (!(v > 0.0f)) return 0.0f;
  if (v >= 1.0f) return 1.0f;
  return LinearToSrgb32(v);
}

Result CheckImageWriter(const std::string& path, const WriteOptions& options) {
  auto out = OIIO::ImageOutput::create(path);
  if (!out)
    return Result::Fail(errors::kIo,
                        path + ": no image format is written with this name; use .png, .jpg, .exr or .tif");
  const Rules rules = RulesOf(*out, path);
  const Method* method = nullptr;
  double level = NAN;
  if (Result r = CheckDepth(rules, options.depth); r.failed())
    return Result::Fail(r.id(), path + ": " + std::string(r.message()));
  if (Result r = CheckCompression(rules, options.compression, method, level); r.failed())
    return Result::Fail(r.id(), path + ": " + std::string(r.message()));
  return OutputFile::Check(path);
}

std::vector<std::string> ImageFiles(const std::string& path, const std::vector<ImageLayer>& layers) {
  std::vector<std::string> files;
  for (const FilePart& part : SplitFiles(path, layers)) files.push_back(part.path);
  return files;
}

Result WriteImage(const std::string& path, const Image& image, const WriteOptions& options) {
  std::vector<ImageLayer> layers = image.layers;
  if (layers.empty()) layers.push_back({"", 0, image.channels, true});
  for (const ImageLayer& l : layers)
    if (l.first < 0 || l.count < 1 || l.count > 4 || l.first + l.count > image.channels)
      return Result::Fail(errors::kIllegalArgument, path + ": layer " + l.name + " lies outside the image's channels");
  if (image.width < 1 || image.height < 1 ||
      image.pixels.size() != static_cast<size_t>(image.width) * image.height * image.channels)
    return Result::Fail(errors::kIllegalArgument, path + ": the image holds no pixels or the wrong number");

  // Every file complete before any is moved into place.
  std::vector<std::unique_ptr<OutputFile>> written;
  for (const FilePart& part : SplitFiles(path, layers)) {
    std::unique_ptr<OutputFile> file;
    TESSAROC_RETURN_IF_FAILED(OutputFile::Create(part.path, file));
    TESSAROC_RETURN_IF_FAILED(WriteFile(*file, image, part.layers, options));
    TESSAROC_RETURN_IF_FAILED(file->Finish());
    written.push_back(std::move(file));
  }
  for (auto& file : written) TESSAROC_RETURN_IF_FAILED(file->Commit());
  return Result::Ok();
}

Result ReadImage(const std::string& path, Image& out) {
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);  // the values stored, as written
  auto in = OIIO::ImageInput::open(path, &config);
  if (!in) return Result::Fail(errors::kIo, path + ": " + OIIO::geterror());
  const OIIO::ImageSpec& layout = in->spec();
  out.width = layout.width;
  out.height = layout.height;
  out.channels = layout.nchannels;
  out.x = layout.x;
  out.y = layout.y;
  out.fullWidth = layout.full_width;
  out.fullHeight = layout.full_height;
  out.channelNames = layout.channelnames;
  out.layers.clear();
  out.pixels.resize(static_cast<size_t>(layout.width) * layout.height * layout.nchannels);
  if (!in->read_image(0, 0, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, out.pixels.data()))
    return Result::Fail(errors::kIo, path + ": " + in->geterror());
  const std::string space = layout.get_string_attribute("oiio:ColorSpace");
  const bool integer = layout.format == OIIO::TypeDesc::UINT8 || layout.format == OIIO::TypeDesc::UINT16;
  if (OIIO::Strutil::iequals(space, "sRGB") || (space.empty() && integer))
    for (size_t i = 0; i < out.pixels.size(); ++i)
      if (static_cast<int>(i % out.channels) < 3) out.pixels[i] = SrgbToLinear32(out.pixels[i]);
  return Result::Ok();
}

}  // namespace tessaroc::host
