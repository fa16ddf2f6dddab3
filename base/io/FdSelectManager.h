#pragma once

#include "base/io/FdManager.h"

namespace io {

/// The event manager on select(2).
///
/// Road:  os::AppLoopImpl calls processEvents() turn by turn; it calls whatever select(2) finds ready through
///        FdManager::dispatch().
/// Limit: descriptors from 1024 up cannot be watched and are silently passed over; os::socketInit keeps the process's
///        limit below. Their timers and pending calls still work.
/// Ownership, thread and order of calls are those of FdManager.
class FdSelectManager final : public FdManager {
public:
  void setFdInterest(FdHandler& handler, bool read, bool write) override;
  void handlerRemoved(FdHandler& handler) override;

  /// One turn of the loop: waits for a descriptor, a signal, the first timer or the limit, then calls whatever is due.
  /// @param timeoutMs milliseconds; negative for no limit.
  /// @return true if a descriptor was ready, a signal came, or the wait was limited by a timer; false on a plain
  ///         time-out.
  /// @throws plat::SystemException "select"; and what a handler or a timer lets out: the calls still due in the round
  ///         under way are then dropped
  bool processEvents(int timeoutMs);

private:
  struct ReadySets;

  int waitForEvents(ReadySets& ready, int limitMs);
  void collectReady(const ReadySets& ready);

  HandlerList readSet_, writeSet_;
  HandlerList exceptSet_;  // nobody asks for exceptional events
};

}  // namespace io
