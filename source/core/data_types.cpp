#include "tessaroc/core/data_types.h"

#include <map>
#include <mutex>

namespace tessaroc {

constinit const DataType kFloat64Type = MakeDataType<double>("float64", "Float64");
constinit const DataType kFloat32Type = MakeDataType<float>("float32", "Float32");
constinit const DataType kBoolType = MakeDataType<bool>("bool", "Bool");
constinit const DataType kInt32Type = MakeDataType<int32_t>("int32", "Int32");
constinit const DataType kUInt32Type = MakeDataType<uint32_t>("uint32", "UInt32");
constinit const DataType kInt64Type = MakeDataType<int64_t>("int64", "Int64");
constinit const DataType kColorAType = MakeDataType<ColorA>("zovan::Col4", "ColorA");
constinit const DataType kColorType = MakeDataType<Color>("zovan::Col3", "Color");
constinit const DataType kVectorType = MakeDataType<Vector>("zovan::Vec3", "Vector");
constinit const DataType kVector2dType = MakeDataType<Vector2d>("zovan::Vec2", "Vector2d");
constinit const DataType kVector4dType = MakeDataType<Vector4d>("zovan::Vec4", "Vector4d");
constinit const DataType kStringType = MakeDataType<String>("zovan::String", "String");
constinit const DataType kUrlType = MakeDataType<Url>("zovan::Url", "Url");
constinit const DataType kIdType = MakeDataType<Id>("net.zovan.datatype.id", "Id");
constinit const DataType kInternedIdType = MakeDataType<InternedId>("net.zovan.datatype.internedid", "InternedId");
constinit const DataType kTimeValueType =
    MakeDataType<TimeValue>("net.zovan.datatype.timevalue", "TimeValue", nullptr, &kFloat64Type);
constinit const DataType kDataType = MakeDataType<Data>("net.zovan.datatype.data", "Data");
constinit const DataType kRenderModeType =
    MakeDataType<RenderMode>("net.zovan.render.datatype.rendermode", "RenderMode", nullptr, &kUInt32Type);
constinit const DataType kShadingContextType =
    MakeDataType<ShadingContext>("net.zovan.render.datatype.shadingcontext", "ShadingContext");
constinit const DataType kSearchPathsType =
    MakeDataType<SearchPathsType>("net.zovan.render.datatype.searchpathstype", "SearchPathsType");

constinit const DataType kColorFunctionType =
    MakeDataType<FunctionRef>("zovan::Function", "ColorFunction", &kColorAType);
constinit const DataType kFloatFunctionType =
    MakeDataType<FunctionRef>("zovan::Function<float64>", "FloatFunction", &kFloat64Type);
constinit const DataType kVectorFunctionType =
    MakeDataType<FunctionRef>("zovan::Function<zovan::Vec3>", "VectorFunction", &kVectorType);
constinit const DataType kVector2dFunctionType =
    MakeDataType<FunctionRef>("zovan::Function<zovan::Vec2>", "Vector2dFunction", &kVector2dType);
constinit const DataType kBoolFunctionType =
    MakeDataType<FunctionRef>("zovan::Function<bool>", "BoolFunction", &kBoolType);
constinit const DataType kIdFunctionType =
    MakeDataType<FunctionRef>("zovan::Function<net.zovan.datatype.id>", "IdFunction", &kIdType);

namespace {
const DataType* const kBuiltins[] = {
    &kFloat64Type,
    &kFloat32Type,
    &kBoolType,
    &kInt32Type,
    &kUInt32Type,
    &kInt64Type,
    &kColorAType,
    &kColorType,
    &kVectorType,
    &kVector2dType,
    &kVector4dType,
    &kStringType,
    &kUrlType,
    &kIdType,
    &kInternedIdType,
    &kTimeValueType,
    &kDataType,
    &kRenderModeType,
    &kShadingContextType,
    &kColorFunctionType,
    &kFloatFunctionType,
    &kVectorFunctionType,
    &kVector2dFunctionType,
    &kBoolFunctionType,
    &kIdFunctionType,
};

struct TypeTable {
  std::mutex mutex;
  std::map<std::string, const DataType*, std::less<>> byId;
  TypeTable() {
    for (const DataType* t : kBuiltins) byId.emplace(t->id.str(), t);
  }
};
TypeTable& Types() {
  static TypeTable* table = new TypeTable;  // outlives static data types' users
  return *table;
}
}  // namespace

const DataType* const* BuiltinDataTypes(size_t& count) {
  count = sizeof(kBuiltins) / sizeof(kBuiltins[0]);
  return kBuiltins;
}

const DataType* FunctionTypeReturning(const DataType& result) {
  for (const DataType* t : kBuiltins)
    if (t->functionResult && t->functionResult->StoredLike(result)) return t;
  return nullptr;
}

Result RegisterDataType(const DataType* type) {
  TypeTable& t = Types();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto [it, inserted] = t.byId.emplace(type->id.str(), type);
  if (!inserted && it->second != type)
    return Result::Fail(errors::kIllegalState, "data type already registered: " + type->id.str());
  return Result::Ok();
}

Result UnregisterDataType(const DataType* type) {
  TypeTable& t = Types();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.byId.find(type->id.view());
  if (it == t.byId.end() || it->second != type)
    return Result::Fail(errors::kIllegalState, "data type not registered: " + type->id.str());
  t.byId.erase(it);
  return Result::Ok();
}

const DataType* FindDataType(const Id& id) {
  TypeTable& t = Types();
  std::lock_guard<std::mutex> lock(t.mutex);
  auto it = t.byId.find(id.view());
  return it == t.byId.end() ? nullptr : it->second;
}

}  // namespace tessaroc
