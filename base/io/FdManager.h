#pragma once

#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/time/Timer.h"
#include "base/plat/time/TimerManager.h"

namespace io {

class FdHandler;

/// A thread's event manager: knows the handlers and what they wait for, and calls them in a fixed order. How to learn
/// that a descriptor is ready is for the derived class.
///
/// Order:     in each turn timers first, then reads, then writes; within one kind the handler at the highest address
///            first. What is marked pending by a timer or a read for a later kind still runs in the same turn.
/// Road:      FdSelectManager puts what is ready on the lists and has them worked through here; each entry becomes a
///            call of FdHandler::readable() or writable().
/// Ownership: observes its handlers; at its end it tells each of them that it is gone.
/// Thread:    belongs to the thread that made it, and becomes that thread's current manager until it dies.
/// Does not:  allocate in the steady state: the lists keep their capacity.
class FdManager : private plat::Timer::Callback, plat::NonCopyable {
public:
  FdManager();
  /// Calls managerGone() on every handler, then brings the manager before this one back.
  ~FdManager() override;

  /// The wake timer; there is nothing to do but wake up.
  bool timerFired(plat::Timer& timer) override;

  /// Tells the engine what `handler` waits for from now on. Here: nothing.
  virtual void setFdInterest(FdHandler& handler, bool read, bool write);
  /// Tells the engine that `handler` has been unregistered. Here: nothing.
  virtual void handlerRemoved(FdHandler& handler);

  /// The calling thread's manager, or null.
  static FdManager* current() noexcept;

  /// Adds `handler`, or takes it out of every list; both may be repeated. Only a registered handler is dispatched to,
  /// and a handler must be taken out before it dies.
  void setRegistered(FdHandler& handler, bool add);

  /// Sets what `handler` waits for. A call that is due in the present turn, but not wanted any more, is not made.
  void setInterest(FdHandler& handler, bool read, bool write);

  /// readable() or writable() runs in the next round of its kind, ready or not; the wait before it returns at once.
  void setPendingRead(FdHandler& handler);
  void setPendingWrite(FdHandler& handler);

  /// Takes a writable() call back that is due.
  void clearPendingWrite(FdHandler& handler) noexcept;

  /// Makes the next wait return at once; after several calls one wait.
  void wake();

  /// Closes the descriptor of every handler but `fd`. For a child process, which must not hold the parent's
  /// connections; the handlers themselves are of no use to it afterwards.
  void closeAllExcept(int fd) const noexcept;

protected:
  /// A set of handlers as a sorted vector: there are few, and a turn must neither allocate nor chase pointers.
  class HandlerList {
  public:
    void insert(FdHandler& handler);
    void remove(const FdHandler& handler) noexcept;
    /// The handler at the highest address, out of the list, which must not be empty.
    FdHandler& takeLast() noexcept;
    bool empty() const noexcept { return items_.empty(); }
    void clear() noexcept { items_.clear(); }
    void swap(HandlerList& other) noexcept { items_.swap(other.items_); }
    auto begin() const noexcept { return items_.begin(); }
    auto end() const noexcept { return items_.end(); }

  private:
    std::vector<FdHandler*> items_;
  };

  /// Runs the due timers and then every pending handler, as a turn's second half.
  void dispatch();

  HandlerList handlers;
  HandlerList pendingRead, pendingWrite, pendingExcept;  // for the next round
  HandlerList activeRead, activeWrite, activeExcept;     // being worked through
  plat::TimerManager timers{true};

private:
  void wakeForPending();
  void dispatchList(HandlerList& pending, HandlerList& active, void (FdHandler::*call)());

  plat::Timer wakeTimer_{this};
  bool wakeAsked_ = false;  // not just for the pending lists
  FdManager* previous_;
};

}  // namespace io
