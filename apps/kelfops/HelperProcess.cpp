#include "apps/kelfops/HelperProcess.h"

#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/kelfops/PrivateSocket.h"
#include "base/crypto/Digest.h"
#include "base/io/Io.h"
#include "base/os/adoptFd.h"
#include "base/os/signalName.h"
#include "base/os/socketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/Exception.h"
#include "base/plat/StdlibException.h"
#include "base/plat/SystemException.h"
#include "base/plat/hex.h"
#include "base/rdr/OutStream.h"

namespace {

constexpr int LinkBufferSize = 65536;  // one read empties much of a socket
constexpr int ConnectMs = 10000;       // how long a helper may take to connect
constexpr int FarewellMs = 5000;       // how long a helper may take to notice that its link has closed
constexpr int ChildLinkFd = 3;         // the number under which an inherited link reaches the helper

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

/// A descriptor that becomes readable when the process ends, or -1 where the system has none.
int openPidFd(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

std::int64_t microseconds(const timeval& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1000000 + time.tv_usec;
}

std::string describeEnd(int status) {
  if (WIFSIGNALED(status)) {
    const char* name = os::signalName(WTERMSIG(status));
    return std::string("signal ") + (name ? name : std::to_string(WTERMSIG(status)));
  }
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

/// Keeps the signals that end a program from ending this one while there is something to clean up behind it, and makes
/// them visible to poll(2).
class HeldSignals {
public:
  HeldSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&ending, sig);
    }
    sigprocmask(SIG_BLOCK, &ending, &before_);
    fd_ = signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals() {
    if (fd_ >= 0) {
      close(fd_);
    }
    sigprocmask(SIG_SETMASK, &before_, nullptr);
  }
  int fd() const noexcept { return fd_; }

private:
  sigset_t before_ = {};
  int fd_ = -1;
};

/// A descriptor that is closed at the end.
struct ScopedFd {
  explicit ScopedFd(int number) noexcept : fd(number) {}
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  ~ScopedFd() {
    if (fd >= 0) {
      close(fd);
    }
  }
  const int fd;
};

/// Two connected sockets; what has not been given away is closed at the end.
struct SocketPair {
  SocketPair() { os::socketPairCloseOnExec(fds); }
  SocketPair(const SocketPair&) = delete;
  SocketPair& operator=(const SocketPair&) = delete;
  ~SocketPair() {
    for (const int fd : fds) {
      if (fd >= 0) {
        close(fd);
      }
    }
  }
  int fds[2] = {-1, -1};
};

}  // namespace

HelperProcess::HelperProcess(const std::string& program, LinkKind kind, const std::vector<std::string>& arguments) {
  try {
    launch(program, kind, arguments);
  } catch (const plat::Exception&) {
    if (pid_ > 0) {
      endAtOnce();
    }
    throw;
  }
}

HelperProcess::~HelperProcess() {
  link_.reset();
  bringToEnd();
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
  kill(pid_, SIGKILL);
  waitForEnd(-1);
}

std::unique_ptr<io::Io> HelperProcess::takeLink() {
  return std::move(link_);
}

void HelperProcess::launchOnSocket(const std::string& program, const std::vector<std::string>& arguments) {
  const HeldSignals held;  // longer than the socket's folder is there
  const PrivateSocket socket;
  const Secret secret = makeSecret();
  std::vector<std::string> words = {program, "-hash", hexDigest(secret), socket.path()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  spawn(program, words, -1, -1);
  auto link = std::make_unique<os::UnixIo>(nullptr, acceptFrom(socket.fd(), held.fd()), false, LinkBufferSize);
  link->namedPipeCredCheck(static_cast<int>(geteuid()));
  link->out()->writeBytes(secret.data(), static_cast<int>(secret.size()));
  link->out()->flush();
  link_ = std::move(link);
}

void HelperProcess::launchOnPair(const std::string& program, bool asStdin, const std::vector<std::string>& arguments) {
  SocketPair pair;
  const int childFd = asStdin ? 0 : ChildLinkFd;
  std::vector<std::string> words = {program, asStdin ? "-dummy" : std::to_string(childFd)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  spawn(program, words, pair.fds[1], childFd);
  link_ = os::adoptFd(std::exchange(pair.fds[0], -1), LinkBufferSize);
}

void HelperProcess::spawn(const std::string& program, const std::vector<std::string>& words, int linkFd, int childFd) {
  std::vector<char*> argv;
  for (const std::string& word : words) {
    argv.push_back(const_cast<char*>(word.c_str()));  // posix_spawn leaves them alone
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (linkFd >= 0) {
    posix_spawn_file_actions_adddup2(&actions, linkFd, childFd);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);  // ignored here, and an ignored signal survives exec
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  const int error = posix_spawn(&pid_, program.c_str(), &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    pid_ = -1;
    throw plat::SystemException(program.c_str(), error);
  }
}

int HelperProcess::acceptFrom(int listenFd, int signalFd) {
  const ScopedFd pidFd(openPidFd(pid_));
  pollfd watched[3] = {{listenFd, POLLIN, 0}, {pidFd.fd, POLLIN, 0}, {signalFd, POLLIN, 0}};
  int ready = 0;
  while ((ready = poll(watched, 3, ConnectMs)) < 0 && errno == EINTR) {
  }
  if (watched[2].revents & POLLIN) {
    signalfd_siginfo taken;  // or it would end this program as soon as it is let through again
    static_cast<void>(!read(signalFd, &taken, sizeof taken));
    throw plat::Exception("interrupted");
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
  if (pid_ < 0 || !end_.empty()) {
    return pid_ < 0 ? "not running" : end_;
  }
  const ScopedFd pidFd(openPidFd(pid_));
  pollfd watched = {pidFd.fd, POLLIN, 0};
  while (pidFd.fd >= 0 && timeoutMs != 0 && poll(&watched, 1, timeoutMs) < 0 && errno == EINTR) {
  }
  int status = 0;
  rusage usage = {};
  // Without such a descriptor there is no waiting with a limit: the helper is taken to end when its link has closed.
  const bool mayWait = timeoutMs < 0 || (pidFd.fd < 0 && timeoutMs > 0);
  if (wait4(pid_, &status, mayWait ? 0 : WNOHANG, &usage) == pid_) {
    end_ = describeEnd(status);
    processorTimeUs_ = microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
  }
  return end_;
}
