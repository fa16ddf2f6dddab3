#include "base/plat/String.h"

#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/DString.h"
#include "base/plat/MBuf.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

TEST(String, keepsNullAndEmptyApart) {
  const String null;
  const String empty("");
  EXPECT_TRUE(null.isNull() && null.empty() && !empty.isNull() && empty.empty());
  EXPECT_FALSE(null == empty);
  EXPECT_TRUE(null == nullptr && null == String(nullptr) && null < empty && empty < String("a"));
  EXPECT_FALSE(String(std::string_view()).isNull());
}

TEST(String, copiesAreIndependentAndMovesLeaveNull) {
  String original("text");
  String copy(original);
  copy.data()[0] = 'n';
  EXPECT_EQ(original, "text");
  const String moved(std::move(original));
  EXPECT_EQ(moved, "text");
  EXPECT_TRUE(original.isNull());  // NOLINT(bugprone-use-after-move): promised to be null
  copy = copy.get() + 2;
  EXPECT_EQ(copy, "xt") << "out of itself";
  EXPECT_EQ(String::format("%s-%0300d", "x", 7).length(), 302U);
}

TEST(DString, appendsTextsAndItself) {
  DString text;
  text.append(nullptr);
  EXPECT_EQ(text.get(), nullptr);
  text.append("abcdef", 3).append("x", 10).appendChar('-').appendFormat("%d", 42);
  EXPECT_STREQ(text.get(), "abcx-42");
  text.append(text.get());
  EXPECT_STREQ(text.get(), "abcx-42abcx-42");
  const std::string large(5000, 'l');
  text.appendFormat("%s", large.c_str());
  EXPECT_EQ(text.takeString(), ("abcx-42abcx-42" + large).c_str());
  EXPECT_EQ(text.capacity(), 0);
}

TEST(DString, replacesRangesAndLeavesInvalidOnesAlone) {
  const struct {
    int start, end;
    const char* text;
    int length;
    const char* result;
  } cases[] = {{0, 0, "ab", -1, "ab0123456"}, {7, 7, "ab", -1, "0123456ab"}, {2, 5, "abcdef", -1, "01abcdef56"},
               {2, 5, "abcdef", 1, "01a56"},  {0, 7, nullptr, -1, ""},       {-1, 2, "x", -1, "0123456"},
               {3, 2, "x", -1, "0123456"},    {2, 8, "x", -1, "0123456"}};
  for (const auto& c : cases) {
    DString text("0123456");
    text.replaceRange(c.start, c.end, c.text, c.length);
    EXPECT_STREQ(text.get(), c.result) << c.result;
  }
}

TEST(DString, replacesEveryOccurrence) {
  const struct {
    const char *text, *find, *with, *result;
  } cases[] = {{"a.b.c", ".", "::", "a::b::c"},
               {"aaaa", "aa", "a", "aa"},
               {"a.b.", ".", nullptr, "ab"},
               {"xx", "x", "xx", "xxxx"}};
  for (const auto& c : cases) {
    DString text(c.text);
    text.replaceAll(c.find, c.with);
    EXPECT_STREQ(text.get(), c.result) << c.text;
  }
  DString text("abc");
  EXPECT_THAT(test::messageFrom<AssertionFail>([&] { text.replaceAll("", "x"); }),
              testing::StartsWith("Assertion 'findLen' failed at base/plat/DString:"));
}

using Bytes = MBuf<unsigned char>;

Bytes filled(int size, unsigned char value, bool secure) {
  Bytes buffer(size, secure);
  for (unsigned char& byte : buffer) {
    byte = value;
  }
  return buffer;
}

TEST(MBuf, wipesWhatASecureBufferGivesUp) {
  for (const bool secure : {false, true}) {
    Bytes buffer = filled(20, 0xAA, secure);
    const unsigned char* const memory = buffer.data();
    buffer.resize(10);
    EXPECT_EQ(memory[9], 0xAA);
    EXPECT_EQ(memory[10], secure ? 0 : 0xAA);
    const unsigned char one = 1;
    buffer.assign(&one, 1);
    EXPECT_EQ(memory[0], 1);
    EXPECT_EQ(memory[1], secure ? 0 : 0xAA);
  }
}

TEST(MBuf, growsWithZerosAndTakesTheFlagAlong) {
  Bytes buffer = filled(3, 7, true);
  buffer.resize(5);
  EXPECT_EQ(buffer[2], 7);
  EXPECT_EQ(buffer[4], 0);
  Bytes copy;
  copy = buffer;
  EXPECT_TRUE(copy.secure());
  const Bytes moved(std::move(copy));
  EXPECT_TRUE(moved.secure());
  EXPECT_EQ(moved, buffer);
  buffer.assign(buffer.data() + 1, 2);
  EXPECT_EQ(buffer, filled(2, 7, false)) << "out of itself";
  EXPECT_THROW(buffer.resize(-1), AssertionFail);
}

}  // namespace
}  // namespace plat
