#pragma once

#include <csignal>
#include <memory>
#include <vector>

#include "base/io/FdKickerCallback.h"
#include "base/plat/NonCopyable.h"

namespace io {
class FdKicker;
}  // namespace io

namespace os {

/// How signals enter the event loop: the real handler writes the signal's number into a pipe, and the loop calls the
/// registered callbacks on the main thread, where they may do anything.
///
/// Ownership: one for the process; observes the callbacks, which must be taken out before they die.
/// Thread:    the main thread, whose event manager must exist before the first registration.
/// Promise:   each delivery is one round of calls, unless the pipe is full; signals that come together may still have
///            been merged by the system.
class SignalHandler final : private io::FdKickerCallback, plat::NonCopyable {
public:
  /// Learns of signals. Implemented by SignalHandlerApp.
  class Callback {
  public:
    /// Runs on the main thread, from the event loop. May register and take out any callback, itself included.
    virtual void signalled(int sig) = 0;
    virtual ~Callback();
  };

  /// What is blocked around a fork, so that a child does not run its parent's handlers.
  struct BlockRecord {
    BlockRecord() noexcept;

    bool active = false;
    int maxSig = 0;  // highest number in `blocked`
    sigset_t blocked;
    sigset_t previous;  // the mask before
  };

  /// @throws plat::AssertionFail "!inst" while another exists
  SignalHandler();
  ~SignalHandler() override;

  /// Made on first use, destroyed at exit.
  static SignalHandler& instance();

  /// Adds a callback for `sig`, the last one being called first, or takes it out: with the last one for `sig` its
  /// default action comes back.
  /// @throws plat::AssertionFail "!disabled", "fdMgr"; plat::SystemException if the first registration gets no pipe
  void setHandler(int sig, Callback* callback, bool enable);

  /// Whether there has been a registration: handlers of this kind have a pipe to write to.
  bool inUse() const noexcept { return kicker_ != nullptr; }

  /// Blocks every signal that has a callback.
  void blockSignals(BlockRecord& record) const noexcept;
  /// Brings the mask back that blockSignals() found.
  void unblockSignals(BlockRecord& record) const noexcept;
  /// Gives the blocked signals below the highest one their default action, in a child.
  void resetSignals(const BlockRecord& record) const noexcept;

private:
  struct Entry {
    int sig;
    Callback* callback;
    bool operator==(const Entry&) const = default;
  };

  void fdKicked(io::FdKicker& kicker, rdr::InStream& in) override;

  static void lowLevelHandler(int sig);

  std::vector<Entry> handlers_;     // in order of registration
  std::vector<Entry> dispatching_;  // those still to be called for the present signal
  std::unique_ptr<io::FdKicker> kicker_;
  bool disabled_ = false;  ///< nothing in this library sets it
};

}  // namespace os
