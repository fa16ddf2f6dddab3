#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/String.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/EndOfMsg.h"
#include "base/rdr/FrameException.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/OutStreamFull.h"
#include "base/rdr/OutStreamV4.h"

using namespace std::string_view_literals;
using test::FedInStream;
using test::pattern;
using test::put;
using test::raised;
using test::SinkStream;

namespace {

std::string contents(rdr::MemOutStream& out) {
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

/// `payload` as one message, cut into frames of `frameSize` bytes, with an empty frame before each if asked for.
std::string framed(std::string_view payload, std::size_t frameSize, bool emptyFrames = false) {
  std::string wire;
  do {
    const auto piece = payload.substr(0, frameSize);
    payload.remove_prefix(piece.size());
    if (emptyFrames) {
      wire += "\0\0"sv;
    }
    wire += static_cast<char>((payload.empty() ? 0x80 : 0) | static_cast<int>(piece.size() >> 8));
    wire += static_cast<char>(piece.size());
    wire += piece;
  } while (!payload.empty());
  return wire;
}

std::string readToEnd(rdr::InStream& in) {
  std::string bytes;
  while (!in.atEnd()) {
    bytes += static_cast<char>(in.readU8());
  }
  return bytes;
}

}  // namespace

TEST(FramedOutStream, writesFramesWithTheirLength) {
  rdr::MemOutStream below;
  rdr::OutStreamV4 out(&below);
  out.startMsg();
  out.endMsg(true);
  EXPECT_EQ(contents(below), "\x80\x00"sv) << "an empty message";
  out.startMsg();
  out.writeU32(0x01020304);
  EXPECT_EQ(out.length(), 4U);
  out.endMsg(false);
  EXPECT_EQ(contents(below), "\x80\x00\x80\x04\x01\x02\x03\x04"sv);
  out.startMsg();
  out.flush();
  EXPECT_EQ(below.length(), 8U) << "an empty frame is not sent";
  out.writeU8(5);
  out.flush();
  out.writeU8(6);
  EXPECT_EQ(out.length(), 6U);
  out.endMsg(false);
  EXPECT_EQ(contents(below).substr(8), "\x00\x01\x05\x80\x01\x06"sv);
  EXPECT_EQ(out.length(), 6U) << "payload of all messages";
}

TEST(FramedOutStream, endsAMessageWhoseBytesAreOutWithAnEmptyFrame) {
  rdr::MemOutStream below;
  rdr::OutStreamV4 out(&below);
  out.startMsg();
  out.writeU8(7);
  out.flush();
  out.endMsg(false);
  EXPECT_EQ(contents(below), "\x00\x01\x07\x80\x00"sv);
}

TEST(FramedOutStream, cutsByTheWindowBelowAndTheLargestFrame) {
  const std::string payload = pattern(100000);
  rdr::MemOutStream large(200000);
  rdr::OutStreamV4 out(&large);
  out.startMsg();
  put(out, payload);
  out.endMsg(false);
  EXPECT_EQ(contents(large), framed(payload, 32766));

  SinkStream below;
  below.willing = 1 << 30;
  rdr::OutStreamV4 cut(&below);
  cut.startMsg();
  put(cut, payload);
  cut.endMsg(true);
  EXPECT_EQ(below.bytes, framed(payload, 16382));
  EXPECT_EQ(below.nPending(), 0);
}

TEST(FramedOutStream, neverSplitsAValue) {
  SinkStream below(16, 16);
  below.perWait = 16;
  rdr::OutStreamV4 out(&below);
  out.startMsg();
  for (int i = 0; i < 5; ++i) {
    out.writeU64(0x0101010101010101ULL);
  }
  out.endMsg(true);
  EXPECT_EQ(below.bytes, framed(std::string(40, 1), 8));
}

TEST(FramedOutStream, answersForTheStreamBelow) {
  SinkStream below(-1, 16384);
  rdr::OutStreamV4 out(&below);
  rdr::OutStreamV4 outer(&out);
  EXPECT_EQ(outer.bottom(), &below);
  EXPECT_EQ(outer.spaceLeft(), 16380);
  put(below, "abc");
  EXPECT_EQ(outer.nPending(), 3);
  EXPECT_FALSE(out.closeWrite());
  EXPECT_EQ(rdr::OutStreamV4().spaceLeft(), 0);
}

TEST(FramedOutStream, insistsOnTheOrderOfCalls) {
  rdr::MemOutStream below;
  rdr::OutStreamV4 out;
  EXPECT_NE(raised([&] { out.startMsg(); }).find("'underlying'"), std::string::npos);
  out.setUnderlying(&below);
  EXPECT_EQ(raised([&] { out.endMsg(false); }), "FramedOutStream::endMsg: not in frame");
  EXPECT_EQ(raised([&] { out.endFrame(false); }), "FramedOutStream::endFrame: not in frame");
  EXPECT_EQ(raised([&] { out.writeU8(1); }), "FramedOutStream::endFrame: not in frame");
  out.startMsg();
  EXPECT_EQ(raised([&] { out.startMsg(); }), "FramedOutStream::startMsg: already in msg");
  out.endMsg(false);
  EXPECT_EQ(raised([&] { out.writeU8(1); }), "FramedOutStream::endFrame: not in frame");
  EXPECT_EQ(contents(below), "\x80\x00"sv);
  out.startMsg();
  out.setUnderlying(&below);
  EXPECT_FALSE(out.inMsg());
}

TEST(FramedOutStream, hasNoWindowLeftAfterTheStreamBelowFailed) {
  rdr::MemOutStream below(0, 4);
  rdr::OutStreamV4 out(&below);
  out.startMsg();
  EXPECT_THROW(out.writeU64(1), rdr::OutStreamFull);
  EXPECT_THROW(out.writeU8(1), rdr::FrameException);
  EXPECT_EQ(below.length(), 0U);
}

TEST(FramedInStream, readsAMessageHoweverItIsCutAndHoweverItArrives) {
  const std::string payload("\x81\x02\x03\x04\x05hello\0\0\0\3you"sv);
  for (std::size_t frameSize = 1; frameSize <= payload.size(); ++frameSize) {
    for (const bool emptyFrames : {false, true}) {
      const std::string wire = framed(payload, frameSize, emptyFrames) + framed("next", 9);
      for (std::size_t cut = 0; cut <= wire.size(); ++cut) {
        SCOPED_TRACE(testing::Message() << frameSize << " " << emptyFrames << " " << cut);
        FedInStream below;
        rdr::InStreamV4 in(&below);
        below.feed(std::string_view(wire).substr(0, cut));
        bool done = false;
        plat::String first;
        plat::String second;
        const auto parse = [&] {
          if (!in.startMsg(false)) {
            return;
          }
          EXPECT_EQ(in.readU32(), 0x81020304U);
          first = in.readShortString(true);
          second = in.readString(10, true);
          done = in.atEnd();
        };
        raised(parse);
        const bool early = done;
        below.feed(std::string_view(wire).substr(cut));
        if (!early) {
          parse();
        }
        ASSERT_TRUE(done);
        EXPECT_EQ(early, cut >= wire.size() - 6);
        EXPECT_EQ(first, "hello");
        EXPECT_EQ(second, "you");
        EXPECT_EQ(in.offset(), payload.size());
        EXPECT_THROW(in.readU16(), rdr::EndOfMsg);
        in.endMsg();
        ASSERT_TRUE(in.startMsg(false));
        EXPECT_EQ(readToEnd(in), "next");
      }
    }
  }
}

TEST(FramedInStream, rewindsOverFrames) {
  FedInStream below;
  rdr::InStreamV4 in(&below);
  below.feed(
      "\x00\x02"sv
      "ab"
      "\x00\x02"sv
      "cd"
      "\x80\x03"sv
      "e");
  ASSERT_TRUE(in.startMsg(true));
  EXPECT_EQ(in.readU8(), 'a');
  in.checkpoint();
  EXPECT_EQ(in.checkpoint(), 1U);
  EXPECT_EQ(in.readU32(), 0x62636465U);
  EXPECT_THROW(in.readU8(), rdr::BlockException);
  EXPECT_EQ(in.offset(), 1U);
  EXPECT_EQ(in.readU32(), 0x62636465U);
  in.reposition(2);
  below.feed("fg");
  EXPECT_EQ(readToEnd(in), "cdefg");
  in.rewind();
  EXPECT_EQ(readToEnd(in), "bcdefg");
}

TEST(FramedInStream, givesAnItemThatEndsItsFrameInPlace) {
  FedInStream below(
      "\x80\x04"
      "ab",
      -1);
  rdr::InStreamV4 in(&below);
  in.startMsg(false);
  int n = 1;
  EXPECT_EQ(in.getItems(4, &n, false), nullptr);
  below.feed("cd");
  EXPECT_EQ(in.getItems(4, &n, false), below.getPtr()) << "not copied, and not yet taken from the stream below";
}

TEST(FramedInStream, waitsForAWholeHeader) {
  FedInStream below;
  rdr::InStreamV4 in(&below);
  EXPECT_FALSE(in.startMsg(false));
  below.feed("\x80");
  EXPECT_FALSE(in.startMsg(false));
  EXPECT_EQ(below.nUnread(), 1);
  EXPECT_THROW(in.startMsg(true), rdr::BlockException);
  EXPECT_FALSE(in.inMsg());
  below.feed("\x00"sv);
  EXPECT_TRUE(in.startMsg(false));
  EXPECT_TRUE(in.startMsg(false)) << "already in it";
  EXPECT_TRUE(in.atEnd());
}

TEST(FramedInStream, endsAMessageOnlyWhenItIsRead) {
  FedInStream below(
      "\x80\x02"
      "ab"
      "\x80\x01"
      "c",
      -1);
  rdr::InStreamV4 in(&below);
  EXPECT_NE(raised([&] { in.readU8(); }).find("'inMsg_'"), std::string::npos);
  in.startMsg(true);
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(raised([&] { in.endMsg(); }), "FramedInStream::endMsg: data left in msg");
  EXPECT_EQ(in.readU8(), 'b');
  EXPECT_EQ(raised([&] { in.readU8(); }), "End of message");
  in.endMsg();
  EXPECT_EQ(in.getPtr(), nullptr);
  in.startMsg(true);
  EXPECT_EQ(in.readU8(), 'c');
  in.setUnderlying(nullptr);
  EXPECT_FALSE(in.inMsg());
  EXPECT_NE(raised([&] { in.startMsg(true); }).find("'underlying'"), std::string::npos);
}

TEST(FramedInStream, doesNotLookForAHeaderAfterTheLastFrame) {
  FedInStream below(
      "\x80\x01"
      "a",
      -1);
  rdr::InStreamV4 in(&below);
  in.startMsg(false);
  in.readU8();
  EXPECT_TRUE(in.atEnd());
}

TEST(FramedInStream, skipsOrCopiesTheRestInPieces) {
  const std::string payload = pattern(50000);
  const std::string wire = framed(payload, 300, true) + framed("x", 1);
  for (const bool copy : {false, true}) {
    FedInStream below(1000);
    rdr::InStreamV4 in(&below);
    rdr::MemOutStream copied;
    int messages = 0;
    const auto rest = [&] { copy ? in.copyRestOfMsg(copied) : in.skipRestOfMsg(); };
    for (std::size_t at = 0; at < wire.size(); at += 97) {
      below.feed(std::string_view(wire).substr(at, 97));
      while (in.startMsg(false) && raised(rest).empty()) {
        in.endMsg();
        ++messages;
      }
    }
    EXPECT_EQ(messages, 2);
    EXPECT_EQ(in.offset(), payload.size() + 1);
    if (copy) {
      EXPECT_EQ(contents(copied), payload + "x");
    }
  }
}

TEST(FramedInStream, passesOnTheEndOfTheLink) {
  FedInStream below(
      "\x00\x01"
      "a"sv.substr(0, 3),
      -1);
  below.finish();
  rdr::InStreamV4 in(&below);
  in.startMsg(true);
  in.readU8();
  EXPECT_EQ(raised([&] { in.readU8(); }), "End of IO stream");
  EXPECT_EQ(raised([&] { static_cast<void>(in.atEnd()); }), "End of IO stream");
  EXPECT_EQ(raised([&] { in.readU8(); }), "End of IO stream") << "and keeps a sound window";
}

TEST(FramedInStream, failsOnAMessageThatFillsTheBufferBehindItsCheckpoint) {
  FedInStream below(16);
  below.feed(framed(pattern(100), 5));
  rdr::InStreamV4 in(&below);
  in.startMsg(false);
  char bytes[100];
  EXPECT_EQ(raised([&] { in.readFixed(bytes, 100); }), "InStream overrun: buffer size exceeded");
}

TEST(FramedStreams, carryMessagesOfAnySize) {
  SinkStream below;
  below.willing = 1 << 30;
  rdr::OutStreamV4 out(&below);
  const std::string payload = pattern(70000);
  for (const std::size_t size : {0, 1, 16381, 16382, 16383, 32766, 32767, 70000}) {
    SCOPED_TRACE(size);
    below.bytes.clear();
    out.startMsg();
    put(out, payload.substr(0, size));
    out.endMsg(true);
    FedInStream link(below.bytes, 1 << 17);
    rdr::InStreamV4 in(&link);
    ASSERT_TRUE(in.startMsg(false));
    EXPECT_EQ(readToEnd(in), payload.substr(0, size));
    in.endMsg();
    EXPECT_EQ(link.nUnread(), 0);
  }
}
