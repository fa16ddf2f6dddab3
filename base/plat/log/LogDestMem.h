#pragma once

#include <vector>

#include "base/plat/Mutex.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/log/StoredMessage.h"

namespace plat {

/// Keeps the log lines that no destination has taken, for one that turns up later.
///
/// Purpose:   what is logged before anybody said where to is not lost. Holds 500 lines and one that tells of overflow.
/// Ownership: one instance, made at the first use and never destroyed; it has no name, so nothing routes to it.
/// Thread:    log() from any; the rest on the main thread.
class LogDestMem final : public LogDest {
public:
  static LogDestMem& instance();

  void log(int level, const char* source, const char* text) override;

  /// Sends every stored line up to `level` to `dest`, in the order of arrival and between two lines that say so;
  /// nothing at all if there is none. The lines stay stored. What is logged meanwhile is not stored.
  void replay(LogDest& dest, int level);
  /// Forgets every stored line up to `level`.
  void discard(int level);

private:
  friend class NeverDestroyed<LogDestMem>;

  LogDestMem() noexcept;

  Mutex mutex_;
  std::vector<StoredMessage> stored_;
  bool replaying_ = false;
};

}  // namespace plat
