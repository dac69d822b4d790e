// Global allocation functions that count, per thread, for the no-allocation
// test: the library's own worker threads may allocate while a sample runs,
// but the sampling thread must not.
#include <cstdlib>
#include <new>

namespace {
thread_local long tAllocations = 0;
}

long AllocationCount() { return tAllocations; }

void* operator new(std::size_t n) {
  ++tAllocations;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
