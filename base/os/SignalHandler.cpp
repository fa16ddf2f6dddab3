#include "base/os/SignalHandler.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "base/io/FdKicker.h"
#include "base/plat/assert.h"
#include "base/rdr/InStream.h"

// A signal's way: lowLevelHandler() runs in signal context and writes its number into the kicker's pipe; a turn of the
// loop reads that (fdKicked) and calls the callbacks, which may then do anything.

namespace os {

namespace {

constinit SignalHandler* inst = nullptr;

// What the code in signal context uses; null before the first registration and after the end.
constinit std::atomic<io::FdKicker*> signalKicker = nullptr;
static_assert(std::atomic<io::FdKicker*>::is_always_lock_free);

void setAction(int sig, void (*action)(int)) noexcept {
  struct sigaction act = {};
  act.sa_handler = action;
  sigemptyset(&act.sa_mask);
  // No SA_RESTART: the signal has to end the loop's wait.
  ::sigaction(sig, &act, nullptr);
}

}  // namespace

SignalHandler::Callback::~Callback() = default;

SignalHandler::BlockRecord::BlockRecord() noexcept {
  sigemptyset(&blocked);
  sigemptyset(&previous);
}

SignalHandler::SignalHandler() {
  PLAT_REQUIRE(!inst);
  inst = this;
}

SignalHandler::~SignalHandler() {
  signalKicker = nullptr;
  inst = nullptr;
}

SignalHandler& SignalHandler::instance() {
  static SignalHandler handler;
  return handler;
}

void SignalHandler::setHandler(int sig, Callback* callback, bool enable) {
  const Entry entry{sig, callback};
  if (enable) {
    PLAT_REQUIRE_AS(!disabled_, "!disabled", __FILE__, __LINE__);
    if (!kicker_) {
      // Ahead of the system's handler: a signal that comes at once must find the pipe.
      kicker_ = std::make_unique<io::FdKicker>(static_cast<io::FdKickerCallback*>(this));
      signalKicker = kicker_.get();
    }
    handlers_.push_back(entry);
    setAction(sig, lowLevelHandler);
    return;
  }
  std::erase(handlers_, entry);
  // Out of the round under way as well: who takes a callback out mostly goes on to destroy it.
  std::erase(dispatching_, entry);
  if (std::ranges::none_of(handlers_, [sig](const Entry& other) { return other.sig == sig; })) {
    setAction(sig, SIG_DFL);
  }
}

void SignalHandler::blockSignals(BlockRecord& record) const noexcept {
  for (const Entry& entry : handlers_) {
    sigaddset(&record.blocked, entry.sig);
    record.maxSig = std::max(record.maxSig, entry.sig);
  }
  ::sigprocmask(SIG_BLOCK, &record.blocked, &record.previous);
  record.active = true;
}

void SignalHandler::unblockSignals(BlockRecord& record) const noexcept {
  if (record.active) {
    ::sigprocmask(SIG_SETMASK, &record.previous, nullptr);
    record.active = false;
  }
}

void SignalHandler::resetSignals(const BlockRecord& record) const noexcept {
  for (int sig = 1; sig < record.maxSig; ++sig) {
    if (sigismember(&record.blocked, sig) == 1) {
      setAction(sig, SIG_DFL);
    }
  }
}

/// Ends by the BlockException of the empty pipe, which FdKicker takes.
void SignalHandler::fdKicked(io::FdKicker&, rdr::InStream& in) {
  for (;;) {
    const int sig = in.readU8();
    // Ahead of the callbacks: what leaves one of them must not have the same signal told again.
    in.checkpoint();
    dispatching_ = handlers_;
    while (!dispatching_.empty()) {
      const Entry entry = dispatching_.back();
      dispatching_.pop_back();
      if (entry.sig == sig) {
        entry.callback->signalled(sig);
      }
    }
  }
}

void SignalHandler::lowLevelHandler(int sig) {
  // The code that was interrupted may just be about to look at it.
  const int savedErrno = errno;
  if (io::FdKicker* const target = signalKicker) {
    target->kick(static_cast<std::uint8_t>(sig));
  }
  errno = savedErrno;
}

}  // namespace os
