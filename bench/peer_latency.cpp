// Times a file server process from outside, with the barest of peers: exec to its first answer, idle private memory,
// and one small request there and back with both ends on one processor.
//
// usage: peer_latency helper PROGRAM FOLDER | peer_latency sftp PROGRAM FOLDER
//
// For the helper the request lists FOLDER (make it empty), for an SFTP server it is a STAT of it. Prints one line:
// start_us=<median> roundtrip_us=<mean> private_kib=<idle>.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int Starts = 200;
constexpr int RoundTrips = 20000;

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xFF);
  }
  return text;
}

std::string shortText(const std::string& text) {
  return number(text.size(), 1) + text;
}
std::string longText(const std::string& text) {
  return number(text.size(), 4) + text;
}

/// How one kind of server is started and spoken to.
struct Dialect {
  std::vector<std::string> words;
  std::string hello;
  std::string request;
  bool framed;  ///< helper frames; otherwise SFTP packets
};

std::string frame(const std::string& body) {
  return number(0x8000 | body.size(), 2) + body;
}

Dialect helperDialect(const std::string& program, const std::string& folder) {
  const std::string hello = shortText("fops") + shortText("ClientInit") + number(4, 1);
  const std::string request = shortText("fops") + shortText("DirScan") + longText("") + number(0x0101, 2);
  // The parent sets the log level first, as every server does.
  const std::string level = shortText("setLogLevel") + number(0, 4);
  return {{program, "-dummy", "FopsDir=" + folder}, frame(level) + frame(hello), frame(request), true};
}

Dialect sftpDialect(const std::string& program, const std::string& folder) {
  const std::string request = number(17, 1) + number(1, 4) + longText(folder);
  return {{program}, longText(number(1, 1) + number(3, 4)), longText(request), false};
}

class Server {
public:
  explicit Server(const Dialect& dialect) : dialect_(dialect) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
      fail("socketpair");
    }
    std::vector<char*> argv;
    for (const std::string& word : dialect.words) {
      argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    fd_ = fds[0];
    pid_ = vfork();
    if (pid_ == 0) {
      dup2(fds[1], 0);
      dup2(fds[1], 1);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(fds[1]);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    close(fd_);
    waitpid(pid_, nullptr, 0);
  }

  void send(const std::string& bytes) const {
    if (write(fd_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      fail("write");
    }
  }

  /// Takes whole answers until one is no notification.
  void receive() {
    for (;;) {
      const std::size_t length = answerLength();
      if (length == 0) {
        fill();
        continue;
      }
      const bool isNotification = dialect_.framed && input_[2] == 16;  // "fopsNotification"
      input_.erase(0, length);
      if (!isNotification) {
        return;
      }
    }
  }

  pid_t pid() const { return pid_; }

private:
  /// Bytes of the answer at the front of the input; 0 while it is not whole.
  std::size_t answerLength() const {
    const auto byte = [this](std::size_t at) {
      return static_cast<std::size_t>(static_cast<unsigned char>(input_[at]));
    };
    const std::size_t header = dialect_.framed ? 2 : 4;
    if (input_.size() < header) {
      return 0;
    }
    const std::size_t length =
        dialect_.framed ? (byte(0) & 0x7F) << 8 | byte(1) : byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
    return input_.size() >= header + length ? header + length : 0;
  }

  void fill() {
    char piece[65536];
    const ssize_t got = read(fd_, piece, sizeof piece);
    if (got <= 0) {
      fail("read");
    }
    input_.append(piece, static_cast<std::size_t>(got));
  }

  const Dialect& dialect_;
  pid_t pid_ = -1;
  int fd_ = -1;
  std::string input_;
};

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

double medianStart(const Dialect& dialect) {
  std::vector<double> times;
  for (int i = 0; i < Starts; ++i) {
    const auto begin = Clock::now();
    Server server(dialect);
    server.send(dialect.hello);
    server.receive();
    times.push_back(microseconds(Clock::now() - begin));
  }
  std::nth_element(times.begin(), times.begin() + Starts / 2, times.end());
  return times[Starts / 2];
}

double meanRoundTrip(const Dialect& dialect) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(0, &one);
  sched_setaffinity(0, sizeof one, &one);
  Server server(dialect);
  server.send(dialect.hello);
  server.receive();
  const auto begin = Clock::now();
  for (int i = 0; i < RoundTrips; ++i) {
    server.send(dialect.request);
    server.receive();
  }
  return microseconds(Clock::now() - begin) / RoundTrips;
}

long idlePrivateKib(const Dialect& dialect) {
  Server server(dialect);
  server.send(dialect.hello);
  server.receive();
  usleep(50000);
  const std::string path = "/proc/" + std::to_string(server.pid()) + "/smaps_rollup";
  std::FILE* file = std::fopen(path.c_str(), "re");
  char line[256];
  long total = 0;
  while (file && std::fgets(line, sizeof line, file)) {
    long value = 0;
    if (std::sscanf(line, "Private_Clean: %ld", &value) == 1 || std::sscanf(line, "Private_Dirty: %ld", &value) == 1) {
      total += value;
    }
  }
  if (file) {
    std::fclose(file);
  }
  return total;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: peer_latency helper|sftp PROGRAM FOLDER\n");
    return 2;
  }
  const bool isHelper = std::strcmp(argv[1], "helper") == 0;
  const Dialect dialect = isHelper ? helperDialect(argv[2], argv[3]) : sftpDialect(argv[2], argv[3]);
  const double start = medianStart(dialect);
  const long kib = idlePrivateKib(dialect);
  std::printf("start_us=%.0f roundtrip_us=%.2f private_kib=%ld\n", start, meanRoundTrip(dialect), kib);
  return 0;
}
