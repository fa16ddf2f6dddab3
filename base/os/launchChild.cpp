#include "base/os/launchChild.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/os/socket/socketUtil.h"
#include "base/os/startError.h"
#include "base/os/unix/closeFrom.h"

// The order in which a child becomes a program: handlers are taken away while signals are still held back, then signals
// are let in; numbers that nobody needs are closed, sources are moved out of the way of targets and then copied to
// them; the rest above goes last, when nothing is copied any more.

namespace os {

namespace {

/// Takes every handler away before exec does: a signal that comes in between must not run the launcher's code.
void resetAllHandlers() noexcept {
  for (int sig = 1; sig < NSIG; ++sig) {
    struct sigaction action = {};
    // What is ignored stays so, as exec has it: a launcher may count on that, as for SIGHUP.
    if (::sigaction(sig, nullptr, &action) == 0 && action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN) {
      struct sigaction defaultAction = {};
      defaultAction.sa_handler = SIG_DFL;
      ::sigaction(sig, &defaultAction, nullptr);
    }
  }
}

bool isOpen(int fd) noexcept {
  struct stat info;
  return ::fstat(fd, &info) == 0 || errno != EBADF;
}

bool duplicate(int from, int to) noexcept {
  int rv = 0;
  do {
    rv = ::dup2(from, to);
  } while (rv < 0 && (errno == EINTR || errno == EBUSY));
  return rv >= 0;
}

}  // namespace

/// Unchecked by the address sanitizer: exec never gives the marks on this frame back, which the launcher shares.
[[gnu::no_sanitize_address]] void LaunchChild::becomeProgram() noexcept {
  resetAllHandlers();
  // SIGPIPE ignored and a lowered limit would be handed on by exec, to a program that never asked for either.
  socketRestoreForExec(true);
  restoreSignals();
  closeUnwanted(false);
  redirectAll();
  closeUnwanted(true);
  // The child has what it was given and its standard descriptors. Anything above that the launcher forgot to mark
  // close-on-exec is no business of the program's.
  closeFrom(std::max(redirects.empty() ? 0 : redirects.back().target, STDERR_FILENO) + 1, errorFd);
  ::execve(argv[0], argv, environment);
  fail(execCall);
}

void LaunchChild::runOn() noexcept {
  restoreSignals();
  closeUnwanted(false);
  redirectAll();
  closeUnwanted(true);
  for (const Redirect& redirect : redirects) {
    for (const int fd : {redirect.source, redirect.moved}) {
      if (!isTarget(fd)) {
        ::close(fd);
      }
    }
  }
  ::close(errorFd);
}

void LaunchChild::restoreSignals() noexcept {
  signalHandler->resetSignals(signals);
  SignalHandler::BlockRecord own = signals;  // the launcher still needs its own
  signalHandler->unblockSignals(own);
}

/// Numbers that are redirected from wait until that is done.
void LaunchChild::closeUnwanted(bool sources) const noexcept {
  for (const int fd : toClose) {
    if (fd != errorFd && isSource(fd) == sources && !(sources && isTarget(fd))) {
      ::close(fd);
    }
  }
}

void LaunchChild::redirectAll() noexcept {
  moveOutOfTheWay();
  for (const Redirect& redirect : redirects) {
    // A copy onto itself would change nothing, least of all the mark by which exec closes the number.
    if (redirect.moved != redirect.target) {
      if (!duplicate(redirect.moved, redirect.target)) {
        fail("dup2");
      }
    } else if (const int flags = ::fcntl(redirect.target, F_GETFD);
               flags < 0 || ::fcntl(redirect.target, F_SETFD, flags & ~FD_CLOEXEC) != 0) {
      fail("fcntl");
    }
  }
}

/// No source, and not the pipe for errors either, may be overwritten before it was used.
void LaunchChild::moveOutOfTheWay() noexcept {
  int above = firstNumberAboveAll();
  if (isTarget(errorFd)) {
    errorFd = moveUp(errorFd, above);
  }
  for (Redirect& redirect : redirects) {
    redirect.moved = redirect.source;
    if (redirect.source != redirect.target && isTarget(redirect.source)) {
      redirect.moved = moveUp(redirect.source, above);
    }
  }
}

int LaunchChild::firstNumberAboveAll() const noexcept {
  int highest = errorFd;
  for (const Redirect& redirect : redirects) {
    highest = std::max({highest, redirect.source, redirect.target});
  }
  return highest + 1;
}

bool LaunchChild::isSource(int fd) const noexcept {
  return std::ranges::any_of(redirects, [fd](const Redirect& redirect) { return redirect.source == fd; });
}

bool LaunchChild::isTarget(int fd) const noexcept {
  return std::ranges::any_of(redirects, [fd](const Redirect& redirect) { return redirect.target == fd; });
}

int LaunchChild::moveUp(int fd, int& above) const noexcept {
  while (isOpen(above)) {
    ++above;
  }
  // Close-on-exec, as the pipe for errors has to be: that exec closes it tells the launcher of a start that succeeded.
  if (!dup2CloseOnExecNoThrow(fd, above)) {
    fail("dup2");
  }
  return above++;
}

[[gnu::no_sanitize_address]] void LaunchChild::fail(const char* text) const noexcept {
  writeStartError(errorFd, errno, text);
  ::_exit(1);
}

}  // namespace os
