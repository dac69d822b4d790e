// The parallel loop the 2D filters bake with. The host supplies the workers
// (a job queue that knows its thread count, and a way to run a group of jobs
// and wait for them); the slicing of a row range over those workers is ours,
// so every host splits the work the same way.
#pragma once

#include <cstdint>

namespace tessaroc::pattern {

// The host's worker threads.
class JobService {
 public:
  // One job of a group: called once with its own index in [0, jobCount).
  using JobFn = void (*)(void* data, int job);

  virtual ~JobService() = default;
  // How many workers may run at once (at least 1).
  virtual int GetThreadCount() const = 0;
  // Runs fn(data, 0) .. fn(data, jobCount - 1) concurrently and returns when
  // every job has finished. The caller may take part in the work.
  virtual void RunGroupAndWait(int jobCount, JobFn fn, void* data) = 0;
};

// The process-wide job service, or null: then loops run on the calling thread.
// Set by the host before rendering; not synchronised with running loops.
JobService* GetJobService();
void SetJobService(JobService* service);

// The body of a loop: processes the indices [first, end). Called from several
// threads at once, each time with a different range.
using RangeFn = void (*)(void* data, int64_t first, int64_t end);

// Runs body over [0, count) with dynamic slicing: the range is cut into one
// contiguous slice per worker, each worker takes chunks of min(slice, 16)
// indices from its own slice first and then helps with the others. With one
// worker, or no job service, everything runs on the calling thread. Returns
// when all indices are done.
void ParallelFor(int64_t count, RangeFn body, void* data);

// The same with a callable: fn(first, end).
template <class F>
void ParallelFor(int64_t count, F& fn) {
  ParallelFor(
      count, [](void* d, int64_t first, int64_t end) { (*static_cast<F*>(d))(first, end); }, &fn);
}

}  // namespace tessaroc::pattern
