#include "allocation_counter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
thread_local long tAllocations = 0;

void* Allocate(std::size_t n, std::size_t align) {
  ++tAllocations;
  if (align <= alignof(std::max_align_t)) return std::malloc(n ? n : 1);
  return std::aligned_alloc(align, (n + align - 1) / align * align);
}
}  // namespace

long AllocationCount() { return tAllocations; }

void* operator new(std::size_t n) {
  if (void* p = Allocate(n, 0)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return Allocate(n, 0); }
void* operator new(std::size_t n, std::align_val_t a) {
  if (void* p = Allocate(n, static_cast<std::size_t>(a))) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return Allocate(n, static_cast<std::size_t>(a));
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
