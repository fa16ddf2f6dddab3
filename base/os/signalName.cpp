#include "base/os/signalName.h"

#include <iterator>

namespace os {

const char* signalName(int sig) noexcept {
  static constexpr const char* Names[] = {
      nullptr,     "SIGHUP",  "SIGINT",    "SIGQUIT", "SIGILL",   "SIGTRAP", "SIGABRT", "SIGBUS",
      "SIGFPE",    "SIGKILL", "SIGUSR1",   "SIGSEGV", "SIGUSR2",  "SIGPIPE", "SIGALRM", "SIGTERM",
      "SIGSTKFLT", "SIGCHLD", "SIGCONT",   "SIGSTOP", "SIGTSTP",  "SIGTTIN", "SIGTTOU", "SIGURG",
      "SIGXCPU",   "SIGXFSZ", "SIGVTALRM", "SIGPROF", "SIGWINCH", "SIGIO",   "SIGPWR",  "SIGSYS",
  };
  return sig >= 0 && sig < static_cast<int>(std::size(Names)) ? Names[sig] : nullptr;
}

}  // namespace os
