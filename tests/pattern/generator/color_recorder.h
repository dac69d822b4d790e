// A colour function for tests: counts its calls, remembers the context and the
// cache it was called with, and fails on request.
#pragma once

#include "tessaroc/core/function.h"

namespace tessaroc::pattern::testutil {

class RecordingColor final : public FunctionInterface {
 public:
  explicit RecordingColor(ColorA value) : value_(value) {}
  FunctionType GetFunctionType() const override { return {&kColorAType, &kShadingContextType}; }
  Result Invoke(ValueSlot ret, ValueSlot arg) const override {
    ++calls;
    lastContext = *static_cast<const ShadingContext*>(arg.value);
    if (fail) return Result::Fail(errors::kIllegalState, "colour refused");
    *static_cast<ColorA*>(ret.value) = value_;
    return Result::Ok();
  }
  Result Invoke(ValueSlot ret, ValueSlot arg, Data& cache) const override {
    lastCache = &cache;
    return Invoke(ret, arg);
  }
  bool GetConstantValue(ValueSlot) const override { return false; }

  mutable int calls = 0;
  mutable ShadingContext lastContext;
  mutable const Data* lastCache = nullptr;
  bool fail = false;

 private:
  ColorA value_;
};

}  // namespace tessaroc::pattern::testutil
