#include "pattern/context/placement2d_node.h"

#include <algorithm>
#include <cmath>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/context/pass_context.h"
#include "pattern/math/numeric.h"

namespace tessaroc::pattern {

constinit const DataType kPlacement2dDataType =
    MakeDataType<Placement2dData>("net.zovan.render.datatype.placement2ddata", "Placement2dData");

Placement2dData BuildPlacement2d(const Placement2dParams& p) {
  const double c = std::cos(p.rotation), s = std::sin(p.rotation);
  // M = R * diag(length): columns (a, b) and (e, d).
  const double a = c * p.length.x, b = s * p.length.x;
  const double e = -s * p.length.y, d = c * p.length.y;
  const double det = d * a - e * b;
  const Vector2d& rep = p.repetitions;
  Placement2dData out;
  if (det == 0.0) {
    // A squashed image has no inverse: fall back to the plain repetition, and
    // offset and pivot lose their meaning.
    out.axisU = {rep.x, 0.0};
    out.axisV = {0.0, rep.y};
    out.offset = {0.0, 0.0};
  } else {
    // A = M^-1, by columns (a00, a10) and (a01, a11).
    const double a00 = d / det, a01 = -e / det, a10 = -b / det, a11 = a / det;
    out.axisU = {rep.x * a00, rep.y * a10};
    out.axisV = {rep.x * a01, rep.y * a11};
    const double sx = p.offset.x + p.pivot.x, sy = p.offset.y + p.pivot.y;
    const double ax = a00 * sx + a01 * sy, ay = a10 * sx + a11 * sy;
    out.offset = {rep.x * (p.pivot.x - ax), rep.y * (p.pivot.y - ay)};
  }
  out.inverseRepetitionsU = rep.x != 0.0 ? 1.0 / rep.x : 0.0;
  out.inverseRepetitionsV = rep.y != 0.0 ? 1.0 / rep.y : 0.0;
  out.built = true;
  return out;
}

namespace {

struct Mapped {
  double u, v;
};

Mapped Apply(const Placement2dData& m, const Vector& p) {
  return {m.offset.x + m.axisU.x * p.x + m.axisV.x * p.y, m.offset.y + m.axisU.y * p.x + m.axisV.y * p.y};
}

// Wraps one coordinate of the sample itself and returns the cell it fell in
// (for repeat and mirror), so its differentials can stay in the same cell.
double WrapMain(double x, uint8_t code, double rep, int64_t& cell) {
  cell = 0;
  switch (code) {
    case kWrapRepeat:
    case kWrapMirror: {
      const double f = std::fabs(x) >= 4503599627370496.0 ? x : std::floor(x);
      cell = SaturateToInt64(f);
      x = x - f;
      if (code == kWrapMirror && (cell & 1) != 0) x = 1.0 - x;
      return x;
    }
    case kWrapClamp: return rep >= 0.0 ? std::min(rep, std::max(0.0, x)) : std::min(0.0, std::max(rep, x));
    default: return x;
  }
}

// A differential is wrapped with the sample's cell, not its own: a neighbour
// across a cell border stays continuous with the sample.
double WrapDifferential(double x, uint8_t code, double rep, int64_t cell) {
  switch (code) {
    case kWrapRepeat:
    case kWrapMirror:
      x = x - static_cast<double>(cell);
      if (code == kWrapMirror && (cell & 1) != 0) x = 1.0 - x;
      return x;
    case kWrapClamp: return rep >= 0.0 ? std::min(rep, std::max(0.0, x)) : std::min(0.0, std::max(rep, x));
    default: return x;
  }
}

bool InUnit(double t) { return t >= 0.0 && 1.0 >= t; }

}  // namespace

void PlaceCoordinate(const Placement2dData& map, const ShadingContext& in, bool decalU, bool decalV, uint8_t wrapU,
                     uint8_t wrapV, const Vector2d& rep, ShadingContext& out) {
  // Read once and written once: `out` is usually a fresh copy of `in`, whose
  // fields read back just after being stored would wait for those stores.
  const Vector uvw = in.uvw, uvwdx = in.uvwdx, uvwdy = in.uvwdy;

  // Only uvwdy's w takes part here; a NaN anywhere counts as a differential.
  const bool noDifferentials =
      uvw.x == uvwdx.x && uvw.x == uvwdy.x && uvw.y == uvwdx.y && uvw.y == uvwdy.y && uvwdy.z == uvw.z;

  const Mapped m = Apply(map, uvw);
  bool valid = true;
  if (decalU) valid = valid && InUnit(map.inverseRepetitionsU * m.u);
  if (decalV) valid = valid && InUnit(map.inverseRepetitionsV * m.v);

  int64_t cellU = 0, cellV = 0;
  const double u = WrapMain(m.u, wrapU, rep.x, cellU);
  const double v = WrapMain(m.v, wrapV, rep.y, cellV);
  const Vector placed{u, v, 0.0};
  Vector placedDx = placed, placedDy = placed;
  if (!noDifferentials && valid) {
    auto wrap = [&](const Vector& d) {
      const Mapped md = Apply(map, d);
      return Vector{WrapDifferential(md.u, wrapU, rep.x, cellU), WrapDifferential(md.v, wrapV, rep.y, cellV), 0.0};
    };
    placedDx = wrap(uvwdx);
    placedDy = wrap(uvwdy);
  }
  out.uvw = placed;
  out.uvwdx = placedDx;
  out.uvwdy = placedDy;
  out.uvwvalid = valid ? 1 : 0;
  // A decal that isn't repeated shows once: outside it nothing wraps.
  out.wrapmodeu = decalU && 1.0 >= std::fabs(rep.x) ? static_cast<uint8_t>(kWrapClamp) : wrapU;
  out.wrapmodev = decalV && 1.0 >= std::fabs(rep.y) ? static_cast<uint8_t>(kWrapClamp) : wrapV;
}

namespace {

enum Access {
  kContext,
  kOffset,
  kLength,
  kPivot,
  kRotation,
  kRepetitions,
  kDecalU,
  kDecalV,
  kModeU,
  kModeV,
  kResult,
  kData,
  kOffsetCached,
  kLengthCached,
  kPivotCached,
  kRotationCached,
  kRepetitionsCached,
  kModeUCached,
  kModeVCached,
};

uint8_t WrapCodeOf(const InternedId& mode) {
  static const InternedId clamp = InternedId::Intern("clamp");
  static const InternedId repeat = InternedId::Intern("repeat");
  static const InternedId mirror = InternedId::Intern("mirror");
  if (mode == clamp) return kWrapClamp;
  if (mode == repeat) return kWrapRepeat;
  if (mode == mirror) return kWrapMirror;
  return kWrapExtend;
}

bool ReadFlag(const PortAccess& ports, int i) { return *static_cast<const uint8_t*>(ports.slot(i).value) != 0; }

// Flattened: the placement runs for every sample of most materials, and its
// helpers compiled into it cost less than their calls.
[[gnu::flatten]] void Kernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  const ShadingContext& in = ports.In<ShadingContext>(kContext);
  ShadingContext& out = ports.Out<ShadingContext>(kResult);
  PassContext(ports, kContext, out);

  Placement2dParams p;
  p.offset = ports.In<Vector2d>(kOffset);
  p.length = ports.In<Vector2d>(kLength);
  p.pivot = ports.In<Vector2d>(kPivot);
  p.rotation = ports.In<double>(kRotation);
  p.repetitions = ports.In<Vector2d>(kRepetitions);

  // The map (a sine and a cosine, an inverse) and the wrap codes are made
  // again only when a parameter changed: once per instance for constant
  // parameters. The cached ports are this instance's own, so threads do not
  // share them. After a move this node ran the last time with these same
  // parameters (nothing was set or prepared since), so the map stands
  // without comparing them.
  const bool moved = ports.ContextMoved(kContext);
  Placement2dData& data = ports.Out<Placement2dData>(kData);
  Vector2d& offset = ports.Out<Vector2d>(kOffsetCached);
  Vector2d& length = ports.Out<Vector2d>(kLengthCached);
  Vector2d& pivot = ports.Out<Vector2d>(kPivotCached);
  double& rotation = ports.Out<double>(kRotationCached);
  Vector2d& repetitions = ports.Out<Vector2d>(kRepetitionsCached);
  const InternedId& modeU = ports.In<InternedId>(kModeU);
  const InternedId& modeV = ports.In<InternedId>(kModeV);
  InternedId& modeUCached = ports.Out<InternedId>(kModeUCached);
  InternedId& modeVCached = ports.Out<InternedId>(kModeVCached);
  if (!moved && (!data.built || !SameBits(p.offset, offset) || !SameBits(p.length, length) ||
                 !SameBits(p.pivot, pivot) || !SameBits(p.rotation, rotation) ||
                 !SameBits(p.repetitions, repetitions) || !(modeU == modeUCached) || !(modeV == modeVCached))) {
    data = BuildPlacement2d(p);
    data.wrapU = WrapCodeOf(modeU);
    data.wrapV = WrapCodeOf(modeV);
    offset = p.offset, length = p.length, pivot = p.pivot, rotation = p.rotation, repetitions = p.repetitions;
    modeUCached = modeU, modeVCached = modeV;
  }

  PlaceCoordinate(data, in, ReadFlag(ports, kDecalU), ReadFlag(ports, kDecalV), data.wrapU, data.wrapV, p.repetitions,
                  out);
}

constexpr uint32_t kPrivate = MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP;

constexpr PortDecl kPorts[] = {
    {"context", PortDir::kIn, &kShadingContextType},
    {"localOffset", PortDir::kIn, &kVector2dType},
    {"localLength", PortDir::kIn, &kVector2dType},
    {"localPivot", PortDir::kIn, &kVector2dType},
    {"localRotation", PortDir::kIn, &kFloat64Type},
    {"localRepetitions", PortDir::kIn, &kVector2dType},
    {"localDecalU", PortDir::kIn, &kBoolType},
    {"localDecalV", PortDir::kIn, &kBoolType},
    {"localModeU", PortDir::kIn, &kInternedIdType},
    {"localModeV", PortDir::kIn, &kInternedIdType},
    {"result", PortDir::kOut, &kShadingContextType},
    {"pdata", PortDir::kOut, &kPlacement2dDataType, kPrivate},
    {"localOffsetCached", PortDir::kOut, &kVector2dType, kPrivate},
    {"localLengthCached", PortDir::kOut, &kVector2dType, kPrivate},
    {"localPivotCached", PortDir::kOut, &kVector2dType, kPrivate},
    {"localRotationCached", PortDir::kOut, &kFloat64Type, kPrivate},
    {"localRepetitionsCached", PortDir::kOut, &kVector2dType, kPrivate},
    {"localModeUCached", PortDir::kOut, &kInternedIdType, kPrivate},
    {"localModeVCached", PortDir::kOut, &kInternedIdType, kPrivate},
};
constexpr AccessDecl kAccess[] = {
    {kContext, "context"},
    {kOffset, "localOffset"},
    {kLength, "localLength"},
    {kPivot, "localPivot"},
    {kRotation, "localRotation"},
    {kRepetitions, "localRepetitions"},
    {kDecalU, "localDecalU"},
    {kDecalV, "localDecalV"},
    {kModeU, "localModeU"},
    {kModeV, "localModeV"},
    {kResult, "result"},
    {kData, "pdata"},
    {kOffsetCached, "localOffsetCached"},
    {kLengthCached, "localLengthCached"},
    {kPivotCached, "localPivotCached"},
    {kRotationCached, "localRotationCached"},
    {kRepetitionsCached, "localRepetitionsCached"},
    {kModeUCached, "localModeUCached"},
    {kModeVCached, "localModeVCached"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kPlacement2dId, "source/pattern/context/placement2d_node", false, kPorts, kMicro};

}  // namespace

Result RegisterPlacement2dNode(CoreNodeRegistry& registry) {
  TESSAROC_RETURN_IF_FAILED(RegisterDataType(&kPlacement2dDataType));
  return RegisterDeclaredNode<kNode>(registry);
}

}  // namespace tessaroc::pattern
