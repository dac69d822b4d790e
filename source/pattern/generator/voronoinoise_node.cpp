#include "pattern/generator/voronoinoise_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

constinit const DataType kVoronoiNoiseTableType =
    MakeDataType<VoronoiNoiseTable>("net.zovan.render.datatype.voronoinoise", "VoronoiNoiseTable");

VoronoiHit VoronoiLookup(const VoronoiNoiseTable& table, float x, float y, float z) {
  VoronoiHit hit;
  const NoiseObject* object = table.noise.get();
  const NoiseInterface* noise = object != nullptr ? object->owner() : HostNoiseInterface();
  if (object == nullptr && noise != nullptr) object = noise->DefaultObject();
  if (object == nullptr || noise == nullptr) return hit;
  const float position[3] = {x, y, z};
  float distances[2] = {0.0f, 0.0f};
  int32_t ids[2] = {0, 0};
  noise->Voronoi(object, position, 2, distances, ids);
  hit.f1 = distances[0];
  hit.f2 = distances[1];
  hit.id = ids[0];
  return hit;
}

namespace {

// ---- voronoinoisepre

enum PreAccess { kPreSeed, kPreTable };

void VoronoiNoisePreKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  const uint32_t seed = ports.In<uint32_t>(kPreSeed);
  VoronoiNoiseTable& table = ports.Out<VoronoiNoiseTable>(kPreTable);
  if (table.noise && seed == table.seed) return;
  table.seed = seed;
  const NoiseInterface* noise = HostNoiseInterface();
  if (noise == nullptr) {
    table.noise.Reset(nullptr);
    result = Result::Fail(errors::kNullPtr, "no noise library is installed");
    return;
  }
  NoiseObject* object = noise->Alloc(SourceLocation{"frameworks/math.framework/generated/hxx/noise2.hxx", 0, ""});
  if (object == nullptr) {
    table.noise.Reset(nullptr);
    result = Result::Fail(errors::kOutOfMemory, "no memory for a voronoi noise object");
    return;
  }
  object->SetStrongCount(1);
  table.noise = NoiseObjectRef::Adopt(object);  // releases the object that was there
  Result r = noise->Init(table.noise.get(), seed, kNoiseTablePower);
  if (r.failed()) result = r;
}

constexpr PortDecl kPrePorts[] = {
    {"seed", PortDir::kIn, &kUInt32Type},
    {"voronoinoise", PortDir::kOut, &kVoronoiNoiseTableType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kPreAccess[] = {{kPreSeed, "seed"}, {kPreTable, "voronoinoise"}};
static_assert(AccessInOrder(kPreAccess));
constexpr MicroNodeDecl kPreMicro[] = {{"", kPreAccess, &VoronoiNoisePreKernel}};
constexpr CoreNodeDecl kPreNode{kVoronoiNoisePreId, "source/pattern/generator/voronoinoise_node", true, kPrePorts,
                                kPreMicro};

// ---- voronoinoise

enum Access {
  kContext,
  kContextLocal,
  kScale,
  kRandomColor,
  kBorderWidth,
  kEvenWidthBorder,
  kTable,
  kResultColor,
  kResultFloat,
  kDistance,
  kF1,
  kF2,
  kIndex,
};

void VoronoiNoiseKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& c = ports.In<ShadingContext>(kContextLocal);
  const double scale = ports.In<double>(kScale);
  const double borderWidth = ports.In<double>(kBorderWidth);
  const VoronoiNoiseTable& table = ports.In<VoronoiNoiseTable>(kTable);

  const double k = scale > 0.0 ? 1.0 / scale : 0.0;
  const double u = c.uvw.x * k, v = c.uvw.y * k, w = c.uvw.z * k;
  const VoronoiHit hit = VoronoiLookup(table, static_cast<float>(u), static_cast<float>(v), static_cast<float>(w));
  const double gap = static_cast<double>(hit.f2 - hit.f1);

  double b = 1.0;
  if (borderWidth > 0.0) {
    if (ReadBool(ports, kEvenWidthBorder)) {
      // A border wherever a step of borderWidth along u or v lands in another cell.
      const int32_t id1 =
          VoronoiLookup(table, static_cast<float>(borderWidth + u), static_cast<float>(v), static_cast<float>(w)).id;
      const int32_t id2 =
          VoronoiLookup(table, static_cast<float>(u), static_cast<float>(borderWidth + v), static_cast<float>(w)).id;
      const double id = static_cast<double>(hit.id);
      const double e = std::fabs((id + id) - static_cast<double>(id1) - static_cast<double>(id2));
      b = e > 1.0 ? 0.0 : 1.0 - e;
    } else {
      b = borderWidth < gap ? 1.0 : 0.0;
    }
  }

  Color color{b, b, b};
  if (ReadBool(ports, kRandomColor)) {
    LcgRandom random;
    random.Init(100);
    random.Init(static_cast<uint32_t>(hit.id));
    const double c1 = random.Next01();
    const double c2 = random.Next01();
    const double c3 = random.Next01();
    color = {c1 * b, c2 * b, c3 * b};
  }
  ports.Out<Color>(kResultColor) = color;
  ports.Out<double>(kResultFloat) = color.r;
  ports.Out<double>(kDistance) = gap;
  ports.Out<double>(kF1) = static_cast<double>(hit.f1);
  ports.Out<double>(kF2) = static_cast<double>(hit.f2);
  ports.Out<int64_t>(kIndex) = static_cast<int64_t>(hit.id);
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"scale", PortDir::kIn, &kFloat64Type},
    {"randomColor", PortDir::kIn, &kBoolType},
    {"borderWidth", PortDir::kIn, &kFloat64Type},
    {"evenWidthBorder", PortDir::kIn, &kBoolType},
    {"voronoinoise", PortDir::kIn, &kVoronoiNoiseTableType},
    {"resultColor", PortDir::kOut, &kColorType},
    {"resultFloat", PortDir::kOut, &kFloat64Type},
    {"distance", PortDir::kOut, &kFloat64Type},
    {"f1", PortDir::kOut, &kFloat64Type},
    {"f2", PortDir::kOut, &kFloat64Type},
    {"index", PortDir::kOut, &kInt64Type},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kContextLocal, "contextLocal"},
    {kScale, "scale"},
    {kRandomColor, "randomColor"},
    {kBorderWidth, "borderWidth"},
    {kEvenWidthBorder, "evenWidthBorder"},
    {kTable, "voronoinoise"},
    {kResultColor, "resultColor"},
    {kResultFloat, "resultFloat"},
    {kDistance, "distance"},
    {kF1, "f1"},
    {kF2, "f2"},
    {kIndex, "index"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &VoronoiNoiseKernel}};
constexpr CoreNodeDecl kNode{kVoronoiNoiseId, "source/pattern/generator/voronoinoise_node", false, kPorts, kMicro};

}  // namespace

Result RegisterVoronoiNoiseNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kNode>(registry));
  return RegisterDeclaredNode<kPreNode>(registry);
}

}  // namespace tessaroc::pattern
