// Connections of the Unix family: UnixIo itself, descriptors that are taken over, and the pipe to the launcher.

#include "base/os/UnixIo.h"

#include <sys/un.h>

#include "base/io/TcpIo.h"
#include "base/os/LaunchedProcessPipe.h"
#include "base/os/adoptFd.h"
#include "tests/base/io/FdPair.h"
#include "tests/base/os/inChild.h"
#include "tests/support/prelude.h"
#include "tests/support/sockets.h"

namespace {

using namespace test;
using os::UnixIo;
using test::TempDir;  // testing has one, too

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
  const TempDir dir;
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
  EXPECT_EQ(messageFrom([&] { accepted.namedPipeCredCheck(uid + 1); }), "namedPipeCredCheck: uid mismatch");
}

TEST(UnixIo, refusalsOfTheSystemAreRaisedOrAreTheAnswer) {
  const TempDir dir;
  ::close(serve(dir / "gone"));
  const Fd datagrams(serve(dir / "datagrams", SOCK_DGRAM));
  const Fd stream(serve(dir / "stream", SOCK_STREAM, 0));
  const auto before = openFds();
  const struct {
    std::string path;
    bool datagram;
    int connectError;  // -1: none
    int canConnect;    // -1: raises the same
  } cases[] = {{std::string(108, 'x'), false, ENAMETOOLONG, -1},
               {std::string(107, 'x'), false, ENOENT, 0},
               {dir / "gone", false, ECONNREFUSED, 0},
               {dir / "datagrams", false, EPROTOTYPE, -1},
               {dir / "datagrams", true, -1, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(failureFrom([&] { UnixIo(c.path.c_str(), -1, c.datagram); }).err, c.connectError) << c.path;
    int answer = -1;
    const int error = failureFrom([&] { answer = UnixIo::canConnect(c.path.c_str(), c.datagram); }).err;
    EXPECT_EQ(answer, c.canConnect) << c.path;
    EXPECT_EQ(error, answer < 0 ? c.connectError : -1);
  }
  for (int i = 0; i < 5; ++i) {  // soon the queue is full, which takes a listener
    EXPECT_TRUE(UnixIo::canConnect((dir / "stream").c_str(), false));
  }
  {
    UnixIo noSocket(nullptr, ::open("/dev/null", O_RDWR | O_CLOEXEC), false);
    EXPECT_STREQ(noSocket.displayName(), "<unix-server-anon>");
    EXPECT_EQ(failureFrom([&] { noSocket.namedPipeCredCheck(0); }).err, ENOTSOCK);
  }
  EXPECT_EQ(openFds(), before);
}

TEST(AdoptFd, makesAConnectionOfItsKind) {
  FdPair pair;
  const int stream = pair.takeNear();
  for (const int fd : {stream, ::socket(AF_UNIX, SOCK_DGRAM, 0), ::open("/dev/null", O_RDWR)}) {
    const bool isUnix = fd == stream;
    const std::unique_ptr<io::Io> io = os::adoptFd(fd);
    EXPECT_EQ(io->displayName(), isUnix ? "<unix-server-anon" + UidAtEnd : "<fd" + std::to_string(fd) + ">");
    EXPECT_EQ(io->flags().count("secureTransport"), isUnix ? 1U : 0U);
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  }
  EXPECT_THROW(os::adoptFd(-1), plat::SystemException);

  const Fd listener(listenOn("127.0.0.1"));
  const std::unique_ptr<io::Io> tcp = os::adoptFd(connectTo(localAddress(listener)), 65536);
  EXPECT_NE(dynamic_cast<io::TcpIo*>(tcp.get()), nullptr);
  const Fd peer(os::acceptSocket(listener));
  const std::string bytes(65536, 'x');
  ASSERT_EQ(::write(peer, bytes.data(), bytes.size()), 65536);
  EXPECT_TRUE(tcp->in()->check(true, 65536));
  EXPECT_EQ(tcp->in()->nUnread(), 65536) << "the buffer has the wanted size";
}

class LaunchedProcessPipeTest : public Test {
protected:
  /// The text of what connecting raises; "" if it connects. The connection is kept in `io`, the number of arguments
  /// that were taken in `taken`, and where standard error went in `errorsGoTo`; standard error is as it was.
  std::string connect(std::vector<std::string> words, int minExtraArgs = 0) {
    const Fd standardError(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10));
    std::vector<char*> argv;
    for (std::string& word : words) {
      argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    char** cursor = argv.data();
    const std::string raised =
        messageFrom([&] { io = os::LaunchedProcessPipe((dir / "debug.log").c_str()).connect(cursor, minExtraArgs); });
    errorsGoTo = std::filesystem::read_symlink("/proc/self/fd/2");
    ::dup2(standardError, STDERR_FILENO);
    taken = cursor - argv.data();
    return io != nullptr ? "" : raised;
  }

  TempDir dir;
  const std::string path = dir / "pipe";
  const Fd listener{serve(path)};
  std::unique_ptr<io::Io> io;
  std::ptrdiff_t taken = 0;
  std::string errorsGoTo;
};

TEST_F(LaunchedProcessPipeTest, refusesBadCommandLines) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{}, "Bad command-line: got <null> instead of pipe name"},
      {{"-lppDebug", "-dummy"}, "Bad command-line: got -dummy instead of pipe name"},
      {{"-5"}, "Bad command-line: got -5 instead of pipe name"},
      {{"-hash"}, "-hash argument bad or missing"},
      {{"-hash", "", "pipe"}, "-hash argument bad or missing"},
      {{"-hash", "0g", "pipe"}, "-hash argument bad or missing"},
      {{std::string(108, 'x')}, "UnixIo: File name too long (36)"},
      {{"7x"}, "connect: No such file or directory (2)"},
      {{"99999999999"}, "connect: No such file or directory (2)"},
      {{"999"}, "setInheritable: Bad file descriptor (9)"}};
  for (const auto& [words, refusal] : cases) {
    EXPECT_EQ(connect(words), refusal);
  }
  EXPECT_EQ(connect({path, "one"}, 2), "This program is not intended to be run directly.");
  EXPECT_EQ(connect({"-lppDebug", dir / "missing"}), "connect: No such file or directory (2)");
  EXPECT_THAT(dir.read("debug.log"), MatchesRegex("[0-9-]{10} [0-9:]{8}Z: connecting to '" + (dir / "missing") +
                                                  "'\nconnect: No such file or directory .2.\n"));
}

TEST_F(LaunchedProcessPipeTest, connectsToAPathOrAnInheritedDescriptorAndMovesStandardErrorAway) {
  EXPECT_EQ(connect({path, "-lppDebug", "Name=Value"}, 1), "");
  EXPECT_EQ(io->displayName(), "<unix-client-" + path + UidAtEnd);
  EXPECT_EQ(taken, 1);
  EXPECT_EQ(errorsGoTo, "/dev/null");
  const auto whereItWasClosed = inChild([this] {
    ::close(STDERR_FILENO);
    connect({path});
    ::_exit(::fcntl(STDERR_FILENO, F_GETFD));  // programs that are started from here get it too
  });
  EXPECT_EQ(whereItWasClosed.result, 0);

  FdPair pair;
  EXPECT_EQ(connect({"-hash", "00", std::to_string(pair.takeNear())}), "") << "a descriptor needs no secret";
  pair.send("x");
  EXPECT_EQ(io->in()->readU8(), 'x');
}

}  // namespace
