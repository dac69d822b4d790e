#include "host/jobs/job_service.h"

#include <map>
#include <mutex>

#include <oneapi/tbb/info.h>

#ifdef TESSAROC_PLAIN_THREADS
#include <thread>
#include <vector>
#else
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#endif

namespace tessaroc::host {

#ifdef TESSAROC_PLAIN_THREADS

struct WorkerJobService::Impl {
  explicit Impl(int threads) : threads(threads) {}
  int threads;
};

int WorkerJobService::GetThreadCount() const { return impl_->threads; }

void WorkerJobService::RunGroupAndWait(int jobCount, JobFn fn, void* data) {
  std::vector<std::thread> others;
  others.reserve(jobCount > 1 ? jobCount - 1 : 0);
  for (int j = 1; j < jobCount; ++j) others.emplace_back([fn, data, j] { fn(data, j); });
  if (jobCount > 0) fn(data, 0);  // the caller works too
  for (std::thread& t : others) t.join();
}

#else

struct WorkerJobService::Impl {
  explicit Impl(int threads) : arena(threads) {}
  tbb::task_arena arena;
};

int WorkerJobService::GetThreadCount() const { return impl_->arena.max_concurrency(); }

void WorkerJobService::RunGroupAndWait(int jobCount, JobFn fn, void* data) {
  impl_->arena.execute([&] {
    tbb::task_group group;
    for (int j = 1; j < jobCount; ++j) group.run([fn, data, j] { fn(data, j); });
    if (jobCount > 0) fn(data, 0);  // the caller works too
    group.wait();
  });
}

#endif

WorkerJobService::WorkerJobService(int threads)
    : impl_(std::make_unique<Impl>(threads > 0 ? threads : tbb::info::default_concurrency())) {}

WorkerJobService::~WorkerJobService() = default;

WorkerJobService& SharedJobService(int threads) {
  static std::mutex mutex;
  // Never destroyed: a render may still run on it while the process exits.
  static auto* services = new std::map<int, std::unique_ptr<WorkerJobService>>();
  const int count = threads > 0 ? threads : tbb::info::default_concurrency();
  std::lock_guard<std::mutex> lock(mutex);
  std::unique_ptr<WorkerJobService>& service = (*services)[count];
  if (!service) service = std::make_unique<WorkerJobService>(count);
  return *service;
}

void InstallJobService(int threads) { pattern::SetJobService(&SharedJobService(threads)); }

void UninstallJobService() { pattern::SetJobService(nullptr); }

}  // namespace tessaroc::host
