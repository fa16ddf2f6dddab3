#include "base/rdr/ByteReader.h"

#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/rdr/BlockException.h"
#include "base/rdr/StringTooLongException.h"

using namespace std::string_view_literals;
using rdr::ByteReader;
using test::FedInStream;
using test::raised;

TEST(ByteReader, gathersMoreThanTheBufferHoldsInAnyPieces) {
  const std::string expected = test::pattern(100);
  for (std::size_t piece = 1; piece < 100; ++piece) {
    SCOPED_TRACE(piece);
    FedInStream in(16);
    std::uint8_t buffer[100];
    ByteReader reader;
    ByteReader skipper;
    FedInStream skipped(16);
    for (std::size_t at = 0; at < expected.size(); at += piece) {
      reader.init(&in, 100, piece % 2 ? buffer : nullptr, false);  // as a parser does that runs again after a block
      ASSERT_EQ(reader.read(false).second, nullptr);
      in.feed(std::string_view(expected).substr(at, piece));
      skipper.init(&skipped, 100, nullptr, false);
      ASSERT_FALSE(skipper.skip(false));
      skipped.feed(std::string_view(expected).substr(at, piece));
    }
    EXPECT_EQ(raised([&] { reader.init(&in, 5, nullptr, false); }), "ByteReader::init: bad len");
    const auto [count, bytes] = reader.read(true);
    EXPECT_EQ(std::string(bytes, bytes + count), expected);
    EXPECT_EQ(bytes == buffer, piece % 2 != 0);
    EXPECT_TRUE(skipper.skip(false));
    EXPECT_EQ(in.nUnread() + skipped.nUnread(), 0);
  }
}

TEST(ByteReader, readsATextInAnyPieces) {
  constexpr auto wire = "\0\0\0\4ab\xff!."sv;
  for (std::size_t cut = 4; cut < 8; ++cut) {
    SCOPED_TRACE(cut);
    FedInStream in;
    ByteReader reader;
    in.feed(wire.substr(0, cut));
    EXPECT_TRUE(ByteReader::readStringResumable(reader, in, 4, false).isNull());
    in.feed(wire.substr(cut));
    EXPECT_EQ(ByteReader::readStringResumable(reader, in, 4, false), "ab\xef\xbf\xbd!");
    EXPECT_EQ(reader.len(), 0U);
    EXPECT_EQ(in.readU8(), '.');
  }
  FedInStream in("\0\0"sv, -1);
  ByteReader reader;
  EXPECT_THROW(ByteReader::readStringResumable(reader, in, 5, false), rdr::BlockException);
  in.feed("\0\6\0\0\0\0"sv);
  EXPECT_THROW(ByteReader::readStringResumable(reader, in, 5, false), rdr::StringTooLongException);
  EXPECT_EQ(ByteReader::readStringResumable(reader, in, 5, false), "");
}
