#include "pattern/generator/spline_node.h"

#include <memory>
#include <new>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"
#include "pattern/color/mask.h"
#include "pattern/generator/splinemapper.h"

namespace tessaroc::pattern {

namespace {

// The curve of the last sample, kept in the instance so that the next sample
// refills it instead of allocating one. A copy, another thread's instance,
// starts without one: curves are never shared between threads.
struct CurveStore {
  std::unique_ptr<SplineMapper> curve;
  CurveStore() = default;
  CurveStore(const CurveStore&) {}
  CurveStore& operator=(const CurveStore&) { return *this; }
};
constinit const DataType kCurveStoreType =
    MakeDataType<CurveStore>("net.zovan.render.datatype.splinecurvestore", "SplineCurveStore");
constexpr uint32_t kPrivate = MicroNode::FLAGS::PERMANENT | MicroNode::FLAGS::DONT_WRAP;

enum Access {
  kInput,
  kTension,
  kMin,
  kMax,
  kLinkEndTangents,
  kLinkEndPositions,
  kResult,
  kCurve,
  kPositionX,
  kPositionY,
  kLockX,
  kLockY,
  kInterpolation,
  kTangentLeft,
  kTangentRight,
  kBreakTangent,
  kKeepVisualAngle,
  kLockAngle,
  kLockLength,
};
// Ordinals of the knot groups among the array ports.
enum Group {
  gPositionX,
  gPositionY,
  gLockX,
  gLockY,
  gInterpolation,
  gTangentLeft,
  gTangentRight,
  gBreakTangent,
  gKeepVisualAngle,
  gLockAngle,
  gLockLength,
};
static_assert(gLockLength + 1 == kSplineKnotGroups);

// Element i of a group, or null when the group has fewer elements.
const void* Element(const MicroNodeImpl& impl, const PortAccess& ports, int group, int64_t i) {
  const ArrayPortWords& w = ArrayWords(impl, group);
  if (i < 0 || i >= w.count) return nullptr;
  return ports.slot(static_cast<int>(w.firstIndex + i)).value;
}
template <class T>
T Read(const MicroNodeImpl& impl, const PortAccess& ports, int group, int64_t i) {
  const void* p = Element(impl, ports, group, i);
  return p ? *static_cast<const T*>(p) : T{};
}
bool ReadFlag(const MicroNodeImpl& impl, const PortAccess& ports, int group, int64_t i) {
  const void* p = Element(impl, ports, group, i);
  return p && *static_cast<const uint8_t*>(p) != 0;
}

SPLINEMAPPER_KNOT_INTERPOLATION_TYPE InterpolationOf(const Id& id) {
  if (id == Id("linear")) return SPLINEMAPPER_KNOT_INTERPOLATION_LINEAR;
  if (id == Id("cubic")) return SPLINEMAPPER_KNOT_INTERPOLATION_CUBIC;
  return SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE;  // "spline", and whatever is unknown
}

Vector2d Negated(const Vector2d& v) { return {-v.x, -v.y}; }

void Kernel(Result& result, const MicroNodeImpl& impl, const PortAccess& ports) {
  const SplineMapperClass* cls = GetSplineMapperClass();
  if (cls == nullptr) {
    result = Result::Fail(errors::kNullPtr, "no curve class is installed");
    return;
  }
  // Every setting and knot is written afresh at each evaluation; only the
  // curve object and its knot storage are kept.
  std::unique_ptr<SplineMapper>& curve = ports.Out<CurveStore>(kCurve).curve;
  if (!curve) {
    result = cls->Alloc(curve);
    if (result.failed()) return;
    if (!curve) {
      result = Result::Fail(errors::kOutOfMemory, "the curve class made no curve");
      return;
    }
  }
  curve->SetTension(ports.In<double>(kTension));
  curve->SetRange(ports.In<Vector2d>(kMin), ports.In<Vector2d>(kMax));

  const int64_t n = ArrayWords(impl, gPositionX).count;
  std::vector<SplineMapperKnot>& knots = curve->GetKnotsRW();
  try {
    knots.assign(static_cast<size_t>(n), SplineMapperKnot{});
  } catch (const std::bad_alloc&) {
    result = Result::Fail(errors::kOutOfMemory, "cannot allocate the curve's knots");
    return;
  }
  for (int64_t i = 0; i < n; ++i) {
    SplineMapperKnot& k = knots[i];
    k.pos = curve->ClampPosition({Read<double>(impl, ports, gPositionX, i), Read<double>(impl, ports, gPositionY, i)});
    const void* id = Element(impl, ports, gInterpolation, i);
    k.interpolation = id ? InterpolationOf(*static_cast<const Id*>(id)) : SPLINEMAPPER_KNOT_INTERPOLATION_SPLINE;
    k.tangentLeft = Read<Vector2d>(impl, ports, gTangentLeft, i);
    // An unbroken tangent runs straight through the knot.
    k.tangentRight = ReadFlag(impl, ports, gBreakTangent, i) ? Read<Vector2d>(impl, ports, gTangentRight, i)
                                                             : Negated(k.tangentLeft);
  }
  curve->SortKnots();

  if (n > 1) {
    // The lock flags are those of the last knot in port order, which after
    // sorting need not be the last knot of the curve.
    const int64_t p = n - 1;
    SplineMapperKnot& first = knots.front();
    SplineMapperKnot& last = knots.back();
    if (ReadBool(ports, kLinkEndTangents) && !ReadFlag(impl, ports, gLockAngle, p) &&
        !ReadFlag(impl, ports, gLockLength, p)) {
      last.tangentLeft = Negated(first.tangentRight);
      if (!ReadFlag(impl, ports, gBreakTangent, p)) last.tangentRight = Negated(first.tangentLeft);
    }
    if (ReadBool(ports, kLinkEndPositions) && !ReadFlag(impl, ports, gLockY, p)) last.pos.y = first.pos.y;
  }
  ports.Out<double>(kResult) = curve->GetPoint(ports.In<double>(kInput)).y;
}

constexpr PortDecl kPorts[] = {
    {"input", PortDir::kIn, &kFloat64Type},
    {"tension", PortDir::kIn, &kFloat64Type},
    {"min", PortDir::kIn, &kVector2dType},
    {"max", PortDir::kIn, &kVector2dType},
    {"linkendtangents", PortDir::kIn, &kBoolType},
    {"linkendpositions", PortDir::kIn, &kBoolType},
    {"result", PortDir::kOut, &kFloat64Type},
    {"curve", PortDir::kOut, &kCurveStoreType, kPrivate},
    {"positionx", PortDir::kIn, &kFloat64Type, 0, true},
    {"positiony", PortDir::kIn, &kFloat64Type, 0, true},
    {"lockx", PortDir::kIn, &kBoolType, 0, true},
    {"locky", PortDir::kIn, &kBoolType, 0, true},
    {"interpolation", PortDir::kIn, &kIdType, 0, true},
    {"tangentleft", PortDir::kIn, &kVector2dType, 0, true},
    {"tangentright", PortDir::kIn, &kVector2dType, 0, true},
    {"breaktangent", PortDir::kIn, &kBoolType, 0, true},
    {"keepvisualangle", PortDir::kIn, &kBoolType, 0, true},
    {"lockangle", PortDir::kIn, &kBoolType, 0, true},
    {"locklength", PortDir::kIn, &kBoolType, 0, true},
};
constexpr AccessDecl kAccess[] = {
    {kInput, "input"},
    {kTension, "tension"},
    {kMin, "min"},
    {kMax, "max"},
    {kLinkEndTangents, "linkendtangents"},
    {kLinkEndPositions, "linkendpositions"},
    {kResult, "result"},
    {kCurve, "curve"},
    {kPositionX, "positionx"},
    {kPositionY, "positiony"},
    {kLockX, "lockx"},
    {kLockY, "locky"},
    {kInterpolation, "interpolation"},
    {kTangentLeft, "tangentleft"},
    {kTangentRight, "tangentright"},
    {kBreakTangent, "breaktangent"},
    {kKeepVisualAngle, "keepvisualangle"},
    {kLockAngle, "lockangle"},
    {kLockLength, "locklength"},
};
static_assert(AccessInOrder(kAccess));
constexpr MicroNodeDecl kMicro[] = {{"", kAccess, &Kernel}};
constexpr CoreNodeDecl kNode{kSplineId, "source/pattern/generator/spline_node", true, kPorts, kMicro};

}  // namespace

Result RegisterSplineNode(CoreNodeRegistry& registry) { return RegisterDeclaredNode<kNode>(registry); }

}  // namespace tessaroc::pattern
