#include <climits>

#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/plat/DString.h"
#include "base/plat/String.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/NullOutStream.h"
#include "base/rdr/OutStreamFull.h"
#include "base/rdr/StringTooLongException.h"

using namespace std::string_view_literals;
using test::FedInStream;
using test::put;
using test::raised;

namespace {

std::string contents(rdr::MemOutStream& out) {
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

/// One of each value, as they stand on the wire.
constexpr auto everyValue =
    "\x81\x01\xff\xff\x80\x02\x00\x03\x81\x02\x03\x04\xff\xff\xff\xfe\x81\x02\x03\x04\x05\x06\x07\x08"
    "\xff\xff\xff\xff\xff\xff\xff\xfd\x02hi\x00\x00\x00\x03you"sv;

void expectEveryValue(rdr::InStream& in) {
  EXPECT_EQ(in.readU8(), 0x81);
  EXPECT_EQ(in.readS8(), 1);
  EXPECT_EQ(in.readS16(), -1);
  EXPECT_EQ(in.readU16(), 0x8002);
  EXPECT_EQ(in.readU16(), 3);
  EXPECT_EQ(in.readU32(), 0x81020304U);
  EXPECT_EQ(in.readS32(), -2);
  EXPECT_EQ(in.readU64(), 0x8102030405060708ULL);
  EXPECT_EQ(in.readS64(), -3);
  EXPECT_EQ(in.readShortString(true), "hi");
  EXPECT_EQ(in.readString(3, true), "you");
}

}  // namespace

TEST(OutStream, writesValuesBigEndianAndTextsCounted) {
  rdr::MemOutStream out(0);
  out.writeU8(0x81);
  out.writeS8(1);
  out.writeS16(-1);
  out.writeU16(0x8002);
  out.writeU16(3);
  out.writeU32(0x81020304U);
  out.writeS32(-2);
  out.writeU64(0x8102030405060708ULL);
  out.writeS64(-3);
  out.writeShortString("hi");
  out.writeString("you");
  EXPECT_EQ(contents(out), everyValue);
}

TEST(OutStream, boundsTexts) {
  rdr::MemOutStream out;
  out.writeShortString(std::string(300, 'x').c_str());
  EXPECT_EQ(contents(out), "\xff" + std::string(255, 'x'));
  rdr::MemOutStream more;
  more.writeShortString(nullptr);
  more.writeString(nullptr);
  more.writeString("abcdef", 3);
  more.writeString("ab", 3);
  EXPECT_EQ(contents(more), "\0\0\0\0\0\0\0\0\3abc\0\0\0\2ab"sv);
}

TEST(OutStream, padsWithWhateverIsThere) {
  rdr::MemOutStream out(4);
  put(out, "ab");
  out.padBytes(1000);
  put(out, "c");
  EXPECT_EQ(out.length(), 1003U);
  EXPECT_EQ(contents(out).front(), 'a');
  EXPECT_EQ(contents(out).back(), 'c');
}

TEST(OutStream, refusesAPointerOutsideOfTheWindow) {
  rdr::MemOutStream out(4);
  EXPECT_NO_THROW(out.setPtr(out.getEnd()));
  EXPECT_NE(raised([&] { out.setPtr(out.getPtr() - 1); }).find("'p >= ptr && p <= end'"), std::string::npos);
}

TEST(InStream, readsValuesAcrossRefillsCutAnywhere) {
  rdr::MemInStream whole(everyValue.data(), static_cast<int>(everyValue.size()));
  expectEveryValue(whole);
  EXPECT_TRUE(whole.atEnd());
  for (std::size_t cut = 0; cut <= everyValue.size(); ++cut) {
    SCOPED_TRACE(cut);
    FedInStream in;
    in.feed(everyValue.substr(0, cut));
    in.feed(everyValue.substr(cut));
    expectEveryValue(in);
  }
  FedInStream slow;
  slow.feedSingly(everyValue);
  expectEveryValue(slow);
}

TEST(InStream, readsAValueThatTheBufferCannotHoldWhole) {
  FedInStream in(everyValue, 3);
  in.setRewindable(false);
  expectEveryValue(in);
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
    in.feed(everyValue.substr(cut));
    expectEveryValue(in);
  }
}

TEST(InStream, answersOrRaisesWhenDry) {
  FedInStream in("abcd", -1);
  EXPECT_TRUE(in.check(false));
  in.skip(3);
  EXPECT_FALSE(in.check(false, 2));
  EXPECT_EQ(in.nUnread(), 4) << "back at the checkpoint";
  in.setRewindable(false);
  in.skip(4);
  EXPECT_EQ(raised([&] { in.check(true); }), "Reading from InStream would block");
  EXPECT_EQ(in.offset(), 4U) << "what was read is gone";
  EXPECT_EQ(raised([&] { in.rewind(); }), "Attempt to rewind a non-rewindable stream");
}

TEST(InStream, refusesAMessageLargerThanItsBuffer) {
  FedInStream in("abcdefgh", 4);
  in.skip(4);
  EXPECT_EQ(raised([&] { in.readU8(); }), "InStream overrun: buffer size exceeded");
  in.checkpoint();
  EXPECT_EQ(in.readU8(), 'e') << "a checkpoint makes room";
}

TEST(InStream, repositionsBehindTheCheckpointAcrossTheWrapOfOffsets) {
  /// Six bytes that begin three before the offset 2^32.
  class AtTheWrap final : public rdr::InStream {
  public:
    AtTheWrap() {
      ptr = bytes;
      end = bytes + 6;
    }
    std::uint32_t offset() override { return static_cast<std::uint32_t>(0xFFFFFFFD + (ptr - bytes)); }

  protected:
    bool overrun(int) override { return false; }

  private:
    const std::uint8_t bytes[6] = {'u', 'v', 'w', 'x', 'y', 'z'};
  } in;
  EXPECT_EQ(in.checkpoint(), 0xFFFFFFFDU);
  in.skip(6);
  EXPECT_EQ(in.offset(), 3U);
  in.reposition(0xFFFFFFFDU);
  EXPECT_EQ(in.readU8(), 'u');
  in.reposition(1);
  EXPECT_EQ(in.readU8(), 'y');
  EXPECT_EQ(raised([&] { in.reposition(0xFFFFFFFCU); }), "Can't reposition before checkpoint");
  EXPECT_EQ(in.offset(), 2U);
}

TEST(InStream, takesItemsWhole) {
  FedInStream in("aabbccd", 6);
  int n = 10;
  const std::uint8_t* items = in.getItems(2, &n, false);
  ASSERT_NE(items, nullptr);
  EXPECT_EQ(n, 3);
  EXPECT_EQ(std::string(items, items + 6), "aabbcc");
  in.checkpoint();
  n = 1;
  EXPECT_EQ(in.getItems(2, &n, false), nullptr) << "half an item";
  EXPECT_THROW(in.getItems(2, &n, true), rdr::BlockException);
  n = 0;
  EXPECT_NE(raised([&] { in.getItems(2, &n, false); }).find("'*nItems > 0'"), std::string::npos);
  EXPECT_NE(raised([&] { in.readInPlace(2); }).find("'nUnread() >= n'"), std::string::npos);
}

TEST(InStream, gathersAnItemLargerThanTheBuffer) {
  FedInStream in("abcdefgh", 3);
  in.setRewindable(false);
  char buf[5];
  int n = 4;
  const std::uint8_t* item = in.getItemsOrCopy(buf, 5, &n);
  EXPECT_EQ(item, static_cast<void*>(buf));
  EXPECT_EQ(n, 1);
  EXPECT_EQ(std::string(buf, 5), "abcde");
  n = 4;
  item = in.getItemsOrCopy(buf, 1, &n);
  EXPECT_NE(item, static_cast<void*>(buf));
  EXPECT_EQ(*item, 'f');
}

TEST(InStream, readsTextsWithinTheirLimits) {
  FedInStream in;
  in.feed("\0\0\0\3abc\0\0\0\4"sv);
  EXPECT_EQ(in.readString(3, true), "abc");
  EXPECT_EQ(raised([&] { in.readString(3, true); }), "String exceeds maximum length");
  EXPECT_EQ(in.offset(), 11U) << "the length is consumed";
  in.feed("\xff\xff\xff\xff"sv);
  EXPECT_THROW(in.readString(0xFFFFFFFF, true), rdr::StringTooLongException);
  in.feed("\0"sv);
  const plat::String empty = in.readShortString(true);
  EXPECT_FALSE(empty.isNull());
  EXPECT_TRUE(empty.empty());
}

TEST(InStream, repairsMalformedTexts) {
  FedInStream in;
  in.feed("\3a\xffz\3a\xffz"sv);
  EXPECT_EQ(in.readShortString(true), "a\xef\xbf\xbdz");
  EXPECT_EQ(in.readShortString(false), "a\xffz");
  in.feed("a\xc3\0\xff"sv);
  plat::DString text("old");
  in.readBytesInto(4, text, true);
  EXPECT_STREQ(text.get(), "a\xef\xbf\xbd") << "checked up to the zero byte";
  in.feed("sound"sv);
  in.readBytesInto(5, text, true);
  EXPECT_STREQ(text.get(), "sound");
}

TEST(InStream, readsFixedBytesAndFindsTheZero) {
  FedInStream in;
  in.feedSingly("ab\0d\0ef"sv);
  char bytes[5];
  EXPECT_EQ(in.readFixed(bytes, 5), 2U);
  EXPECT_EQ(std::string_view(bytes, 5), "ab\0d\0"sv);
  EXPECT_EQ(in.readFixed(bytes, 2), 0xFFFFFFFF);
  EXPECT_EQ(in.readFixed(bytes, 0), 0xFFFFFFFF);
}

TEST(InStream, readsLines) {
  constexpr auto text = "ab\r\ncd"sv;
  rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
  plat::DString line;
  EXPECT_TRUE(in.readLine(line));
  EXPECT_STREQ(line.get(), "ab");
  EXPECT_TRUE(in.readLine(line));
  EXPECT_STREQ(line.get(), "cd");
  EXPECT_EQ(raised([&] { in.readLine(line); }), "End of in-memory input stream");

  const struct {
    std::string_view input;
    std::uint32_t limit;
    std::string_view expected;  // null data: too long
    bool sawNul;
    bool sound;
  } cases[] = {
      {"abc\nd", 3, "abc", false, true},
      {"abcd\n", 3, {}, false, true},
      {"\nx", 3, "", false, true},
      {"a\r\rb\r\n", 2, "ab", false, true},
      {"abc", 3, "abc", false, true},
      {"a\0b\n"sv, 9, "a\0b"sv, true, true},
      {"a\xff\n", 9, "a\xef\xbf\xbd", false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.input));
    rdr::MemInStream one(c.input.data(), static_cast<int>(c.input.size()));
    bool sawNul = !c.sawNul;
    if (c.expected.data() == nullptr) {
      EXPECT_THROW(one.readLine(line, c.limit, &sawNul, true), rdr::StringTooLongException);
      EXPECT_STREQ(line.get(), "");
      continue;
    }
    EXPECT_EQ(one.readLine(line, c.limit, &sawNul, true), c.sound);
    EXPECT_EQ(sawNul, c.sawNul);
    EXPECT_EQ(std::string_view(line.get(), c.expected.size() + 1), std::string(c.expected) + '\0');
  }
}

TEST(InStream, readsALongLineWithItsDefaultLimit) {
  const std::string longest(262144, 'x');
  rdr::MemInStream in(longest.data(), static_cast<int>(longest.size()));
  plat::DString line;
  in.readLine(line);
  EXPECT_EQ(longest, line.get());
  const std::string tooLong = longest + "x\n";
  rdr::MemInStream more(tooLong.data(), static_cast<int>(tooLong.size()));
  EXPECT_THROW(more.readLine(line), rdr::StringTooLongException);
}

TEST(InStream, leavesAProperTextWhenALineBlocks) {
  FedInStream in("abc", -1);
  plat::DString line("something longer than what comes");
  EXPECT_THROW(in.readLine(line), rdr::BlockException);
  EXPECT_STREQ(line.get(), "abc");
  in.feed("d\n");
  in.readLine(line);
  EXPECT_STREQ(line.get(), "abcd");
}

TEST(InStream, spreadsRandomBytesEvenly) {
  const auto drawn = [](std::string_view bytes, std::uint32_t bound) {
    rdr::MemInStream in(bytes.data(), static_cast<int>(bytes.size()));
    const std::uint32_t value = in.readUniform(bound);
    return std::pair(value, in.offset() / 4);
  };
  EXPECT_EQ(drawn("\xff\xff\xff\xff"sv, 0), std::pair(0xFFFFFFFFU, 1U));
  EXPECT_EQ(drawn("\0\0\0\x17"sv, 10), std::pair(3U, 1U));
  // 2^32 mod 10 is 6: values below 6 would favour 0 to 5 and are drawn again.
  EXPECT_EQ(drawn("\0\0\0\5\0\0\0\6"sv, 10), std::pair(6U, 2U));
  EXPECT_EQ(drawn(std::string(40, '\0'), 10), std::pair(0U, 9U)) << "gives up after nine";
}

TEST(MemInStream, endsWithoutRewinding) {
  rdr::MemInStream in("abc", 3);
  in.skip(2);
  EXPECT_FALSE(in.atEnd());
  EXPECT_EQ(raised([&] { in.readU16(); }), "End of in-memory input stream");
  EXPECT_EQ(in.offset(), 2U);
  in.rewind();
  EXPECT_EQ(in.readU8(), 'a');
}

TEST(MemOutStream, growsByDoublingUpToItsLimit) {
  rdr::MemOutStream out(4, 10);
  EXPECT_EQ(out.spaceLeft(), 10);
  put(out, "abcde");
  EXPECT_EQ(out.allocated(), 8);
  put(out, "fghi");
  EXPECT_EQ(out.allocated(), 10);
  EXPECT_EQ(raised([&] { out.writeU16(1); }), "OutStream full");
  EXPECT_THROW(put(out, "xy"), rdr::OutStreamFull);
  EXPECT_EQ(contents(out), "abcdefghi");
  out.setMaxSize(12);
  put(out, "xyz");
  EXPECT_EQ(contents(out), "abcdefghixyz");
  EXPECT_THROW(out.writeU8(1), rdr::OutStreamFull);
  out.setMaxSize(5);
  EXPECT_THROW(out.writeU8(1), rdr::OutStreamFull) << "a limit below the contents";
  EXPECT_EQ(out.length(), 12U);
}

TEST(MemOutStream, refusesSizesThatWouldOverflow) {
  rdr::MemOutStream out;
  put(out, "abc");
  EXPECT_THROW(out.overrun(INT_MAX, 1), rdr::OutStreamFull);
  out.setMaxSize(100);
  EXPECT_EQ(out.overrun(8, INT_MAX), INT_MAX) << "room for what the limit allows";
  EXPECT_EQ(out.getEnd() - out.getPtr(), 97);
  EXPECT_EQ(contents(out), "abc");
}

TEST(MemOutStream, endsItsContentsInOneZeroByte) {
  for (const int used : {0, 9, 10}) {
    SCOPED_TRACE(used);
    rdr::MemOutStream out(0, 10);
    put(out, std::string(static_cast<std::size_t>(used), 'x'));
    out.ensureNul();
    out.ensureNul();
    EXPECT_EQ(contents(out), std::string(static_cast<std::size_t>(used), 'x') + '\0');
    EXPECT_EQ(out.spaceLeft(), 10 - used - 1) << "the limit is what it was";
  }
}

TEST(MemOutStream, handsItsBufferOver) {
  rdr::MemOutStream out(-1, 10);
  put(out, "0123456789");
  const std::uint8_t* const bytes = out.data();
  plat::DString text("old");
  out.takeInto(text);
  EXPECT_STREQ(text.get(), "0123456789");
  EXPECT_EQ(text.get(), reinterpret_cast<const char*>(bytes)) << "not copied";
  text.append("more");
  EXPECT_STREQ(text.get(), "0123456789more");

  EXPECT_EQ(out.length(), 0U);
  EXPECT_EQ(out.allocated(), 0);
  EXPECT_EQ(out.spaceLeft(), 10) << "the limit stays";
  put(out, "ab");
  plat::MBuf<unsigned char> buffer(3, true);
  out.takeInto(buffer);
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "ab");
  EXPECT_EQ(out.takeBuffer(), nullptr);
}

TEST(NullOutStream, countsAndKeepsNothing) {
  rdr::NullOutStream out;
  for (int i = 0; i < 5000; ++i) {
    out.writeU32(1);
  }
  put(out, test::pattern(100000));
  EXPECT_EQ(out.length(), 120000U);
  EXPECT_EQ(out.spaceLeft(), INT_MAX);
  out.flush();
  EXPECT_EQ(out.length(), 120000U);
  EXPECT_EQ(out.nPending(), 0);
}
