// Fuzz target: a document as the command line reads it. Whatever the bytes,
// reading, compiling and taking one sample ends in a value or an error, within
// the fuzzer's time and memory limits.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "graph/document.h"
#include "graph/entry_points.h"
#include "host/jobs/job_service.h"
#include "host/messages/message_sink.h"
#include "tessaroc/host/host_services.h"

namespace {

// Relative image names resolve against the examples, as the seeds expect.
const std::string kOrigin = std::string(TESSAROC_SOURCE_DIR) + "/examples/fuzzed.json";

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // One worker thread: a finding reproduces from its input alone.
  if (tessaroc::host::InstallHostServices().failed()) __builtin_trap();
  tessaroc::host::InstallJobService(1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tessaroc;
  std::unique_ptr<graph::Document> doc;
  if (graph::Document::Parse(std::string(reinterpret_cast<const char*>(data), size), kOrigin, doc).failed()) return 0;
  host::CollectingMessageSink messages;
  nlohmann::ordered_json out;
  if (graph::EvaluateDocument(std::move(doc), graph::EvalContext(0.3, 0.6), messages, out).ok())
    (void)out.dump();  // as `tessaroc eval` prints it
  return 0;
}
