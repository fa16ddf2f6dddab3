#include "base/os/LaunchProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "base/io/FdManager.h"
#include "base/os/SignalHandler.h"
#include "base/os/childExit.h"
#include "base/os/detachedChildren.h"
#include "base/os/doubleFork.h"
#include "base/os/elevate.h"
#include "base/os/info/programPath.h"
#include "base/os/launchChild.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/startError.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/DString.h"
#include "base/plat/Time.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/fixedText.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/FdInStreamOwn.h"

// A launch in order: the words and descriptors are made ready, the signals held back, the child is made and becomes its
// program (launchChild.cpp); then the launcher reads the pipe for errors, which exec closes. All that needs memory
// comes ahead of the fork: in the child nothing may be allocated.

namespace os {

namespace {

plat::LogSrc log("LaunchProcess");

constexpr int ReportBufferSize = 512;  // more than one start-error record

/// Holds a child that nobody else waits for any more.
struct PidCleanup : plat::NonCopyable {
  PidCleanup(pid_t childPid, const plat::String& childName) noexcept : pid(childPid), name(childName) {}
  ~PidCleanup() {
    int status = 0;
    if (pid > 0 && reapChild(pid, name.get(), true, status, log) == Reaped::Failed) {
      log.error("~PidCleanup: %s", plat::ExceptionText(plat::SystemException("waitpid", errno)).get());
    }
  }
  const pid_t pid;
  const plat::String& name;
};

/// Keeps signals out while the child is made: one that arrived in it before its handlers are gone would run them there.
class SignalBlock : plat::NonCopyable {
public:
  explicit SignalBlock(SignalHandler::BlockRecord& blockRecord) : record_(blockRecord) {
    // This one first: the mask that it saves is the one that launcher and child go back to.
    SignalHandler::instance().blockSignals(record_);
    sigset_t all;
    sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, nullptr);
  }
  ~SignalBlock() { SignalHandler::instance().unblockSignals(record_); }

private:
  SignalHandler::BlockRecord& record_;
};

/// A sleep that the end of a child cuts short, if there is an event loop that listens to signals. The signal is held
/// back but during the sleep, so none is missed between looking and sleeping; the loop is told of it as always.
class ChildEvent final : private SignalHandler::Callback, plat::NonCopyable {
public:
  ChildEvent() : listening_(io::FdManager::current() != nullptr && SignalHandler::instance().inUse()) {
    if (listening_) {
      sigset_t chld;
      sigemptyset(&chld);
      sigaddset(&chld, SIGCHLD);
      ::sigprocmask(SIG_BLOCK, &chld, &previous_);
      asleep_ = previous_;
      sigdelset(&asleep_, SIGCHLD);
      SignalHandler::instance().setHandler(SIGCHLD, this, true);
    }
  }
  ~ChildEvent() override {
    if (listening_) {
      // The mask first: a signal that was held back finds the handler still there, and so comes to the loop.
      ::sigprocmask(SIG_SETMASK, &previous_, nullptr);
      SignalHandler::instance().setHandler(SIGCHLD, this, false);
    }
  }
  void wait(int ms) const {
    if (listening_) {
      const timespec limit = {ms / 1000, (ms % 1000) * 1'000'000L};
      ::ppoll(nullptr, 0, &limit, &asleep_);
    } else {
      plat::sleepMs(ms);
    }
  }

private:
  void signalled(int) override {}

  const bool listening_;
  sigset_t previous_ = {};
  sigset_t asleep_ = {};
};

/// The words of execve(2), made while memory may still be asked for.
struct ExecWords {
  explicit ExecWords(const LaunchProcess& launch) {
    for (const plat::String& arg : launch.args) {
      argv.push_back(const_cast<char*>(arg.orEmpty()));  // execve leaves them alone
    }
    argv.push_back(nullptr);
    for (const auto& [key, value] : launch.environment) {
      settings.push_back(plat::String::format("%s=%s", key.orEmpty(), value.orEmpty()));
    }
    for (plat::String& setting : settings) {
      environment.push_back(setting.data());
    }
    environment.push_back(nullptr);
    plat::strFormatAppend(execCall, sizeof execCall, "execve(%s)", launch.args.empty() ? "" : argv[0]);
  }
  std::vector<char*> argv;
  std::vector<plat::String> settings;
  std::vector<char*> environment;
  char execCall[256] = {};
};

[[gnu::no_sanitize_address]] int becomeProgram(void* child) noexcept {
  static_cast<LaunchChild*>(child)->becomeProgram();
}

/// The child that becomes a program works in this process's memory; only one that runs on needs a copy of it.
/// @return as fork(2); -1 without a failure for a child at level 2.
pid_t forkAtLevel(int level, LaunchChild& child) {
  const bool execs = *child.argv != nullptr;
  if (level >= LaunchProcess::DetachFromStart) {
    if (execs) {
      doubleFork(child.errorFd, becomeProgram, &child);
      return -1;
    }
    return doubleFork(child.errorFd) ? 0 : -1;
  }
  ChildStack stack;
  const pid_t pid = execs ? forkShared(stack, becomeProgram, &child) : ::fork();
  if (pid < 0) {
    throw plat::SystemException("fork", errno);
  }
  return pid;
}

/// @throws plat::SystemException as the child reports it
void awaitExec(rdr::InStream& in) {
  StartError failure;
  try {
    if (!readStartError(in, failure)) {
      return;
    }
  } catch (const plat::Exception& e) {
    // A report that cannot be read says nothing against the start.
    log.error("%s", plat::ExceptionText(e).get());
    return;
  }
  throw plat::SystemException(failure.text.get(), failure.error);
}

}  // namespace

LaunchProcess::~LaunchProcess() {
  closeRedirects();
  if (pid < 0) {
    return;
  }
  if (dl == ParentWaits) {
    const PidCleanup cleanup(pid, name);
    return;
  }
  try {
    leaveToPidManager(pid, log);
  } catch (const plat::Exception& e) {
    log.error("%s", plat::ExceptionText(e).get());
  }
}

bool LaunchProcess::start() {
  PLAT_REQUIRE(!used);
  resolveProgram();
  // Not over a program that is not there, so that the launch may be tried again with another.
  used = true;
  addPrivilegeWords();
  if (log.enabled(plat::LogDebug)) {
    plat::DString words;
    for (const plat::String& arg : args) {
      words.append(words.get() == nullptr ? "" : " ").append(arg.orEmpty());
    }
    log.debug("Launching %s", args.empty() ? "(fork)" : words.orEmpty());
  }
  return forkChild();
}

void LaunchProcess::resolveProgram() {
  if (args.empty()) {
    return;
  }
  if (searchPath) {
    args[0] = findProgram(args[0].get(), true, true);
  } else {
    PLAT_REQUIRE_AS(plat::isAbsolutePath(args[0].get()), "isAbsolutePath(cfg.args[0])", __FILE__, __LINE__);
  }
  if (name.isNull()) {
    name = args[0];
  }
}

void LaunchProcess::addPrivilegeWords() {
  const bool needsRoot = elevate && ::geteuid() != 0;
  // A child that just ran on would keep the rights that it has now.
  PLAT_REQUIRE(!args.empty() || (!needsRoot && runAsUid == 0));
  if (needsRoot) {
    getElevateProg(args, title.get());
  }
  if (runAsUid != 0) {
    PLAT_REQUIRE(getuid() == 0 && geteuid() == 0);
    const plat::String program = selfAsHelper ? programPath() : args[0];
    args.insert(args.begin(), {program, "-setuidhelper", plat::String::format("%u", runAsUid)});
  }
}

void LaunchProcess::redirectMissing() {
  if (!childDup.contains(STDIN_FILENO)) {
    redirectFile(true, STDIN_FILENO, "/dev/null", false);
  }
  if (!childDup.contains(STDOUT_FILENO)) {
    redirectFile(false, STDOUT_FILENO, "/dev/null", false);
  }
}

bool LaunchProcess::forkChild() {
  ExecWords words(*this);
  redirectMissing();
  int errorPipe[2];
  pipeCloseOnExec(errorPipe);
  UniqueFd errorsIn(errorPipe[0]);
  UniqueFd errorsOut(errorPipe[1]);
  rdr::FdInStream in(errorsIn.get(), ReportBufferSize);
  LaunchChild child;
  for (const auto& [target, source] : childDup) {
    child.redirects.push_back({source, target, source});
  }
  child.toClose.assign(closeInChild.begin(), closeInChild.end());
  if (args.empty()) {
    child.toClose.push_back(errorsIn.get());  // before its number is used for something else
  }
  child.errorFd = errorsOut.get();
  child.signalHandler = &SignalHandler::instance();
  child.argv = words.argv.data();
  child.environment = words.environment.data();
  child.execCall = words.execCall;
  {
    const SignalBlock block(child.signals);
    pid = forkAtLevel(dl, child);
    if (pid == 0) {
      child.runOn();
    }
  }
  if (pid == 0) {
    errorsIn.release();  // both closed, and their numbers perhaps redirected since
    errorsOut.release();
    childDup.clear();
    pid = -1;
    return false;
  }
  closeRedirects();
  // Or the pipe would never end: the launcher's own writing end would keep it waiting for a report after a start that
  // has succeeded.
  errorsOut.reset();
  try {
    awaitExec(in);
  } catch (const plat::SystemException&) {
    // The child is about to end, or has; it is waited for here, since nobody else knows of it any more.
    const PidCleanup cleanup(std::exchange(pid, -1), name);
    throw;
  }
  return true;
}

void LaunchProcess::redirectFile(bool read, int childFd, const char* path, bool append) {
  const int flags = read ? O_RDONLY : O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC);
  const int fd = plat::fileOpenFd(path, flags, 0600);
  setRedirect(childFd, fd);
}

void LaunchProcess::redirectDup2(int from, int to) {
  const auto i = childDup.find(from);
  if (i == childDup.end()) {
    throw plat::AssertionFail("i != childDup.end()", __FILE__, __LINE__, plat::Formatted,
                              "redirectDup2: fd %d not redirected", from);
  }
  setRedirect(to, i->second);
}

void LaunchProcess::setRedirect(int childFd, int fd) {
  const auto [entry, isNew] = childDup.try_emplace(childFd, fd);
  if (isNew) {
    return;
  }
  // redirectDup2() gives several numbers one descriptor, which is closed with the last of them.
  const int former = std::exchange(entry->second, fd);
  if (std::ranges::none_of(childDup, [former](const auto& other) { return other.second == former; })) {
    ::close(former);
  }
}

void LaunchProcess::setDetachLevel(int level) {
  PLAT_REQUIRE_AS(level >= dl, "dl >= cfg.dl", __FILE__, __LINE__);
  dl = level;
  if (dl >= DetachFromStart && pid > 0) {
    leaveToPidManager(std::exchange(pid, -1), log);
  }
}

bool LaunchProcess::wait(int* status, int timeoutMs) {
  if (pid < 0) {
    throw plat::Exception("LaunchProcess: process detached or not started");
  }
  if (timeoutMs <= 0) {
    return reap(timeoutMs < 0, status);
  }
  const plat::FileTime deadline = plat::getMonoTime() + timeoutMs * plat::TicksPerMs;
  const int step = std::clamp(timeoutMs / 10, 50, 1000);
  const ChildEvent event;
  while (!reap(false, status)) {
    const int leftMs = plat::msUntil(deadline, plat::getMonoTime());
    if (leftMs == 0) {
      return false;
    }
    event.wait(std::min(step, leftMs));
  }
  return true;
}

bool LaunchProcess::reap(bool block, int* status) {
  int value = 0;
  const Reaped reaped = reapChild(pid, name.get(), block, value, log);
  if (reaped == Reaped::Running) {
    return false;
  }
  pid = -1;
  if (reaped == Reaped::Failed) {
    throw plat::SystemException("waitpid", errno);
  }
  if (status != nullptr) {
    *status = value;
  }
  return true;
}

void LaunchProcess::inheritEnvironment() {
  for (char** setting = environ; setting != nullptr && *setting != nullptr; ++setting) {
    if (const char* const equals = std::strchr(*setting, '=')) {
      environment[plat::String(*setting, static_cast<std::size_t>(equals - *setting))] = equals + 1;
    }
  }
}

void LaunchProcess::closeRedirects() noexcept {
  while (!childDup.empty()) {
    const int fd = childDup.begin()->second;
    ::close(fd);
    std::erase_if(childDup, [fd](const auto& entry) { return entry.second == fd; });
  }
  closeInChild.clear();
}

}  // namespace os
