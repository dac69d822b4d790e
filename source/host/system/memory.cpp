#include "host/system/memory.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

namespace tessaroc::host {

namespace {

// A number from a one-line file; false for "max" or no file.
bool ReadNumber(const char* path, size_t& out) {
  std::ifstream f(path);
  return static_cast<bool>(f >> out);
}

}  // namespace

size_t AvailableMemory() {
  // Linux counts reclaimable caches in; sysconf's free pages would not.
  size_t available = 0;
  std::ifstream info("/proc/meminfo");
  std::string key;
  size_t kib = 0;
  while (info >> key >> kib) {
    if (key == "MemAvailable:") {
      available = kib * 1024;
      break;
    }
    info.ignore(256, '\n');
  }
  if (available == 0) {
    const long pages = ::sysconf(_SC_AVPHYS_PAGES), page = ::sysconf(_SC_PAGESIZE);
    if (pages > 0 && page > 0) available = static_cast<size_t>(pages) * static_cast<size_t>(page);
  }
  // A container's own limit (cgroup v2) may be lower than the machine's.
  size_t limit = 0, used = 0;
  if (ReadNumber("/sys/fs/cgroup/memory.max", limit) && ReadNumber("/sys/fs/cgroup/memory.current", used)) {
    const size_t left = limit > used ? limit - used : 0;
    available = available == 0 ? left : std::min(available, left);
  }
  return available;
}

}  // namespace tessaroc::host
