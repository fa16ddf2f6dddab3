#include "base/os/unix/UnixIo.h"

#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/plat/SystemException.h"
#include "tests/support/TempDir.h"
#include "tests/support/openFds.h"
#include "tests/support/thrown.h"

namespace {

using os::UnixIo;

/// A socket bound to a path, listening if it is a stream socket.
class Server {
public:
  explicit Server(const std::string& path, int type = SOCK_STREAM, int backlog = 5)
      : fd_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << path;
    EXPECT_EQ(::listen(fd_, backlog), type == SOCK_STREAM ? 0 : -1);
  }
  ~Server() { ::close(fd_); }
  int acceptOne() const { return ::accept(fd_, nullptr, nullptr); }

private:
  int fd_;
};

/// The errno of a failed connection; -1 without a failure.
int connectError(const std::string& path, bool datagram = false) {
  return test::failureFrom([&] { UnixIo(path.c_str(), -1, datagram); }).err;
}

TEST(UnixIo, namesTellSidePathAndUser) {
  const test::TempDir dir;
  const std::string path = dir / "a b:%\xC3\xA9";
  const Server server(path);
  UnixIo client(path.c_str(), -1, false);
  const int uid = static_cast<int>(::geteuid());
  EXPECT_EQ(client.displayName(), "<unix-client-" + path + "-uid-" + std::to_string(uid) + ">");
  EXPECT_EQ(client.peerEndpoint().get(), "[unix:" + dir.path() + "/a b%3A%25\xC3\xA9]");
  UnixIo accepted(path.c_str(), server.acceptOne(), false);
  EXPECT_EQ(accepted.displayName(), "<unix-server-" + path + "-uid-" + std::to_string(uid) + ">");
  EXPECT_STREQ(accepted.peerEndpoint().get(), "") << "the client has no path";
  EXPECT_NO_THROW(accepted.namedPipeCredCheck(uid));
  EXPECT_EQ(test::messageFrom([&] { accepted.namedPipeCredCheck(uid + 1); }), "namedPipeCredCheck: uid mismatch");
}

TEST(UnixIo, refusalsOfTheSystemAreRaised) {
  const test::TempDir dir;
  const auto before = test::openFds();
  EXPECT_EQ(connectError(std::string(108, 'x')), ENAMETOOLONG);
  EXPECT_EQ(connectError(std::string(107, 'x')), ENOENT);
  dir.write("file", "");
  EXPECT_EQ(connectError(dir / "file"), ECONNREFUSED);
  const Server datagrams(dir / "datagrams", SOCK_DGRAM);
  EXPECT_EQ(connectError(dir / "datagrams"), EPROTOTYPE);
  EXPECT_EQ(connectError(dir / "datagrams", true), -1);
  EXPECT_THROW(UnixIo::canConnect(std::string(108, 'x').c_str(), false), plat::SystemException);
  int pipeFds[2];
  ASSERT_EQ(::pipe(pipeFds), 0);
  {
    UnixIo noSocket(nullptr, pipeFds[0], false);
    EXPECT_STREQ(noSocket.displayName(), "<unix-server-anon>");
    EXPECT_EQ(test::failureFrom([&] { noSocket.namedPipeCredCheck(0); }).err, ENOTSOCK);
  }
  ::close(pipeFds[1]);
  EXPECT_EQ(test::openFds().size(), before.size() + 1) << "that of the datagram socket";
}

TEST(UnixIo, canConnectTellsWhetherSomebodyListens) {
  const test::TempDir dir;
  { const Server gone(dir / "gone"); }
  const Server server(dir / "pipe", SOCK_STREAM, 0);
  const Server datagrams(dir / "datagrams", SOCK_DGRAM);
  EXPECT_FALSE(UnixIo::canConnect((dir / "nothing").c_str(), false));
  EXPECT_FALSE(UnixIo::canConnect((dir / "gone").c_str(), false));
  EXPECT_TRUE(UnixIo::canConnect((dir / "datagrams").c_str(), true));
  EXPECT_THROW(UnixIo::canConnect((dir / "datagrams").c_str(), false), plat::SystemException);
  const auto before = test::openFds();
  for (int i = 0; i < 5; ++i) {  // soon the queue is full, which takes a listener
    EXPECT_TRUE(UnixIo::canConnect((dir / "pipe").c_str(), false));
  }
  EXPECT_EQ(test::openFds(), before);
}

}  // namespace
