// Starting and reaping a child that does nothing: os::LaunchProcess beside posix_spawn(3) and plain fork and execve, in
// a small process, and in one with 1 GiB resident in pages of 4 KiB and 1,000 descriptors open.

#include <cstdlib>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/os/LaunchProcess.h"

namespace {

constexpr const char* Program = "/bin/true";

/// What a large server has in hand.
class Ballast {
public:
  explicit Ballast(bool large) : size_(large ? std::size_t{1} << 30 : 0) {
    if (!large) {
      return;
    }
    memory_ = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ::madvise(memory_, size_, MADV_NOHUGEPAGE);
    for (std::size_t at = 0; at < size_; at += 4096) {
      static_cast<char*>(memory_)[at] = 1;
    }
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit enough = {1100, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &enough);
    for (int i = 0; i < 1000; ++i) {
      fds_.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
  }
  Ballast(const Ballast&) = delete;
  Ballast& operator=(const Ballast&) = delete;
  ~Ballast() {
    if (size_ == 0) {
      return;
    }
    for (const int fd : fds_) {
      ::close(fd);
    }
    ::munmap(memory_, size_);
    ::setrlimit(RLIMIT_NOFILE, &before_);
  }

private:
  std::size_t size_;
  void* memory_ = nullptr;
  rlimit before_ = {};
  std::vector<int> fds_;
};

void reap(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid || status != 0) {
    std::abort();
  }
}

void launchProcess(benchmark::State& state) {
  const Ballast ballast(state.range(0) != 0);
  for (auto _ : state) {
    os::LaunchProcess launch;
    launch.args = {Program};
    launch.inheritEnvironment();
    launch.start();
    int status = 0;
    launch.wait(&status, -1);
    if (status != 0) {
      std::abort();
    }
  }
}

void posixSpawn(benchmark::State& state) {
  const Ballast ballast(state.range(0) != 0);
  char* const argv[] = {const_cast<char*>(Program), nullptr};
  for (auto _ : state) {
    pid_t pid = -1;
    if (::posix_spawn(&pid, Program, nullptr, nullptr, argv, environ) != 0) {
      std::abort();
    }
    reap(pid);
  }
}

void forkAndExec(benchmark::State& state) {
  const Ballast ballast(state.range(0) != 0);
  char* const argv[] = {const_cast<char*>(Program), nullptr};
  for (auto _ : state) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::execve(Program, argv, environ);
      ::_exit(127);
    }
    reap(pid);
  }
}

BENCHMARK(launchProcess)->ArgName("large")->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(posixSpawn)->ArgName("large")->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(forkAndExec)->ArgName("large")->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
