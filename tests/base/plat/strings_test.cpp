#include "base/plat/strings.h"

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/plat/Exception.h"

namespace plat {
namespace {

constexpr const char* eAcute = "\xC3\xA9";
constexpr const char* euro = "\xE2\x82\xAC";

TEST(FixedText, leavesOutACharacterThatTheCutWouldSplit) {
  struct Case {
    std::size_t size;
    const char *before, *added, *result;
  };
  for (const Case& c : {Case{4, "ab", eAcute, "ab"},
                        {5, "ab", eAcute, "ab\xC3\xA9"},
                        {6, "abc", euro, "abc"},
                        {7, "abc", euro, "abc\xE2\x82\xAC"},
                        {4, "", "\xF0\x9F\x98\x80", ""},
                        {5, "", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
                        {4, "abc", "d", "abc"},
                        {4, "a", "bcd", "abc"},
                        {8, "a", "\xC3", "a\xC3"},
                        {4, "a", nullptr, "a"}}) {
    SCOPED_TRACE(c.result);
    char appended[16];
    ASSERT_EQ(strCopy(appended, sizeof appended, c.before), std::string(c.before).size());
    strAppend(appended, c.size, c.added);
    EXPECT_STREQ(appended, c.result);

    char formatted[16];
    strCopy(formatted, sizeof formatted, c.before);
    strFormatAppend(formatted, c.size, "%s", c.added != nullptr ? c.added : "");
    EXPECT_STREQ(formatted, c.result);
  }
}

TEST(FixedText, staysInsideTheBuffer) {
  char buffer[8] = "1234567";
  strAppend(buffer, 0, "x");
  strAppend(buffer, 4, "x");  // not terminated within four bytes
  EXPECT_STREQ(buffer, "1234567");
  EXPECT_EQ(strCopy(buffer, 4, "abcdef"), 6U);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '5');
  strAppend(buffer, 8, "xyz", 2);
  EXPECT_STREQ(buffer, "abcxy");
  EXPECT_EQ(strCopy(buffer, 8, nullptr), 0U);
  EXPECT_STREQ(buffer, "");
  strAppendChars(buffer, 8, 0x20AC, 5);
  EXPECT_STREQ(buffer, "\xE2\x82\xAC\xE2\x82\xAC");
  strAppendChars(buffer, 8, '.', 5);
  EXPECT_STREQ(buffer, "\xE2\x82\xAC\xE2\x82\xAC.");
}

enum class Splitter { Char, Set, Text };

std::vector<std::string> split(const char* text, Splitter splitter, const char* separator, bool skipEmpty) {
  String copy(text);
  char* cursor = copy.data();
  std::vector<std::string> tokens;
  for (;;) {
    const char* token = nullptr;
    switch (splitter) {
      case Splitter::Char:
        token = strToken(cursor, *separator, skipEmpty);
        break;
      case Splitter::Set:
        token = strTokenAny(cursor, separator, nullptr, skipEmpty);
        break;
      case Splitter::Text:
        token = strTokenText(cursor, separator, skipEmpty);
        break;
    }
    if (token == nullptr) {
      EXPECT_EQ(cursor, nullptr);
      return tokens;
    }
    tokens.emplace_back(token);
  }
}

TEST(Tokens, areCutAtSeparators) {
  using List = std::vector<std::string>;
  struct Case {
    const char* text;
    Splitter splitter;
    const char* separator;
    List all, nonEmpty;
  };
  const Case cases[] = {
      {"a,,b", Splitter::Char, ",", {"a", "", "b"}, {"a", "b"}},
      {",a,", Splitter::Char, ",", {"", "a", ""}, {"a"}},
      {"", Splitter::Char, ",", {""}, {}},
      {",,", Splitter::Char, ",", {"", "", ""}, {}},
      {nullptr, Splitter::Char, ",", {}, {}},
      {"a,b;;c", Splitter::Set, ",;", {"a", "b", "", "c"}, {"a", "b", "c"}},
      {"a::b:c::", Splitter::Text, "::", {"a", "b:c", ""}, {"a", "b:c"}},
      {"a::b", Splitter::Text, "", {"a::b"}, {"a::b"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text != nullptr ? c.text : "(null)");
    EXPECT_EQ(split(c.text, c.splitter, c.separator, false), c.all);
    EXPECT_EQ(split(c.text, c.splitter, c.separator, true), c.nonEmpty);
  }
}

TEST(Tokens, tellWhichSeparatorEndedThem) {
  char text[] = "k=v;";
  char* cursor = text;
  char found = 'x';
  EXPECT_STREQ(strTokenAny(cursor, "=;", &found, true), "k");
  EXPECT_EQ(found, '=');
  EXPECT_STREQ(strTokenAny(cursor, "=;", &found, true), "v");
  EXPECT_EQ(found, ';');
  EXPECT_EQ(strTokenAny(cursor, "=;", &found, true), nullptr);
  EXPECT_EQ(found, '\0');
}

TEST(Tokens, splitIntoASetKeepsEmptyPieces) {
  std::set<std::string> pieces;
  strSplitSet("b,a,,b", pieces, ',');
  strSplitSet(nullptr, pieces, ',');
  EXPECT_EQ(pieces, (std::set<std::string>{"", "a", "b"}));
}

TEST(WrapWords, breaksAtBlanksWithinTheWidth) {
  struct Case {
    const char* text;
    int width, indent;
    const char* result;
  };
  for (const Case& c : {Case{"aaa bbb ccc", 7, 0, "aaa bbb\nccc"},
                        {"aaa bbb ccc", 6, 2, "aaa\n  bbb\n  ccc"},
                        {"aaa   bbb", 7, 0, "aaa\nbbb"},
                        {"aaa   bbb", 9, 0, "aaa   bbb"},
                        {"aaa bbb\nc ddd", 7, 1, "aaa bbb\nc ddd"},
                        {"aa aaaaaaaaaa b", 5, 0, "aa\naaaaaaaaaa\nb"},
                        {"  toolong", 4, 3, "  toolong"},
                        {"\xC3\xA9\xC3\xA9 \xC3\xA9", 4, 0, "\xC3\xA9\xC3\xA9 \xC3\xA9"},
                        {"", 10, 2, ""},
                        {"aaa bb ", 6, 0, "aaa bb "}}) {
    SCOPED_TRACE(c.text);
    EXPECT_STREQ(wrapWords(c.text, c.width, c.indent).get(), c.result);
  }
  EXPECT_TRUE(wrapWords(nullptr, 10, 0).isNull());
}

TEST(ExpandVars, replacesNamesByTheirValues) {
  ASSERT_EQ(setenv("KEL_TEST_VARIABLE", "from outside", 1), 0);
  const std::map<std::string, std::string> variables = {{"NAME", "value"}, {"two words", "2"}};
  struct Case {
    const char *text, *result;
  };
  for (const Case& c : {Case{"a$$b", "a$b"},
                        {"$NAME/x", "value/x"},
                        {"${NAME}X", "valueX"},
                        {"$NAMEX!", "!"},
                        {"${two words}", "2"},
                        {"${NAME", "value"},
                        {"${}", "$"},
                        {"5$", "5$"},
                        {"$-$", "$-$"},
                        {"$KEL_TEST_VARIABLE", "from outside"},
                        {"$$NAME", "$NAME"}}) {
    SCOPED_TRACE(c.text);
    EXPECT_STREQ(expandVars(c.text, &variables, false, true).get(), c.result);
  }
  EXPECT_STREQ(expandVars("[$KEL_TEST_VARIABLE]", nullptr, false, false).get(), "[]");
  try {
    static_cast<void>(expandVars("$KEL_TEST_VARIABLE", &variables, true, false));
    FAIL() << "an unknown name was accepted";
  } catch (const Exception& failure) {
    EXPECT_STREQ(failure.message, "unknown environment variable: KEL_TEST_VARIABLE");
  }
  ASSERT_EQ(unsetenv("KEL_TEST_VARIABLE"), 0);
}

TEST(Helpers, prefixAndSuffixTests) {
  EXPECT_TRUE(strStartsWith("abc", "ab") && strStartsWith("abc", nullptr) && strStartsWith(nullptr, nullptr) &&
              strStartsWith(nullptr, ""));
  EXPECT_FALSE(strStartsWith("ab", "abc") || strStartsWith(nullptr, "a"));
  EXPECT_TRUE(strEndsWith("abc", "bc") && strEndsWith(nullptr, nullptr) && strEndsWith("abc", ""));
  EXPECT_FALSE(strEndsWith("abc", "BC") || strEndsWith("bc", "abc") || strEndsWith("abc", nullptr) ||
               strEndsWith(nullptr, "a"));
  EXPECT_TRUE(strEndsWithNoCase("abC", "Bc") && strEndsWithNoCase(nullptr, nullptr));
  EXPECT_FALSE(strEndsWithNoCase("abc", "xc"));
}

TEST(Helpers, orderWithoutRegardToCase) {
  EXPECT_EQ(strCompareNoCase("aBc", "AbC"), 0);
  EXPECT_LT(strCompareNoCase("ab", "ABC"), 0);
  EXPECT_LT(strCompareNoCase(nullptr, ""), 0);
  EXPECT_GT(strCompareNoCase("\xC3\xA9", "z"), 0);
  const std::set<std::string, NoCaseLess> names = {"Log", "LOG", "FopsDir"};
  EXPECT_EQ(names.size(), 2U);
  EXPECT_TRUE(names.contains("fopsDIR"));
}

TEST(Helpers, editTexts) {
  EXPECT_STREQ(strTrim(" \t a b\r\n").get(), "a b");
  EXPECT_STREQ(strTrim(" \n").get(), "");
  EXPECT_STREQ(strDup("abc", 2).get(), "ab");
  EXPECT_EQ(strCount("abc", 2), 2U);
  char text[] = "a-B_c-D";
  strRemoveChars(text, "-_");
  EXPECT_STREQ(text, "aBcD");
  strToLowerAscii(text);
  EXPECT_STREQ(text, "abcd");
  strToUpperAscii(text);
  EXPECT_STREQ(text, "ABCD");
  EXPECT_STREQ(strToLowerLocale("A\xFFZ").get(), "a\xFFz");
  EXPECT_EQ(hashFnv1a("", 0), 0xCBF29CE484222325U);
  EXPECT_EQ(hashFnv1a("foobar", 6), 0x85944171F73967E8U);
}

TEST(Wildcard, matchesWholeTexts) {
  struct Case {
    const char *pattern, *text;
    bool matches;
  };
  for (const Case& c : {Case{"*", "", true},
                        {"*", "any", true},
                        {"*", nullptr, false},
                        {nullptr, "a", false},
                        {"", "", true},
                        {"", "a", false},
                        {"a*c", "abbc", true},
                        {"a*c", "abcd", false},
                        {"*ab", "aab", true},
                        {"a*b*c", "aXbYbZc", true},
                        {"a**", "a", true},
                        {"FOPS*", "fopsHelper", true},
                        {"a?", "ab", false},
                        {"*a*a*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", false}}) {
    SCOPED_TRACE(c.pattern != nullptr ? c.pattern : "(null)");
    EXPECT_EQ(wildcardMatch(c.pattern, c.text, false), c.matches);
  }
  EXPECT_FALSE(wildcardMatch("FOPS*", "fopsHelper", true));
}

}  // namespace
}  // namespace plat
