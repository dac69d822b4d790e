// Fuzz target: an image file as the image node reads it. The bytes are
// written to a file whose suffix follows their signature, loaded as the
// node's texture in both modes and looked up with every filter and wrap,
// at ordinary and at extreme coordinates. A bad file is a load error; a
// declared size is checked before anything of that size is allocated.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "host/texture/texture_service.h"
#include "pattern/generator/texture_service.h"

namespace {

using namespace tessaroc;

// The reader the file goes to, from its first bytes; TGA has no signature.
const char* SuffixOf(std::string_view b) {
  auto starts = [&b](std::string_view s) { return b.substr(0, s.size()) == s; };
  if (starts("\x89PNG")) return ".png";
  if (starts(std::string_view("\x76\x2f\x31\x01", 4))) return ".exr";
  if (starts(std::string_view("II*\0", 4)) || starts(std::string_view("MM\0*", 4))) return ".tif";
  if (starts("\xff\xd8")) return ".jpg";
  if (starts("#?")) return ".hdr";
  if (starts("BM")) return ".bmp";
  if (starts("GIF8")) return ".gif";
  if (b.size() > 1 && b[0] == 'P' && b[1] >= '1' && b[1] <= '6') return ".pnm";
  return ".tga";
}

// Made once, removed at exit; never destroyed, so the removal can name it.
const std::string& Folder() {
  static const std::string* folder = [] {
    auto* f = new std::string("/tmp/tessaroc-image-fuzzer-" + std::to_string(::getpid()));
    std::filesystem::create_directories(*f);
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(Folder(), ec);
    });
    return f;
  }();
  return *folder;
}

constexpr int kFilters[] = {pattern::kInterpClosest, pattern::kInterpBilinear, pattern::kInterpMip,
                            pattern::kInterpAniso,   pattern::kInterpSat,      pattern::kInterpBicubic};

// Points and footprints: inside, on the edges, far out, where u times the
// width is no longer finite, and not numbers at all.
struct Lookup {
  double u, v, du, dv;
};
constexpr Lookup kLookups[] = {
    {0.5, 0.5, 0, 0},        {0.01, 0.99, 0.3, 0.02}, {1.0, 0.0, 1e-3, 1e-3},   {-3.7, 12.2, 2, 2},
    {1e18, -1e18, 0.1, 0.1}, {1.7e308, 0.5, 0, 0},    {0.5, 0.5, 1e300, 1e300}, {0.5, 0.5, 1e9, 1e-9},
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  host::InstallTextureService();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string path = Folder() + "/input" + SuffixOf(bytes);
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  // The caches key files by name: forget the last input of this name.
  host::InvalidateTextureFile(path);
  pattern::TextureService& service = host::OiioTextureService();
  for (bool force32bit : {false, true}) {
    pattern::TextureRef texture;
    TimeValue time = 0;
    if (service.LoadTexture(Url(path), nullptr, force32bit, LayerSet{}, time, nullptr, texture).failed()) continue;
    pattern::ThreadedTextureRef threaded;
    if (service.AllocThreadedTexture(threaded).failed() || threaded->Init(texture).failed()) __builtin_trap();
    for (int filter : kFilters)
      for (uint8_t wrap = 0; wrap < 4; ++wrap)
        for (const Lookup& l : kLookups)
          for (bool convert : {false, true})
            (void)threaded->Sample(l.u, l.v, l.du, l.dv, wrap, wrap, filter, convert, pattern::kAlphaStraight, false);
  }
  std::remove(path.c_str());
  return 0;
}
