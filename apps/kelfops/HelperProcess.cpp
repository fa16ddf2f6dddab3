#include "apps/kelfops/HelperProcess.h"

#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "apps/kelfops/PrivateSocket.h"
#include "apps/kelfops/localPath.h"
#include "base/crypto/Digest.h"
#include "base/io/Io.h"
#include "base/os/UnixIo.h"
#include "base/os/adoptFd.h"
#include "base/os/childExit.h"
#include "base/os/signalName.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/hex.h"
#include "base/rdr/OutStream.h"

namespace {

constexpr int LinkBufferSize = 786432;  // a quarter or more of it goes to a file in one call; sockets hold less
constexpr int ConnectMs = 10000;        // how long a helper may take to connect
constexpr int FarewellMs = 5000;        // how long a helper may take to notice that its link has closed
constexpr int ChildLinkFd = 3;          // the number under which an inherited link reaches the helper

using Secret = std::array<std::uint8_t, 32>;

Secret makeSecret() {
  Secret secret;
  if (getrandom(secret.data(), secret.size(), 0) != static_cast<ssize_t>(secret.size())) {
    throw plat::StdlibException("getrandom");
  }
  return secret;
}

std::string hexDigest(const Secret& secret) {
  std::array<std::uint8_t, 32> digest;
  crypto::digest(crypto::DigestType::Sha256, secret.data(), secret.size(), digest.data(), digest.size());
  return plat::binToHex(digest.data(), digest.size()).get();
}

/// While it lives, what is launched will not heed that the terminal goes: it ends when its link is cut, and its
/// temporary files go first.
class HangupIgnored {
public:
  HangupIgnored() {
    sigset_t hangup;
    sigemptyset(&hangup);
    sigaddset(&hangup, SIGHUP);
    sigprocmask(SIG_BLOCK, &hangup, &maskBefore_);  // one that comes now waits until it is heeded again
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGHUP, &ignore, &before_);
  }
  ~HangupIgnored() {
    sigaction(SIGHUP, &before_, nullptr);
    sigprocmask(SIG_SETMASK, &maskBefore_, nullptr);
  }
  HangupIgnored(const HangupIgnored&) = delete;
  HangupIgnored& operator=(const HangupIgnored&) = delete;

private:
  struct sigaction before_ = {};
  sigset_t maskBefore_;
};

/// A descriptor that becomes readable when the process ends, or none where the system has no such thing.
os::UniqueFd openPidFd(pid_t pid) {
  return os::UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

/// Processor time of the children that have been waited for so far.
std::int64_t childrenTimeUs() {
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto microseconds = [](const timeval& t) { return static_cast<std::int64_t>(t.tv_sec) * 1000000 + t.tv_usec; };
  return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

std::string describeEnd(int status) {
  if (status < 0) {
    const char* const name = os::signalName(-status);
    return std::string("signal ") + (name ? name : std::to_string(-status));
  }
  return "exit status " + std::to_string(status);
}

}  // namespace

/// Keeps the signals that end a program from ending this one while there is something to clean up behind it. They are
/// caught, not blocked, but for the moments in which somebody waits here: a helper that is launched meanwhile must get
/// them.
class HelperProcess::HeldSignals {
public:
  HeldSignals() {
    sigemptyset(&held_);
    for (std::size_t i = 0; i < Ending.size(); ++i) {
      sigaddset(&held_, Ending[i]);
      sigaction(Ending[i], nullptr, &before_[i]);
      if (before_[i].sa_handler != SIG_IGN) {
        struct sigaction catching = {};
        catching.sa_handler = note;
        sigaction(Ending[i], &catching, nullptr);
      }
    }
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() {
    for (std::size_t i = 0; i < Ending.size(); ++i) {
      sigaction(Ending[i], &before_[i], nullptr);
    }
    if (const int late = take(); late > 0) {
      raise(late);  // nobody has looked at it
    }
  }

  /// poll(2), which a signal that came before or comes meanwhile ends as well.
  /// @return -1 if one has come; else as poll. @throws plat::StdlibException "poll"
  int poll(pollfd* watched, nfds_t count, int timeoutMs) const {
    sigset_t before;
    sigprocmask(SIG_BLOCK, &held_, &before);  // from here on it can come only inside of the wait
    const timespec limit = {timeoutMs / 1000, timeoutMs % 1000 * 1'000'000L};
    int ready = -1;
    while (come == 0 && (ready = ppoll(watched, count, &limit, &before)) < 0 && errno == EINTR) {
    }
    const plat::StdlibException failure("poll");
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (come == 0 && ready < 0) {
      throw failure;
    }
    return come != 0 ? -1 : ready;
  }

  /// The first signal that has come and was not taken yet; 0 for none.
  static int take() noexcept {
    const int sig = come;
    come = 0;
    return sig;
  }

private:
  static void note(int sig) { come = come != 0 ? come : sig; }

  static constexpr std::array Ending = {SIGINT, SIGTERM, SIGHUP};
  static inline volatile sig_atomic_t come = 0;
  std::array<struct sigaction, Ending.size()> before_ = {};
  sigset_t held_;
};

HelperProcess::HelperProcess(const std::string& program, LinkKind kind, const std::vector<std::string>& arguments) {
  try {
    launch(program, kind, arguments);
  } catch (const plat::Exception&) {
    if (launch_.pid > 0) {
      endAtOnce();
    }
    throw;
  }
}

HelperProcess::~HelperProcess() {
  // First: a helper whose link is cut ends by itself, and takes its temporary files along.
  link_.reset();
  try {
    bringToEnd();
  } catch (const plat::Exception&) {
    // somebody else has reaped it
  }
}

void HelperProcess::launch(const std::string& program, LinkKind kind, const std::vector<std::string>& arguments) {
  if (kind == LinkKind::Socket) {
    launchOnSocket(program, arguments);
  } else {
    launchOnPair(program, kind == LinkKind::Stdin, arguments);
  }
}

std::string HelperProcess::bringToEnd() {
  if (waitForEnd(FarewellMs).empty()) {
    endAtOnce();
  }
  return waitForEnd(0);
}

void HelperProcess::endAtOnce() {
  os::killProcessNoThrow(launch_.pid, SIGKILL);
  waitForEnd(-1);
}

std::unique_ptr<io::Io> HelperProcess::takeLink() {
  return std::move(link_);
}

void HelperProcess::launchOnSocket(const std::string& program, const std::vector<std::string>& arguments) {
  const HeldSignals held;  // longer than the socket's folder is there
  const PrivateSocket socket;
  const Secret secret = makeSecret();
  launch_.args = {"-hash", hexDigest(secret).c_str(), socket.path().c_str()};
  start(program, arguments);
  const int fd = acceptFrom(socket.fd(), held);
  if (fd < 0) {
    HeldSignals::take();  // or it would end this program as soon as it is let through again
    throw plat::Exception("interrupted");
  }
  auto link = std::make_unique<os::UnixIo>(nullptr, fd, false, LinkBufferSize);
  // Only then the secret: whoever else has connected must not learn it.
  link->namedPipeCredCheck(static_cast<int>(geteuid()));
  link->out()->writeBytes(secret.data(), static_cast<int>(secret.size()));
  link->out()->flush();
  link_ = std::move(link);
}

void HelperProcess::launchOnPair(const std::string& program, bool asStdin, const std::vector<std::string>& arguments) {
  int fds[2];
  os::socketPairCloseOnExec(fds);
  os::UniqueFd ownEnd(fds[0]);
  os::UniqueFd childEnd(fds[1]);
  const int childFd = asStdin ? STDIN_FILENO : ChildLinkFd;
  launch_.args = {asStdin ? "-dummy" : std::to_string(childFd).c_str()};
  launch_.childDup[childFd] = childEnd.release();
  start(program, arguments);
  link_ = os::adoptFd(ownEnd.release(), LinkBufferSize);
}

void HelperProcess::start(const std::string& program, const std::vector<std::string>& arguments) {
  launch_.args.insert(launch_.args.begin(), absoluteLocalPath(program).c_str());
  launch_.args.insert(launch_.args.end(), arguments.begin(), arguments.end());
  launch_.inheritEnvironment();
  // A setting may send the helper's log to standard output; without one, it is /dev/null like standard input.
  if (const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0); output >= 0) {
    launch_.childDup[STDOUT_FILENO] = output;
  }
  // The system adds all children up; what was there before is not this one's.
  othersTimeUs_ = childrenTimeUs();
  try {
    const HangupIgnored ignored;
    launch_.start();
  } catch (const plat::SystemException& e) {
    throw plat::SystemException(program.c_str(), e.err);
  }
  pid_ = launch_.pid;
}

int HelperProcess::acceptFrom(int listenFd, const HeldSignals& held) {
  const os::UniqueFd pidFd = openPidFd(launch_.pid);
  pollfd watched[2] = {{listenFd, POLLIN, 0}, {pidFd.get(), POLLIN, 0}};
  const int ready = held.poll(watched, 2, ConnectMs);
  if (ready < 0) {
    return -1;
  }
  if (watched[0].revents & POLLIN) {
    const int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      throw plat::StdlibException("accept");
    }
    return fd;
  }
  if (ready == 0) {
    throw plat::Exception("the helper did not connect");
  }
  throw plat::Exception(plat::Formatted, "the helper ended before it connected: %s (--link fd shows its complaint)",
                        waitForEnd(FarewellMs).c_str());
}

std::string HelperProcess::waitForEnd(int timeoutMs) {
  if (launch_.pid < 0) {
    return end_.empty() ? "not running" : end_;
  }
  const os::UniqueFd pidFd = openPidFd(launch_.pid);
  pollfd watched = {pidFd.get(), POLLIN, 0};
  while (pidFd && timeoutMs != 0 && poll(&watched, 1, timeoutMs) < 0 && errno == EINTR) {
  }
  int status = 0;
  // Without such a descriptor the wait has steps.
  if (launch_.wait(&status, pidFd && timeoutMs > 0 ? 0 : timeoutMs)) {
    noteEnd(status);
  }
  return end_;
}

void HelperProcess::noteEnd(int status) {
  end_ = describeEnd(status);
  processorTimeUs_ = childrenTimeUs() - othersTimeUs_;
}
