#include "pattern/context/scatter_node.h"

#include <cmath>
#include <new>

#include "tessaroc/core/data_types.h"
#include "tessaroc/core/function.h"
#include "core/node_decl.h"
#include "core/random.h"
#include "pattern/color/mask.h"

namespace tessaroc::pattern {

constinit const DataType kScatterCachedBucketDataType =
    MakeDataType<ScatterCachedBucketData>("net.zovan.datatype.scattercachedbucketdata", "ScatterCachedBucketData");
constinit const DataType kScatterBucketsType =
    MakeDataType<ScatterBuckets>("net.zovan.datatype.scattercachedbucketdata.array", "ScatterBuckets");
constinit const DataType kScatterSplatsType = MakeDataType<ScatterSplats>("net.zovan.datatype.splat.array", "Splats");

namespace {

enum Access {
  kContext,
  kContextLocal,
  kSeed,
  kTile,
  kRemoveOverlaps,
  kDensity,
  kSkipProbability,
  kShape,
  kRotation,
  kRandomRotation,
  kScale,
  kRandomScale,
  kRandomScaleUniform,
  kUniformScale,
  kResultContext,
  kMask,
  kIndex,
  kCenter,
  kBuckets,
  kSplats,
};

struct Box {
  double minX, minY, maxX, maxY;
  bool Valid() const { return minX <= maxX && minY <= maxY; }
  // An invalid box stands for the point (0, 0) in overlap tests.
  Box OrPoint() const { return Valid() ? *this : Box{0, 0, 0, 0}; }
  bool TouchesSquare() const { return minX <= 1.0 && minY <= 1.0 && maxX >= 0.0 && maxY >= 0.0; }
  bool LeavesSquare() const { return minX < 0.0 || minY < 0.0 || maxX > 1.0 || maxY > 1.0; }
};

bool Overlap(const Box& a0, const Box& b0) {
  const Box a = a0.OrPoint(), b = b0.OrPoint();
  return a.minX <= b.maxX && b.minX <= a.maxX && a.minY <= b.maxY && b.minY <= a.maxY;
}

Box BoxOf(const Splat& s) { return {s.minX, s.minY, s.maxX, s.maxY}; }

// The grid's cells per side, for arithmetic on coordinates.
constexpr double kGrid = kScatterGrid;

// The box of an item placed at (cx, cy). Its min and max are not clamped: the
// box's limit, 1.79769313486232e+308, lies beyond the largest double and reads
// as infinity, so an infinite corner stays infinite.
Box PlacedBox(double cx, double cy, double angle, double sx, double sy) {
  const double s = std::sin(-angle);
  const double c = std::cos(angle);
  Box box{};
  bool first = true;
  for (int py = 0; py <= 1; ++py)
    for (int px = 0; px <= 1; ++px) {
      const double ax = ((cx + px) - 0.5) - cx;
      const double ay = ((cy + py) - 0.5) - cy;
      const double x = (ax * c - ay * s) * sx + cx;
      const double y = (ax * s + ay * c) * sy + cy;
      if (first) {
        box = {x, y, x, y};
        first = false;
        continue;
      }
      if (x < box.minX) box.minX = x;
      if (y < box.minY) box.minY = y;
      if (x > box.maxX) box.maxX = x;
      if (y > box.maxY) box.maxY = y;
    }
  return box;
}

struct NewSplat {
  int64_t place;
  Box box;
};

// The build's state for one item: the splats it added and their boxes.
struct Builder {
  Builder(ScatterSplats& s, bool remove) : splats(s), removeOverlaps(remove) {}
  ScatterSplats& splats;
  bool removeOverlaps;
  NewSplat added[9] = {};
  int addedCount = 0;

  Result Offer(double cx, double cy, double angle, double sx, double sy, uint32_t item, const Box& box) {
    if (removeOverlaps)
      for (const Splat& other : splats)
        if (other.item != item && Overlap(box, BoxOf(other))) return Result::Ok();
    try {
      splats.push_back({cx, cy, angle, 1.0 / sx, 1.0 / sy, item, box.minX, box.minY, box.maxX, box.maxY});
    } catch (const std::bad_alloc&) { return Result::Fail(errors::kOutOfMemory, "cannot grow the splat table"); }
    added[addedCount++] = {static_cast<int64_t>(splats.size()) - 1, box};
    return Result::Ok();
  }
};

}  // namespace

Result BuildScatter(const ScatterSettings& settings, const ShadingContext& base, const ScatterItemFunctions& fn,
                    ScatterBuckets& buckets, ScatterSplats& splats) {
  const int64_t count = settings.count;
  ShadingContext C = base;
  C.position = {0.0, 0.0, 0.0};
  C.geometricnormal = {0.0, 1.0, 0.0};
  C.carried11 = {0.0, 1.0, 0.0};
  C.shadingnormal = {0.0, 1.0, 0.0};
  LcgRandom rng;
  rng.Init(static_cast<uint32_t>(settings.seed));
  try {
    splats.clear();
    splats.reserve(static_cast<size_t>(count));
    buckets.assign(kScatterGrid * kScatterGrid, ScatterCachedBucketData{});
    for (ScatterCachedBucketData& b : buckets) b.reserve(static_cast<size_t>(settings.tile ? 5 * count : count));
  } catch (const std::bad_alloc&) { return Result::Fail(errors::kOutOfMemory, "cannot reserve the scatter table"); }

  for (int64_t n = 0; n < count; ++n) {
    const uint32_t item = static_cast<uint32_t>(n);
    const double cx = rng.Next01();
    const double cy = rng.Next01();
    // The footprint of the previous item moves along with the new centre.
    const Vector old = C.uvw, oldDx = C.uvwdx, oldDy = C.uvwdy;
    C.uvw = {cx, cy, 0.0};
    C.uvwdx = {std::fabs(old.x - oldDx.x) + cx, cy, 0.0};
    C.uvwdy = {cx, std::fabs(old.y - oldDy.y) + cy, 0.0};

    if (fn.skipProbability.set) {
      double p = 0.0;
      TESSAROC_RETURN_IF_FAILED(InvokeFloat(fn.skipProbability.fn, C, p));
      const double d = rng.Next01();
      if (p > d) continue;
    }
    double rot = 0.0, rr = 0.0, ru = 0.0;
    Vector2d sc, rs;
    uint8_t uniform = 0;  // a Bool result: any non-zero byte is true
    TESSAROC_RETURN_IF_FAILED(InvokeFloat(fn.rotation, C, rot));
    TESSAROC_RETURN_IF_FAILED(InvokeFloat(fn.randomRotation, C, rr));
    TESSAROC_RETURN_IF_FAILED(InvokeFunction(fn.scale, kVector2dType, C, sc, Vector2d{}));
    TESSAROC_RETURN_IF_FAILED(InvokeFunction(fn.uniformScale, kBoolType, C, uniform, uint8_t{0}));
    TESSAROC_RETURN_IF_FAILED(InvokeFunction(fn.randomScale, kVector2dType, C, rs, Vector2d{}));
    TESSAROC_RETURN_IF_FAILED(InvokeFloat(fn.randomScaleUniform, C, ru));

    double a, kx, ky, rx, ry;
    if (!uniform) {
      a = rng.Next01();
      const double b = rng.Next01();
      const double c = rng.Next01();
      kx = 2.0 * b - 1.0;
      ky = 2.0 * c - 1.0;
      rx = rs.x;
      ry = rs.y;
    } else {
      a = rng.Next01();
      const double b = rng.Next01();
      kx = ky = 2.0 * b - 1.0;
      rx = ry = ru;
    }
    const double angle = (2.0 * a - 1.0) * rr + rot;
    // The random part counts twice: a value r spreads the scale by +-2r.
    const double sx = rx * kx + rx * kx + sc.x;
    const double sy = sc.y + ky * ry + ky * ry;
    if (sx == 0.0 || sy == 0.0) continue;

    const Box box = PlacedBox(cx, cy, angle, sx, sy);
    if (box.Valid() && !box.TouchesSquare()) continue;

    Builder builder(splats, settings.removeOverlaps);
    TESSAROC_RETURN_IF_FAILED(builder.Offer(cx, cy, angle, sx, sy, item, box));
    if (settings.tile && box.Valid() && box.LeavesSquare()) {
      for (int ox = -1; ox <= 1; ++ox)
        for (int oy = -1; oy <= 1; ++oy) {
          if (ox == 0 && oy == 0) continue;
          const Box shifted{box.minX + ox, box.minY + oy, box.maxX + ox, box.maxY + oy};
          if (shifted.TouchesSquare())
            TESSAROC_RETURN_IF_FAILED(builder.Offer(cx + ox, cy + oy, angle, sx, sy, item, shifted));
        }
    }
    for (int i = 0; i < kScatterGrid; ++i)
      for (int j = 0; j < kScatterGrid; ++j) {
        const Box cell{i / kGrid, j / kGrid, i / kGrid + kScatterCell, j / kGrid + kScatterCell};
        for (int k = 0; k < builder.addedCount; ++k) {
          const Box b = builder.added[k].box.OrPoint();
          if (b.minX <= cell.maxX && b.maxX >= cell.minX && b.minY <= cell.maxY && b.maxY >= cell.minY) {
            try {
              buckets[i + kScatterGrid * j].push_back(builder.added[k].place);
            } catch (const std::bad_alloc&) {
              // A bucket that cannot grow misses this splat; the rest still works.
            }
          }
        }
      }
  }
  for (ScatterCachedBucketData& b : buckets) b.shrink_to_fit();
  splats.shrink_to_fit();
  return Result::Ok();
}

Result LookupScatter(const ScatterBuckets& buckets, const ScatterSplats& splats, int32_t seed,
                     const ShadingContext& base, double u, double v, const OptionalFunction& density,
                     const OptionalFunction& shape, ScatterHit& out) {
  const double fu = u - std::floor(u);
  const double fv = v - std::floor(v);
  const double col = std::floor(fu * kGrid);
  const double row = std::floor(fv * kGrid);
  const double bd = row * kGrid + col;
  const double size = static_cast<double>(buckets.size());
  if (!(bd >= 0.0) || bd > size) {
    out = {ScatterHit::kOutside, {}, 0, {}};
    return Result::Ok();
  }
  // fu can round up to 1 for u just below an integer; the bucket one past the
  // grid is then taken as empty.
  const size_t b = static_cast<size_t>(bd);

  if (b < buckets.size() && !buckets[b].empty()) {
    ShadingContext D = base;
    for (const int64_t e : buckets[b]) {
      LcgRandom rng;
      rng.Init(static_cast<uint32_t>(seed) + 123u + static_cast<uint32_t>(e) * 124u);
      const Splat& S = splats[static_cast<size_t>(e)];
      if (S.invScaleX == 0.0 || S.invScaleY == 0.0) continue;
      const Vector centre{S.centerX, S.centerY, 0.0};
      D.uvw = D.uvwdx = D.uvwdy = centre;
      if (density.set) {
        double d = 0.0;
        TESSAROC_RETURN_IF_FAILED(InvokeFloat(density.fn, D, d));
        if (d == 0.0) continue;
        if (d < rng.Next01()) continue;
      }
      const double dx = fu - S.centerX;
      const double dy = fv - S.centerY;
      const double s = std::sin(S.rotation);
      const double c = std::cos(S.rotation);
      // Rotation first and scale second, as in the placed box; the sum and
      // difference with the centre are kept as they round.
      const double pu = (((c * dx - s * dy) * S.invScaleX + S.centerX) - S.centerX) + 0.5;
      const double pv = (((s * dx + c * dy) * S.invScaleY + S.centerY) - S.centerY) + 0.5;
      if (pu < 0.0 || pv < 0.0 || pu > 1.0 || pv > 1.0) continue;
      D.uvw = D.uvwdx = D.uvwdy = Vector{pu, pv, 0.0};
      if (shape.set) {
        double m = 0.0;
        TESSAROC_RETURN_IF_FAILED(InvokeFloat(shape.fn, D, m));
        if (m < 0.5) continue;
      }
      out = {ScatterHit::kHit, D.uvw, static_cast<int64_t>(S.item) + 1, {S.centerX, S.centerY}};
      return Result::Ok();
    }
  }
  out = {ScatterHit::kMiss, {}, 0, {0.0, 0.0}};
  return Result::Ok();
}

namespace {

OptionalFunction Optional(const PortAccess& ports, int port) {
  return {ports.HasValue(port), ports.In<FunctionRef>(port)};
}

// Reads the ports, builds the table at the first evaluation, looks the sample up.
void Kernel(Result& result, const MicroNodeImpl& impl, const PortAccess& ports) {
  const int64_t count = static_cast<int64_t>(impl.user0);
  if (count < 1) return;
  const ShadingContext& local = ports.In<ShadingContext>(kContextLocal);
  const double u = local.uvw.x, v = local.uvw.y;
  ShadingContext& out = ports.Out<ShadingContext>(kResultContext);
  out = local;

  const ShadingContext& base = ports.In<ShadingContext>(kContext);
  const int32_t seed = ports.In<int32_t>(kSeed);
  ScatterBuckets& buckets = ports.Out<ScatterBuckets>(kBuckets);
  ScatterSplats& splats = ports.Out<ScatterSplats>(kSplats);
  if (buckets.empty()) {
    const ScatterSettings settings{count, seed, ReadBool(ports, kTile), ReadBool(ports, kRemoveOverlaps)};
    const ScatterItemFunctions functions{.skipProbability = Optional(ports, kSkipProbability),
                                         .rotation = ports.In<FunctionRef>(kRotation),
                                         .randomRotation = ports.In<FunctionRef>(kRandomRotation),
                                         .scale = ports.In<FunctionRef>(kScale),
                                         .uniformScale = ports.In<FunctionRef>(kUniformScale),
                                         .randomScale = ports.In<FunctionRef>(kRandomScale),
                                         .randomScaleUniform = ports.In<FunctionRef>(kRandomScaleUniform)};
    result = BuildScatter(settings, base, functions, buckets, splats);
    if (result.failed()) return;
  }

  ScatterHit hit;
  result = LookupScatter(buckets, splats, seed, base, u, v, Optional(ports, kDensity), Optional(ports, kShape), hit);
  if (result.failed() || hit.kind == ScatterHit::kOutside) return;
  const bool found = hit.kind == ScatterHit::kHit;
  if (found) out.uvw = out.uvwdx = out.uvwdy = hit.uvw;
  out.uvwvalid = found ? 1 : 0;
  ports.Out<int64_t>(kIndex) = hit.index;
  ports.Out<bool>(kMask) = found;
  ports.Out<Vector2d>(kCenter) = hit.center;
}

using MicroNode::FLAGS::DONT_WRAP;
using MicroNode::FLAGS::PERMANENT;

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"contextLocal", PortDir::kIn, &kShadingContextType},
    {"seed", PortDir::kIn, &kInt32Type},
    {"tile", PortDir::kIn, &kBoolType},
    {"removeOverlaps", PortDir::kIn, &kBoolType},
    {"perItemDensity", PortDir::kIn, &kFloatFunctionType},
    {"perItemSkipProbability", PortDir::kIn, &kFloatFunctionType},
    {"perItemShape", PortDir::kIn, &kFloatFunctionType},
    {"perItemRotation", PortDir::kIn, &kFloatFunctionType},
    {"perItemRandomRotation", PortDir::kIn, &kFloatFunctionType},
    {"perItemScale", PortDir::kIn, &kVector2dFunctionType},
    {"perItemRandomScale", PortDir::kIn, &kVector2dFunctionType},
    {"perItemRandomScaleUniform", PortDir::kIn, &kFloatFunctionType},
    {"perItemUniformScale", PortDir::kIn, &kBoolFunctionType},
    {"resultContext", PortDir::kOut, &kShadingContextType},
    {"mask", PortDir::kOut, &kBoolType},
    {"index", PortDir::kOut, &kInt64Type},
    {"center", PortDir::kOut, &kVector2dType},
    {"buckets", PortDir::kOut, &kScatterBucketsType, PERMANENT | DONT_WRAP},
    {"splats", PortDir::kOut, &kScatterSplatsType, PERMANENT | DONT_WRAP},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kContextLocal, "contextLocal"},
    {kSeed, "seed"},
    {kTile, "tile"},
    {kRemoveOverlaps, "removeOverlaps"},
    {kDensity, "perItemDensity"},
    {kSkipProbability, "perItemSkipProbability"},
    {kShape, "perItemShape"},
    {kRotation, "perItemRotation"},
    {kRandomRotation, "perItemRandomRotation"},
    {kScale, "perItemScale"},
    {kRandomScale, "perItemRandomScale"},
    {kRandomScaleUniform, "perItemRandomScaleUniform"},
    {kUniformScale, "perItemUniformScale"},
    {kResultContext, "resultContext"},
    {kMask, "mask"},
    {kIndex, "index"},
    {kCenter, "center"},
    {kBuckets, "buckets"},
    {kSplats, "splats"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kScatterId, "source/pattern/context/scatter_node", false, kPorts, kMicro};

// The declared group, with the item count in the micro node's record.
Result Finaliser(const NodeArguments* args, GroupPtr& out) {
  TESSAROC_RETURN_IF_FAILED((DeclaredFinaliser<kNode, 1>(args, out)));
  const int64_t count = args && !args->arrayCounts.empty() ? args->arrayCounts[0] : 0;
  out->microNodes()[0].impl->user0 = static_cast<uintptr_t>(count < 0 ? 0 : count);
  return Result::Ok();
}

}  // namespace

Result RegisterScatterNode(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kScatterCachedBucketDataType));
  // The item count is the group's build parameter, given like an array port's count.
  return registry.Register(Id(kNode.id), kNode.source, &Finaliser, kNode.pure, {"count"});
}

}  // namespace tessaroc::pattern
