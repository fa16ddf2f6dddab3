// How the helper starts, finds its parent and ends: exit codes, links, the proof of the secret.

#include <sys/un.h>

#include "tests/apps/RawPeer.h"

namespace {

// SHA-256 of 32 bytes "s".
constexpr char SecretDigest[] = "8fd6a6a78f5857d7ba1cfe9033bffeec86da2ba6a4bd60a6f833209d9d3e390d";

/// A socket on disk for a helper to call back on.
class LaunchTest : public testing::Test {
protected:
  LaunchTest() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (dir / "link").c_str());
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener, 1), 0);
  }
  void accept() { fd.emplace(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)); }
  /// Sends all that the helper is to get, and gives what comes until the link closes.
  std::string answerTo(const std::string& bytes) {
    EXPECT_EQ(send(*fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    shutdown(*fd, SHUT_WR);
    std::string all;
    char piece[4096];
    for (ssize_t count; (count = recv(*fd, piece, sizeof piece, 0)) > 0;) {
      all.append(piece, static_cast<std::size_t>(count));
    }
    return all;
  }

  const test::TempDir dir;
  const test::Fd listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::optional<test::Fd> fd;
};

}  // namespace

TEST_F(LaunchTest, refusesWithTheReason) {
  const struct {
    std::vector<std::string> words;
    std::string line;  // the last on standard error
  } cases[] = {
      {{}, "This program is not intended to be run directly.\n"},
      {{dir / "absent"}, ""},  // standard error is away by then
      {{"-fork2"}, "Error contacting server: Bad command-line: got -fork2 instead of pipe name\n"},
      {{"-setuidhelper", "65534"}, "setuidhelper: missing argument\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    const Outcome outcome = run({helper()}, c.words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    const std::string errors = "\n" + outcome.errors;
    EXPECT_TRUE(errors.ends_with("\n" + c.line)) << errors;
    if (c.words.empty()) {
      EXPECT_NE(errors.find("]: kelfopshelper: " + c.line), std::string::npos) << errors;  // and in the log
    }
  }
}

TEST(Launch, makesTheUsersDirectoriesPrivate) {
  const test::TempDir home;
  home.makeDir("home/.kel");
  std::filesystem::permissions(home / "home/.kel", std::filesystem::perms(0755));
  Child child({helper()}, [&] {
    setenv("HOME", (home / "home").c_str(), 1);
    setenv("KEL_PROFILE", "a/b\n", 1);
    setenv("KEL_CONFIG_PROFILE", "other", 1);
  });
  EXPECT_EQ(child.wait(), 1);
  for (const char* folder : {"home/.kel", "home/.kel/profiles/a-b-", "home/.kel/profiles/other/config.d"}) {
    SCOPED_TRACE(folder);
    EXPECT_EQ(std::filesystem::status(home / folder).permissions(), std::filesystem::perms(0700));
  }
  home.write("file", "");
  Child broken({helper()}, [&] { setenv("HOME", (home / "file").c_str(), 1); });
  EXPECT_EQ(broken.wait(), 1);
  EXPECT_NE(broken.errors().find("mkDir(" + home / "file/.kel" + "): Not a directory (20)\n"), std::string::npos)
      << broken.errors();
}

TEST(Launch, refusesABadArgumentBehindTheLink) {
  RawPeer peer({"NoSuchParameter=1"});
  EXPECT_EQ(peer.child().wait(), 1);
  EXPECT_NE(peer.child().errors().find("Bad argument 'NoSuchParameter=1'.  Run with -help for usage."),
            std::string::npos);
}

TEST_F(LaunchTest, answersTheSecretAndOnlyThat) {
  std::string other = SecretDigest;
  other.back() = 'c';
  for (const auto& [digest, letter] :
       {std::pair(SecretDigest, 's'), {SecretDigest, 'x'}, {"00", 's'}, {other.c_str(), 's'}}) {
    SCOPED_TRACE(digest);
    Child child({helper(), "-hash", digest, dir / "link"});
    accept();
    const std::string answer = answerTo(std::string(32, letter) + ClientInit4);
    const bool right = digest == SecretDigest && letter == 's';
    EXPECT_EQ(answer.find("ServerInit") != std::string::npos, right);
    EXPECT_EQ(answer.empty(), !right);
    EXPECT_EQ(child.wait(), 1);
  }
}

TEST_F(LaunchTest, servesADetachedGrandchildAfterFork) {
  Child child({helper(), "-fork", dir / "link", "FopsDir=" + dir.path()});
  accept();
  EXPECT_EQ(child.wait(), 0);
  ucred peer = {};
  socklen_t size = sizeof peer;
  ASSERT_EQ(getsockopt(*fd, SOL_SOCKET, SO_PEERCRED, &peer, &size), 0);
  EXPECT_NE(peer.pid, child.pid());
  EXPECT_NE(getsid(peer.pid), getsid(0));
  EXPECT_NE(answerTo(ClientInit4).find("ServerInit"), std::string::npos);
}
