#include "core/services.h"

#include <atomic>

namespace tessaroc {

namespace {
std::atomic<Logger*> gLogger{nullptr};
}

Logger* DefaultLogger() { return gLogger.load(std::memory_order_acquire); }
void SetDefaultLogger(Logger* logger) { gLogger.store(logger, std::memory_order_release); }

}  // namespace tessaroc
