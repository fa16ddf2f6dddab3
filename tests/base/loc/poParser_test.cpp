#include "base/loc/PoParser.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "base/rdr/MemInStream.h"
#include "base/rdr/exceptions.h"
#include "tests/support/RecordingDest.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;
using Lines = std::vector<std::string>;

struct Collector final : loc::PoParser::Callback {
  void storeString(const char* locale, const char* key, const char* text) override {
    EXPECT_STREQ(locale, "de");
    entries.emplace_back(key, text);
  }

  Entries entries;
};

Entries parse(const std::string& text) {
  Collector collector;
  rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
  loc::PoParser("f.po", "de", collector).parse(in);
  return collector.entries;
}

struct Case {
  const char* what;
  std::string text;
  Entries entries;
  Lines errors;
};

const Case Cases[] = {
    {"an empty file", "", {}, {}},
    {"the usual form",
     "# comment\r\nmsgid \"\"\r\nmsgstr \"\"\r\n\"Language: de\\n\"\r\n\r\nmsgid \"a\"\r\n#: place\r\nmsgstr \"A\"\r\n"
     "\"-more\"\r\n\r\n\r\nmsgid  \"b\"\n\"c\"\nmsgstr   \"B\"",
     {{"a", "A-more"}, {"bc", "B"}},
     {}},
    {"every escape",
     R"(msgid "a")"
     "\n"
     R"(msgstr "\"\'\?\\\a\b\f\n\r\t\v")",
     {{"a", "\"'?\\\a\b\f\n\r\t\v"}},
     {}},
    {"bad strings cost their line only",
     "msgid a\"a\"\nmsgid \"a\nmsgid \"a\\x\"\nmsgid \"a\\\nmsgid \"a\" \nmsgid \"a\"\nmsgstr \"A\"\n\"B\\0\"\n\"C\"\n",
     {{"a", "AC"}},
     {"f.po:1 Junk preceding string data", "f.po:2 Missing terminator", "f.po:3 Invalid escape code",
      "f.po:4 Invalid escape at end", "f.po:5 Junk following string data", "f.po:8 Invalid escape code"}},
    {"lines out of order leave the state alone",
     "msgstr \"x\"\nmsgid\nmsgid \nmsgid \"a\"\nmsgid \"b\"\nmsgstr \"A\"\nmsgid \"c\"\n \n\nmsgid\t\"d\"\n",
     {{"a", "A"}},
     {"f.po:1 Expected msgid", "f.po:2 Bad command or string", "f.po:3 Bad command or string", "f.po:5 Expected msgstr",
      "f.po:7 Bad command or string", "f.po:8 Bad command or string", "f.po:10 Bad command or string"}},
    {"a key without a text is dropped, and one more starts afresh",
     "msgid \"a\"\n\nmsgid \"b\"\nmsgstr \"B\"\n\nmsgid \"c\"",
     {{"b", "B"}},
     {"f.po:2 Expected msgstr", "f.po:7 Expected msgstr"}},
    {"a key twice is told twice",
     "msgid \"a\"\nmsgstr \"1\"\n\nmsgid \"a\"\nmsgstr \"2\"",
     {{"a", "1"}, {"a", "2"}},
     {}},
    {"bad UTF-8 is repaired",
     "msgid \"k\"\nmsgstr \"gr\xfc\xdf\"\n",
     {{"k", "gr\xef\xbf\xbd\xef\xbf\xbd"}},
     {"f.po:2 Bad UTF-8 (k) for 'de' locale"}},
};

}  // namespace

TEST(PoParser, readsEntriesAndReportsMistakesByLine) {
  for (const Case& c : Cases) {
    SCOPED_TRACE(c.what);
    test::RecordingDest log("Localize:rec:0");
    EXPECT_EQ(parse(c.text), c.entries);
    Lines errors;
    for (const std::string& error : c.errors) {
      errors.push_back("0 Localize: " + error);
    }
    EXPECT_EQ(log.lines(), errors);
  }
}

TEST(PoParser, refusesALineWithoutEnd) {
  EXPECT_THROW(parse("msgid \"" + std::string(262144, 'x') + "\"\n"), rdr::StringTooLongException);
}
