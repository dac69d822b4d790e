#include "pattern/generator/flakes_node.h"

#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/generator/voronoinoise_node.h"

namespace tessaroc::pattern {

namespace {

// Multiplies by 1 / length, or by 0 when the length is exactly 0.
Vector Normalised(const Vector& v) {
  const double len = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  const double inv = len == 0.0 ? 0.0 : 1.0 / len;
  return {v.x * inv, v.y * inv, v.z * inv};
}

}  // namespace

Vector FlakeNormal(const Vector& n, int32_t id, double intensity) {
  LcgRandom random;
  random.Init(100);
  random.Init(static_cast<uint32_t>(id));
  const double x = random.NextSigned();
  const double y = random.NextSigned();
  const double z = random.NextSigned();
  Vector flake = Normalised({x, y, z});
  // The flake faces the same side as the surface.
  if (n.x * flake.x + n.y * flake.y + n.z * flake.z < 0.0) flake = {-flake.x, -flake.y, -flake.z};
  const Vector m{n.x + (flake.x - n.x) * intensity, n.y + (flake.y - n.y) * intensity,
                 n.z + (flake.z - n.z) * intensity};
  return Normalised(m);
}

namespace {

enum Access { kContext, kScale, kDensity, kIntensity, kTable, kNormal, kIndex, kMask };

void FlakesKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& c = ports.In<ShadingContext>(kContext);
  const double scale = ports.In<double>(kScale);
  const double density = ports.In<double>(kDensity);
  const VoronoiNoiseTable& table = ports.In<VoronoiNoiseTable>(kTable);
  const Vector& n = c.shadingnormal;

  const double k = scale > 0.0 ? (1.0 / scale) * 10.0 : 0.0;
  const VoronoiHit hit = VoronoiLookup(table, static_cast<float>(c.uvw.x * k), static_cast<float>(c.uvw.y * k),
                                       static_cast<float>(c.uvw.z * k));
  if (!(density > static_cast<double>(hit.f1))) {
    ports.Out<Vector>(kNormal) = n;
    ports.Out<int64_t>(kIndex) = 0;
    ports.Out<bool>(kMask) = false;
    return;
  }
  ports.Out<Vector>(kNormal) = FlakeNormal(n, hit.id, ports.In<double>(kIntensity));
  ports.Out<int64_t>(kIndex) = static_cast<int64_t>(hit.id);
  // Id 0 counts as no flake, although its normal was perturbed.
  ports.Out<bool>(kMask) = hit.id > 0;
}

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"scale", PortDir::kIn, &kFloat64Type},
    {"density", PortDir::kIn, &kFloat64Type},
    {"intensity", PortDir::kIn, &kFloat64Type},
    {"voronoinoise", PortDir::kIn, &kVoronoiNoiseTableType},
    {"normal", PortDir::kOut, &kVectorType},
    {"index", PortDir::kOut, &kInt64Type},
    {"mask", PortDir::kOut, &kBoolType},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},    {kScale, "scale"},   {kDensity, "density"}, {kIntensity, "intensity"},
    {kTable, "voronoinoise"}, {kNormal, "normal"}, {kIndex, "index"},     {kMask, "mask"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &FlakesKernel}};
constexpr CoreNodeDecl kNode{kFlakesId, "source/pattern/generator/flakes_node", false, kPorts, kMicro};

}  // namespace

Result RegisterFlakesNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
