#include "base/os/adoptFd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/io/FdIo.h"
#include "base/io/TcpIo.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/SystemException.h"

namespace {

TEST(AdoptFd, unixSocketWithoutAPath) {
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  const std::unique_ptr<io::Io> io = os::adoptFd(fds[0]);
  EXPECT_NE(dynamic_cast<os::UnixIo*>(io.get()), nullptr);
  EXPECT_EQ(io->displayName(), "<unix-server-anon-uid-" + std::to_string(::geteuid()) + ">");
  EXPECT_NE(::fcntl(fds[0], F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(::fcntl(fds[0], F_GETFL) & O_NONBLOCK, 0);
  ::close(fds[1]);
}

TEST(AdoptFd, tcpSocket) {
  const int listener = ::socket(AF_INET6, SOCK_STREAM, 0);
  if (listener < 0) {
    GTEST_SKIP() << "no IPv6 here";
  }
  sockaddr_in6 address = {};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  socklen_t length = sizeof address;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0) {
    ::close(listener);
    GTEST_SKIP() << "no IPv6 loopback here";
  }
  ASSERT_EQ(::listen(listener, 1), 0);
  ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
  const int client = ::socket(AF_INET6, SOCK_STREAM, 0);
  ASSERT_EQ(::connect(client, reinterpret_cast<sockaddr*>(&address), length), 0);
  const std::unique_ptr<io::Io> io = os::adoptFd(client);
  EXPECT_NE(dynamic_cast<io::TcpIo*>(io.get()), nullptr);
  EXPECT_EQ(io->flags().count("secureTransport"), 1U);
  ::close(listener);
}

TEST(AdoptFd, everythingElse) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  int datagrams[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, datagrams), 0);
  for (const int fd : {fds[0], fds[1], datagrams[0], datagrams[1]}) {
    const std::unique_ptr<io::Io> io = os::adoptFd(fd);
    EXPECT_EQ(io->displayName(), "<fd" + std::to_string(fd) + ">");
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_TRUE(io->flags().empty());
  }
  EXPECT_EQ(::fcntl(fds[0], F_GETFD), -1);  // the connection owned it
}

TEST(AdoptFd, descriptorThatIsNotOpen) {
  EXPECT_THROW(os::adoptFd(999), plat::SystemException);
}

TEST(AdoptFd, givesTheInputBufferTheWantedSize) {
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  const std::unique_ptr<io::Io> io = os::adoptFd(fds[0], 65536);
  const std::string bytes(65536, 'x');
  ASSERT_EQ(::write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  EXPECT_TRUE(io->in()->check(true, 65536));
  EXPECT_EQ(io->in()->nUnread(), 65536);
  ::close(fds[1]);
}

}  // namespace
