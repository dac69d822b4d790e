// The job service: the workers that the 2D filters' parallel loop and the
// renderer's tiles run on. Its jobs go to one oneTBB task arena, so a loop
// never uses more threads than the service was made with.
//
// ThreadSanitizer builds (TESSAROC_PLAIN_THREADS) run each job on a plain
// std::thread instead. Debian's oneTBB is not built for the sanitizer, so the
// hand-over of a task between its workers is invisible to it and shows as
// races in oneTBB's inline code. With plain threads every hand-over is a
// thread start or join the sanitizer sees, and it checks our code alone.
#pragma once

#include <memory>

#include "pattern/2d/parallel_loop.h"

namespace tessaroc::host {

class WorkerJobService final : public pattern::JobService {
 public:
  // threads <= 0: as many as the machine offers.
  explicit WorkerJobService(int threads = 0);
  ~WorkerJobService() override;

  int GetThreadCount() const override;
  void RunGroupAndWait(int jobCount, JobFn fn, void* data) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// The process-wide service with this many threads (<= 0: every core), made on
// the first call for that count and kept for the life of the process. A
// render takes its workers here: they start on its tiles at once instead of
// first joining an arena of their own (tens of microseconds, per render).
WorkerJobService& SharedJobService(int threads);

// Installs the shared service with this many threads (<= 0: all) as the job
// service of the parallel loop, so that bakes and renders use the same
// workers. Calling it again switches to another count; do that only while no
// loop runs.
void InstallJobService(int threads = 0);

// Removes the service: loops then run on the calling thread.
void UninstallJobService();

}  // namespace tessaroc::host
