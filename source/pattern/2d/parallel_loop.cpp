#include "pattern/2d/parallel_loop.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

namespace tessaroc::pattern {

namespace {

std::atomic<JobService*> gJobService{nullptr};

constexpr int64_t kMaxChunk = 16;

// One contiguous slice of the range with its own cursor, on its own cache
// line so that workers pulling from different slices do not collide.
struct alignas(64) Slice {
  std::atomic<int64_t> next{0};
  int64_t end = 0;
  int64_t chunk = 1;
};

struct Loop {
  RangeFn body;
  void* data;
  Slice* slices;
  int count;
};

// Drains a slice chunk by chunk; returns when its cursor has passed the end.
void Drain(const Loop& loop, Slice& s) {
  for (;;) {
    const int64_t first = s.next.fetch_add(s.chunk, std::memory_order_relaxed);
    if (first >= s.end) return;
    loop.body(loop.data, first, std::min(first + s.chunk, s.end));
  }
}

void Worker(void* data, int job) {
  const Loop& loop = *static_cast<const Loop*>(data);
  // Own slice first, then the others in turn.
  for (int k = 0; k < loop.count; ++k) Drain(loop, loop.slices[(job + k) % loop.count]);
}

}  // namespace

JobService* GetJobService() { return gJobService.load(std::memory_order_acquire); }
void SetJobService(JobService* service) { gJobService.store(service, std::memory_order_release); }

void ParallelFor(int64_t count, RangeFn body, void* data) {
  if (count <= 0) return;
  JobService* jobs = GetJobService();
  const int64_t threads = jobs ? std::max(1, jobs->GetThreadCount()) : 1;
  const int workers = static_cast<int>(std::min<int64_t>(threads, count));
  if (workers <= 1) {
    body(data, 0, count);
    return;
  }
  // A bake allocates once per loop, never per index.
  std::unique_ptr<Slice[]> slices(new Slice[static_cast<size_t>(workers)]);
  const int64_t base = count / workers;
  const int64_t extra = count % workers;
  int64_t begin = 0;
  for (int w = 0; w < workers; ++w) {
    const int64_t size = base + (w < extra ? 1 : 0);
    slices[w].next.store(begin, std::memory_order_relaxed);
    slices[w].end = begin + size;
    slices[w].chunk = std::max<int64_t>(1, std::min(size, kMaxChunk));
    begin += size;
  }
  Loop loop{body, data, slices.get(), workers};
  jobs->RunGroupAndWait(workers, &Worker, &loop);
}

}  // namespace tessaroc::pattern
