// The job service on oneTBB: the workers that the 2D filters' parallel loop
// runs on. Its jobs go to one task arena, so a loop never uses more threads
// than the service was made with.
#pragma once

#include <memory>

#include "pattern/2d/parallel_loop.h"

namespace tessaroc::host {

class TbbJobService final : public pattern::JobService {
 public:
  // threads <= 0: as many as the machine offers.
  explicit TbbJobService(int threads = 0);
  ~TbbJobService() override;

  int GetThreadCount() const override;
  void RunGroupAndWait(int jobCount, JobFn fn, void* data) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Makes a process-wide service with this many threads (<= 0: all) and installs
// it as the job service of the parallel loop. Calling it again replaces the
// service; do that only while no loop runs.
void InstallJobService(int threads = 0);

// Removes the service: loops then run on the calling thread.
void UninstallJobService();

}  // namespace tessaroc::host
