

#include "base/plat/DString.h"
#include "base/rdr/ByteReader.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/TextAppender.h"
#include "tests/support/prelude.h"

using namespace std::string_view_literals;
using rdr::ByteReader;
using namespace test;

namespace {

/// One of each value, as they stand on the wire.
constexpr auto everyValue =
    "\x81\xff\xff\x80\x02\x81\x02\x03\x04\xff\xff\xff\xfe\x81\x02\x03\x04\x05\x06\x07\x08\x02hi\x00\x00\x00\x03you"sv;

void expectEveryValue(rdr::InStream& in) {
  EXPECT_EQ(in.readU8(), 0x81);
  EXPECT_EQ(in.readS16(), -1);
  EXPECT_EQ(in.readU16(), 0x8002);
  EXPECT_EQ(in.readU32(), 0x81020304U);
  EXPECT_EQ(in.readS32(), -2);
  EXPECT_EQ(in.readU64(), 0x8102030405060708ULL);
  EXPECT_EQ(in.readShortString(true), "hi");
  EXPECT_EQ(in.readString(3, true), "you");
}

}  // namespace

TEST(OutStream, writesValuesBigEndianAndTextsCounted) {
  rdr::MemOutStream out(0);
  out.writeU8(0x81);
  out.writeS16(-1);
  out.writeU16(0x8002);
  out.writeU32(0x81020304U);
  out.writeS32(-2);
  out.writeU64(0x8102030405060708ULL);
  out.writeShortString("hi");
  out.writeString("you");
  EXPECT_EQ(contents(out), everyValue);
  rdr::MemOutStream texts;
  texts.writeString(nullptr);
  texts.writeString("abcdef", 3);
  texts.writeString("ab", 3);
  texts.writeShortString(std::string(300, 'x').c_str());
  EXPECT_EQ(contents(texts), std::string("\0\0\0\0\0\0\0\3abc\0\0\0\2ab\xff"sv) + std::string(255, 'x'));
}

TEST(InStream, startsAMessageAnewWhereverItRanDry) {
  for (std::size_t cut = 0; cut < everyValue.size(); ++cut) {
    SCOPED_TRACE(cut);
    FedInStream in("prefix", -1);
    in.skip(6);
    in.checkpoint();
    in.feed(everyValue.substr(0, cut));
    EXPECT_THROW(expectEveryValue(in), rdr::BlockException);
    EXPECT_EQ(in.offset(), 6U);
    EXPECT_EQ(in.nUnread(), static_cast<int>(cut));
    in.feedSingly(everyValue.substr(cut));
    expectEveryValue(in);
  }
}

TEST(InStream, readsValuesThatTheBufferCannotHoldWhole) {
  FedInStream in(everyValue, 3);
  in.setRewindable(false);
  expectEveryValue(in);
  EXPECT_EQ(messageFrom([&] { in.check(true); }), "Reading from InStream would block");
  EXPECT_EQ(in.offset(), everyValue.size()) << "what was read is gone";
  EXPECT_EQ(messageFrom([&] { in.rewind(); }), "Attempt to rewind a non-rewindable stream");
}

TEST(InStream, repositionsBehindTheCheckpointAcrossTheWrapOfOffsets) {
  /// Six bytes that begin three before the offset 2^32.
  struct AtTheWrap final : rdr::InStream {
    AtTheWrap() { end = (ptr = bytes) + 6; }
    std::uint32_t offset() override { return static_cast<std::uint32_t>(0xFFFFFFFD + (ptr - bytes)); }
    bool overrun(int) override { return false; }
    const std::uint8_t bytes[6] = {'u', 'v', 'w', 'x', 'y', 'z'};
  } in;
  in.checkpoint();
  in.skip(6);
  in.reposition(0xFFFFFFFDU);
  EXPECT_EQ(in.readU8(), 'u');
  in.reposition(1);
  EXPECT_EQ(in.readU8(), 'y');
  EXPECT_EQ(messageFrom([&] { in.reposition(0xFFFFFFFCU); }), "Can't reposition before checkpoint");
  EXPECT_EQ(in.offset(), 2U);
}

TEST(InStream, takesItemsWholeOrGathersOne) {
  FedInStream in("aabbccdefghijklmnopq", 6);
  char buf[8];
  int n = 10;
  const std::uint8_t* items = in.getItems(2, &n, false);
  EXPECT_EQ(std::string(items, items + 2 * n), "aabbcc");
  in.setRewindable(false);
  EXPECT_EQ(in.getItemsOrCopy(buf, 8, &n), static_cast<void*>(buf));
  EXPECT_EQ(std::string(buf, 8) + std::to_string(n), "defghijk1");
  n = 0;
  EXPECT_NE(messageFrom([&] { in.getItems(2, &n, false); }).find("'*nItems > 0'"), std::string::npos);
  EXPECT_NE(messageFrom([&] { in.readInPlace(7); }).find("'nUnread() >= n'"), std::string::npos);
}

TEST(InStream, limitsAndRepairsTexts) {
  FedInStream in;
  in.feed("\0\0\0\3abc\0\0\0\4\xff\xff\xff\xff\0\3a\xffz\3a\xffz"sv);
  EXPECT_EQ(in.readString(3, true), "abc");
  EXPECT_EQ(messageFrom([&] { in.readString(3, true); }), "String exceeds maximum length");
  EXPECT_EQ(in.offset(), 11U) << "the length is consumed";
  EXPECT_THROW(in.readString(0xFFFFFFFF, true), rdr::StringTooLongException);
  EXPECT_EQ(in.readShortString(true), "") << "empty, not null";
  EXPECT_EQ(in.readShortString(true), "a\xef\xbf\xbdz");
  EXPECT_EQ(in.readShortString(false), "a\xffz");
  in.feed("a\xc3\0\xff"sv);
  plat::DString text("old");
  in.readBytesInto(4, text, true);
  EXPECT_STREQ(text.get(), "a\xef\xbf\xbd") << "checked up to the zero byte";
  in.feedSingly("ab\0d\0ef"sv);
  char bytes[5];
  EXPECT_EQ(in.readFixed(bytes, 5), 2U);
  EXPECT_EQ(std::string_view(bytes, 5), "ab\0d\0"sv);
  EXPECT_EQ(in.readFixed(bytes, 2), 0xFFFFFFFF);
}

TEST(InStream, readsLines) {
  const std::string longest(262144, 'x');
  const struct {
    std::string_view input;
    std::uint32_t limit;
    std::string_view expected;
    bool sawNul = false;
    bool sound = true;
  } cases[] = {{"abc\nd", 3, "abc"},
               {"\nx", 3, ""},
               {"a\r\rb\r\n", 2, "ab"},
               {longest, 0, longest},
               {"a\0b\n"sv, 9, "a\0b"sv, true},
               {"a\xff\n", 9, "a\xef\xbf\xbd", false, false}};
  plat::DString line;
  for (const auto& c : cases) {
    rdr::MemInStream in(c.input.data(), static_cast<int>(c.input.size()));
    bool sawNul = !c.sawNul;
    EXPECT_EQ(in.readLine(line, c.limit, &sawNul, true), c.sound);
    EXPECT_EQ(sawNul, c.sawNul);
    EXPECT_EQ(std::string_view(line.get(), c.expected.size() + 1), std::string(c.expected) + '\0');
  }
  rdr::MemInStream in("abcd\na", 6);
  EXPECT_THROW(in.readLine(line, 3), rdr::StringTooLongException);
  EXPECT_STREQ(line.get(), "");
  in.readLine(line);
  in.readLine(line);
  EXPECT_EQ(messageFrom([&] { in.readLine(line); }), "End of in-memory input stream");
}

TEST(MemOutStream, growsUpToItsLimit) {
  rdr::MemOutStream out(4, 10);
  put(out, "abcde");
  EXPECT_EQ(out.allocated(), 8);
  put(out, "fghi");
  EXPECT_EQ(messageFrom([&] { out.writeU16(1); }), "OutStream full");
  EXPECT_EQ(contents(out), "abcdefghi");
  out.setMaxSize(5);
  EXPECT_THROW(out.writeU8(1), rdr::OutStreamFull) << "a limit below the contents";
  out.setMaxSize(100);
  EXPECT_EQ(out.overrun(8, INT_MAX), INT_MAX) << "room for what the limit allows";
  EXPECT_EQ(out.spaceLeft(), 91);
  EXPECT_THROW(out.overrun(INT_MAX, 1), rdr::OutStreamFull);
  EXPECT_NE(messageFrom([&] { out.setPtr(out.getEnd() + 1); }).find("'p >= ptr && p <= end'"), std::string::npos);
}

TEST(MemOutStream, handsItsBufferOverAsATextOfOneZeroByteMore) {
  for (const std::size_t used : {0, 9, 10}) {
    SCOPED_TRACE(used);
    const std::string expected(used, 'x');
    rdr::MemOutStream out(0, 10);
    put(out, expected);
    out.ensureNul();
    const std::uint8_t* const bytes = out.data();
    plat::DString text("old");
    out.takeInto(text);
    EXPECT_EQ(text.get(), reinterpret_cast<const char*>(bytes)) << "not copied, and no second zero byte";
    EXPECT_EQ(text.append("more").get(), expected + "more");
    EXPECT_EQ(out.spaceLeft(), 10) << "empty, and the limit stays";
  }
}

TEST(ByteReader, gathersMoreThanTheBufferHoldsInAnyPieces) {
  const std::string expected = pattern(100);
  for (std::size_t piece = 1; piece < 100; ++piece) {
    SCOPED_TRACE(piece);
    FedInStream in(16), skipped(16);
    std::uint8_t buffer[100];
    ByteReader reader, skipper;
    for (std::size_t at = 0; at < expected.size(); at += piece) {
      reader.init(&in, 100, piece % 2 ? buffer : nullptr, false);  // as a parser does that runs again after a block
      ASSERT_EQ(reader.read(false).second, nullptr);
      in.feed(std::string_view(expected).substr(at, piece));
      skipper.init(&skipped, 100, nullptr, false);
      ASSERT_FALSE(skipper.skip(false));
      skipped.feed(std::string_view(expected).substr(at, piece));
    }
    EXPECT_EQ(messageFrom([&] { reader.init(&in, 5, nullptr, false); }), "ByteReader::init: bad len");
    const auto [count, bytes] = reader.read(true);
    EXPECT_EQ(std::string(bytes, bytes + count), expected);
    EXPECT_EQ(bytes == buffer, piece % 2 != 0);
    EXPECT_TRUE(skipper.skip(false));
    EXPECT_EQ(in.nUnread() + skipped.nUnread(), 0);
  }
  FedInStream dry(0);
  ByteReader none;
  none.init(&dry, 0, nullptr, false);
  EXPECT_NE(none.read(false).second, nullptr) << "which would say that bytes are missing";
}

TEST(ByteReader, readsATextInAnyPieces) {
  constexpr auto wire = "\0\0\0\4ab\xff!."sv;
  for (std::size_t cut = 4; cut < 8; ++cut) {
    SCOPED_TRACE(cut);
    FedInStream in("\0\0"sv, -1);
    ByteReader reader;
    const auto read = [&] { return ByteReader::readStringResumable(reader, in, 4, false); };
    EXPECT_THROW(read(), rdr::BlockException);
    in.feed(wire.substr(2, cut - 2));
    EXPECT_TRUE(read().isNull());
    in.feed(wire.substr(cut));
    EXPECT_EQ(read(), "ab\xef\xbf\xbd!");
    EXPECT_EQ(reader.len(), 0U);
    EXPECT_EQ(in.readU8(), '.');
    in.feed("\0\0\0\5\0\0\0\0"sv);
    EXPECT_THROW(read(), rdr::StringTooLongException);
    EXPECT_EQ(read(), "");
  }
}

TEST(TextAppender, keepsAnUncountedTerminator) {
  rdr::MemOutStream out(0);
  rdr::TextAppender appender(out);
  const auto text = [&out] { return std::string(reinterpret_cast<const char*>(out.data())); };
  appender.appendText("");
  EXPECT_EQ(text(), "");
  appender.appendText("defghi", 3);
  appender.appendText("g", 3);
  appender.appendChars('-', 2);
  appender.appendChars('+', 0);
  EXPECT_EQ(text(), "defg--");
  const std::string longText(3000, 'y');
  appender.appendFormat("%d:%s", 12, longText.c_str());
  for (const unsigned codePoint : {0x7FU, 0x7FFU, 0xFFFFU, 0x1F601U, 0x10FFFFU, 0x1100000U}) {
    appender.appendChars(codePoint, 1);
  }
  EXPECT_EQ(text(), "defg--12:" + longText + "\x7f\xdf\xbf\xef\xbf\xbf\xf0\x9f\x98\x81\xf4\x8f\xbf\xbf");
  EXPECT_EQ(out.length(), 3023U);
  rdr::MemOutStream limited(-1, 10);
  EXPECT_THROW(rdr::TextAppender(limited).appendFormat("%s", "0123456789"), rdr::OutStreamFull);
}
