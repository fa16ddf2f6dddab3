#include "base/plat/strings.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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
               {8, "a", "\xC3", "a\xC3"},         {4, "a", nullptr, "a"}};
  for (const auto& c : cases) {
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
  EXPECT_EQ(std::string(buffer, 7), (std::string("abc") + '\0' + "567"));
  strAppend(buffer, 8, "xyz", 2);
  EXPECT_STREQ(buffer, "abcxy");
  EXPECT_EQ(strCopy(buffer, 8, nullptr), 0U);
  strAppendChars(buffer, 8, 0x20AC, 5);
  strAppendChars(buffer, 8, '.', 5);
  EXPECT_STREQ(buffer, "\xE2\x82\xAC\xE2\x82\xAC.");
}

/// All tokens of a copy of `text`, each taken by `next`, which is given the cursor.
template <class Next>
std::vector<std::string> tokensOf(const char* text, const Next& next) {
  String copy(text);
  char* cursor = copy.data();
  std::vector<std::string> tokens;
  while (const char* const token = next(cursor)) {
    tokens.emplace_back(token);
  }
  EXPECT_EQ(cursor, nullptr);
  return tokens;
}

TEST(Tokens, areCutAtSeparators) {
  using List = std::vector<std::string>;
  const struct {
    const char* text;
    List all, nonEmpty;
  } cases[] = {{"a,,b", {"a", "", "b"}, {"a", "b"}},
               {",a,", {"", "a", ""}, {"a"}},
               {"", {""}, {}},
               {",,", {"", "", ""}, {}},
               {nullptr, {}, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text != nullptr ? c.text : "(null)");
    for (const bool skipEmpty : {false, true}) {
      const List& expected = skipEmpty ? c.nonEmpty : c.all;
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strToken(at, ',', skipEmpty); }), expected);
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strTokenAny(at, ";,", nullptr, skipEmpty); }), expected);
      EXPECT_EQ(tokensOf(c.text, [&](char*& at) { return strTokenText(at, ",", skipEmpty); }), expected);
    }
  }
  EXPECT_EQ(tokensOf("a::b:c::", [](char*& at) { return strTokenText(at, "::", true); }), (List{"a", "b:c"}));
  EXPECT_EQ(tokensOf("a::b", [](char*& at) { return strTokenText(at, "", false); }), List{"a::b"});
  char found = 'x';
  std::string separators;
  tokensOf("k=v;w", [&](char*& at) {
    const char* const token = strTokenAny(at, "=;", &found, true);
    separators += found != '\0' ? found : '0';
    return token;
  });
  EXPECT_EQ(separators, "=;00");
}

TEST(WrapWords, breaksAtBlanksWithinTheWidth) {
  const struct {
    const char* text;
    int width, indent;
    const char* result;
  } cases[] = {{"aaa bbb ccc", 6, 2, "aaa\n  bbb\n  ccc"},
               {"aaa   bbb", 7, 0, "aaa\nbbb"},
               {"aaa   bbb", 9, 0, "aaa   bbb"},
               {"aaa bbb\nc ddd ", 7, 1, "aaa bbb\nc ddd "},
               {"aa aaaaaaaaaa b", 5, 0, "aa\naaaaaaaaaa\nb"},
               {"  toolong", 4, 3, "  toolong"},
               {"\xC3\xA9\xC3\xA9 \xC3\xA9", 4, 0, "\xC3\xA9\xC3\xA9 \xC3\xA9"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(wrapWords(c.text, c.width, c.indent).get(), c.result) << c.text;
  }
}

TEST(ExpandVars, replacesNamesByTheirValues) {
  ASSERT_EQ(setenv("KEL_TEST_VARIABLE", "from outside", 1), 0);
  const std::map<std::string, std::string> variables = {{"NAME", "value"}, {"two words", "2"}};
  const struct {
    const char *text, *result;
  } cases[] = {{"a$$b", "a$b"},
               {"$NAME/x", "value/x"},
               {"${NAME}$NAMEX!", "value!"},
               {"${two words}", "2"},
               {"${NAME", "value"},
               {"${}", "$"},
               {"$-$", "$-$"},
               {"$KEL_TEST_VARIABLE", "from outside"},
               {"$$NAME", "$NAME"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(expandVars(c.text, &variables, false, true).get(), c.result) << c.text;
  }
  EXPECT_STREQ(expandVars("[$KEL_TEST_VARIABLE]", nullptr, false, false).get(), "[]");
  EXPECT_EQ(test::messageFrom([&] { (void)expandVars("$KEL_TEST_VARIABLE", &variables, true, false); }),
            "unknown environment variable: KEL_TEST_VARIABLE");
  ASSERT_EQ(unsetenv("KEL_TEST_VARIABLE"), 0);
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
  char text[] = "a-B_c-D";
  strRemoveChars(text, "-_");
  EXPECT_STREQ(text, "aBcD");
  EXPECT_STREQ(strToLowerLocale("A\xFFZ").get(), "a\xFFz");
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

}  // namespace
}  // namespace plat
