#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "TestStreams.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/TimedOut.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/FdInStreamOwn.h"
#include "base/rdr/FdOutStream.h"
#include "base/rdr/fdWait.h"

using test::pattern;
using test::put;
using test::raised;
using Clock = std::chrono::steady_clock;

namespace {

long msSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

/// Two connected sockets, both non-blocking; [1] stands for the peer.
class FdStreams : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, fds), 0);
    std::signal(SIGPIPE, SIG_IGN);
  }
  void TearDown() override {
    closeEnd(0);
    closeEnd(1);
  }
  void closeEnd(int i) {
    if (fds[i] >= 0) {
      close(fds[i]);
      fds[i] = -1;
    }
  }
  void peerSends(std::string_view bytes) {
    ASSERT_EQ(write(fds[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  std::string peerReceives() {
    std::string bytes(1 << 20, '\0');
    const ssize_t n = read(fds[1], bytes.data(), bytes.size());
    bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return bytes;
  }

  int fds[2] = {-1, -1};
};

/// Lets a signal come in every few milliseconds while it lives.
class Interruptions {
public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) { count = count + 1; };
    sigaction(SIGALRM, &action, &old_);
    const itimerval every{{0, 5000}, {0, 5000}};
    setitimer(ITIMER_REAL, &every, nullptr);
  }
  ~Interruptions() {
    const itimerval off{};
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &old_, nullptr);
  }
  static inline volatile std::sig_atomic_t count = 0;

private:
  struct sigaction old_ {};
};

class RecordingCallback final : public rdr::FdOutStream::Callback {
public:
  void writeResult(rdr::FdOutStream*, bool blocked) override { events += blocked ? 'b' : 'w'; }
  void writeClosed(rdr::FdOutStream*) override { events += 'c'; }
  std::string events;
};

}  // namespace

TEST_F(FdStreams, readWhatIsThereAndThenBlockOrWait) {
  rdr::FdInStream in(fds[0]);
  in.setNonBlocking(true);
  EXPECT_FALSE(in.check(false));
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  peerSends("abc");
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(in.nUnread(), 2) << "one read takes all";
  in.setNonBlocking(false);
  in.setTimeout(0);
  in.skip(2);
  EXPECT_EQ(raised([&] { in.readU8(); }), "Timed out");
  in.setTimeout(10000);
  std::thread peer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    peerSends("d");
  });
  EXPECT_EQ(in.readU8(), 'd');
  peer.join();
}

TEST_F(FdStreams, reportTheEndAlsoWhenNotWaiting) {
  rdr::FdInStream in(fds[0]);
  in.setNonBlocking(true);
  peerSends("a");
  closeEnd(1);
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(raised([&] { in.readU8(); }), "End of IO stream");
  rdr::FdInStream folder(open("/", O_RDONLY | O_CLOEXEC));
  folder.setOwnFd(true);
  EXPECT_EQ(raised([&] { folder.readU8(); }), "read: Is a directory (21)");
}

TEST_F(FdStreams, giveBufferedBytesOutBeforeTheyTimeOut) {
  rdr::FdInStream in(fds[0]);
  peerSends("ab");
  EXPECT_EQ(in.readU8(), 'a');
  peerSends("c");
  in.setTimedOut();
  EXPECT_EQ(in.readU8(), 'b');
  EXPECT_THROW(in.readU8(), plat::TimedOut);
}

TEST_F(FdStreams, closeOnlyWhatTheyOwn) {
  { rdr::FdInStream in(fds[0]); }
  { rdr::FdOutStream out(fds[0]); }
  EXPECT_TRUE(isOpen(fds[0]));
  const int copy = dup(fds[0]);
  {
    rdr::FdInStreamOwn first(copy);
    peerSends("abc");
    first.readU8();
    rdr::FdInStream second(std::move(static_cast<rdr::FdInStream&>(first)));
    EXPECT_EQ(first.fd(), -1);
    EXPECT_EQ(second.fd(), copy);
    EXPECT_EQ(second.readU8(), 'b') << "unread bytes move along";
    EXPECT_EQ(second.offset(), 2U);
    EXPECT_EQ(raised([&] { static_cast<void>(first.check(true)); }), "InStream overrun: buffer size exceeded");
  }
  EXPECT_FALSE(isOpen(copy));
}

TEST_F(FdStreams, waitForTheWholeLimitInSpiteOfSignals) {
  const Interruptions interruptions;
  const int before = Interruptions::count;
  const auto start = Clock::now();
  EXPECT_FALSE(rdr::waitForFd(fds[0], 60, true, false));
  EXPECT_GE(msSince(start), 60);
  EXPECT_LT(msSince(start), 1000) << "the limit does not start again at each signal";
  EXPECT_GE(Interruptions::count - before, 3);
  EXPECT_TRUE(rdr::waitForFd(fds[0], 0, true, true)) << "can be written";
  peerSends("x");
  EXPECT_TRUE(rdr::waitForFd(fds[0], -1, true, false));
}

TEST_F(FdStreams, refuseToWaitForADescriptorThatSelectCannotWatch) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit raisedLimit{std::max<rlim_t>(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, 2048)), limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &raisedLimit);
  const int high = fcntl(fds[0], F_DUPFD_CLOEXEC, 1024);
  if (high < 0) {
    GTEST_SKIP() << "the system allows no such descriptor";
  }
  {
    rdr::FdInStreamOwn in(high);
    EXPECT_EQ(raised([&] { in.readU8(); }), "select: Too many open files (24)");
    peerSends("a");
    EXPECT_EQ(in.readU8(), 'a') << "as long as it need not wait it works";
  }
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(raised([] { static_cast<void>(rdr::waitForFd(-1, 0, true, false)); }), "select: Bad file descriptor (9)");
}

TEST_F(FdStreams, deliverEverythingWhileWaiting) {
  const std::string bytes = pattern(3 << 20);
  std::string received;
  std::thread peer([&] {
    while (received.size() < bytes.size() && rdr::waitForFd(fds[1], 10000, true, false)) {
      received += peerReceives();
    }
  });
  rdr::FdOutStream out(fds[0]);
  put(out, bytes);
  out.flush();
  EXPECT_EQ(out.nPending(), 0);
  peer.join();
  EXPECT_EQ(received, bytes);
}

TEST_F(FdStreams, timeOutOnAPeerThatTakesNothing) {
  rdr::FdOutStream out(fds[0], 16384);
  out.setTimeout(0);
  EXPECT_EQ(raised([&] { put(out, pattern(8 << 20)); }), "Timed out");
  EXPECT_GT(out.nPending(), 0);
}

TEST_F(FdStreams, tellTheirOwnerOfEveryWrite) {
  rdr::FdOutStream out(fds[0]);
  RecordingCallback callback;
  out.setCallback(&callback);
  out.setLazy(true);
  put(out, pattern(4 << 20));
  EXPECT_EQ(callback.events.find_first_not_of("wb"), std::string::npos);
  EXPECT_EQ(callback.events.back(), 'b') << "the socket is full";
  EXPECT_EQ(callback.events.front(), 'w');
  callback.events.clear();
  out.flush();
  EXPECT_EQ(callback.events, "b");
  EXPECT_TRUE(out.closeWrite());
  EXPECT_EQ(callback.events, "bc") << "with bytes pending the socket stays open";
  while (!out.writeAll(false)) {
    EXPECT_FALSE(peerReceives().empty());
  }
  EXPECT_TRUE(out.closeWrite());
  EXPECT_EQ(callback.events.back(), 'c');
  while (!peerReceives().empty()) {
  }
  EXPECT_EQ(read(fds[1], callback.events.data(), 1), 0) << "end of stream at the peer";
}

TEST_F(FdStreams, raiseOrSwallowWriteErrors) {
  rdr::FdOutStream out(fds[0]);
  closeEnd(1);
  put(out, "a");
  EXPECT_EQ(raised([&] { out.flush(); }), "write: Broken pipe (32)");
  out.setThrowErrors(false);
  EXPECT_EQ(raised([&] { out.flush(); }), "write: Broken pipe (32)") << "a waiting stream raises all the same";
  try {
    out.setLazy(true);
  } catch (const plat::Exception&) {
    FAIL() << "setThrowErrors(false)";
  }
  EXPECT_NO_THROW(out.flush());
  EXPECT_EQ(out.nPending(), 1);
  EXPECT_NE(raised([&] { out.writeOnce(true); }).find("'!needWrite'"), std::string::npos);
  int pipeFds[2];
  ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
  rdr::FdOutStream onPipe(pipeFds[1]);
  EXPECT_EQ(raised([&] { onPipe.closeWrite(); }), "shutdown(SHUT_WR): Socket operation on non-socket (88)");
  close(pipeFds[0]);
  close(pipeFds[1]);
}

TEST_F(FdStreams, sendWhatIsPendingBeforeTheyGo) {
  {
    rdr::FdOutStream out(fds[0]);
    RecordingCallback callback;
    out.setCallback(&callback);
    put(out, "last words");
    EXPECT_EQ(callback.events, "");
  }
  EXPECT_EQ(peerReceives(), "last words");
  rdr::FdOutStream toNobody(fds[0]);
  closeEnd(1);
  put(toNobody, "lost");  // and its destructor lets nothing escape
}
