#include "apps/kelfops/HelperStats.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include <sys/resource.h>

namespace {

std::int64_t nowUs() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

std::int64_t ownCpuUs() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  const auto total = [](const timeval& t) { return static_cast<std::int64_t>(t.tv_sec) * 1000000 + t.tv_usec; };
  return total(usage.ru_utime) + total(usage.ru_stime);
}

/// The sum of the lines of a process's `file` that begin with one of the names, in KiB; 0 if it cannot be read.
std::int64_t procKib(pid_t pid, const char* file, std::initializer_list<const char*> names) {
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/%s", static_cast<int>(pid), file);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path, "re"), std::fclose);
  std::int64_t total = 0;
  char line[256];
  while (stream && std::fgets(line, sizeof line, stream.get())) {
    for (const char* name : names) {
      const std::size_t length = std::strlen(name);
      long long value = 0;
      if (std::strncmp(line, name, length) == 0 && std::sscanf(line + length, ": %lld", &value) == 1) {
        total += value;
      }
    }
  }
  return total;
}

}  // namespace

HelperStats::HelperStats() : startedAtUs_(nowUs()) {}

void HelperStats::sessionStarted(pid_t helper) {
  sessionUs_ = nowUs() - startedAtUs_;
  idlePrivateKib_ = procKib(helper, "smaps_rollup", {"Private_Clean", "Private_Dirty"});
  startedAtUs_ = nowUs();
}

void HelperStats::workDone(pid_t helper) {
  workUs_ = nowUs() - startedAtUs_;
  peakKib_ = procKib(helper, "status", {"VmHWM"});
  afterKib_ = procKib(helper, "status", {"VmRSS"});
}

std::string HelperStats::text(std::int64_t helperCpuUs) const {
  char line[320];
  std::snprintf(line, sizeof line,
                "start_us=%lld work_us=%lld own_cpu_us=%lld helper_cpu_us=%lld idle_private_kib=%lld peak_kib=%lld "
                "after_kib=%lld",
                static_cast<long long>(sessionUs_), static_cast<long long>(workUs_), static_cast<long long>(ownCpuUs()),
                static_cast<long long>(helperCpuUs), static_cast<long long>(idlePrivateKib_),
                static_cast<long long>(peakKib_), static_cast<long long>(afterKib_));
  return line;
}
