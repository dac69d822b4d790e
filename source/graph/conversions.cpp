#include "graph/conversions.h"

#include <cstring>
#include <limits>

#include "tessaroc/core/data_types.h"
#include "core/node_decl.h"

namespace tessaroc::graph {

namespace {

ColorA Grey(double v) { return {v, v, v, 1.0}; }

template <class From, class To, To (*F)(const From&)>
void ConvertKernel(Result&, const MicroNodeImpl&, const PortAccess& p) {
  p.Out<To>(1) = F(p.In<From>(0));
}

ColorA FloatToColorA(const double& v) { return Grey(v); }
Color FloatToColor(const double& v) { return {v, v, v}; }
ColorA ColorToColorA(const Color& c) { return {c.r, c.g, c.b, 1.0}; }
Color ColorAToColor(const ColorA& c) { return {c.r, c.g, c.b}; }
double Int64ToFloat(const int64_t& v) { return static_cast<double>(v); }
double Int32ToFloat(const int32_t& v) { return static_cast<double>(v); }
double UInt32ToFloat(const uint32_t& v) { return static_cast<double>(v); }
ColorA VectorToColorA(const Vector& v) { return {v.x, v.y, v.z, 1.0}; }
Color VectorToColor(const Vector& v) { return {v.x, v.y, v.z}; }
Vector4d VectorToVector4d(const Vector& v) { return {v.x, v.y, v.z, 0.0}; }
InternedId IdToInterned(const Id& v) { return InternedId::Intern(v.view()); }
Id InternedToId(const InternedId& v) { return v.id(); }

constexpr AccessDecl kAccess[] = {{0, "input"}, {1, "output"}};

#define TESSAROC_CONVERSION(NAME, FROMT, TOT, FROM, TO, FN)                                                 \
  constexpr PortDecl k##NAME##Ports[] = {{"input", PortDir::kIn, &FROMT}, {"output", PortDir::kOut, &TOT}}; \
  constexpr MicroNodeDecl k##NAME##Micro[] = {{"", kAccess, &ConvertKernel<FROM, TO, &FN>}};                \
  constexpr CoreNodeDecl k##NAME{"net.zovan.tessaroc.convert." #NAME, "source/graph/conversions", true,     \
                                 k##NAME##Ports, k##NAME##Micro};

TESSAROC_CONVERSION(floattocolora, kFloat64Type, kColorAType, double, ColorA, FloatToColorA)
TESSAROC_CONVERSION(floattocolor, kFloat64Type, kColorType, double, Color, FloatToColor)
TESSAROC_CONVERSION(colortocolora, kColorType, kColorAType, Color, ColorA, ColorToColorA)
TESSAROC_CONVERSION(coloratocolor, kColorAType, kColorType, ColorA, Color, ColorAToColor)
TESSAROC_CONVERSION(int64tofloat, kInt64Type, kFloat64Type, int64_t, double, Int64ToFloat)
TESSAROC_CONVERSION(int32tofloat, kInt32Type, kFloat64Type, int32_t, double, Int32ToFloat)
TESSAROC_CONVERSION(uint32tofloat, kUInt32Type, kFloat64Type, uint32_t, double, UInt32ToFloat)
TESSAROC_CONVERSION(vectortocolora, kVectorType, kColorAType, Vector, ColorA, VectorToColorA)
TESSAROC_CONVERSION(vectortocolor, kVectorType, kColorType, Vector, Color, VectorToColor)
TESSAROC_CONVERSION(vectortovector4, kVectorType, kVector4dType, Vector, Vector4d, VectorToVector4d)
TESSAROC_CONVERSION(idtointernedid, kIdType, kInternedIdType, Id, InternedId, IdToInterned)
TESSAROC_CONVERSION(internedidtoid, kInternedIdType, kIdType, InternedId, Id, InternedToId)
#undef TESSAROC_CONVERSION

struct Entry {
  const DataType* from;
  const DataType* to;
  const char* id;
};
const Entry kEntries[] = {
    {&kFloat64Type, &kColorAType, "net.zovan.tessaroc.convert.floattocolora"},
    {&kFloat64Type, &kColorType, "net.zovan.tessaroc.convert.floattocolor"},
    {&kColorType, &kColorAType, "net.zovan.tessaroc.convert.colortocolora"},
    {&kColorAType, &kColorType, "net.zovan.tessaroc.convert.coloratocolor"},
    {&kInt64Type, &kFloat64Type, "net.zovan.tessaroc.convert.int64tofloat"},
    {&kInt32Type, &kFloat64Type, "net.zovan.tessaroc.convert.int32tofloat"},
    {&kUInt32Type, &kFloat64Type, "net.zovan.tessaroc.convert.uint32tofloat"},
    {&kVectorType, &kColorAType, "net.zovan.tessaroc.convert.vectortocolora"},
    {&kVectorType, &kColorType, "net.zovan.tessaroc.convert.vectortocolor"},
    {&kVectorType, &kVector4dType, "net.zovan.tessaroc.convert.vectortovector4"},
    {&kIdType, &kInternedIdType, "net.zovan.tessaroc.convert.idtointernedid"},
    {&kInternedIdType, &kIdType, "net.zovan.tessaroc.convert.internedidtoid"},
};

}  // namespace

CoreNodeRegistry& ConversionNodes() {
  static CoreNodeRegistry* registry = [] {
    auto* r = new CoreNodeRegistry;
    Result ok;
    for (Result x : {RegisterDeclaredNode<kfloattocolora>(*r), RegisterDeclaredNode<kfloattocolor>(*r),
                     RegisterDeclaredNode<kcolortocolora>(*r), RegisterDeclaredNode<kcoloratocolor>(*r),
                     RegisterDeclaredNode<kint64tofloat>(*r), RegisterDeclaredNode<kint32tofloat>(*r),
                     RegisterDeclaredNode<kuint32tofloat>(*r), RegisterDeclaredNode<kidtointernedid>(*r),
                     RegisterDeclaredNode<kvectortocolora>(*r), RegisterDeclaredNode<kvectortocolor>(*r),
                     RegisterDeclaredNode<kvectortovector4>(*r), RegisterDeclaredNode<kinternedidtoid>(*r)})
      (void)x;
    return r;
  }();
  return *registry;
}

Result FindConversion(const DataType& from, const DataType& to, const MicroNodeGroup*& out) {
  for (const Entry& e : kEntries)
    if (from.StoredLike(*e.from) && to.StoredLike(*e.to)) return ConversionNodes().GetGroup(Id(e.id), out);
  return Result::Fail(errors::kIllegalArgument, "no conversion from " + from.id.str() + " to " + to.id.str());
}

Result ConvertLiteral(const DataType& from, const void* value, const DataType& to, Data& out) {
  if (from.StoredLike(to)) {
    to.copyAssign(out.Emplace(&to), value);
    return Result::Ok();
  }
  const DataType* f = from.Storage();
  const DataType* t = to.Storage();
  auto fail = [&](const char* why) {
    return Result::Fail(errors::kIllegalArgument, std::string(why) + " for a port of type " + to.id.str());
  };
  auto isInteger = [](const DataType* x) { return x == &kInt64Type || x == &kInt32Type || x == &kUInt32Type; };
  if (isInteger(f) && isInteger(t)) {
    const int64_t v = f == &kInt64Type   ? *static_cast<const int64_t*>(value)
                      : f == &kInt32Type ? *static_cast<const int32_t*>(value)
                                         : static_cast<int64_t>(*static_cast<const uint32_t*>(value));
    if (t == &kInt64Type) {
      *static_cast<int64_t*>(out.Emplace(&to)) = v;
    } else if (t == &kInt32Type) {
      if (v < std::numeric_limits<int32_t>::min() || v > std::numeric_limits<int32_t>::max())
        return fail("number out of range");
      *static_cast<int32_t*>(out.Emplace(&to)) = static_cast<int32_t>(v);
    } else {
      // As a host converts: the low 32 bits, so a seed of -1 is 4294967295.
      *static_cast<uint32_t*>(out.Emplace(&to)) = static_cast<uint32_t>(static_cast<uint64_t>(v));
    }
    return Result::Ok();
  }
  for (const Entry& e : kEntries) {
    if (!from.StoredLike(*e.from) || !to.StoredLike(*e.to)) continue;
    const MicroNodeGroup* g = nullptr;
    TESSAROC_RETURN_IF_FAILED(ConversionNodes().GetGroup(Id(e.id), g));
    // Run the conversion kernel once on the literal.
    const MicroNodeImpl& impl = *g->microNodes()[0].impl;
    alignas(64) std::byte block[sizeof(ValueBlockHead) + sizeof(BatchRange) + 2 * sizeof(PortSlot)] = {};
    out.Emplace(&to);
    auto* slots = reinterpret_cast<PortSlot*>(block + sizeof(ValueBlockHead) + sizeof(BatchRange));
    slots[0].value = const_cast<void*>(value);
    slots[1].value = out.get();
    const int32_t offsets[2] = {static_cast<int32_t>(reinterpret_cast<std::byte*>(&slots[0]) - block),
                                static_cast<int32_t>(reinterpret_cast<std::byte*>(&slots[1]) - block)};
    Result r;
    impl.kernel(r, impl, PortAccess{block, offsets});
    return r;
  }
  return fail(("a value of type " + from.id.str() + " does not fit").c_str());
}

}  // namespace tessaroc::graph
