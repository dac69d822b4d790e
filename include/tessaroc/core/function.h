// FunctionInterface: the handle a Function port receives. It stands for the
// whole upstream graph of that input, so a node can evaluate it at a context of
// its own choosing, as often as it likes.
#pragma once

#include <functional>

#include "tessaroc/core/data.h"
#include "tessaroc/core/data_type.h"
#include "tessaroc/core/result.h"
#include "tessaroc/core/shading_context.h"
#include "tessaroc/core/value_types.h"

namespace tessaroc {

// A typed address: the data type and where the value stands.
struct ValueSlot {
  const DataType* type = nullptr;
  void* value = nullptr;
};

struct FunctionType {
  const DataType* result = nullptr;
  const DataType* argument = nullptr;
};

class FunctionInterface {
 public:
  virtual ~FunctionInterface() = default;
  virtual FunctionType GetFunctionType() const = 0;
  // Evaluates the function with the argument; writes the return slot, which the
  // caller has prepared (a colour function's as (0, 0, 0, 1)).
  virtual Result Invoke(ValueSlot ret, ValueSlot arg) const = 0;
  // The same, with a cache value the callee may keep things in between calls.
  virtual Result Invoke(ValueSlot ret, ValueSlot arg, Data& cache) const = 0;
  // Writes the value and returns true when the function is a constant.
  virtual bool GetConstantValue(ValueSlot out) const = 0;
};

// Builtin data types the helpers below need (defined in data_types.cpp).
extern const DataType kShadingContextType;
extern const DataType kColorAType;
extern const DataType kFloat64Type;

// Calls a function port from a kernel: a null reference is the null-pointer
// error; the return slot starts at `initial`; on an error it is reset to
// `initial`, which for a colour is (0, 0, 0, 1).
template <class T>
Result InvokeFunction(const FunctionInterface* fn, const DataType& resultType, const ShadingContext& ctx, T& out,
                      const T& initial, Data* cache = nullptr) {
  out = initial;
  if (fn == nullptr) return Result::Fail(errors::kNullPtr, "function port holds no function");
  ValueSlot ret{&resultType, &out};
  ValueSlot arg{&kShadingContextType, const_cast<ShadingContext*>(&ctx)};
  Result r = cache ? fn->Invoke(ret, arg, *cache) : fn->Invoke(ret, arg);
  if (r.failed()) out = initial;
  return r;
}

inline Result InvokeColor(const FunctionInterface* fn, const ShadingContext& ctx, ColorA& out, Data* cache = nullptr) {
  return InvokeFunction(fn, kColorAType, ctx, out, kOpaqueBlack, cache);
}

inline Result InvokeFloat(const FunctionInterface* fn, const ShadingContext& ctx, double& out, Data* cache = nullptr) {
  return InvokeFunction(fn, kFloat64Type, ctx, out, 0.0, cache);
}

// A FunctionInterface around an ordinary callable of a context: for hosts,
// tests and benchmarks that hand a function to a node without a graph.
template <class R>
class CallableFunction final : public FunctionInterface {
 public:
  using Fn = std::function<Result(const ShadingContext&, R&)>;
  CallableFunction(const DataType& resultType, Fn fn) : resultType_(&resultType), fn_(std::move(fn)) {}

  FunctionType GetFunctionType() const override { return {resultType_, &kShadingContextType}; }
  Result Invoke(ValueSlot ret, ValueSlot arg) const override {
    if (ret.type != resultType_ || arg.type != &kShadingContextType)
      return Result::Fail(errors::kIllegalArgument, "function called with the wrong slot types");
    return fn_(*static_cast<const ShadingContext*>(arg.value), *static_cast<R*>(ret.value));
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data&) const override { return Invoke(ret, arg); }
  bool GetConstantValue(ValueSlot) const override { return false; }

 private:
  const DataType* resultType_;
  Fn fn_;
};

// A function that returns the same value for every argument.
template <class R>
class ConstantFunction final : public FunctionInterface {
 public:
  ConstantFunction(const DataType& resultType, R value) : resultType_(&resultType), value_(std::move(value)) {}
  FunctionType GetFunctionType() const override { return {resultType_, &kShadingContextType}; }
  Result Invoke(ValueSlot ret, ValueSlot) const override {
    if (ret.type != resultType_) return Result::Fail(errors::kIllegalArgument, "wrong return slot type");
    *static_cast<R*>(ret.value) = value_;
    return Result::Ok();
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data&) const override { return Invoke(ret, arg); }
  bool GetConstantValue(ValueSlot out) const override {
    if (out.type != resultType_) return false;
    *static_cast<R*>(out.value) = value_;
    return true;
  }

 private:
  const DataType* resultType_;
  R value_;
};

}  // namespace tessaroc
