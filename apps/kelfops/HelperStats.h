#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

/// Times and memory of one invocation, for people who measure the helper.
///
/// Thread: any one thread. The kernel's figures of the helper are read while it still runs.
class HelperStats final {
public:
  HelperStats();

  /// The session stands: takes the time since construction, and the helper's idle memory.
  void sessionStarted(pid_t helper);

  /// The work is done: takes the time, and the helper's peak memory.
  void workDone(pid_t helper);

  /// One line of NAME=VALUE pairs: times in microseconds, memory in KiB.
  /// @param helperCpuUs the helper's processor time, known once it has ended.
  std::string text(std::int64_t helperCpuUs) const;

private:
  std::int64_t startedAtUs_;
  std::int64_t sessionUs_ = 0;
  std::int64_t workUs_ = 0;
  std::int64_t idlePrivateKib_ = 0;
  std::int64_t peakKib_ = 0;
  std::int64_t afterKib_ = 0;
};
