#include "pattern/generator/splinemapper.h"

#include <atomic>

namespace tessaroc::pattern {

constinit const DataType kSplineMapperKnotType =
    MakeDataType<SplineMapperKnot>("net.zovan.datatype.splinemapperknot", "SplineMapperKnot");

namespace {
std::atomic<const SplineMapperClass*> gCurveClass{nullptr};
}

const SplineMapperClass* GetSplineMapperClass() { return gCurveClass.load(std::memory_order_acquire); }
void SetSplineMapperClass(const SplineMapperClass* cls) { gCurveClass.store(cls, std::memory_order_release); }

}  // namespace tessaroc::pattern
