#include "host/jobs/job_service.h"

#include <mutex>

#include <oneapi/tbb/info.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>

namespace tessaroc::host {

struct TbbJobService::Impl {
  explicit Impl(int threads) : arena(threads) {}
  tbb::task_arena arena;
};

TbbJobService::TbbJobService(int threads)
    : impl_(std::make_unique<Impl>(threads > 0 ? threads : tbb::info::default_concurrency())) {}

TbbJobService::~TbbJobService() = default;

int TbbJobService::GetThreadCount() const { return impl_->arena.max_concurrency(); }

void TbbJobService::RunGroupAndWait(int jobCount, JobFn fn, void* data) {
  impl_->arena.execute([&] {
    tbb::task_group group;
    for (int j = 1; j < jobCount; ++j) group.run([fn, data, j] { fn(data, j); });
    fn(data, 0);  // the caller works too
    group.wait();
  });
}

namespace {
std::mutex gInstallMutex;
std::unique_ptr<TbbJobService> gService;
}  // namespace

void InstallJobService(int threads) {
  std::lock_guard<std::mutex> lock(gInstallMutex);
  auto service = std::make_unique<TbbJobService>(threads);
  pattern::SetJobService(service.get());
  gService = std::move(service);
}

void UninstallJobService() {
  std::lock_guard<std::mutex> lock(gInstallMutex);
  pattern::SetJobService(nullptr);
  gService.reset();
}

}  // namespace tessaroc::host
