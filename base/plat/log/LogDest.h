#pragma once

#include <climits>
#include <cstdio>

#include "base/plat/NonCopyable.h"

namespace plat {

/// Somewhere that log lines go: a terminal, a file, the parent process.
///
/// Ownership: static objects; destinations with a name are found by the parameter `Log`.
/// Thread:    made and destroyed on the main thread. log() is called from any thread and locks for itself.
/// Lifecycle: takes itself out of all routes at the end.
class LogDest : private NonCopyable {
public:
  /// @param name observed, not copied; null for one that cannot be routed to.
  explicit LogDest(const char* name) noexcept;
  virtual ~LogDest();

  /// Takes one line, which holds no control characters. Has to deal with its own failures: see tryLog().
  virtual void log(int level, const char* source, const char* text) = 0;
  /// Whether lines should be given to it now; without any taker they are kept.
  [[nodiscard]] virtual bool isEnabled() const;

  /// log() for whoever must not fail for it: an exception is swallowed, and the line counts as delivered.
  void tryLog(int level, const char* source, const char* text) noexcept;

  [[nodiscard]] const char* name() const noexcept { return name_; }
  /// A route to this destination is effective only up to this level.
  [[nodiscard]] int maxLevel() const noexcept { return maxLevel_; }

  /// The destination of that name, without regard to case, or null.
  static LogDest* find(const char* name) noexcept;
  /// Prints "  <name>" for each destination, the one constructed last first.
  static void printAll(std::FILE* stream);

private:
  const char* name_;
  LogDest* next_ = nullptr;

protected:
  int maxLevel_ = INT_MAX;  ///< after a change every source's updateLevel() is due: logUpdateLevels()
};

}  // namespace plat
