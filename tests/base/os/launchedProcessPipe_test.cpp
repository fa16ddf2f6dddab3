#include "base/os/LaunchedProcessPipe.h"

#include <cerrno>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/crypto/Digest.h"
#include "base/plat/SystemException.h"
#include "base/plat/hex.h"
#include "tests/support/TempDir.h"

namespace {

using os::LaunchedProcessPipe;

/// Puts a descriptor number back as it was: connecting moves standard error, and "-dummy" uses up standard input.
class FdKeeper {
public:
  explicit FdKeeper(int fd) : fd_(fd), copy_(::fcntl(fd, F_DUPFD_CLOEXEC, 10)) {}
  ~FdKeeper() {
    ::dup2(copy_, fd_);
    ::close(copy_);
  }

private:
  int fd_;
  int copy_;
};

/// An argument vector as main gets it, with the position that a parser moves.
class Args {
public:
  Args(std::initializer_list<std::string> words) : words_(words) {
    for (std::string& word : words_) {
      pointers_.push_back(word.data());
    }
    pointers_.push_back(nullptr);
    cursor = pointers_.data();
  }
  std::string next() const { return *cursor ? *cursor : "<end>"; }

  char** cursor;

private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};

class LaunchedProcessPipeTest : public testing::Test {
protected:
  LaunchedProcessPipeTest() : path(dir / "pipe"), listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener, 5), 0);
  }
  ~LaunchedProcessPipeTest() override {
    ::close(listener);
    if (!debugLogWasThere) {
      ::unlink(DebugLog);
    }
  }

  /// The text of what connecting raises; "" if it connects. The connection is kept in `io`.
  std::string connect(Args& args, int minExtraArgs = 0) {
    const FdKeeper standardError(STDERR_FILENO);
    try {
      io = LaunchedProcessPipe().connect(args.cursor, minExtraArgs);
    } catch (const plat::Exception& e) {
      return e.message;
    }
    return "";
  }
  std::string connect(std::initializer_list<std::string> words, int minExtraArgs = 0) {
    Args args(words);
    return connect(args, minExtraArgs);
  }

  /// Runs connect() while the launcher's side accepts, sends `bytes` and, if `hangUp`, closes.
  std::string connectTo(std::string bytes, std::initializer_list<std::string> words, bool hangUp = false) {
    std::thread launcher([&] {
      peer = ::accept(listener, nullptr, nullptr);
      EXPECT_EQ(::write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      if (hangUp) {
        ::shutdown(peer, SHUT_WR);
      }
    });
    const std::string result = connect(words);
    launcher.join();
    return result;
  }

  static std::string sha256Hex(const std::string& bytes) {
    std::uint8_t digest[32];
    crypto::digest(crypto::DigestType::Sha256, bytes.data(), bytes.size(), digest, sizeof digest);
    return plat::binToHex(digest, sizeof digest).get();
  }

  void TearDown() override {
    if (peer >= 0) {
      ::close(peer);
    }
  }

  static constexpr const char* DebugLog = "/tmp/lppDebug.log";

  const bool debugLogWasThere = ::access(DebugLog, F_OK) == 0;
  test::TempDir dir;
  std::string path;
  int listener;
  int peer = -1;
  std::unique_ptr<io::Io> io;
};

TEST_F(LaunchedProcessPipeTest, refusesBadCommandLines) {
  const struct {
    std::initializer_list<std::string> words;
    const char* refusal;
  } cases[] = {
      {{}, "Bad command-line: got <null> instead of pipe name"},
      {{"-lppDebug"}, "Bad command-line: got <null> instead of pipe name"},
      {{"-what", "pipe"}, "Bad command-line: got -what instead of pipe name"},
      {{"-lppDebug", "-dummy"}, "Bad command-line: got -dummy instead of pipe name"},
      {{"-5"}, "Bad command-line: got -5 instead of pipe name"},
      {{"-hash"}, "-hash argument bad or missing"},
      {{"-hash", "", "pipe"}, "-hash argument bad or missing"},
      {{"-hash", "abc", "pipe"}, "-hash argument bad or missing"},
      {{"-hash", "0g", "pipe"}, "-hash argument bad or missing"},
      {{"-hash", "-lppDebug", "pipe"}, "-hash argument bad or missing"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(connect(c.words), c.refusal);
    EXPECT_EQ(io, nullptr);
  }
}

TEST_F(LaunchedProcessPipeTest, connectsToAPathAndLeavesTheRestOfTheLine) {
  Args args({"-lppDebug", "-hash", "abcd", "-lppDebug", path, "-lppDebug", "Name=Value"});
  std::thread launcher([&] {
    peer = ::accept(listener, nullptr, nullptr);
    ::shutdown(peer, SHUT_WR);
  });
  EXPECT_EQ(connect(args), "End of IO stream");  // the launcher owed an answer to "-hash"
  launcher.join();
  EXPECT_EQ(args.next(), "-lppDebug");
  ++args.cursor;
  EXPECT_EQ(args.next(), "Name=Value");

  EXPECT_EQ(connectTo("bytes", {path}), "");
  EXPECT_EQ(io->displayName(), "<unix-client-" + path + "-uid-" + std::to_string(::geteuid()) + ">");
  std::uint8_t scratch[5];
  EXPECT_EQ(std::memcmp(io->in()->readOrCopy(scratch, 5), "bytes", 5), 0);
}

TEST_F(LaunchedProcessPipeTest, connectingMovesStandardErrorAway) {
  const FdKeeper standardError(STDERR_FILENO);
  const std::string log = dir / "stderr";
  const int fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ::dup2(fd, STDERR_FILENO);
  ::close(fd);
  Args args({path});
  char** cursor = args.cursor;
  io = LaunchedProcessPipe().connect(cursor, 0);
  struct stat now = {};
  struct stat null = {};
  ASSERT_EQ(::fstat(STDERR_FILENO, &now), 0);
  ASSERT_EQ(::stat("/dev/null", &null), 0);
  EXPECT_EQ(now.st_rdev, null.st_rdev);
  EXPECT_EQ(dir.read("stderr"), "");
}

TEST_F(LaunchedProcessPipeTest, debugOptionKeepsARecord) {
  const int before = ::open(DebugLog, O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (before < 0) {
    GTEST_SKIP() << "somebody else's record is in the way";
  }
  const off_t start = ::lseek(before, 0, SEEK_END);
  const std::string missing = dir / "missing";
  EXPECT_EQ(connect({"-lppDebug", missing}), "connect: No such file or directory (2)");
  char text[512] = {};
  EXPECT_GT(::pread(before, text, sizeof text - 1, start), 0);
  ::close(before);
  EXPECT_TRUE(std::regex_match(text, std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\dZ: connecting to '" +
                                                missing + "'\nconnect: No such file or directory \\(2\\)\n")))
      << text;
}

TEST_F(LaunchedProcessPipeTest, secretOfTheLauncherIsCheckedAgainstTheDigest) {
  const std::string secret = "0123456789abcdef0123456789ABCDEF";
  const std::string digest = sha256Hex(secret);
  EXPECT_EQ(connectTo(secret + "next", {"-hash", digest, path}), "");
  std::uint8_t scratch[4];
  EXPECT_EQ(std::memcmp(io->in()->readOrCopy(scratch, 4), "next", 4), 0);

  std::string wrong = secret;
  wrong.back() ^= 1;
  const struct {
    std::string sent;
    std::string digest;
  } cases[] = {{wrong, digest}, {secret, digest.substr(0, 62)}, {secret, digest + "00"}, {secret, "00"}};
  for (const auto& c : cases) {
    io.reset();
    EXPECT_EQ(connectTo(c.sent, {"-hash", c.digest, path}), "Bad hash");
    EXPECT_EQ(io, nullptr);
    char byte = 0;
    EXPECT_LE(::read(peer, &byte, 1), 0);  // the connection has been closed
    ::close(peer);
  }
  peer = -1;
  EXPECT_EQ(connectTo(secret.substr(1), {"-hash", digest, path}, true), "End of IO stream");
}

TEST_F(LaunchedProcessPipeTest, secretMayComeInPieces) {
  const std::string secret(32, 's');
  std::thread launcher([&] {
    peer = ::accept(listener, nullptr, nullptr);
    for (const char& byte : secret) {
      EXPECT_EQ(::write(peer, &byte, 1), 1);
      std::this_thread::yield();
    }
  });
  EXPECT_EQ(connect({"-hash", sha256Hex(secret), path}), "");
  launcher.join();
}

TEST_F(LaunchedProcessPipeTest, numberAdoptsADescriptor) {
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
  ASSERT_EQ(::write(fds[1], "x", 1), 1);
  // The digest is not looked at, nor is a secret read.
  EXPECT_EQ(connect({"-hash", "00", std::to_string(fds[0])}), "");
  EXPECT_EQ(io->in()->readU8(), 'x');
  io.reset();
  ::close(fds[1]);
  EXPECT_EQ(connect({"7x"}), "connect: No such file or directory (2)");
  EXPECT_EQ(connect({"999"}), "setInheritable: Bad file descriptor (9)");
  EXPECT_EQ(connect({"99999999999"}), "connect: No such file or directory (2)");
}

TEST_F(LaunchedProcessPipeTest, dummyIsStandardInputAndNothingElse) {
  const FdKeeper standardInput(STDIN_FILENO);
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
  ::dup2(fds[0], STDIN_FILENO);
  ::close(fds[0]);
  Args args({"-dummy", "-hash", "Name=Value"});
  EXPECT_EQ(connect(args, 5), "");
  EXPECT_EQ(args.next(), "-hash");
  ASSERT_EQ(::write(fds[1], "x", 1), 1);
  EXPECT_EQ(io->in()->readU8(), 'x');
  io.reset();
  ::close(fds[1]);
}

TEST_F(LaunchedProcessPipeTest, demandsItsExtraArguments) {
  const std::string refusal = "This program is not intended to be run directly.";
  EXPECT_EQ(connect({path}, 1), refusal);
  EXPECT_EQ(connect({path, "one"}, 2), refusal);
  EXPECT_EQ(connect({path, "one"}, 1), "");
}

TEST_F(LaunchedProcessPipeTest, pathMustFitTheAddress) {
  EXPECT_EQ(connect({std::string(108, 'x')}), "UnixIo: File name too long (36)");
}

TEST_F(LaunchedProcessPipeTest, forkLeavesTheLauncherWithAnEndedProcessAndAGrandchild) {
  const pid_t launched = ::fork();
  ASSERT_GE(launched, 0);
  if (launched == 0) {
    Args args({"-fork", path});
    try {
      const std::unique_ptr<io::Io> link = LaunchedProcessPipe().connect(args.cursor, 0);
      link->out()->writeU32(static_cast<std::uint32_t>(::getpid()));
      link->out()->writeU32(static_cast<std::uint32_t>(::getsid(0)));
      link->out()->flush();
      ::_exit(7);
    } catch (const plat::Exception&) {
      ::_exit(8);
    }
  }
  int status = -1;
  ASSERT_EQ(::waitpid(launched, &status, 0), launched);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  peer = ::accept(listener, nullptr, nullptr);
  std::uint32_t ids[2] = {};
  ASSERT_EQ(::recv(peer, ids, sizeof ids, MSG_WAITALL), static_cast<ssize_t>(sizeof ids));
  const auto pid = static_cast<pid_t>(__builtin_bswap32(ids[0]));
  const auto session = static_cast<pid_t>(__builtin_bswap32(ids[1]));
  EXPECT_NE(pid, launched);
  EXPECT_NE(session, ::getsid(0));
  EXPECT_NE(session, pid);  // not the leader: it can get no terminal
}

}  // namespace
