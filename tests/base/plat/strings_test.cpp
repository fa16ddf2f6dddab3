#include "base/plat/strings.h"

#include <clocale>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/DString.h"
#include "base/plat/markup.h"
#include "base/plat/utf8.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

TEST(FixedText, leavesOutACharacterThatTheCutWouldSplit) {
  const struct {
    std::size_t size;
    const char *before, *added, *result;
  } cases[] = {{4, "ab", "\xC3\xA9", "ab"},       {5, "ab", "\xC3\xA9", "ab\xC3\xA9"},
               {6, "abc", "\xE2\x82\xAC", "abc"}, {7, "abc", "\xE2\x82\xAC", "abc\xE2\x82\xAC"},
               {4, "", "\xF0\x9F\x98\x80", ""},   {4, "a", "bcd", "abc"},
               {8, "a", "\xC3", "a\xC3"},         {4, "a", "", "a"}};
  for (const auto& c : cases) {
    char appended[16], formatted[16];
    strCopy(appended, sizeof appended, c.before);
    strCopy(formatted, sizeof formatted, c.before);
    strAppend(appended, c.size, c.added);
    strFormatAppend(formatted, c.size, "%s", c.added);
    EXPECT_STREQ(appended, c.result);
    EXPECT_STREQ(formatted, c.result);
  }
}

TEST(FixedText, staysInsideTheBuffer) {
  char buffer[8] = "1234567";
  strAppend(buffer, 0, "x");
  strAppend(buffer, 4, "x");  // not terminated within four bytes
  EXPECT_STREQ(buffer, "1234567");
  EXPECT_EQ(strCopy(buffer, 4, "abcdef"), 6U);
  EXPECT_EQ(std::string(buffer, 7), (std::string("abc") + '\0' + "567"));
  strAppend(buffer, 8, "xyz", 2);
  EXPECT_STREQ(buffer, "abcxy");
  EXPECT_EQ(strCopy(buffer, 8, nullptr), 0U);
  strAppendChars(buffer, 8, 0x20AC, 5);
  strAppendChars(buffer, 8, '.', 5);
  EXPECT_STREQ(buffer, "\xE2\x82\xAC\xE2\x82\xAC.");
}

using List = std::vector<std::string>;

/// All tokens of a copy of `text`, each taken by `next`, which is given the cursor.
template <class Next>
List tokensOf(const char* text, const Next& next) {
  String copy(text);
  char* cursor = copy.data();
  List tokens;
  while (const char* const token = next(cursor)) {
    tokens.emplace_back(token);
  }
  EXPECT_EQ(cursor, nullptr);
  return tokens;
}

TEST(Tokens, areCutAtSeparators) {
  const struct {
    const char* text;
    List all, nonEmpty;
  } cases[] = {{"a,,b", {"a", "", "b"}, {"a", "b"}},
               {",a,", {"", "a", ""}, {"a"}},
               {"", {""}, {}},
               {",,", {"", "", ""}, {}},
               {nullptr, {}, {}}};
  for (const auto& c : cases) {
    for (const bool skipEmpty : {false, true}) {
      const List& expected = skipEmpty ? c.nonEmpty : c.all;
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strToken(at, ',', skipEmpty); }), expected);
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strTokenAny(at, ";,", nullptr, skipEmpty); }), expected);
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strTokenText(at, ",", skipEmpty); }), expected);
    }
  }
  EXPECT_EQ(tokensOf("a::b:c::", [](char*& at) { return strTokenText(at, "::", true); }), (List{"a", "b:c"}));
  EXPECT_EQ(tokensOf("a::b", [](char*& at) { return strTokenText(at, "", false); }), List{"a::b"});
  std::string separators;
  tokensOf("k=v;w", [&](char*& at) {
    char found = 'x';
    const char* const token = strTokenAny(at, "=;", &found, true);
    separators += found != '\0' ? found : '0';
    return token;
  });
  EXPECT_EQ(separators, "=;00");
}

TEST(WrapWords, breaksAtBlanksWithinTheWidth) {
  EXPECT_STREQ(wrapWords("aaa bbb ccc", 6, 2).get(), "aaa\n  bbb\n  ccc");
  EXPECT_STREQ(wrapWords("aaa   bbb", 7, 0).get(), "aaa\nbbb");
  EXPECT_STREQ(wrapWords("aaa   bbb", 9, 0).get(), "aaa   bbb");
  EXPECT_STREQ(wrapWords("aaa bbb\nc ddd ", 7, 1).get(), "aaa bbb\nc ddd ");
  EXPECT_STREQ(wrapWords("aa aaaaaaaaaa b", 5, 0).get(), "aa\naaaaaaaaaa\nb");
  EXPECT_STREQ(wrapWords("  toolong", 4, 3).get(), "  toolong");
  EXPECT_STREQ(wrapWords("\xC3\xA9\xC3\xA9 \xC3\xA9", 4, 0).get(), "\xC3\xA9\xC3\xA9 \xC3\xA9");
}

TEST(ExpandVars, replacesNamesByTheirValues) {
  ::setenv("KEL_TEST_VARIABLE", "from outside", 1);
  const std::map<std::string, std::string> variables = {{"NAME", "value"}, {"two words", "2"}};
  const struct {
    const char *text, *result;
  } cases[] = {{"a$$b", "a$b"},       {"$NAME/x", "value/x"}, {"${NAME}$NAMEX!", "value!"},
               {"${two words}", "2"}, {"${NAME", "value"},    {"${}", "$"},
               {"$-$", "$-$"},        {"$$NAME", "$NAME"},    {"$KEL_TEST_VARIABLE", "from outside"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(expandVars(c.text, &variables, false, true).get(), c.result) << c.text;
  }
  EXPECT_STREQ(expandVars("[$KEL_TEST_VARIABLE]", nullptr, false, false).get(), "[]");
  EXPECT_EQ(test::messageFrom([&] { (void)expandVars("$KEL_TEST_VARIABLE", &variables, true, false); }),
            "unknown environment variable: KEL_TEST_VARIABLE");
  ::unsetenv("KEL_TEST_VARIABLE");
}

TEST(Helpers, compareTextsThatMayBeNull) {
  EXPECT_TRUE(strStartsWith("abc", "ab") && strStartsWith("abc", nullptr) && strStartsWith(nullptr, ""));
  EXPECT_FALSE(strStartsWith("ab", "abc") || strStartsWith(nullptr, "a"));
  EXPECT_TRUE(strEndsWith("abc", "bc") && strEndsWith(nullptr, nullptr) && strEndsWithNoCase("abC", "Bc"));
  EXPECT_FALSE(strEndsWith("abc", "BC") || strEndsWith("bc", "abc") || strEndsWith("abc", nullptr) ||
               strEndsWith(nullptr, "a") || strEndsWithNoCase("abc", "xc"));
  EXPECT_EQ(strCompareNoCase("aBc", "AbC"), 0);
  EXPECT_LT(strCompareNoCase("ab", "ABC"), 0);
  EXPECT_LT(strCompareNoCase(nullptr, ""), 0);
  EXPECT_GT(strCompareNoCase("\xC3\xA9", "z"), 0);
}

TEST(Helpers, editTexts) {
  EXPECT_STREQ(strTrim(" \t a b\r\n").get(), "a b");
  EXPECT_STREQ(strTrim(" \n").get(), "");
  EXPECT_STREQ(strToLowerLocale("A\xFFZ").get(), "a\xFFz");
  char text[] = "a-B_c-D";
  strRemoveChars(text, "-_");
  EXPECT_STREQ(text, "aBcD");
  EXPECT_EQ(hashFnv1a("foobar", 6), 0x85944171F73967E8U);
}

TEST(Wildcard, matchesWholeTexts) {
  const struct {
    const char *pattern, *text;
    bool matches;
  } cases[] = {{"*", "", true},       {"*", "any", true},
               {"*", nullptr, false}, {nullptr, "a", false},
               {"", "", true},        {"", "a", false},
               {"a*c", "abbc", true}, {"a*c", "abcd", false},
               {"*ab", "aab", true},  {"a*b*c", "aXbYbZc", true},
               {"a**", "a", true},    {"FOPS*", "fopsHelper", true},
               {"a?", "ab", false},   {"*a*a*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(wildcardMatch(c.pattern, c.text, false), c.matches) << (c.pattern != nullptr ? c.pattern : "(null)");
  }
  EXPECT_FALSE(wildcardMatch("FOPS*", "fopsHelper", true));
}

TEST(Utf8, refusesEveryMalformedFormWhereverItStands) {
  // A continuation without a lead, overlong forms, surrogates, noncharacters, too large ones, bytes that are no lead,
  // and texts that end early: none has a well-formed character in it.
  for (const std::string bad : {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                                "\xED\xBF\xBF", "\xEF\xB7\x90", "\xEF\xBF\xBE", "\xF0\x9F\xBF\xBF", "\xF4\x8F\xBF\xBE",
                                "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3", "\xE2\x82", "\xF0\x9F\x98"}) {
    for (std::size_t before = 0; before < 20; ++before) {
      const std::string start(before, 'a'), text = start + bad + "zzzzzzzzz";
      SCOPED_TRACE(text);
      EXPECT_FALSE(isValidUtf8(text.c_str()) || isValidUtf8((start + bad).c_str()));
      EXPECT_TRUE(isValidUtf8(text.c_str(), text.c_str() + before));
      std::string repaired = start;
      for (std::size_t i = 0; i < bad.size(); ++i) {
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
    if (end - text > 1) {
      ASSERT_FALSE(isValidUtf8(text, end - 1)) << "one byte too little";
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
  EXPECT_STREQ(utf8Escape("plain ~\t\n\x1B\x7F|\xE9|\x80\xA0\xFF|\xC3\xA9|\xE2\x82x", '~').get(),
               "plain ~~~^I~^J~^[~^?|~M-i|~M^@~M^`~M^?|\xC3\xA9|~M-b~M^Bx");
}

TEST(Utf8, convertsLatin1) {
  EXPECT_STREQ(utf8ToLatin1("a\xC3\xA9\xE2\x82\xAC\xC4\x80!").get(), "a\xE9\x80?!");
  EXPECT_STREQ(utf8ToLatin1("a\xC3\xA9\xFFz").get(), "a\xE9");
  EXPECT_STREQ(latin1ToUtf8("a\xE9\x80").get(), "a\xC3\xA9\xE2\x82\xAC");
}

TEST(Utf8, countsColumns) {
  EXPECT_EQ(utf8Width("ab\x01\xFFzz"), 3);
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  if (std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {
    EXPECT_EQ(utf8Width("\xE4\xB8\xAD"), 2);  // wide
    EXPECT_EQ(utf8Width("e\xCC\x81"), 1);     // combining
    std::setlocale(LC_CTYPE, before.c_str());
  }
}

TEST(Utf8, movesRangesToCharacters) {
  const struct {
    int start, len, newStart, newLen;
  } cases[] = {{0, 5, 0, 5}, {2, 3, 1, 4}, {0, 2, 0, 1},   {0, 3, 0, 1},
               {2, 1, 1, 0}, {4, 1, 4, 1}, {-3, 99, 0, 5}, {9, 1, 5, 0}};
  for (const auto& c : cases) {
    int start = c.start, len = c.len;
    EXPECT_EQ(utf8Boundary("a\xE2\x82\xAC\x62", start, len), 5);
    EXPECT_TRUE(start == c.newStart && len == c.newLen) << c.start << "," << c.len << ": " << start << "," << len;
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
