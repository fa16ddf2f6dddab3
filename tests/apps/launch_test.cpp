// How the helper starts, finds its parent and ends: exit codes, links, the proof of the secret, signals.

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/apps/Child.h"
#include "tests/apps/Environment.h"
#include "tests/apps/RawPeer.h"
#include "tests/support/TempDir.h"

namespace {

// SHA-256 of 32 bytes "s".
constexpr char SecretDigest[] = "8fd6a6a78f5857d7ba1cfe9033bffeec86da2ba6a4bd60a6f833209d9d3e390d";

class ListeningSocket {
public:
  explicit ListeningSocket(const std::string& path) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(fd_, 1), 0);
  }
  ~ListeningSocket() { close(fd_); }
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  int accept() const { return accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC); }

private:
  int fd_;
};

void sendAll(int fd, const std::string& bytes) {
  EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

std::string receiveAll(int fd) {
  std::string all;
  char piece[4096];
  for (ssize_t count; (count = recv(fd, piece, sizeof piece, 0)) > 0;) {
    all.append(piece, static_cast<std::size_t>(count));
  }
  return all;
}

const std::string ClientInit4(
    "\x80\x11\x04"
    "fops\x0a"
    "ClientInit\x04",
    19);

}  // namespace

TEST(Launch, refusesToBeRunByHand) {
  Child child({environment::helper()});
  EXPECT_EQ(child.wait(), 1);
  const std::string errors = child.errors();
  const std::string line = "This program is not intended to be run directly.\n";
  ASSERT_GT(errors.size(), line.size());
  EXPECT_EQ(errors.substr(errors.size() - line.size()), line);
  EXPECT_NE(errors.find("]: kelfopshelper: " + line), std::string::npos) << errors;  // and in the log
}

TEST(Launch, endsWithOneWhenTheParentCannotBeReached) {
  const test::TempDir dir;
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {dir / "absent"}, {"-hash"}, {"-hash", "abc", dir / "x"}, {"-hash", "xy", dir / "x"}, {"-unknown"}}) {
    std::vector<std::string> all = {environment::helper()};
    all.insert(all.end(), words.begin(), words.end());
    Child child(all);
    SCOPED_TRACE(words[0]);
    EXPECT_EQ(child.wait(), 1);
  }
}

TEST(Launch, saysWhyAnOptionIsRefused) {
  Child noValue({environment::helper(), "-hash"});
  EXPECT_EQ(noValue.wait(), 1);
  EXPECT_EQ(noValue.errors(), "Error contacting server: -hash argument bad or missing\n");
  Child noName({environment::helper(), "-fork2"});
  EXPECT_EQ(noName.wait(), 1);
  EXPECT_EQ(noName.errors(), "Error contacting server: Bad command-line: got -fork2 instead of pipe name\n");
}

TEST(Launch, makesTheUsersDirectoriesPrivate) {
  const test::TempDir home;
  home.makeDir("home/.kel");
  std::filesystem::permissions(home / "home/.kel", std::filesystem::perms(0755));
  const auto profile = [&] {
    setenv("HOME", (home / "home").c_str(), 1);
    setenv("KEL_PROFILE", "a/b", 1);
  };
  Child child({environment::helper()}, -1, -1, profile);
  EXPECT_EQ(child.wait(), 1);
  for (const char* folder : {"home/.kel", "home/.kel/profiles/a-b", "home/.kel/profiles/a-b/config.d"}) {
    SCOPED_TRACE(folder);
    EXPECT_EQ(std::filesystem::status(home / folder).permissions(), std::filesystem::perms(0700));
  }
  home.write("file", "");
  Child broken({environment::helper()}, -1, -1, [&] { setenv("HOME", (home / "file").c_str(), 1); });
  EXPECT_EQ(broken.wait(), 1);
  EXPECT_NE(broken.errors().find("mkDir(" + home / "file/.kel" + "): Not a directory (20)\n"), std::string::npos)
      << broken.errors();
}

TEST(Launch, refusesABadArgumentBehindTheLink) {
  const test::TempDir dir;
  RawPeer peer(dir.path(), {"NoSuchParameter=1"});
  EXPECT_EQ(peer.child().wait(), 1);
  EXPECT_NE(peer.child().errors().find("Bad argument 'NoSuchParameter=1'.  Run with -help for usage."),
            std::string::npos);
}

TEST(Launch, answersTheSecretOnASocketAndOnlyThen) {
  const test::TempDir dir;
  const ListeningSocket listener(dir / "link");
  {
    Child child({environment::helper(), "-hash", SecretDigest, dir / "link"});
    const int fd = listener.accept();
    sendAll(fd, std::string(32, 's') + ClientInit4);
    shutdown(fd, SHUT_WR);
    EXPECT_NE(receiveAll(fd).find("ServerInit"), std::string::npos);
    EXPECT_EQ(child.wait(), 1);
    close(fd);
  }
  {
    Child child({environment::helper(), "-hash", SecretDigest, dir / "link"});
    const int fd = listener.accept();
    sendAll(fd, std::string(32, 'x') + ClientInit4);
    EXPECT_EQ(receiveAll(fd), "");
    EXPECT_EQ(child.wait(), 1);
    close(fd);
  }
  for (const char* digest : {"00", "1ecc2ac9b3ca9ee33d2a3d7ce9d8d6d5b8d7cd4a9bfb7c8d0fca2de6f0d7c50f"}) {
    Child child({environment::helper(), "-hash", digest, dir / "link"});
    const int fd = listener.accept();
    sendAll(fd, std::string(32, 's'));
    EXPECT_EQ(child.wait(), 1);
    close(fd);
  }
}

TEST(Launch, servesADetachedGrandchildAfterFork) {
  const test::TempDir dir;
  const ListeningSocket listener(dir / "link");
  Child child({environment::helper(), "-fork", dir / "link", "FopsDir=" + dir.path()});
  const int fd = listener.accept();
  EXPECT_EQ(child.wait(), 0);
  ucred peer = {};
  socklen_t size = sizeof peer;
  ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size), 0);
  EXPECT_NE(peer.pid, child.pid());
  EXPECT_NE(getsid(peer.pid), getsid(0));
  sendAll(fd, ClientInit4);
  shutdown(fd, SHUT_WR);
  EXPECT_NE(receiveAll(fd).find("ServerInit"), std::string::npos);
  close(fd);
}

TEST(Launch, adoptsStandardInput) {
  const test::TempDir dir;
  int fds[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
  Child child({environment::helper(), "-dummy", "FopsDir=" + dir.path()}, fds[1], 0);
  close(fds[1]);
  sendAll(fds[0], ClientInit4);
  shutdown(fds[0], SHUT_WR);
  EXPECT_NE(receiveAll(fds[0]).find("ServerInit"), std::string::npos);
  EXPECT_EQ(child.wait(), 1);
  close(fds[0]);
}

TEST(Launch, endsWithZeroAfterASignal) {
  const test::TempDir dir;
  for (const auto& [number, name] : {std::pair(SIGTERM, "SIGTERM"), std::pair(SIGINT, "SIGINT")}) {
    RawPeer peer(dir.path());
    peer.askForLog(100);
    peer.openSession();
    peer.child().signal(number);
    EXPECT_EQ(peer.child().wait(), 0);
  }
}

TEST(Launch, endsWithOneWhenTheLinkCloses) {
  const test::TempDir dir;
  RawPeer peer(dir.path());
  peer.openSession();
  peer.closeLink();
  EXPECT_EQ(peer.child().wait(), 1);
}

TEST(Launch, printsHelpAndEndsWithOne) {
  const test::TempDir dir;
  RawPeer peer(dir.path(), {"-help"});
  EXPECT_EQ(peer.child().wait(), 1);
  const std::string help = peer.child().output();
  EXPECT_NE(help.find("Names are case-insensitive.  Valid parameters are listed below."), std::string::npos);
  EXPECT_NE(help.find("LogKeepDays"), std::string::npos);
  EXPECT_EQ(help.find("_FopsMaxChunkSize"), std::string::npos);
}
