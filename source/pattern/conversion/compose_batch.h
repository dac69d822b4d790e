// The batch kernel of the composevector nodes: one call for a range of
// evaluations. Every port slot holds a pointer and a byte stride; the kernel
// writes one vector per evaluation and moves each pointer by its own stride.
#pragma once

#include <cstddef>

#include "tessaroc/core/micronode.h"

namespace tessaroc::pattern {

// N float inputs at access indices 0 .. N-1, the vector T at index N.
template <class T, int N>
void ComposeBatchKernel(Result&, const MicroNodeImpl&, const PortAccess& ports) {
  static_assert(sizeof(T) == N * sizeof(double), "a vector of N doubles");
  const BatchRange range = ports.batch();
  const std::byte* in[N];
  int32_t inStride[N];
  for (int i = 0; i < N; ++i) {
    in[i] = static_cast<const std::byte*>(ports.slot(i).value);
    inStride[i] = ports.slot(i).stride;
  }
  std::byte* out = static_cast<std::byte*>(ports.slot(N).value);
  const int32_t outStride = ports.slot(N).stride;
  for (int64_t e = range.first; e < range.end; ++e) {
    double* components = reinterpret_cast<double*>(out);
    for (int i = 0; i < N; ++i) {
      components[i] = *reinterpret_cast<const double*>(in[i]);
      in[i] += inStride[i];
    }
    out += outStride;
  }
}

}  // namespace tessaroc::pattern
