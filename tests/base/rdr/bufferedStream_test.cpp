
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/rdr/BlockLender.h"
#include "tests/support/prelude.h"

using namespace test;

namespace {

std::string take(rdr::InStream& in, std::size_t n) {
  std::string bytes(n, '\0');
  in.readFixed(bytes.data(), static_cast<std::uint32_t>(n));
  return bytes;
}

/// Looks at three bytes of what it borrowed, at the last moment for it.
struct Borrower final : rdr::BlockLender::Borrower {
  void giveBack() noexcept override {
    ++calls;
    seen.assign(block, 3);
  }
  const char* block = "...";
  int calls = 0;
  std::string seen;
};

/// Memory of this process that is in use, in KiB.
long residentKib() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * 4;
}

}  // namespace

TEST(BufferedInStream, movesWhatIsBehindTheCheckpointToTheFront) {
  FedInStream in("abcdefgh", 8);
  in.skip(5);
  in.checkpoint();
  in.skip(2);
  in.feed("ijklmnop");
  EXPECT_TRUE(in.check(false, 4));
  EXPECT_EQ(in.offset(), 7U);
  EXPECT_EQ(in.asked, 5) << "all the free room: three bytes are kept";
  EXPECT_EQ(take(in, 6), "hijklm");
  in.rewind();
  EXPECT_EQ(take(in, 8), "fghijklm");
}

TEST(BufferedInStream, waitsForAnItemOnlyAsFarAsTheBufferReaches) {
  FedInStream in("abc", 8);
  EXPECT_FALSE(in.check(false, 100)) << "there is room for more";
  in.feed("defgh");
  EXPECT_TRUE(in.check(false, 100));
  FedInStream none("a", 0);
  EXPECT_EQ(messageFrom([&] { none.check(false); }), "InStream overrun: buffer size exceeded");
  FedInStream byDefault;
  byDefault.check(false);
  EXPECT_EQ(byDefault.asked, 16800);
}

TEST(BufferedInStream, leavesBytesThatSomebodyPointsToWhileThereIsRoom) {
  FedInStream in("abcd", 8);
  rdr::BlockLender lender(&in);
  Borrower borrower;
  EXPECT_FALSE(lender.lends("abcd"));
  in.check(true, 4);
  borrower.block = reinterpret_cast<const char*>(in.readInPlace(3));
  EXPECT_TRUE(lender.lends(borrower.block));
  in.checkpoint();
  lender.add(borrower);
  in.feed("efgh");
  EXPECT_EQ(take(in, 3), "def");
  EXPECT_EQ(in.asked, 4);
  EXPECT_EQ(borrower.calls, 0) << "half of the buffer was left";
  in.checkpoint();
  in.feed("ijkl");
  EXPECT_EQ(take(in, 5), "ghijk");
  EXPECT_EQ(borrower.seen, "abc");
  EXPECT_EQ(in.offset(), 11U);
  lender.add(borrower);
  EXPECT_FALSE(in.check(false, 2));
  EXPECT_EQ(borrower.seen, "ghi") << "nothing to read: time to write";
}

TEST(BufferedInStream, tellsItsObserverBeforeBytesGoInAnyOtherWay) {
  Borrower borrower;
  FedInStream in("abcd", 8);
  rdr::BlockLender lender(&in);
  in.skip(4);
  in.checkpoint();
  lender.add(borrower);
  in.feed("efghij");
  EXPECT_TRUE(in.check(true, 6)) << "more than half of the buffer";
  EXPECT_EQ(borrower.calls, 1);
  lender.add(borrower);
  in.discard();
  EXPECT_EQ(borrower.calls, 2);
  in.feed("k");
  in.check(true);
  lender.add(borrower);
  EXPECT_FALSE(in.check(false, 2));
  EXPECT_EQ(borrower.calls, 2) << "one byte is not worth a write";
  FedInStream other(std::move(in));
  EXPECT_EQ(borrower.calls, 3);
  EXPECT_FALSE(lender.lends(other.getPtr())) << "it does not go along";
  EXPECT_EQ(take(other, 1), "k");
}

TEST(BufferedOutStream, givesTheMemoryOfALongBacklogBack) {
  constexpr int size = 32 << 20;
  SinkStream out;
  out.bytes.assign(size, 'x');  // takes its memory now, not while it is being measured
  out.bytes.clear();
  const std::string bytes = pattern(size - 10000);
  put(out, bytes);
  std::fill_n(out.getPtr(), 5000, 'm');  // a frame that is not closed yet
  const long before = residentKib();
  out.willing = INT_MAX;
  EXPECT_TRUE(out.writeAll(false));
  EXPECT_LT(residentKib(), before - size / 2048);
  out.setPtr(out.getPtr() + 5000);
  out.flush();
  EXPECT_TRUE(out.bytes == bytes + std::string(5000, 'm'));
}

TEST(BufferedOutStream, waitsAtItsCeilingWhichIsThatOfTheParameter) {
  plat::ConfigParameter& parameter = plat::Configuration::global().getParam("MaxOutBufferSize");
  parameter.setParam("16390", 10);
  SinkStream out;
  parameter.unsetParam(10, true);
  const std::string bytes = pattern(16396);
  put(out, bytes.substr(0, 16390));
  EXPECT_EQ(messageFrom([&] { out.writeU8(0); }), "BufferedOutStream overrun: unable to write");
  EXPECT_EQ(out.waits, 1);
  out.perWait = 4;
  put(out, bytes.substr(16390));
  EXPECT_EQ(out.waits, 3) << "six bytes at four a time";
  out.willing = INT_MAX;
  out.flush();
  EXPECT_EQ(out.bytes, bytes);
  EXPECT_EQ(SinkStream(30000, 20000).spaceLeft(), 30000);
}

TEST(BufferedOutStream, acceptsAnItemOfItsCeilingAndNoMore) {
  SinkStream out(64, 40000);
  put(out, "pending");
  EXPECT_EQ(messageFrom([&] { out.overrun(40001, 1); }), "BufferedOutStream overrun: buffer size exceeded");
  EXPECT_EQ(out.writes, 0);
  out.willing = 3;
  out.perWait = 100;
  EXPECT_EQ(out.overrun(40000, 1), 1);
  EXPECT_EQ(out.getEnd() - out.getPtr(), 40000);
  EXPECT_EQ(out.bytes, "pending") << "made room";
  EXPECT_EQ(SinkStream(16).overrun(8, INT_MAX), 2) << "counted without overflow";
  SinkStream none(0, 0);
  EXPECT_EQ(messageFrom([&] { none.writeU8(1); }), "OutStream full");
}

TEST(BufferedOutStream, keepsBytesAndCountThroughAnyMixOfPartialWrites) {
  SinkStream out(32, 200);
  const std::string bytes = pattern(20000);
  out.perWait = 7;
  for (std::size_t at = 0, i = 0; at < bytes.size(); ++i) {
    const std::size_t n = std::min(bytes.size() - at, i * 13 % 41);
    out.willing = static_cast<int>(i * 29 % 31);
    put(out, std::string_view(bytes).substr(at, n));
    at += n;
    ASSERT_EQ(out.length(), at);
    ASSERT_EQ(static_cast<std::size_t>(out.nPending()), at - out.bytes.size());
    ASSERT_EQ(out.spaceLeft(), 200 - out.nPending());
    if (i % 17 == 0) {
      out.tryFlush(false);
    }
  }
  out.flush();
  EXPECT_EQ(out.bytes, bytes);
}

TEST(BufferedStreams, dumpWhatPassesIfTheyAreTraced) {
  FedInStream in("unseen", 32);
  SinkStream out;
  in.check(true);
  in.setTrace(true);
  in.feed("0123456789abcdef\n");
  in.feed("z");
  out.setTrace(true);
  put(out, "abc");
  testing::internal::CaptureStderr();
  in.check(true, 24);
  out.willing = 2;
  EXPECT_FALSE(out.tryFlush(false));
  out.perWait = 1;
  out.flush();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            " <-- 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 66  0123456789abcdef\n"
            "0010 0a                                                  .\n"
            " <-- 7a                                                  z\n"
            " --> 61 62                                               ab\n"
            " --> 63                                                  c\n");
}
