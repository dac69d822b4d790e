// The built-in port value types and their registered ids.
#pragma once

#include "tessaroc/core/data.h"
#include "tessaroc/core/data_type.h"
#include "tessaroc/core/function.h"
#include "tessaroc/core/id.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/string.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc {

extern const DataType kFloat64Type;
extern const DataType kFloat32Type;
extern const DataType kBoolType;
extern const DataType kInt32Type;
extern const DataType kUInt32Type;
extern const DataType kInt64Type;
extern const DataType kColorAType;
extern const DataType kColorType;
extern const DataType kVectorType;
extern const DataType kVector2dType;
extern const DataType kVector4dType;
extern const DataType kStringType;
extern const DataType kUrlType;
extern const DataType kIdType;
extern const DataType kInternedIdType;
extern const DataType kTimeValueType;
extern const DataType kDataType;
extern const DataType kRenderModeType;
extern const DataType kShadingContextType;
// An array of locations where files are looked up (see ShadingContext::searchpaths).
// Declared here so nodes can name it; the module registers it at load.
extern const DataType kSearchPathsType;

// Function types: a FunctionInterface pointer (or null) in the port.
using FunctionRef = const FunctionInterface*;
extern const DataType kColorFunctionType;
extern const DataType kFloatFunctionType;
extern const DataType kVectorFunctionType;
extern const DataType kVector2dFunctionType;
extern const DataType kBoolFunctionType;
extern const DataType kIdFunctionType;

// Every built-in type, for registration and listing.
const DataType* const* BuiltinDataTypes(size_t& count);

// The data type a C++ value type is stored as, where that is unambiguous;
// null for function references and node records.
template <class T>
const DataType* DataTypeOf() {
  if constexpr (std::is_same_v<T, double>) return &kFloat64Type;
  else if constexpr (std::is_same_v<T, float>) return &kFloat32Type;
  else if constexpr (std::is_same_v<T, bool>) return &kBoolType;
  else if constexpr (std::is_same_v<T, int32_t>) return &kInt32Type;
  else if constexpr (std::is_same_v<T, uint32_t>) return &kUInt32Type;
  else if constexpr (std::is_same_v<T, int64_t>) return &kInt64Type;
  else if constexpr (std::is_same_v<T, ColorA>) return &kColorAType;
  else if constexpr (std::is_same_v<T, Color>) return &kColorType;
  else if constexpr (std::is_same_v<T, Vector>) return &kVectorType;
  else if constexpr (std::is_same_v<T, Vector2d>) return &kVector2dType;
  else if constexpr (std::is_same_v<T, Vector4d>) return &kVector4dType;
  else if constexpr (std::is_same_v<T, String>) return &kStringType;
  else if constexpr (std::is_same_v<T, Url>) return &kUrlType;
  else if constexpr (std::is_same_v<T, Id>) return &kIdType;
  else if constexpr (std::is_same_v<T, InternedId>) return &kInternedIdType;
  else if constexpr (std::is_same_v<T, ShadingContext>) return &kShadingContextType;
  else if constexpr (std::is_same_v<T, SearchPathsType>) return &kSearchPathsType;
  else return nullptr;
}

// The function type whose result is the given type, or null.
const DataType* FunctionTypeReturning(const DataType& result);

}  // namespace tessaroc
