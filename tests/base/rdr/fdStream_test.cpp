
#include <sys/time.h>

#include "base/plat/Time.h"
#include "base/rdr/BorrowingFileStream.h"
#include "base/rdr/FdInStreamOwn.h"
#include "base/rdr/FdOutStream.h"
#include "base/rdr/FileOutStream.h"
#include "base/rdr/TransactedFileOutStream.h"
#include "base/rdr/fdWait.h"
#include "tests/base/io/FdPair.h"
#include "tests/support/prelude.h"

using namespace test;

namespace {

/// The near end of a connection, not waiting; the test plays the peer on the far end.
class FdStreams : public testing::Test {
protected:
  FdStreams() {
    fcntl(pair.near(), F_SETFL, O_NONBLOCK);
    std::signal(SIGPIPE, SIG_IGN);
  }

  FdPair pair;
};

class RecordingCallback final : public rdr::FdOutStream::Callback {
public:
  void writeResult(rdr::FdOutStream*, bool blocked) override { events += blocked ? 'b' : 'w'; }
  void writeClosed(rdr::FdOutStream*) override { events += 'c'; }
  std::string events;
};

mode_t modeOf(const std::string& path) {
  struct stat st {};
  stat(path.c_str(), &st);
  return st.st_mode & 07777;
}

}  // namespace

TEST_F(FdStreams, readWhatIsThereAndThenBlockOrTimeOutOrEnd) {
  rdr::FdInStream in(pair.near());
  in.setNonBlocking(true);
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  pair.send("abc");
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(in.nUnread(), 2) << "one read takes all";
  in.setNonBlocking(false);
  in.setTimeout(0);
  in.skip(2);
  EXPECT_EQ(messageFrom([&] { in.readU8(); }), "Timed out");
  pair.send("de");
  EXPECT_EQ(in.readU8(), 'd');
  pair.send("f");
  in.setTimedOut();
  EXPECT_EQ(in.readU8(), 'e') << "what is buffered can still be read";
  EXPECT_THROW(in.readU8(), plat::TimedOut);
  rdr::FdInStream ended(pair.near());
  ended.setNonBlocking(true);
  pair.closeFar();
  EXPECT_EQ(ended.readU8(), 'f');
  EXPECT_EQ(messageFrom([&] { ended.readU8(); }), "End of IO stream");
  rdr::FdInStreamOwn folder(open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(messageFrom([&] { folder.readU8(); }), "read: Is a directory (21)");
}

TEST_F(FdStreams, sendWhatIsPendingBeforeTheyGoAndCloseOnlyWhatTheyOwn) {
  { rdr::FdInStream in(pair.near()); }
  { put(*std::make_unique<rdr::FdOutStream>(pair.near()), "last words"); }
  EXPECT_EQ(pair.receive(), "last words");
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
  EXPECT_GE(interruptions, 1);
  EXPECT_TRUE(rdr::waitForFd(pair.near(), 0, true, true)) << "can be written";
}

TEST_F(FdStreams, refuseToWaitForADescriptorThatSelectCannotWatch) {
  rdr::FdInStreamOwn in(pair.highNear());
  EXPECT_EQ(messageFrom([&] { in.readU8(); }), "select: Too many open files (24)");
  pair.send("a");
  EXPECT_EQ(in.readU8(), 'a') << "as long as it need not wait it works";
}

TEST_F(FdStreams, tellTheirOwnerOfEveryWrite) {
  rdr::FdOutStream out(pair.near(), 16384);
  out.setTimeout(0);
  EXPECT_EQ(messageFrom([&] { put(out, pattern(8 << 20)); }), "Timed out");
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
  EXPECT_EQ(messageFrom([&] { out.flush(); }), "write: Broken pipe (32)") << "a waiting stream raises all the same";
  out.setLazy(true);
  out.flush();
  EXPECT_EQ(out.nPending(), 1);
  EXPECT_NE(messageFrom([&] { out.writeOnce(true); }).find("'!needWrite'"), std::string::npos);
  out.setThrowErrors(true);  // its destructor lets nothing escape all the same
  rdr::FdOutStream notASocket(open("/dev/null", O_WRONLY | O_CLOEXEC));
  notASocket.setOwnFd(true);
  EXPECT_EQ(messageFrom([&] { notASocket.closeWrite(); }), "shutdown(SHUT_WR): Socket operation on non-socket (88)");
}

TEST(FileOutStream, writesWhatIsPendingToTheFileItWasWrittenFor) {
  const test::TempDir dir;
  const std::string bytes = pattern(50000);
  {
    rdr::FileOutStream out((dir / "a").c_str());
    put(out, bytes);
    out.open((dir / "b").c_str());
    put(out, "b");
    out.attach(std::fopen((dir / "c").c_str(), "w"), true);
    put(out, "c");
  }
  { put(*std::make_unique<rdr::FileOutStream>((dir / "b").c_str(), 1), "+"); }
  EXPECT_EQ(dir.read("a"), bytes);
  EXPECT_EQ(dir.read("b"), "b+") << "appends";
  EXPECT_EQ(dir.read("c"), "c");
}

TEST(FileStreams, reportAFullDevice) {
  rdr::FileOutStream out("/dev/full");
  put(out, "x");
  EXPECT_EQ(messageFrom([&] { out.flush(); }), "writing to file failed: No space left on device (28)");
  os::FileFdOutStream direct("/dev/full", {O_WRONLY, 0});
  put(direct, "x");
  EXPECT_EQ(messageFrom([&] { direct.flush(); }), "write: No space left on device (28)");
  EXPECT_EQ(messageFrom([&] { put(direct, pattern(20000)); }), "write: No space left on device (28)");
}

TEST(FileFdOutStream, writesWhatIsPendingAtItsEndAndClosesWhatItOwns) {
  const test::TempDir dir;
  const std::string path = dir / "f";
  int fd = -1;
  {
    os::FileFdOutStream out(path.c_str(), {O_WRONLY | O_CREAT | O_EXCL, 0600});
    fd = out.fd();
    put(out, "bytes");
    EXPECT_EQ(modeOf(path), 0600U);
  }
  EXPECT_LT(fcntl(fd, F_GETFD), 0);
  fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  { put(*std::make_unique<os::FileFdOutStream>(fd, false), "+"); }
  EXPECT_EQ(dir.read("f"), "bytes+");
  EXPECT_EQ(close(fd), 0);
}

TEST(FileFdOutStream, tellsThatClosingFailed) {
  const test::TempDir dir;
  os::FileFdOutStream out((dir / "f").c_str(), {O_WRONLY | O_CREAT, 0600});
  put(out, "bytes");
  out.flushAndClose();
  EXPECT_EQ(dir.read("f"), "bytes");
  EXPECT_LT(out.fd(), 0);
  out.flushAndClose();  // has nothing left to do
  os::FileFdOutStream lost((dir / "f").c_str(), {O_WRONLY, 0});
  close(lost.fd());
  EXPECT_EQ(messageFrom([&] { lost.flushAndClose(); }), "close: Bad file descriptor (9)");
}

TEST(FileFdOutStream, joinsBufferedBytesAndLargeBlocksInOrderAndInWholePages) {
  const test::TempDir dir;
  std::string written;
  os::FileFdOutStream out((dir / "f").c_str(), {O_WRONLY | O_CREAT | O_TRUNC, 0600});
  for (const std::size_t length : {5U, 16384U, 16379U, 1U, 16383U, 16385U, 4096U, 65536U, 16800U, 16800U, 3U}) {
    SCOPED_TRACE(length);
    out.writeU8(0);
    const std::string block = pattern(length + written.size()).substr(written.size());
    put(out, block);
    written += '\0' + block;
    EXPECT_EQ(out.length(), written.size());
    EXPECT_EQ(dir.read("f").size() + static_cast<std::size_t>(out.nPending()), written.size());
    EXPECT_EQ(dir.read("f").size() % 4096, 0U);
  }
  out.flush();
  EXPECT_EQ(dir.read("f"), written);
}

TEST(BorrowingFileStream, writesBlocksBeforeTheBufferThatTheyLieInChanges) {
  const test::TempDir dir;
  const std::string source = pattern(100000);
  std::string written;
  auto in = std::make_unique<FedInStream>(source, 4000);
  rdr::BlockLender lender(in.get());
  os::BorrowingFileStream out((dir / "f").c_str(), {O_WRONLY | O_CREAT, 0600}, lender);
  for (std::size_t length = 1; written.size() < 90000; length = length % 1500 + 7) {
    in->check(true, static_cast<int>(length));
    if (length % 11 == 0) {
      out.writeU8('-');  // through the window, past writeBytes()
      put(out, "copied");
      written += "-copied";
    }
    out.writeBytes(in->readInPlace(static_cast<int>(length)), static_cast<int>(length));
    written += source.substr(in->offset() - length, length);
    in->checkpoint();
    EXPECT_EQ(out.length(), written.size());
  }
  EXPECT_LT(dir.read("f").size(), written.size()) << "the last ones can wait";
  in.reset();
  EXPECT_EQ(dir.read("f"), written);
  put(out, "end");
  out.flush();
  EXPECT_EQ(dir.read("f"), written + "end");
}

TEST(BorrowingFileStream, reportsAFailureThatItsLenderSawFirst) {
  FedInStream in(pattern(9000), 4000);
  rdr::BlockLender lender(&in);
  in.check(true, 4000);
  const std::uint8_t* const block = in.readInPlace(4000);
  in.checkpoint();
  auto first = std::make_unique<os::BorrowingFileStream>("/dev/full", os::OpenArgs{O_WRONLY, 0}, lender);
  os::BorrowingFileStream second("/dev/full", {O_WRONLY, 0}, lender);
  first->writeBytes(block, 4000);
  second.writeBytes(block, 4000);
  first.reset();  // swallows its failure, and nobody gives back to it
  in.check(true, 4000);
  EXPECT_EQ(messageFrom([&] { second.writeBytes(block, 1); }), "write: No space left on device (28)");
  EXPECT_EQ(messageFrom([&] { put(second, "x"); }), "write: No space left on device (28)");
  EXPECT_EQ(messageFrom([&] { second.flush(); }), "write: No space left on device (28)");
}

TEST(TransactedFileOutStream, replacesTheTargetOnlyOnCommit) {
  const test::TempDir dir;
  const std::string path = dir / "f";
  dir.write("f", "old");
  chmod(path.c_str(), 0640);
  dir.write("f.tmp", "a long leftover of somebody else");
  {
    rdr::TransactedFileOutStream out(path.c_str(), 1);
    put(out, "abandoned");
    out.flush();
    EXPECT_EQ(modeOf(path + ".tmp"), 0640U);
    EXPECT_EQ(dir.read("f.tmp").find("leftover"), std::string::npos);
  }
  EXPECT_EQ(dir.list(), std::vector<std::string>{"f"});
  EXPECT_EQ(dir.read("f"), "old");
  const std::string bytes = pattern(50000);
  rdr::TransactedFileOutStream out(path.c_str(), 16);
  put(out, bytes);
  out.commit();
  out.commit();
  EXPECT_EQ(dir.read("f"), bytes);
  EXPECT_EQ(dir.list(), std::vector<std::string>{"f"});
  EXPECT_EQ(modeOf(path), 0600U) << "private, as was asked for";
}

TEST(TransactedFileOutStream, leavesNothingAfterAFailure) {
  const test::TempDir dir;
  const std::string path = dir.makeDir("folder");
  EXPECT_EQ(messageFrom([&] { rdr::TransactedFileOutStream(path.c_str()).commit(); }),
            "fileRename(" + path + ".tmp," + path + "): Is a directory (21)");
  EXPECT_EQ(dir.list(), std::vector<std::string>{"folder"});
}
