#include "base/plat/DString.h"
#include "base/plat/String.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/OutStreamV4.h"
#include "tests/support/prelude.h"

using namespace std::string_view_literals;
using namespace test;

TEST(FramedOutStream, writesFramesWithTheirLength) {
  rdr::MemOutStream below;
  rdr::OutStreamV4 out(&below);
  out.startMsg();
  out.endMsg(true);
  EXPECT_EQ(contents(below), "\x80\x00"sv) << "an empty message";
  out.startMsg();
  out.flush();
  EXPECT_EQ(below.length(), 2U) << "an empty frame is not sent";
  out.writeU8(5);
  out.flush();
  out.writeU8(6);
  out.endMsg(false);
  out.startMsg();
  out.writeU8(7);
  out.flush();
  out.endMsg(false);
  EXPECT_EQ(contents(below).substr(2), "\x00\x01\x05\x80\x01\x06\x00\x01\x07\x80\x00"sv);
  EXPECT_EQ(out.length(), 3U) << "payload of all messages";
}

TEST(FramedOutStream, cutsByTheWindowBelowAndTheLargestFrameButNeverAValue) {
  const std::string payload = pattern(100000);
  rdr::MemOutStream large(200000);
  SinkStream below, narrow(16, 16);
  below.willing = 1 << 30;
  narrow.perWait = 16;
  rdr::OutStreamV4 out(&large);
  out.startMsg();
  put(out, payload);
  out.endMsg(false);
  EXPECT_EQ(contents(large), frames(payload, 32766));

  out.setUnderlying(&below);
  out.startMsg();
  put(out, payload);
  out.endMsg(true);
  EXPECT_EQ(below.bytes, frames(payload, 16382));
  EXPECT_EQ(out.spaceLeft(), below.spaceLeft() - 2);

  out.setUnderlying(&narrow);
  out.startMsg();
  for (int i = 0; i < 5; ++i) {
    out.writeU64(0x0101010101010101ULL);
  }
  out.endMsg(true);
  EXPECT_EQ(narrow.bytes, frames(std::string(40, 1), 8));
}

TEST(FramedOutStream, insistsOnTheOrderOfCalls) {
  rdr::MemOutStream below(0, 4);
  rdr::OutStreamV4 out;
  EXPECT_NE(messageFrom([&] { out.startMsg(); }).find("'underlying'"), std::string::npos);
  out.setUnderlying(&below);
  EXPECT_EQ(messageFrom([&] { out.endMsg(false); }), "FramedOutStream::endMsg: not in frame");
  EXPECT_EQ(messageFrom([&] { out.writeU8(1); }), "FramedOutStream::endFrame: not in frame");
  out.startMsg();
  EXPECT_EQ(messageFrom([&] { out.startMsg(); }), "FramedOutStream::startMsg: already in msg");
  EXPECT_THROW(out.writeU64(1), rdr::OutStreamFull);
  EXPECT_THROW(out.writeU8(1), rdr::FrameException) << "no window is left after the stream below failed";
  out.setUnderlying(&below);
  out.startMsg();
  out.endMsg(false);
  EXPECT_EQ(messageFrom([&] { out.writeU8(1); }), "FramedOutStream::endFrame: not in frame");
  EXPECT_EQ(contents(below), "\x80\x00"sv);
}

TEST(FramedInStream, readsAMessageHoweverItIsCutAndHoweverItArrives) {
  const std::string payload("\x81\x02\x03\x04\x05hello\0\0\0\3you"sv);
  for (std::size_t frameSize = 1; frameSize <= payload.size(); ++frameSize) {
    for (const bool emptyFrames : {false, true}) {
      const std::string wire = frames(payload, frameSize, emptyFrames) + frames("next", 9);
      for (std::size_t cut = 0; cut <= wire.size(); ++cut) {
        SCOPED_TRACE(testing::Message() << frameSize << " " << emptyFrames << " " << cut);
        FedInStream below;
        rdr::InStreamV4 in(&below);
        bool done = false;
        const auto parse = [&] {
          if (in.startMsg(false)) {
            EXPECT_EQ(in.readU32(), 0x81020304U);
            EXPECT_EQ(in.readShortString(true), "hello");
            EXPECT_EQ(in.readString(10, true), "you");
            done = in.atEnd();
          }
        };
        below.feed(std::string_view(wire).substr(0, cut));
        messageFrom(parse);
        EXPECT_EQ(done, cut >= wire.size() - 6);
        below.feed(std::string_view(wire).substr(cut));
        if (!done) {
          parse();
        }
        ASSERT_TRUE(done);
        EXPECT_EQ(in.offset(), payload.size());
        EXPECT_THROW(in.readU16(), rdr::EndOfMsg);
        in.endMsg();
        ASSERT_TRUE(in.startMsg(false));
        plat::DString line;
        in.readLine(line);
        EXPECT_EQ(line.get(), "next"sv) << "ended by the end of the message";
        EXPECT_THROW(in.readLine(line), rdr::EndOfMsg);
      }
    }
  }
}

TEST(FramedInStream, startsAMessageWithItsWholeHeaderAndEndsItOnlyWhenItIsRead) {
  FedInStream half("\x80", -1);
  rdr::InStreamV4 waiting(&half);
  EXPECT_FALSE(waiting.startMsg(false));
  EXPECT_THROW(waiting.startMsg(true), rdr::BlockException);
  FedInStream below(frames("ab") + frames("c"), -1);
  rdr::InStreamV4 in(&below);
  EXPECT_NE(messageFrom([&] { in.readU8(); }).find("'inMsg_'"), std::string::npos);
  in.startMsg(true);
  EXPECT_EQ(in.readU8(), 'a');
  EXPECT_EQ(messageFrom([&] { in.endMsg(); }), "FramedInStream::endMsg: data left in msg");
  EXPECT_EQ(in.readU8(), 'b');
  EXPECT_EQ(messageFrom([&] { in.readU8(); }), "End of message");
  in.endMsg();
  in.startMsg(true);
  in.setUnderlying(nullptr);
  EXPECT_NE(messageFrom([&] { in.startMsg(true); }).find("'underlying'"), std::string::npos);
}

TEST(FramedInStream, skipsOrCopiesTheRestInPieces) {
  const std::string payload = pattern(50000);
  const std::string wire = frames(payload, 300, true) + frames("x", 1);
  for (const bool copy : {false, true}) {
    FedInStream below(1000);
    rdr::InStreamV4 in(&below);
    rdr::MemOutStream copied;
    int messages = 0;
    const auto rest = [&] { copy ? in.copyRestOfMsg(copied) : in.skipRestOfMsg(); };
    for (std::size_t at = 0; at < wire.size(); at += 97) {
      below.feed(std::string_view(wire).substr(at, 97));
      while (in.startMsg(false) && messageFrom(rest) == "(nothing was thrown)") {
        in.endMsg();
        ++messages;
      }
    }
    EXPECT_EQ(messages, 2);
    EXPECT_EQ(in.offset(), payload.size() + 1);
    EXPECT_EQ(contents(copied), copy ? payload + "x" : "");
  }
}

TEST(FramedInStream, keepsASoundWindowWhenTheLinkFails) {
  FedInStream ended("\x00\x01"sv, -1);
  ended.feed("a");
  ended.finish();
  rdr::InStreamV4 in(&ended);
  in.startMsg(true);
  in.readU8();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(messageFrom([&] { in.readU8(); }), "End of IO stream");
    EXPECT_EQ(messageFrom([&] { static_cast<void>(in.atEnd()); }), "End of IO stream");
  }
  // Frames without payload fill the buffer too.
  for (const std::string& wire : {frames(pattern(100), 5), std::string("\x00\x01x"sv) + std::string(100, '\0')}) {
    FedInStream below(wire, 16);
    in.setUnderlying(&below);
    in.startMsg(false);
    char bytes[100];
    EXPECT_EQ(messageFrom([&] { in.readFixed(bytes, 100); }), "InStream overrun: buffer size exceeded");
  }
}
