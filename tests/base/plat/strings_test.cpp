#include "base/plat/strings.h"

#include <clocale>

#include "base/plat/DString.h"
#include "base/plat/markup.h"
#include "base/plat/utf8.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

TEST(FixedText, leavesOutACharacterThatTheCutWouldSplitAndStaysInsideTheBuffer) {
  for (const auto& [size, before, added, result] :
       {std::tuple<std::size_t, const char*, const char*, const char*>(4, "ab", "\xC3\xA9", "ab"),
        {7, "abc", "\xE2\x82\xAC", "abc\xE2\x82\xAC"},
        {4, "", "\xF0\x9F\x98\x80", ""},
        {4, "a", "bcd", "abc"},
        {8, "a", "\xC3", "a\xC3"},
        {4, "a", "", "a"}}) {
    char appended[16], formatted[16];
    strCopy(appended, sizeof appended, before);
    strCopy(formatted, sizeof formatted, before);
    strAppend(appended, size, added);
    strFormatAppend(formatted, size, "%s", added);
    EXPECT_STREQ(appended, result);
    EXPECT_STREQ(formatted, result);
  }
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
List tokensOf(const char* text, const std::function<char*(char*&)>& next) {
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
  for (const bool skipEmpty : {false, true}) {
    const auto atComma = [&](char*& at) { return strToken(at, ',', skipEmpty); };
    EXPECT_EQ(tokensOf(",a,,b", atComma), skipEmpty ? List({"a", "b"}) : List({"", "a", "", "b"}));
    EXPECT_EQ(tokensOf(",", atComma), List(skipEmpty ? 0 : 2));
    EXPECT_EQ(tokensOf(nullptr, atComma), List());
  }
  EXPECT_EQ(tokensOf("a::b:c::", [](char*& at) { return strTokenText(at, "::", true); }), (List{"a", "b:c"}));
  EXPECT_EQ(tokensOf("a::b", [](char*& at) { return strTokenText(at, "", false); }), List{"a::b"});
  char found = 'x';
  std::string separators;
  const auto atAny = [&](char*& at) {
    char* const token = strTokenAny(at, "=;", &found, true);
    separators += found != '\0' ? found : '0';
    return token;
  };
  EXPECT_EQ(tokensOf("k=v;w", atAny), (List{"k", "v", "w"}));
  EXPECT_EQ(separators, "=;00");
}

TEST(WrapWords, breaksAtBlanksWithinTheWidth) {
  EXPECT_EQ(wrapWords("aaa bbb ccc", 6, 2), "aaa\n  bbb\n  ccc");
  EXPECT_EQ(wrapWords("aaa   bbb", 8, 0), "aaa\nbbb");
  EXPECT_EQ(wrapWords("aaa bbb\nc ddd ", 7, 1), "aaa bbb\nc ddd ");
  EXPECT_EQ(wrapWords("  toolong aaaaaaaaaa b", 4, 0), "  toolong\naaaaaaaaaa\nb");
  EXPECT_EQ(wrapWords("\xC3\xA9\xC3\xA9 \xC3\xA9", 4, 0), "\xC3\xA9\xC3\xA9 \xC3\xA9");
}

TEST(ExpandVars, replacesNamesByTheirValues) {
  ::setenv("KEL_TEST_VARIABLE", "from outside", 1);
  const std::map<std::string, std::string> variables = {{"NAME", "value"}, {"two words", "2"}};
  const auto expanded = [&](const char* text) { return expandVars(text, &variables, false, true); };
  EXPECT_EQ(expanded("a$$b $NAME/x ${NAME}$NAMEX! ${two words} ${} $$NAME $KEL_TEST_VARIABLE $-$"),
            "a$b value/x value! 2 $ $NAME from outside $-$");
  EXPECT_EQ(expanded("${NAME"), "value");
  EXPECT_STREQ(expandVars("[$KEL_TEST_VARIABLE]", nullptr, false, false).get(), "[]");
  EXPECT_EQ(messageFrom([&] { (void)expandVars("$KEL_TEST_VARIABLE", &variables, true, false); }),
            "unknown environment variable: KEL_TEST_VARIABLE");
  ::unsetenv("KEL_TEST_VARIABLE");
}

TEST(Helpers, compareTextsThatMayBeNullAndEditTexts) {
  for (const auto& [text, part, starts, ends, endsNoCase] : {std::tuple("abc", "ab", true, false, false),
                                                             {"abc", "bc", false, true, true},
                                                             {"abC", "Bc", false, false, true},
                                                             {"bc", "abc", false, false, false},
                                                             {"abc", nullptr, true, false, false},
                                                             {nullptr, "", true, false, false},
                                                             {nullptr, nullptr, true, true, true}}) {
    EXPECT_THAT((std::array{strStartsWith(text, part), strEndsWith(text, part), strEndsWithNoCase(text, part)}),
                ElementsAre(starts, ends, endsNoCase))
        << PrintToString(text);
  }
  EXPECT_EQ(strCompareNoCase("aBc", "AbC"), 0);
  EXPECT_LT(strCompareNoCase("ab", "ABC"), 0);
  EXPECT_LT(strCompareNoCase(nullptr, ""), 0);
  EXPECT_GT(strCompareNoCase("\xC3\xA9", "z"), 0);

  EXPECT_EQ(strTrim(" \t a b\r\n"), "a b");
  EXPECT_EQ(strTrim(" \n"), "");
  EXPECT_EQ(strToLowerLocale("A\xFFZ"), "a\xFFz");
  char text[] = "a-B_c-D";
  strRemoveChars(text, "-_");
  EXPECT_STREQ(text, "aBcD");
  EXPECT_EQ(hashFnv1a("foobar", 6), 0x85944171F73967E8U);
}

TEST(Wildcard, matchesWholeTexts) {
  for (const auto& [pattern, text] :
       {std::pair("*", ""), {"*ab", "aab"}, {"a*b*c", "aXbYbZc"}, {"a**", "a"}, {"FOPS*", "fopsHelper"}}) {
    EXPECT_TRUE(wildcardMatch(pattern, text, false)) << pattern;
  }
  const char* const none = nullptr;
  for (const auto& [pattern, text] : {std::pair("*", none), {none, "a"}, {"", "a"}, {"a*c", "abcd"}, {"a?", "ab"}}) {
    EXPECT_FALSE(wildcardMatch(pattern, text, false)) << PrintToString(pattern);
  }
  EXPECT_FALSE(wildcardMatch("*a*a*a*a*a*b", std::string(36, 'a').c_str(), false)) << "and takes no time for it";
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
      const std::string marks("\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", 3 * bad.size());
      EXPECT_EQ(utf8Repair(text.c_str()).orEmpty(), start + marks + "zzzzzzzzz");
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

TEST(Utf8, isRepairedEscapedForATerminalAndConvertedToLatin1AndBack) {
  const char text[] = "\xC3\xA9\xFF\xE2\x82\xAC";
  EXPECT_EQ(utf8Repair(text, nullptr, 2), "\xC3\xA9\xEF\xBF\xBD") << "the limit counts characters";
  EXPECT_EQ(utf8Repair(text, nullptr, 0), "");
  EXPECT_EQ(utf8Repair(text, text + 4), "\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD");
  const char withZero[] = "a\0\xFF";
  EXPECT_TRUE(isValidUtf8(withZero) && !isValidUtf8(withZero, withZero + 3));
  EXPECT_EQ(utf8Escape("plain ~\t\n\x1B\x7F|\xE9|\x80\xA0\xFF|\xC3\xA9|\xE2\x82x", '~'),
            "plain ~~~^I~^J~^[~^?|~M-i|~M^@~M^`~M^?|\xC3\xA9|~M-b~M^Bx");
  EXPECT_EQ(utf8ToLatin1("a\xC3\xA9\xE2\x82\xAC\xC4\x80!"), "a\xE9\x80?!");
  EXPECT_EQ(utf8ToLatin1("a\xC3\xA9\xFFz"), "a\xE9");
  EXPECT_EQ(latin1ToUtf8("a\xE9\x80"), "a\xC3\xA9\xE2\x82\xAC");
}

TEST(Utf8, countsColumnsAndMovesRangesToCharacters) {
  EXPECT_EQ(utf8Width("ab\x01\xFFzz"), 3);
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  if (std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {
    EXPECT_EQ(utf8Width("\xE4\xB8\xAD"
                        "e\xCC\x81"),
              3)
        << "wide and combining";
    std::setlocale(LC_CTYPE, before.c_str());
  }
  for (const auto& [from, count, newStart, newLen] :
       {std::tuple(0, 5, 0, 5), {2, 3, 1, 4}, {0, 3, 0, 1}, {2, 1, 1, 0}, {4, 1, 4, 1}, {-3, 99, 0, 5}, {9, 1, 5, 0}}) {
    int start = from, len = count;
    EXPECT_EQ(utf8Boundary("a\xE2\x82\xAC\x62", start, len), 5);
    EXPECT_EQ(std::pair(start, len), std::pair(newStart, newLen)) << from << "," << count;
  }
}

TEST(Markup, escapesTextsAndAttributes) {
  DString out, style;
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
