#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "TestStreams.h"
#include "base/plat/Time.h"
#include "base/plat/TimedOut.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/FdInStreamOwn.h"
#include "base/rdr/FdOutStream.h"
#include "base/rdr/fdWait.h"
#include "tests/base/io/FdPair.h"

using test::pattern;
using test::put;
using test::raised;

namespace {

/// The near end of a connection, not waiting; the test plays the peer on the far end.
class FdStreams : public testing::Test {
protected:
  FdStreams() {
    fcntl(pair.near(), F_SETFL, O_NONBLOCK);
    std::signal(SIGPIPE, SIG_IGN);
  }

  test::FdPair pair;
};

class RecordingCallback final : public rdr::FdOutStream::Callback {
public:
  void writeResult(rdr::FdOutStream*, bool blocked) override { events += blocked ? 'b' : 'w'; }
  void writeClosed(rdr::FdOutStream*) override { events += 'c'; }
  std::string events;
};

}  // namespace

TEST_F(FdStreams, readWhatIsThereAndThenBlockOrTimeOut) {
  rdr::FdInStream in(pair.near());
  in.setNonBlocking(true);
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  pair.send("abc");
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(in.nUnread(), 2) << "one read takes all";
  in.setNonBlocking(false);
  in.setTimeout(0);
  in.skip(2);
  EXPECT_EQ(raised([&] { in.readU8(); }), "Timed out");
  pair.send("de");
  EXPECT_EQ(in.readU8(), 'd');
  pair.send("f");
  in.setTimedOut();
  EXPECT_EQ(in.readU8(), 'e') << "what is buffered can still be read";
  EXPECT_THROW(in.readU8(), plat::TimedOut);
}

TEST_F(FdStreams, reportTheEndAlsoWhenNotWaiting) {
  rdr::FdInStream in(pair.near());
  in.setNonBlocking(true);
  pair.closeFar();
  EXPECT_EQ(raised([&] { in.readU8(); }), "End of IO stream");
  rdr::FdInStreamOwn folder(open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(raised([&] { folder.readU8(); }), "read: Is a directory (21)");
}

TEST_F(FdStreams, closeOnlyWhatTheyOwn) {
  { rdr::FdInStream in(pair.near()); }
  { rdr::FdOutStream out(pair.near()); }
  const int copy = dup(pair.near());
  ASSERT_GE(copy, 0) << "the original is open";
  {
    rdr::FdInStreamOwn first(copy);
    pair.send("abc");
    first.readU8();
    rdr::FdInStream second(std::move(static_cast<rdr::FdInStream&>(first)));
    EXPECT_EQ(first.fd(), -1);
    EXPECT_EQ(second.readU8(), 'b') << "unread bytes move along";
    EXPECT_EQ(second.offset(), 2U);
  }
  EXPECT_LT(fcntl(copy, F_GETFD), 0);
}

TEST_F(FdStreams, waitForTheWholeLimitInSpiteOfSignals) {
  static volatile std::sig_atomic_t interruptions = 0;
  std::signal(SIGALRM, [](int) { interruptions = interruptions + 1; });
  const itimerval every{{0, 5000}, {0, 5000}};
  setitimer(ITIMER_REAL, &every, nullptr);
  const plat::FileTime start = plat::getMonoTime();
  EXPECT_FALSE(rdr::waitForFd(pair.near(), 60, true, false));
  const plat::FileTime ms = (plat::getMonoTime() - start) / plat::TicksPerMs;
  const itimerval off{};
  setitimer(ITIMER_REAL, &off, nullptr);
  std::signal(SIGALRM, SIG_DFL);
  EXPECT_GE(ms, 60);
  EXPECT_LT(ms, 1000) << "the limit does not start again at each signal";
  EXPECT_GE(interruptions, 3);
  EXPECT_TRUE(rdr::waitForFd(pair.near(), 0, true, true)) << "can be written";
}

TEST_F(FdStreams, refuseToWaitForADescriptorThatSelectCannotWatch) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit raisedLimit{std::max<rlim_t>(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, 2048)), limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &raisedLimit);
  const int high = fcntl(pair.near(), F_DUPFD_CLOEXEC, 1024);
  if (high < 0) {
    GTEST_SKIP() << "the system allows no such descriptor";
  }
  {
    rdr::FdInStreamOwn in(high);
    EXPECT_EQ(raised([&] { in.readU8(); }), "select: Too many open files (24)");
    pair.send("a");
    EXPECT_EQ(in.readU8(), 'a') << "as long as it need not wait it works";
  }
  setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(FdStreams, tellTheirOwnerOfEveryWrite) {
  rdr::FdOutStream out(pair.near(), 16384);
  out.setTimeout(0);
  EXPECT_EQ(raised([&] { put(out, pattern(8 << 20)); }), "Timed out");
  pair.receive();
  RecordingCallback callback;
  out.setCallback(&callback);
  out.setLazy(true);
  EXPECT_EQ(callback.events, "w");
  EXPECT_THROW(put(out, pattern(8 << 20)), plat::TimedOut);
  callback.events.clear();
  out.flush();
  EXPECT_EQ(callback.events, "b");
  EXPECT_TRUE(out.closeWrite());
  EXPECT_EQ(callback.events, "bc") << "with bytes pending the socket stays open";
  pair.receive();
  EXPECT_TRUE(out.writeAll(false));
  pair.receive();
  EXPECT_TRUE(out.closeWrite());
  EXPECT_EQ(callback.events.back(), 'c');
  EXPECT_TRUE(pair.farEnded());
}

TEST_F(FdStreams, raiseOrSwallowWriteErrors) {
  rdr::FdOutStream out(pair.near());
  pair.closeFar();
  put(out, "a");
  out.setThrowErrors(false);
  EXPECT_EQ(raised([&] { out.flush(); }), "write: Broken pipe (32)") << "a waiting stream raises all the same";
  out.setLazy(true);
  out.flush();
  EXPECT_EQ(out.nPending(), 1);
  EXPECT_NE(raised([&] { out.writeOnce(true); }).find("'!needWrite'"), std::string::npos);
  rdr::FdOutStream notASocket(open("/dev/null", O_WRONLY | O_CLOEXEC));
  notASocket.setOwnFd(true);
  EXPECT_EQ(raised([&] { notASocket.closeWrite(); }), "shutdown(SHUT_WR): Socket operation on non-socket (88)");
}

TEST_F(FdStreams, sendWhatIsPendingBeforeTheyGo) {
  { put(*std::make_unique<rdr::FdOutStream>(pair.near()), "last words"); }
  EXPECT_EQ(pair.receive(), "last words");
  pair.closeFar();
  { put(*std::make_unique<rdr::FdOutStream>(pair.near()), "lost"); }  // its destructor lets nothing escape
}
