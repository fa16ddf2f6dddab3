#include "base/os/LaunchedProcessPipe.h"

#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "tests/base/os/inChild.h"
#include "tests/support/TempDir.h"

namespace {

using os::LaunchedProcessPipe;

/// Puts a descriptor number back as it was: connecting moves standard error.
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

class LaunchedProcessPipeTest : public testing::Test {
protected:
  LaunchedProcessPipeTest() : path(dir / "pipe"), listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener, 5), 0);
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
  }
  ~LaunchedProcessPipeTest() override {
    ::close(listener);
    ::close(pair[1]);
  }

  /// The text of what connecting raises; "" if it connects. The connection is kept in `io`, the arguments that were
  /// left over in `rest`, and the device of standard error then in `stderrDevice`.
  std::string connect(std::vector<std::string> words, int minExtraArgs = 0) {
    const FdKeeper standardError(STDERR_FILENO);
    std::vector<char*> argv;
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    char** cursor = argv.data();
    std::string raised;
    try {
      io = LaunchedProcessPipe((dir / "debug.log").c_str()).connect(cursor, minExtraArgs);
    } catch (const plat::Exception& e) {
      raised = e.message;
    }
    struct stat st = {};
    ::fstat(STDERR_FILENO, &st);
    stderrDevice = st.st_rdev;
    rest.assign(words.begin() + (cursor - argv.data()), words.end());
    return raised;
  }

  test::TempDir dir;
  std::string path;
  int listener;
  int pair[2] = {-1, -1};  // [0] is for the connection, [1] its peer
  std::unique_ptr<io::Io> io;
  std::vector<std::string> rest;
  dev_t stderrDevice = 0;
};

TEST_F(LaunchedProcessPipeTest, refusesBadCommandLines) {
  const struct {
    std::vector<std::string> words;
    const char* refusal;
    int minExtraArgs = 0;
  } cases[] = {{{}, "Bad command-line: got <null> instead of pipe name"},
               {{"-lppDebug", "-dummy"}, "Bad command-line: got -dummy instead of pipe name"},
               {{"-5"}, "Bad command-line: got -5 instead of pipe name"},
               {{"-hash"}, "-hash argument bad or missing"},
               {{"-hash", "", "pipe"}, "-hash argument bad or missing"},
               {{"-hash", "0g", "pipe"}, "-hash argument bad or missing"},
               {{"-hash", "-lppDebug", "pipe"}, "-hash argument bad or missing"},
               {{path, "one"}, "This program is not intended to be run directly.", 2},
               {{std::string(108, 'x')}, "UnixIo: File name too long (36)"},
               {{"7x"}, "connect: No such file or directory (2)"},
               {{"99999999999"}, "connect: No such file or directory (2)"},
               {{"999"}, "setInheritable: Bad file descriptor (9)"}};
  for (const auto& c : cases) {
    EXPECT_EQ(connect(c.words, c.minExtraArgs), c.refusal);
    EXPECT_EQ(io, nullptr);
  }
}

TEST_F(LaunchedProcessPipeTest, connectsToAPathAndMovesStandardErrorAway) {
  EXPECT_EQ(connect({path, "-lppDebug", "Name=Value"}, 1), "");
  EXPECT_EQ(io->displayName(), "<unix-client-" + path + "-uid-" + std::to_string(::geteuid()) + ">");
  EXPECT_EQ(rest, (std::vector<std::string>{"-lppDebug", "Name=Value"}));
  struct stat null = {};
  ::stat("/dev/null", &null);
  EXPECT_EQ(stderrDevice, null.st_rdev);

  const auto whereItWasClosed = test::inChild([this] {
    ::close(STDERR_FILENO);
    connect({path});
    ::_exit(::fcntl(STDERR_FILENO, F_GETFD));  // programs that are started from here get it too
  });
  EXPECT_EQ(whereItWasClosed.result, 0);

  EXPECT_EQ(connect({"-lppDebug", dir / "missing"}), "connect: No such file or directory (2)");
  EXPECT_THAT(dir.read("debug.log"),
              testing::MatchesRegex("[0-9-]{10} [0-9:]{8}Z: connecting to '" + (dir / "missing") +
                                    "'\nconnect: No such file or directory .2.\n"));
}

TEST_F(LaunchedProcessPipeTest, numberAdoptsADescriptor) {
  EXPECT_EQ(connect({"-hash", "00", std::to_string(pair[0])}), "");  // there is no secret to read
  ASSERT_EQ(::write(pair[1], "x", 1), 1);
  EXPECT_EQ(io->in()->readU8(), 'x');
}

}  // namespace
