// Connections of the Unix family: UnixIo itself, descriptors that are taken over, and the pipe to the launcher.

#include "base/os/UnixIo.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/io/TcpIo.h"
#include "base/os/LaunchedProcessPipe.h"
#include "base/os/adoptFd.h"
#include "base/plat/exceptions.h"
#include "tests/base/os/inChild.h"
#include "tests/support/TempDir.h"
#include "tests/support/openFds.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

using os::UnixIo;
using test::Fd;

/// A socket bound to a path, listening if it is a stream socket.
int serve(const std::string& path, int type = SOCK_STREAM, int backlog = 5) {
  const int fd = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
  EXPECT_EQ(::listen(fd, backlog), type == SOCK_STREAM ? 0 : -1);
  return fd;
}

const std::string UidAtEnd = "-uid-" + std::to_string(::geteuid()) + ">";

TEST(UnixIo, namesTellSidePathAndUser) {
  const test::TempDir dir;
  const std::string path = dir / "a b:%\xC3\xA9";
  const Fd server(serve(path));
  UnixIo client(path.c_str(), -1, false);
  EXPECT_EQ(client.displayName(), "<unix-client-" + path + UidAtEnd);
  EXPECT_EQ(client.peerEndpoint().get(), "[unix:" + dir.path() + "/a b%3A%25\xC3\xA9]");
  UnixIo accepted(path.c_str(), ::accept(server, nullptr, nullptr), false);
  EXPECT_EQ(accepted.displayName(), "<unix-server-" + path + UidAtEnd);
  EXPECT_STREQ(accepted.peerEndpoint().get(), "") << "the client has no path";
  const int uid = static_cast<int>(::geteuid());
  EXPECT_NO_THROW(accepted.namedPipeCredCheck(uid));
  EXPECT_EQ(test::messageFrom([&] { accepted.namedPipeCredCheck(uid + 1); }), "namedPipeCredCheck: uid mismatch");
}

TEST(UnixIo, refusalsOfTheSystemAreRaisedOrAreTheAnswer) {
  const test::TempDir dir;
  dir.write("file", "");
  ::close(serve(dir / "gone"));
  const Fd datagrams(serve(dir / "datagrams", SOCK_DGRAM));
  const Fd stream(serve(dir / "stream", SOCK_STREAM, 0));
  const auto before = test::openFds();
  const struct {
    std::string path;
    bool datagram;
    int connectError;  // -1: none
    int canConnect;    // -1: raises the same
  } cases[] = {{std::string(108, 'x'), false, ENAMETOOLONG, -1}, {std::string(107, 'x'), false, ENOENT, 0},
               {dir / "file", false, ECONNREFUSED, 0},           {dir / "gone", false, ECONNREFUSED, 0},
               {dir / "datagrams", false, EPROTOTYPE, -1},       {dir / "datagrams", true, -1, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(test::failureFrom([&] { UnixIo(c.path.c_str(), -1, c.datagram); }).err, c.connectError) << c.path;
    int answer = -1;
    const int error = test::failureFrom([&] { answer = UnixIo::canConnect(c.path.c_str(), c.datagram); }).err;
    EXPECT_EQ(answer, c.canConnect) << c.path;
    EXPECT_EQ(error, answer < 0 ? c.connectError : -1);
  }
  for (int i = 0; i < 5; ++i) {  // soon the queue is full, which takes a listener
    EXPECT_TRUE(UnixIo::canConnect((dir / "stream").c_str(), false));
  }
  int pipeFds[2];
  ASSERT_EQ(::pipe(pipeFds), 0);
  {
    UnixIo noSocket(nullptr, pipeFds[0], false);
    EXPECT_STREQ(noSocket.displayName(), "<unix-server-anon>");
    EXPECT_EQ(test::failureFrom([&] { noSocket.namedPipeCredCheck(0); }).err, ENOTSOCK);
  }
  ::close(pipeFds[1]);
  EXPECT_EQ(test::openFds(), before);
}

TEST(AdoptFd, makesAConnectionOfItsKind) {
  int fds[6];  // stream sockets, datagram sockets and a pipe
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, fds + 2), 0);
  ASSERT_EQ(::pipe(fds + 4), 0);
  for (int i = 0; i < 6; ++i) {
    const std::unique_ptr<io::Io> io = os::adoptFd(fds[i]);
    EXPECT_EQ(io->displayName(), i < 2 ? "<unix-server-anon" + UidAtEnd : "<fd" + std::to_string(fds[i]) + ">");
    EXPECT_EQ(io->flags().count("secureTransport"), i < 2 ? 1U : 0U);
    EXPECT_NE(::fcntl(fds[i], F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(fds[i], F_GETFL) & O_NONBLOCK, 0);
  }
  EXPECT_THROW(os::adoptFd(fds[4]), plat::SystemException) << "the connection owned it";

  const Fd listener(test::bindTo(io::IpInfo("127.0.0.1", 0)));
  ASSERT_EQ(::listen(listener, 1), 0);
  const std::unique_ptr<io::Io> tcp = os::adoptFd(test::connectTo(test::localAddress(listener)), 65536);
  EXPECT_NE(dynamic_cast<io::TcpIo*>(tcp.get()), nullptr);
  const Fd peer(os::acceptSocket(listener));
  const std::string bytes(65536, 'x');
  ASSERT_EQ(::write(peer, bytes.data(), bytes.size()), 65536);
  EXPECT_TRUE(tcp->in()->check(true, 65536));
  EXPECT_EQ(tcp->in()->nUnread(), 65536) << "the buffer has the wanted size";
}

class LaunchedProcessPipeTest : public testing::Test {
protected:
  /// The text of what connecting raises; "" if it connects. The connection is kept in `io`, the arguments that were
  /// left over in `rest`, and the device of standard error then in `stderrDevice`; standard error is as it was.
  std::string connect(std::vector<std::string> words, int minExtraArgs = 0) {
    const Fd standardError(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10));
    std::vector<char*> argv;
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    char** cursor = argv.data();
    const std::string raised = test::messageFrom(
        [&] { io = os::LaunchedProcessPipe((dir / "debug.log").c_str()).connect(cursor, minExtraArgs); });
    struct stat st = {};
    ::fstat(STDERR_FILENO, &st);
    ::dup2(standardError, STDERR_FILENO);
    stderrDevice = st.st_rdev;
    rest.assign(words.begin() + (cursor - argv.data()), words.end());
    return io != nullptr ? "" : raised;
  }

  test::TempDir dir;
  const std::string path = dir / "pipe";
  const Fd listener{serve(path)};
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
  }
  EXPECT_EQ(connect({"-lppDebug", dir / "missing"}), "connect: No such file or directory (2)");
  EXPECT_THAT(dir.read("debug.log"),
              testing::MatchesRegex("[0-9-]{10} [0-9:]{8}Z: connecting to '" + (dir / "missing") +
                                    "'\nconnect: No such file or directory .2.\n"));
}

TEST_F(LaunchedProcessPipeTest, connectsToAPathAndMovesStandardErrorAway) {
  EXPECT_EQ(connect({path, "-lppDebug", "Name=Value"}, 1), "");
  EXPECT_EQ(io->displayName(), "<unix-client-" + path + UidAtEnd);
  EXPECT_EQ(rest, (std::vector<std::string>{"-lppDebug", "Name=Value"}));
  struct stat null = {};
  ::stat("/dev/null", &null);
  EXPECT_EQ(stderrDevice, null.st_rdev);
  const auto whereItWasClosed = test::inChild([this] {
    ::close(STDERR_FILENO);
    char* words[] = {const_cast<char*>(path.c_str()), nullptr};
    char** cursor = words;
    io = os::LaunchedProcessPipe((dir / "debug.log").c_str()).connect(cursor, 0);
    ::_exit(::fcntl(STDERR_FILENO, F_GETFD));  // programs that are started from here get it too
  });
  EXPECT_EQ(whereItWasClosed.result, 0);
}

TEST_F(LaunchedProcessPipeTest, aNumberIsAnInheritedDescriptorWhichNeedsNoSecret) {
  int pair[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
  const Fd peer(pair[1]);
  EXPECT_EQ(connect({"-hash", "00", std::to_string(pair[0])}), "");
  ASSERT_EQ(::write(peer, "x", 1), 1);
  EXPECT_EQ(io->in()->readU8(), 'x');
}

}  // namespace
