#include "pattern/generator/cells_node.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "core/node_decl.h"
#include "core/random.h"

namespace tessaroc::pattern {

constinit const DataType kPointDistributionRefType =
    MakeDataType<PointDistributionRef>("net.zovan.render.datatype.pointdistributionref", "PointDistributionRef");

double RadicalInverse(uint32_t n, uint32_t base) {
  // The factor is multiplied, not divided, per digit; the last bits follow.
  const double inv = base == 2 ? 0.5 : (base == 3 ? 0.3333333333333333 : (base == 5 ? 0.2 : 1.0 / base));
  double f = inv;
  double x = 0.0;
  while (n != 0) {
    x += static_cast<double>(n % base) * f;
    f *= inv;
    n /= base;
  }
  return x;
}

namespace {

const InternedId& Mode(int m) {
  static const InternedId ids[7] = {InternedId::Intern("0"), InternedId::Intern("1"), InternedId::Intern("2"),
                                    InternedId::Intern("3"), InternedId::Intern("4"), InternedId::Intern("5"),
                                    InternedId::Intern("6")};
  return ids[m];
}
const InternedId& PseudoRandomStrategy() { return Mode(0); }  // strategy "0"

}  // namespace

CellMetric CellMetricOf(const InternedId& mode) {
  for (int m = 0; m < 7; ++m)
    if (mode == Mode(m)) return static_cast<CellMetric>(m);
  return CellMetric::kDefault;
}

double CellMetricValue(CellMetric metric, double dx, double dy, double e) {
  switch (metric) {
    case CellMetric::kEuclid: return std::pow(std::sqrt(dx * dx + dy * dy), e);
    case CellMetric::kSquared: return std::pow(dy * dy + dx * dx, e);
    case CellMetric::kHexA: return std::pow(dx * dx + dx * dy + dy * dy, e);
    case CellMetric::kHexB: return std::pow(dx * dx - dx * dy + dy * dy, e);
    case CellMetric::kManhattan: return std::pow(std::fabs(dx) + std::fabs(dy), e);
    case CellMetric::kChebyshev: return std::pow(std::max(std::fabs(dx), std::fabs(dy)), e);
    case CellMetric::kMinkowski: return std::pow(std::pow(std::fabs(dx), e) + std::pow(std::fabs(dy), e), 1.0 / e);
    case CellMetric::kDefault: break;
  }
  return std::pow(dx * dx + dy * dy + 0.0, e);
}

CellsResult NearestCells(const PointDistribution* points, double u, double v, CellMetric metric, double e) {
  CellsResult r;
  if (points == nullptr || points->empty()) return r;
  constexpr double kFar = 1.7976931348623157e308;
  double best = kFar, first = kFar, second = kFar;
  const int64_t n = static_cast<int64_t>(points->size());
  for (int64_t k = 0; k < n; ++k) {
    const Vector2d& p = (*points)[k];
    const double dx = u - p.x;
    const double dy = v - p.y;
    const double m = CellMetricValue(metric, dx, dy, e);
    if (best > m) {  // strict: the earliest of equal points wins
      best = m;
      r.center = p;
      r.index = k;
      const double len = std::sqrt(dx * dx + dy * dy);
      if (len == 0.0) {
        r.direction = {0.0, 0.0};
      } else {
        const double inv = 1.0 / len;
        r.direction = {dx * inv, dy * inv};
      }
    }
    if (first > m) {
      second = first;
      first = m;
    } else {
      second = std::min(m, second);
    }
  }
  r.distance = best;
  // f1 is the gap between the two nearest, not the nearest itself.
  r.f1 = second - first;
  r.f2 = second;
  return r;
}

namespace {

// ---- pointgenerator

enum GenAccess { kDistribution, kPoints, kSeed, kStrategy, kSearchPaths, kPointDistributionOut };

void GeneratorKernel(Result& result, const MicroNodeImpl&, const PortAccess& ports) {
  PointDistributionRef& ref = ports.Out<PointDistributionRef>(kPointDistributionOut);
  try {
    if (!ref) ref = std::make_shared<PointDistribution>();
  } catch (const std::bad_alloc&) {
    result = Result::Fail(errors::kOutOfMemory, "cannot allocate the point distribution");
    return;
  }
  // Built once: later changes of the inputs are not seen by this output.
  if (!ref->empty()) return;

  const bool useDensity = ports.HasValue(kDistribution);
  const uint32_t h = HashInt32(static_cast<uint32_t>(ports.In<int32_t>(kSeed)));
  ShadingContext ctx;
  ctx.searchpaths = &ports.In<SearchPathsType>(kSearchPaths);
  LcgRandom rng;
  rng.Init(100);
  rng.SetState(h);
  const bool pseudo = ports.In<InternedId>(kStrategy) == PseudoRandomStrategy();

  for (int64_t i = 0; i < ports.In<int32_t>(kPoints); ++i) {
    double U = 0.0, V = 0.0;
    uint32_t n = 0;
    if (pseudo) {
      V = rng.Next01();
      U = rng.Next01();
    } else {
      n = static_cast<uint32_t>(i) + h;
      if (n != 0) {
        V = RadicalInverse(n, 3);
        U = RadicalInverse(n, 2);
      }
    }
    if (useDensity) {
      const double threshold = pseudo ? rng.Next01() : (n == 0 ? 0.0 : RadicalInverse(n, 5));
      ctx.uvw = ctx.uvwdx = ctx.uvwdy = Vector{U, V, 0.0};
      double value = 0.0;
      result = InvokeFloat(ports.In<FunctionRef>(kDistribution), ctx, value);
      if (result.failed()) return;
      if (!(value >= threshold)) continue;  // NaN is dropped too
    }
    try {
      ref->push_back({U, V});
    } catch (const std::bad_alloc&) {
      result = Result::Fail(errors::kOutOfMemory, "cannot grow the point distribution");
      return;
    }
  }
}

constexpr PortDecl kGenPorts[] = {
    {"distribution", PortDir::kIn, &kFloatFunctionType},
    {"points", PortDir::kIn, &kInt32Type},
    {"seed", PortDir::kIn, &kInt32Type},
    {"strategy", PortDir::kIn, &kInternedIdType},
    {"searchPaths", PortDir::kIn, &kSearchPathsType},
    {"pointDistribution", PortDir::kOut, &kPointDistributionRefType, MicroNode::FLAGS::PERMANENT},
};
constexpr AccessDecl kGenAccess[] = {
    {kDistribution, "distribution"}, {kPoints, "points"},           {kSeed, "seed"},
    {kStrategy, "strategy"},         {kSearchPaths, "searchPaths"}, {kPointDistributionOut, "pointDistribution"},
};
static_assert(AccessInOrder(kGenAccess));
constexpr MicroNodeDecl kGenMicro[] = {{"", kGenAccess, &GeneratorKernel}};
constexpr CoreNodeDecl kGenNode{kPointGeneratorId, "source/pattern/generator/cells_node", false, kGenPorts, kGenMicro};

// ---- cells

enum CellsAccess {
  kContext,
  kPointDistributionIn,
  kDistanceMode,
  kExponent,
  kDistance,
  kDirection,
  kCenter,
  kF1,
  kF2,
  kIndex
};

void CellsKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const Vector& uvw = ports.In<ShadingContext>(kContext).uvw;
  const CellsResult r = NearestCells(ports.In<PointDistributionRef>(kPointDistributionIn).get(), uvw.x, uvw.y,
                                     CellMetricOf(ports.In<InternedId>(kDistanceMode)), ports.In<double>(kExponent));
  ports.Out<double>(kDistance) = r.distance;
  ports.Out<Vector2d>(kDirection) = r.direction;
  ports.Out<Vector2d>(kCenter) = r.center;
  ports.Out<double>(kF1) = r.f1;
  ports.Out<double>(kF2) = r.f2;
  ports.Out<int64_t>(kIndex) = r.index;
}

constexpr PortDecl kCellsPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"pointDistribution", PortDir::kIn, &kPointDistributionRefType},
    {"distanceMode", PortDir::kIn, &kInternedIdType},
    {"exponent", PortDir::kIn, &kFloat64Type},
    {"distance", PortDir::kOut, &kFloat64Type},
    {"direction", PortDir::kOut, &kVector2dType},
    {"center", PortDir::kOut, &kVector2dType},
    {"f1", PortDir::kOut, &kFloat64Type},
    {"f2", PortDir::kOut, &kFloat64Type},
    {"index", PortDir::kOut, &kInt64Type},
};
constexpr AccessDecl kCellsAccess[] = {
    {kContext, "context"},
    {kPointDistributionIn, "pointDistribution"},
    {kDistanceMode, "distanceMode"},
    {kExponent, "exponent"},
    {kDistance, "distance"},
    {kDirection, "direction"},
    {kCenter, "center"},
    {kF1, "f1"},
    {kF2, "f2"},
    {kIndex, "index"},
};
static_assert(AccessInOrder(kCellsAccess));
constexpr MicroNodeDecl kCellsMicro[] = {{"", kCellsAccess, &CellsKernel}};
constexpr CoreNodeDecl kCellsNode{kCellsId, "source/pattern/generator/cells_node", false, kCellsPorts, kCellsMicro};

}  // namespace

Result RegisterCellsNodes(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDeclaredNode<kCellsNode>(registry));
  return RegisterDeclaredNode<kGenNode>(registry);
}

}  // namespace tessaroc::pattern
