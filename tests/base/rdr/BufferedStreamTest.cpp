#include <climits>

#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Configuration.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"

using test::FedInStream;
using test::pattern;
using test::put;
using test::raised;
using test::SinkStream;

namespace {

std::string readAll(rdr::InStream& in, int n) {
  std::string bytes(static_cast<std::size_t>(n), '\0');
  in.readFixed(bytes.data(), static_cast<std::uint32_t>(n));
  return bytes;
}

}  // namespace

TEST(BufferedInStream, movesWhatIsBehindTheCheckpointToTheFront) {
  FedInStream in("abcdefgh", 8);
  in.skip(5);
  in.checkpoint();
  in.skip(2);
  in.feed("ijklmnop");
  const std::uint32_t before = in.offset();
  EXPECT_TRUE(in.check(false, 4));
  EXPECT_EQ(in.offset(), before);
  EXPECT_EQ(in.asked, 5) << "all the free room: three bytes are kept";
  EXPECT_EQ(readAll(in, 6), "hijklm");
  in.rewind();
  EXPECT_EQ(in.offset(), 5U);
  EXPECT_EQ(readAll(in, 8), "fghijklm");
}

TEST(BufferedInStream, waitsForAnItemOnlyAsFarAsTheBufferReaches) {
  FedInStream in(8);
  in.feed("abc");
  EXPECT_FALSE(in.check(false, 100)) << "there is room for more";
  in.feed("defgh");
  EXPECT_TRUE(in.check(false, 100));
  EXPECT_EQ(in.nUnread(), 8);
}

TEST(BufferedInStream, withoutABufferHoldsNothing) {
  FedInStream in("a", 0);
  EXPECT_EQ(raised([&] { in.check(false); }), "InStream overrun: buffer size exceeded");
  EXPECT_EQ(in.asked, 0);
}

TEST(BufferedInStream, hasABufferOfItsDefaultSize) {
  FedInStream in;
  in.check(false);
  EXPECT_EQ(in.asked, 16800);
}

TEST(BufferedInStream, becomesRewindableWhenItNoLongerWaits) {
  FedInStream in("abcd", -1);
  in.setRewindable(false);
  in.setNonBlocking(false);
  EXPECT_FALSE(in.rewindable());
  in.skip(2);
  in.setNonBlocking(true);
  EXPECT_TRUE(in.rewindable());
  in.skip(2);
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  EXPECT_EQ(in.offset(), 2U) << "the switch took a checkpoint";
  in.setNonBlocking(false);
  EXPECT_TRUE(in.rewindable());
}

TEST(BufferedInStream, handsItsUnreadBytesOn) {
  FedInStream in("abcdef", -1);
  in.skip(2);
  rdr::MemOutStream saved;
  in.saveUnread(saved);
  EXPECT_EQ(readAll(in, 4), "cdef") << "nothing was consumed";

  const auto restoreInto = [&saved](rdr::BufferedInStream& other) {
    rdr::MemInStream link(saved.data(), static_cast<int>(saved.length()));
    other.restoreUnread(link);
  };
  FedInStream other("xy", 6);
  other.skip(1);
  restoreInto(other);
  EXPECT_EQ(readAll(other, 5), "ycdef");
  other.checkpoint();
  EXPECT_EQ(raised([&] { restoreInto(other); }), "Too much data for InStream buffer");
  other.discard();
  restoreInto(other);
  EXPECT_EQ(other.nUnread(), 4);
  FedInStream none(0);
  EXPECT_EQ(raised([&] { restoreInto(none); }), "Too much data for InStream buffer");
}

TEST(BufferedStreams, dumpWhatTheyTrace) {
  testing::internal::CaptureStderr();
  FedInStream in("0123456789ABCDEF\x7f", -1);
  in.setTrace(true);
  in.check(false);
  SinkStream out;
  out.setTrace(true);
  out.willing = 2;
  put(out, "hi");
  out.flush();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            " <-- 30 31 32 33  34 35 36 37  38 39 41 42  43 44 45 46  0123456789ABCDEF\n"
            "0010 7f" +
                std::string(50, ' ') + ".\n --> 68 69" + std::string(47, ' ') + "hi\n");
}

TEST(BufferedOutStream, doublesItsBufferBeforeItWaits) {
  SinkStream out;
  EXPECT_EQ(out.bufferSize(), 16384);
  EXPECT_EQ(out.ceiling(), 134217728);
  const std::string bytes = pattern(40000);
  put(out, bytes);
  EXPECT_EQ(out.bufferSize(), 65536);
  EXPECT_EQ(out.waits, 0);
  EXPECT_EQ(out.nPending(), 40000);
  EXPECT_EQ(out.spaceLeft(), 134217728 - 40000);
  out.willing = INT_MAX;
  out.flush();
  EXPECT_EQ(out.bytes, bytes);
  EXPECT_EQ(out.length(), 40000U);
  EXPECT_EQ(out.bufferSize(), 65536) << "a doubled buffer stays";
}

TEST(BufferedOutStream, takesItsCeilingFromTheParameter) {
  plat::ConfigParameter& parameter = plat::Configuration::global().getParam("MaxOutBufferSize");
  parameter.setParam("20000", 10);
  SinkStream out;
  parameter.unsetParam(10, true);
  EXPECT_EQ(out.ceiling(), 20000);
  SinkStream larger(30000, 20000);
  EXPECT_EQ(larger.ceiling(), 30000);
}

TEST(BufferedOutStream, waitsAtItsCeiling) {
  SinkStream out(-1, 16384);
  const std::string bytes = pattern(16390);
  put(out, bytes.substr(0, 16384));
  EXPECT_EQ(raised([&] { out.writeU8(0); }), "BufferedOutStream overrun: unable to write");
  EXPECT_EQ(out.waits, 1);
  out.perWait = 4;
  put(out, bytes.substr(16384));
  EXPECT_EQ(out.waits, 3) << "six bytes at four a time";
  EXPECT_EQ(out.length(), 16390U);
  out.willing = INT_MAX;
  out.flush();
  EXPECT_EQ(out.bytes, bytes);
}

TEST(BufferedOutStream, acceptsAnItemOfItsCeilingAndNoMore) {
  SinkStream out(64, 40000);
  put(out, "pending");
  EXPECT_EQ(raised([&] { out.overrun(40001, 1); }), "BufferedOutStream overrun: buffer size exceeded");
  EXPECT_EQ(out.writes, 0);
  out.willing = 3;
  out.perWait = 100;
  EXPECT_EQ(out.overrun(40000, 1), 1);
  EXPECT_EQ(out.getEnd() - out.getPtr(), 40000);
  EXPECT_EQ(out.bytes, "pending") << "made room";
  SinkStream none(0, 0);
  EXPECT_EQ(raised([&] { none.writeU8(1); }), "OutStream full");
}

TEST(BufferedOutStream, countsItemsWithoutOverflow) {
  SinkStream out(16);
  EXPECT_EQ(out.overrun(8, INT_MAX), 2);
  EXPECT_EQ(out.overrun(3, 5), 5);
  EXPECT_EQ(out.overrun(3, 6), 5);
}

TEST(BufferedOutStream, neverOffersMoreThanAFixedWindow) {
  SinkStream out;
  put(out, pattern(100000));
  EXPECT_GE(out.writes, 6) << "it tries to send every 16 KiB";
  EXPECT_LE(out.getEnd() - out.getPtr(), 16384);
  out.willing = INT_MAX;
  out.flush();
  EXPECT_EQ(out.getEnd() - out.getPtr(), 16384) << "also once the large buffer is empty";
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

TEST(BufferedLazyOutStream, leavesTheRestToOthers) {
  SinkStream out;
  EXPECT_TRUE(out.doesThrowErrors());
  out.setLazy(true);
  out.setThrowErrors(false);
  EXPECT_FALSE(out.doesThrowErrors());
  put(out, "abcdefgh");
  const std::uint8_t* const position = out.getPtr();
  out.willing = 4;
  out.flush();
  EXPECT_EQ(out.nPending(), 4);
  EXPECT_EQ(out.getPtr(), position);
  out.willing = 2;
  EXPECT_FALSE(out.writeAll(false));
  EXPECT_EQ(out.nPending(), 2);
  out.perWait = 1;
  out.setLazy(false);
  EXPECT_EQ(out.bytes, "abcdefgh");
  EXPECT_EQ(out.waits, 2);
  EXPECT_EQ(out.getPtr(), position) << "nobody has moved the writer";
  EXPECT_TRUE(out.doesThrowErrors()) << "a waiting stream raises";
  EXPECT_TRUE(out.tryFlush(false));
  EXPECT_NE(out.getPtr(), position);
  EXPECT_EQ(out.length(), 8U);
}
