#include "base/plat/utf8.h"

#include <clocale>
#include <string>

#include <gtest/gtest.h>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/markup.h"

namespace plat {
namespace {

/// Malformed texts, each of which has no well-formed character in it.
constexpr const char* malformed[] = {
    "\x80",              // continuation without a lead
    "\xC0\x80",          // overlong
    "\xC1\xBF",          // overlong
    "\xE0\x9F\xBF",      // overlong
    "\xF0\x8F\xBF\xBF",  // overlong
    "\xED\xA0\x80",      // lowest surrogate
    "\xED\xBF\xBF",      // highest surrogate
    "\xEF\xB7\x90",      // noncharacter FDD0
    "\xEF\xBF\xBE",      // noncharacter FFFE
    "\xF0\x9F\xBF\xBF",  // noncharacter 1FFFF
    "\xF4\x8F\xBF\xBE",  // noncharacter 10FFFE
    "\xF4\x90\x80\x80",  // above 10FFFF
    "\xF5\x80\x80\x80",  // no lead byte
    "\xFF",              // no lead byte
    "\xC3",              // ends early
    "\xE2\x82",          // ends early
    "\xF0\x9F\x98",      // ends early
};

TEST(Utf8, refusesEveryMalformedFormWhereverItStands) {
  for (const char* bad : malformed) {
    for (std::size_t before = 0; before < 20; ++before) {
      const std::string text = std::string(before, 'a') + bad + "zzzzzzzzz";
      SCOPED_TRACE(text);
      EXPECT_FALSE(isValidUtf8(text.c_str()));
      EXPECT_FALSE(isValidUtf8((std::string(before, 'a') + bad).c_str()));
      EXPECT_TRUE(isValidUtf8(text.c_str(), text.c_str() + before));
      std::string repaired(before, 'a');
      for (std::size_t i = 0; i < std::string(bad).size(); ++i) {
        repaired += "\xEF\xBF\xBD";
      }
      EXPECT_EQ(utf8Repair(text.c_str()).orEmpty(), repaired + "zzzzzzzzz");
    }
  }
}

TEST(Utf8, encodesAndDecodesEveryCodePoint) {
  for (unsigned codePoint = 1; codePoint <= 0x10FFFF; ++codePoint) {
    char text[5] = {};
    char* end = text;
    utf8Encode(codePoint, end);
    const bool allowed = !(codePoint >= 0xD800 && codePoint <= 0xDFFF) &&
                         !(codePoint >= 0xFDD0 && codePoint <= 0xFDEF) && (codePoint & 0xFFFF) < 0xFFFE;
    const char* cursor = text + 1;
    const int decoded = utf8Decode(static_cast<unsigned char>(text[0]), cursor, static_cast<int>(end - text) - 1);
    ASSERT_EQ(decoded, allowed ? static_cast<int>(codePoint) : -1) << std::hex << codePoint;
    ASSERT_EQ(cursor, allowed ? end : text + 1);
    ASSERT_EQ(isValidUtf8(text), allowed);
    if (end - text > 1) {  // one byte too little room
      ASSERT_EQ(utf8Decode(static_cast<unsigned char>(text[0]), cursor = text + 1, static_cast<int>(end - text) - 2),
                -1);
      ASSERT_FALSE(isValidUtf8(text, end - 1));
    }
  }
  char buffer[8];
  char* cursor = buffer;
  EXPECT_THROW(utf8Encode(0x110000, cursor), Exception);
  EXPECT_EQ(cursor, buffer);
}

TEST(Utf8, repairCountsCharacters) {
  const char* const text = "\xC3\xA9\xFF\xE2\x82\xAC";
  EXPECT_STREQ(utf8Repair(text, nullptr, 2).get(), "\xC3\xA9\xEF\xBF\xBD");
  EXPECT_STREQ(utf8Repair(text, nullptr, 0).get(), "");
  EXPECT_STREQ(utf8Repair(text, text + 4).get(), "\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_TRUE(utf8Repair(nullptr).isNull());
  const char withZero[] = "a\0\xFF";
  EXPECT_TRUE(isValidUtf8(withZero));
  EXPECT_FALSE(isValidUtf8(withZero, withZero + 3));
}

TEST(Utf8, escapesWhatATerminalWouldActOn) {
  const struct {
    const char *text, *result;
  } cases[] = {{"plain", "plain"},
               {"~", "~~"},
               {"\t\n\x1B\x7F", "~^I~^J~^[~^?"},
               {"\xE9", "~M-i"},
               {"\x80\xA0\xFF", "~M^@~M^`~M^?"},
               {"\xC3\xA9", "\xC3\xA9"},
               {"\xE2\x82x", "~M-b~M^Bx"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(utf8Escape(c.text, '~').get(), c.result) << c.result;
  }
}

TEST(Utf8, convertsLatin1) {
  EXPECT_STREQ(utf8ToLatin1("a\xC3\xA9\xE2\x82\xAC\xC4\x80!").get(), "a\xE9\x80?!");
  EXPECT_STREQ(utf8ToLatin1("a\xC3\xA9\xFFz").get(), "a\xE9");
  EXPECT_STREQ(latin1ToUtf8("a\xE9\x80").get(), "a\xC3\xA9\xE2\x82\xAC");
}

TEST(Utf8, countsColumns) {
  EXPECT_EQ(utf8Width("a\x01"), 2);
  EXPECT_EQ(utf8Width("ab\xFFzz"), 2);
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  if (std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {
    EXPECT_EQ(utf8Width("\xE4\xB8\xAD"), 2);  // wide
    EXPECT_EQ(utf8Width("e\xCC\x81"), 1);     // combining
    std::setlocale(LC_CTYPE, before.c_str());
  }
}

TEST(Utf8, movesRangesToCharacters) {
  const char* const text =
      "a\xE2\x82\xAC"
      "b";
  const struct {
    int start, len, newStart, newLen;
  } cases[] = {{0, 5, 0, 5}, {2, 3, 1, 4}, {0, 2, 0, 1},   {0, 3, 0, 1},
               {2, 1, 1, 0}, {4, 1, 4, 1}, {-3, 99, 0, 5}, {9, 1, 5, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.start);
    int start = c.start;
    int len = c.len;
    EXPECT_EQ(utf8Boundary(text, start, len), 5);
    EXPECT_EQ(start, c.newStart);
    EXPECT_EQ(len, c.newLen);
  }
}

TEST(Markup, escapesTextsAndAttributes) {
  DString out;
  DString style;
  appendFontStyle(style, 120, 700);
  appendColorStyle(style, "red");
  openDiv(out, TextAlign::Center, style.get());
  appendLink(out, "https://example.com/?a&b=\"", "<here>");
  appendBold(out, "x");
  appendSpan(out, "y", "font-style:italic;");
  EXPECT_STREQ(out.get(),
               "<div style=\"text-align:center;font-size:120%;font-weight:700;color:red;\">"
               "<a href=\"https://example.com/?a&amp;b=&quot;\">&lt;here&gt;</a><b>x</b>"
               "<span style=\"font-style:italic;\">y</span>");
}

}  // namespace
}  // namespace plat
