#include "tessaroc/host/host_services.h"

#include <iostream>

#include "core/services.h"
#include "host/blend/blend_modes.h"
#include "host/curve/curve.h"
#include "host/jobs/job_service.h"
#include "host/messages/message_sink.h"
#include "host/noise/noise_library.h"
#include "host/texture/texture_service.h"

namespace tessaroc::host {

Result InstallHostServices() {
  static StreamLogger* logger = new StreamLogger(std::cerr);
  if (DefaultLogger() == nullptr) SetDefaultLogger(logger);
  TESSAROC_RETURN_IF_FAILED(InstallNoiseClasses());
  TESSAROC_RETURN_IF_FAILED(InstallBlendModes());
  TESSAROC_RETURN_IF_FAILED(InstallCurve());
  InstallTextureService();
  InstallJobService();
  return Result::Ok();
}

}  // namespace tessaroc::host
