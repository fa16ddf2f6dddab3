#include "base/loc/PoParser.h"

#include "base/rdr/MemInStream.h"
#include "tests/support/prelude.h"

namespace {

using Lines = std::vector<std::string>;

struct Collector final : loc::PoParser::Callback {
  void storeString(const char* locale, const char* key, const char* text) override {
    EXPECT_STREQ(locale, "de");
    entries.push_back(std::string(key) + '=' + text);
  }

  Lines entries;
};

Lines parse(const std::string& text) {
  Collector collector;
  rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
  loc::PoParser("f.po", "de", collector).parse(in);
  return collector.entries;
}

const struct {
  const char* what;
  const char* text;
  Lines entries;
  Lines errors;
} Cases[] = {
    {"an empty file", "", {}, {}},
    {"the usual form",
     "# comment\r\nmsgid \"\"\r\nmsgstr \"\"\r\n\"Language: de\\n\"\r\n\r\nmsgid \"a\"\r\n#: place\r\nmsgstr \"A\"\r\n"
     "\"-more\"\r\n\r\n\r\nmsgid  \"b\"\n\"c\"\nmsgstr   \"B\"",
     {"a=A-more", "bc=B"},
     {}},
    {"every escape",
     "msgid \"a\"\n"
     R"(msgstr "\"\'\?\\\a\b\f\n\r\t\v")",
     {"a=\"'?\\\a\b\f\n\r\t\v"},
     {}},
    {"bad strings cost their line only",
     "msgid a\"a\"\nmsgid \"a\nmsgid \"a\\x\"\nmsgid \"a\\\nmsgid \"a\" \nmsgid \"a\"\nmsgstr \"A\"\n\"B\\0\"\n\"C\"\n",
     {"a=AC"},
     {"1 Junk preceding string data", "2 Missing terminator", "3 Invalid escape code", "4 Invalid escape at end",
      "5 Junk following string data", "8 Invalid escape code"}},
    {"lines out of order leave the state alone",
     "msgstr \"x\"\nmsgid\nmsgid \nmsgid \"a\"\nmsgid \"b\"\nmsgstr \"A\"\nmsgid \"c\"\n \n\nmsgid\t\"d\"\n",
     {"a=A"},
     {"1 Expected msgid", "2 Bad command or string", "3 Bad command or string", "5 Expected msgstr",
      "7 Bad command or string", "8 Bad command or string", "10 Bad command or string"}},
    {"a key without a text is dropped, one more starts afresh, and one that comes twice is told twice",
     "msgid \"a\"\n\nmsgid \"b\"\nmsgstr \"B\"\n\nmsgid \"b\"\nmsgstr \"2\"\n\nmsgid \"c\"",
     {"b=B", "b=2"},
     {"2 Expected msgstr", "10 Expected msgstr"}},
    {"bad UTF-8 is repaired",
     "msgid \"k\"\nmsgstr \"gr\xfc\xdf\"\n",
     {"k=gr\xef\xbf\xbd\xef\xbf\xbd"},
     {"2 Bad UTF-8 (k) for 'de' locale"}},
};

}  // namespace

TEST(PoParser, readsEntriesAndReportsMistakesByLine) {
  for (const auto& c : Cases) {
    SCOPED_TRACE(c.what);
    test::RecordingDest log("Localize:rec:0");
    EXPECT_EQ(parse(c.text), c.entries);
    Lines errors;
    for (const std::string& error : c.errors) {
      errors.push_back("0 Localize: f.po:" + error);
    }
    EXPECT_EQ(log.lines(), errors);
  }
}

TEST(PoParser, refusesALineWithoutEnd) {
  EXPECT_THROW(parse("msgid \"" + std::string(262144, 'x') + "\"\n"), rdr::StringTooLongException);
}
