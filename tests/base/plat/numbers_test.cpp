#include "base/plat/numbers.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/BadNum.h"
#include "base/plat/hex.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

TEST(Numbers, acceptTheWholeRangeOfTheirType) {
  EXPECT_EQ(parseS32("-2147483648"), INT32_MIN);
  EXPECT_EQ(parseS32("2147483647"), INT32_MAX);
  EXPECT_EQ(parseU32("4294967295"), UINT32_MAX);
  EXPECT_EQ(parseS64("-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(parseU64("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(parseS32(" +12"), 12);
  EXPECT_EQ(parseU32("0xfF", 16), 255U);
  EXPECT_EQ(parseS32("010", 0), 8);
}

TEST(Numbers, refuseWhatIsNoNumberOfTheirType) {
  for (const char* text :
       {static_cast<const char*>(nullptr), "", " ", "x", "1x", "1 ", "--1", "99999999999999999999"}) {
    SCOPED_TRACE(text != nullptr ? text : "(null)");
    const auto failureOf = [](const auto& parse) { return test::messageFrom<BadNum>(parse); };
    EXPECT_EQ(failureOf([&] { parseS32(text); }), "Failed to parse integer");
    EXPECT_EQ(failureOf([&] { parseU32(text); }), "Failed to parse integer");
    EXPECT_EQ(failureOf([&] { parseS64(text); }), "Failed to parse S64 integer");
    EXPECT_EQ(failureOf([&] { parseU64(text); }), "Failed to parse U64 integer");
  }
  for (const char* text : {"-1", " -0", "-4294967295"}) {
    SCOPED_TRACE(text);
    EXPECT_THROW(parseU32(text), BadNum);
    EXPECT_THROW(parseU64(text), BadNum);
  }
  EXPECT_THROW(parseS32("2147483648"), BadNum);
  EXPECT_THROW(parseU32("4294967296"), BadNum);
  EXPECT_THROW(parseU64("18446744073709551616"), BadNum);
}

TEST(Numbers, holdToTheGivenLimits) {
  EXPECT_EQ(parseS32("5", 10, 0, 5), 5);
  EXPECT_EQ(test::messageFrom([] { parseS32("6", 10, 0, 5, "0 to 5, please"); }), "0 to 5, please");
}

TEST(Numbers, moveTheCursorOnlyOnSuccessAndLeaveErrnoAlone) {
  errno = ENOTTY;
  const char* const text = "12,-3;99999999999999999999";
  const char* cursor = text;
  EXPECT_EQ(parseU32At(cursor), 12U);
  EXPECT_EQ(cursor, text + 2);
  EXPECT_THROW(parseS64At(cursor), BadNum);
  EXPECT_EQ(cursor++, text + 2);
  std::uint64_t unsignedValue = 77;
  EXPECT_FALSE(tryParseU64(cursor, 10, unsignedValue));
  EXPECT_EQ(unsignedValue, 77U);
  std::int32_t value = 0;
  EXPECT_TRUE(tryParseS32(cursor, 10, value));
  EXPECT_EQ(value, -3);
  EXPECT_FALSE(tryParseU64(++cursor, 10, unsignedValue));
  EXPECT_EQ(errno, ENOTTY);
}

TEST(Hex, goesThereAndBack) {
  const unsigned char bytes[] = {0x00, 0x9A, 0xFF};
  EXPECT_EQ(binToHex(bytes, 3), "009aff");
  EXPECT_EQ(binToHex(nullptr, 0), "");
  MBuf<unsigned char> buffer;
  hexToBuf("009AfF", buffer);
  EXPECT_EQ(buffer, MBuf<unsigned char>(bytes, 3));
  for (const char* text : {static_cast<const char*>(nullptr), "0", "0g", "g0", "00 1", "0x"}) {
    SCOPED_TRACE(text != nullptr ? text : "(null)");
    EXPECT_FALSE(tryHexToBuf(text, buffer));
    EXPECT_EQ(buffer.size(), 3);
    EXPECT_THROW(hexToBuf(text, buffer), Exception);
  }
  unsigned char out[4];
  EXPECT_FALSE(hexToBin("010203", 4, out));  // ends early
  EXPECT_THROW(static_cast<void>(hexDigit(16)), AssertionFail);
}

std::string dump(const void* data, std::size_t length, const char* prefix, const char* linePrefix) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = open_memstream(&text, &size);
  hexDumpTo(file, data, length, prefix, linePrefix);
  std::fclose(file);
  return String::adopt(text).orEmpty();
}

TEST(Hex, dumpLinesUp) {
  const char data[] = "0123456789abcde\x7F\n";
  EXPECT_EQ(dump(data, 17, nullptr, nullptr),
            "0000 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 7f  0123456789abcde.\n"
            "0010 0a                                                  .\n");
  EXPECT_EQ(dump(data, 17, "> ", ". "),
            "> 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 7f  0123456789abcde.\n"
            ". 0a                                                  .\n");
  EXPECT_EQ(dump(data, 0, "> ", ". "), "");
}

}  // namespace
}  // namespace plat
