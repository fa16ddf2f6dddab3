#include "tests/apps/Child.h"

#include <sys/mman.h>

namespace {

constexpr auto Patience = std::chrono::seconds(30);

std::string contents(int fd) {
  std::ifstream file("/proc/self/fd/" + std::to_string(fd));  // from its start, whoever wrote last
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

Child::Child(const std::vector<std::string>& words, const std::function<void()>& prepare, int linkFd)
    : outputFd_(memfd_create("output", MFD_CLOEXEC)), errorFd_(memfd_create("errors", MFD_CLOEXEC)) {
  std::vector<char*> argv;
  for (const std::string& word : words) {
    argv.push_back(const_cast<char*>(word.c_str()));
  }
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    dup2(outputFd_, STDOUT_FILENO);
    dup2(errorFd_, STDERR_FILENO);
    if (linkFd >= 0) {
      dup3(linkFd == LinkNumber ? dup(linkFd) : linkFd, LinkNumber, 0);  // which the program inherits
    }
    if (prepare) {
      prepare();
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
}

Child::~Child() {
  if (!waited_) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

bool Child::isRunning() {
  int status = 0;
  if (!waited_ && waitpid(pid_, &status, WNOHANG) == pid_) {
    waited_ = true;
    result_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  return !waited_;
}

int Child::wait() {
  const auto deadline = std::chrono::steady_clock::now() + Patience;
  while (isRunning()) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "the program does not end";
      return -1000;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return result_;
}

std::string Child::output() const {
  return contents(outputFd_);
}
std::string Child::errors() const {
  return contents(errorFd_);
}

Outcome run(std::vector<std::string> words, const std::vector<std::string>& further) {
  words.insert(words.end(), further.begin(), further.end());
  Child child(words);
  const int status = child.wait();
  return {status, child.output(), child.errors()};
}
