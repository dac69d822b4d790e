#include "host/host_services.h"

#include <iostream>

#include "core/services.h"
#include "host/messages/message_sink.h"

namespace tessaroc::host {

Result InstallHostServices() {
  static StreamLogger* logger = new StreamLogger(std::cerr);
  if (DefaultLogger() == nullptr) SetDefaultLogger(logger);
  return Result::Ok();
}

}  // namespace tessaroc::host
