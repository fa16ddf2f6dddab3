#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/ByteReader.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/StringTooLongException.h"

using namespace std::string_view_literals;
using rdr::ByteReader;
using test::FedInStream;
using test::raised;

namespace {

std::string text(const std::pair<std::int32_t, const std::uint8_t*>& bytes) {
  return {reinterpret_cast<const char*>(bytes.second), static_cast<std::size_t>(bytes.first)};
}

}  // namespace

TEST(ByteReader, passesOnWhatTheWindowHolds) {
  FedInStream in("abcdef", -1);
  in.check(true);
  const std::uint8_t* const window = in.getPtr();
  ByteReader reader;
  reader.init(&in, 4, nullptr, false);
  const auto bytes = reader.read(false);
  EXPECT_EQ(bytes.second, window);
  EXPECT_EQ(text(bytes), "abcd");
  reader.reset();
  reader.init(&in, 2, nullptr, true);
  EXPECT_NE(reader.read(false).second, window + 4) << "a copy was asked for";
}

TEST(ByteReader, gathersMoreThanTheBufferHoldsInAnyPieces) {
  const std::string expected = test::pattern(100);
  for (std::size_t piece = 1; piece < 100; ++piece) {
    SCOPED_TRACE(piece);
    FedInStream in(16);
    ByteReader reader;
    for (std::size_t at = 0; at < expected.size(); at += piece) {
      reader.init(&in, 100, nullptr, false);  // as a parser does that runs again after a block
      ASSERT_EQ(reader.read(false).second, nullptr);
      in.feed(std::string_view(expected).substr(at, piece));
    }
    EXPECT_EQ(text(reader.read(false)), expected);
    EXPECT_EQ(reader.len(), 100U);
    reader.reset();
    EXPECT_EQ(reader.len(), 0U);
    EXPECT_EQ(in.nUnread(), 0);
  }
}

TEST(ByteReader, usesTheCallersBuffer) {
  FedInStream in("ab", -1);
  std::uint8_t buffer[4];
  ByteReader reader;
  reader.init(&in, 4, buffer, false);
  EXPECT_THROW(reader.read(true), rdr::BlockException);
  in.feed("cd");
  EXPECT_EQ(reader.read(true).second, buffer);
  EXPECT_EQ(std::string(buffer, buffer + 4), "abcd");
}

TEST(ByteReader, refusesAnotherLengthWhileInProgress) {
  FedInStream in("ab", -1);
  ByteReader reader;
  reader.init(&in, 4, nullptr, false);
  EXPECT_EQ(raised([&] { reader.init(&in, 5, nullptr, false); }), "ByteReader::init: bad len");
  EXPECT_EQ(raised([&] { reader.init(&in, 0, nullptr, false); }), "ByteReader::init: bad len");
}

TEST(ByteReader, givesNoBytesAtOnceAndNotNull) {
  FedInStream fed;
  rdr::MemInStream none(nullptr, 0);
  for (rdr::InStream* in : {static_cast<rdr::InStream*>(&fed), static_cast<rdr::InStream*>(&none)}) {
    ByteReader reader;
    reader.init(in, 0, nullptr, false);
    EXPECT_EQ(reader.read(false).first, 0);
    EXPECT_NE(reader.read(false).second, nullptr);
  }
}

TEST(ByteReader, skipsWithoutKeeping) {
  FedInStream in(4);
  ByteReader reader;
  reader.init(&in, 10, nullptr, false);
  EXPECT_FALSE(reader.skip(false));
  in.feed("0123456");
  EXPECT_FALSE(reader.skip(false));
  in.feed("789a");
  EXPECT_TRUE(reader.skip(false));
  EXPECT_EQ(in.readU8(), 'a');
}

TEST(ByteReader, readsItemsInPlaceOrOneAtATime) {
  FedInStream in("aabbccd", 6);
  ByteReader reader;
  int n = 9;
  reader.init(&in, 2, nullptr, false);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(reader.readItems(false, &n)), 6), "aabbcc");
  EXPECT_EQ(n, 3);
  reader.reset();
  reader.init(&in, 2, nullptr, false);
  EXPECT_EQ(reader.readItems(false, &n), nullptr);
  in.feed("deeff");
  const std::uint8_t* item = reader.readItems(false, &n);
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(std::string(item, item + 2), "dd");
  EXPECT_EQ(n, 1);
}

TEST(ByteReader, readsATextInAnyPieces) {
  constexpr auto wire =
      "\0\0\0\5ab\xff"
      "de!"sv;
  for (std::size_t cut = 4; cut < 9; ++cut) {
    SCOPED_TRACE(cut);
    FedInStream in;
    ByteReader reader;
    in.feed(wire.substr(0, cut));
    EXPECT_TRUE(ByteReader::readStringResumable(reader, in, 5, false).isNull());
    EXPECT_EQ(reader.len(), 5U);
    in.feed(wire.substr(cut));
    EXPECT_EQ(ByteReader::readStringResumable(reader, in, 5, false),
              "ab\xef\xbf\xbd"
              "de");
    EXPECT_EQ(reader.len(), 0U);
    EXPECT_EQ(in.readU8(), '!');
  }
  FedInStream in("\0\0"sv, -1);
  ByteReader reader;
  EXPECT_THROW(ByteReader::readStringResumable(reader, in, 5, false), rdr::BlockException);
  in.feed("\0\6\0\0\0\0"sv);
  EXPECT_THROW(ByteReader::readStringResumable(reader, in, 5, false), rdr::StringTooLongException);
  EXPECT_EQ(ByteReader::readStringResumable(reader, in, 5, false), "");
}
