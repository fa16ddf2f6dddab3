#include "base/os/adoptFd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/io/TcpIo.h"
#include "base/plat/SystemException.h"
#include "tests/support/sockets.h"

namespace {

TEST(AdoptFd, makesAConnectionOfItsKind) {
  int unixFds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, unixFds), 0);
  int datagrams[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, datagrams), 0);
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  for (const int fd : {unixFds[0], unixFds[1], pipe[0], pipe[1], datagrams[0], datagrams[1]}) {
    const std::unique_ptr<io::Io> io = os::adoptFd(fd);
    const bool isUnix = fd == unixFds[0] || fd == unixFds[1];
    EXPECT_EQ(io->displayName(),
              isUnix ? "<unix-server-anon-uid-" + std::to_string(::geteuid()) + ">" : "<fd" + std::to_string(fd) + ">");
    EXPECT_EQ(io->flags().count("secureTransport"), isUnix ? 1U : 0U);
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  }
  EXPECT_THROW(os::adoptFd(pipe[0]), plat::SystemException) << "the connection owned it";
}

TEST(AdoptFd, tcpSocketGetsABufferOfTheWantedSize) {
  const test::Fd listener(test::bindTo(io::IpInfo("127.0.0.1", 0)));
  ASSERT_EQ(::listen(listener, 1), 0);
  const int client = test::connectTo(test::localAddress(listener));
  const test::Fd peer(os::acceptSocket(listener));
  const std::unique_ptr<io::Io> io = os::adoptFd(client, 65536);
  EXPECT_NE(dynamic_cast<io::TcpIo*>(io.get()), nullptr);
  const std::string bytes(65536, 'x');
  ASSERT_EQ(::write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  EXPECT_TRUE(io->in()->check(true, 65536));
  EXPECT_EQ(io->in()->nUnread(), 65536);
}

}  // namespace
