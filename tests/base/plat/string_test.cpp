#include "base/plat/String.h"

#include <deque>
#include <random>

#include "base/plat/CircularVector.h"
#include "base/plat/DString.h"
#include "base/plat/MBuf.h"
#include "base/plat/hex.h"
#include "base/plat/numbers.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

TEST(String, keepsNullAndEmptyApartAndMovesLeaveNull) {
  const String null, empty(std::string_view{});
  EXPECT_TRUE(null.isNull() && !empty.isNull() && null.empty() && empty.empty());
  EXPECT_EQ(null, String(nullptr));
  EXPECT_TRUE(null < empty && empty < String("a"));
  String original("text"), copy(original);
  copy.data()[0] = 'n';
  const String moved(std::move(original));
  EXPECT_EQ(moved, "text");
  EXPECT_TRUE(original.isNull());  // NOLINT(bugprone-use-after-move): promised to be null
  copy = copy.get() + 2;
  EXPECT_EQ(copy, "xt") << "out of itself";
  EXPECT_EQ(String::format("%s-%0300d", "x", 7).length(), 302U);
}

TEST(DString, appendsAndReplacesTexts) {
  DString text;
  text.append(nullptr);
  EXPECT_EQ(text.get(), nullptr);
  text.append("abcdef", 3).append("x", 10).appendChar('-').appendFormat("%d", 42);
  EXPECT_STREQ(text.get(), "abcx-42");
  const std::string large(5000, 'l');
  text.append(text.get()).appendFormat("%s", large.c_str());
  EXPECT_EQ(text.takeString(), ("abcx-42abcx-42" + large).c_str());
  EXPECT_EQ(text.capacity(), 0);

  for (const auto& [start, end, with, length, result] : {std::tuple(0, 0, "ab", -1, "ab0123456"),
                                                         {7, 7, "ab", -1, "0123456ab"},
                                                         {2, 5, "abcdef", -1, "01abcdef56"},
                                                         {2, 5, "abcdef", 1, "01a56"},
                                                         {0, 7, nullptr, -1, ""},
                                                         {-1, 2, "x", -1, "0123456"},
                                                         {3, 2, "x", -1, "0123456"},
                                                         {2, 8, "x", -1, "0123456"}}) {
    DString digits("0123456");
    digits.replaceRange(start, end, with, length);
    EXPECT_STREQ(digits.get(), result) << result;
  }
  text.append("aaaa.b.");
  for (const auto& [find, with, result] :
       {std::tuple("aa", "a", "aa.b."), {".", "::", "aa::b::"}, {":", nullptr, "aab"}, {"b", "bb", "aabb"}}) {
    text.replaceAll(find, with);
    EXPECT_STREQ(text.get(), result);
  }
  EXPECT_THAT(messageFrom<AssertionFail>([&] { text.replaceAll("", "x"); }),
              StartsWith("Assertion 'findLen' failed at base/plat/DString:"));
}

using Bytes = MBuf<unsigned char>;

TEST(MBuf, wipesWhatASecureBufferGivesUpAndGrowsWithZeros) {
  for (const bool secure : {false, true}) {
    Bytes buffer(20, secure);
    std::fill(buffer.begin(), buffer.end(), 0xAA);
    const unsigned char* const memory = buffer.data();
    buffer.resize(10);
    EXPECT_EQ(std::pair(int{memory[9]}, int{memory[10]}), std::pair(0xAA, secure ? 0 : 0xAA));
    buffer.assign(memory + 5, 1);
    EXPECT_EQ(std::pair(int{memory[0]}, int{memory[1]}), std::pair(0xAA, secure ? 0 : 0xAA)) << "out of itself";
    buffer.resize(3);
    Bytes copy;
    copy = buffer;
    const Bytes moved(std::move(copy));
    EXPECT_EQ(moved.secure(), secure);
    EXPECT_EQ(moved, Bytes(reinterpret_cast<const unsigned char*>("\xAA\0"), 3));
    EXPECT_THROW(buffer.resize(-1), AssertionFail);
  }
}

TEST(CircularVector, behavesLikeAQueueThroughGrowthWrapAroundAndErasure) {
  std::mt19937 random(7);
  CircularVector<int> ring;
  std::deque<int> model;
  for (int step = 0; step < 20'000; ++step) {
    const auto dice = random() % 10;
    if (dice < 5 || model.empty()) {
      ring.pushBack(step);
      model.push_back(step);
    } else if (dice < 9) {
      ASSERT_EQ(ring.popFront(), model.front());
      model.pop_front();
    } else {
      const auto at = static_cast<std::uint32_t>(random() % model.size());
      ring.erase(at);
      model.erase(model.begin() + at);
    }
    ASSERT_EQ(ring.size(), model.size());
    for (std::uint32_t i = 0; i < ring.size(); i += 1 + i / 4) {
      ASSERT_EQ(ring[i], model[i]) << "step " << step << " index " << i;
    }
  }
  EXPECT_THROW(ring.reserve(0x20000001u), AssertionFail);
}

TEST(Numbers, areTakenWithinTheirTypeAndLimitsAndMoveTheCursorOnlyOnSuccess) {
  EXPECT_THAT((std::array<std::int64_t, 7>{parseS32("-2147483648"), parseS32("2147483647"), parseU32("4294967295"),
                                           parseS64("-9223372036854775808"), parseU32(" +0xfF", 16), parseS32("010", 0),
                                           parseS32("5", 10, 5, 5)}),
              ElementsAre(INT32_MIN, INT32_MAX, UINT32_MAX, INT64_MIN, 255, 8, 5));
  EXPECT_EQ(parseU64("18446744073709551615"), UINT64_MAX);
  for (const char* text : {"-1", " -0", "4294967296", "-4294967295"}) {
    EXPECT_THROW(parseU32(text), BadNum) << text;
  }
  const auto failureOf = [](const auto& parse) { return messageFrom<BadNum>(parse); };
  for (const char* text : {static_cast<const char*>(nullptr), "", " ", "x", "1x", "99999999999999999999"}) {
    EXPECT_THAT((std::array{failureOf([&] { parseS32(text); }), failureOf([&] { parseS64(text); }),
                            failureOf([&] { parseU64(text); })}),
                ElementsAre("Failed to parse integer", "Failed to parse S64 integer", "Failed to parse U64 integer"))
        << PrintToString(text);
  }
  EXPECT_THROW(parseS32("2147483648"), BadNum);
  EXPECT_THROW(parseS32("4", 10, 5, 6), BadNum);
  EXPECT_EQ(failureOf([] { parseS32("7", 10, 5, 6, "5 or 6, please"); }), "5 or 6, please");

  errno = ENOTTY;
  const char* const text = "12,99999999999999999999";
  const char* cursor = text;
  EXPECT_EQ(parseU32At(cursor), 12U);
  EXPECT_EQ(cursor, text + 2);
  EXPECT_THROW(parseS64At(cursor), BadNum);
  EXPECT_EQ(cursor, text + 2);
  std::uint64_t value = 77;
  EXPECT_FALSE(tryParseU64(++cursor, 10, value));
  EXPECT_EQ(value, 77U);
  EXPECT_EQ(errno, ENOTTY) << "left alone";
}

TEST(Hex, goesThereAndBackAndIsDumpedInColumns) {
  const unsigned char bytes[] = {0x00, 0x9A, 0xFF};
  EXPECT_EQ(binToHex(bytes, 3), "009aff");
  Bytes buffer;
  hexToBuf("009AfF", buffer);
  EXPECT_EQ(buffer, Bytes(bytes, 3));
  for (const char* text : {static_cast<const char*>(nullptr), "0", "0g", "g0", "00 1"}) {
    EXPECT_THROW(hexToBuf(text, buffer), Exception) << PrintToString(text);
    EXPECT_EQ(buffer.size(), 3);
  }
  unsigned char out[4];
  EXPECT_FALSE(hexToBin("010203", 4, out)) << "ends early";

  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = open_memstream(&text, &size);
  hexDumpTo(file, "0123456789abcde\x7F\n", 17, nullptr, nullptr);
  hexDumpTo(file, "0123456789abcdef~", 17, "> ", ". ");
  std::fclose(file);
  EXPECT_EQ(String::adopt(text),
            "0000 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 7f  0123456789abcde.\n"
            "0010 0a                                                  .\n"
            "> 30 31 32 33  34 35 36 37  38 39 61 62  63 64 65 66  0123456789abcdef\n"
            ". 7e                                                  ~\n");
}

}  // namespace
}  // namespace plat
