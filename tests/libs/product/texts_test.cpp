
#include "base/loc/BuiltInTexts.h"
#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/translate.h"
#include "base/plat/Lock.h"
#include "base/plat/utf8.h"
#include "tests/support/prelude.h"

namespace {

using Texts = std::map<std::string, std::string>;

/// The built-in texts of one language, whoever owns them.
Texts textsOf(const char* language) {
  const plat::Lock lock(loc::Localize::instance().lock());
  const auto* table = loc::Localize::instance().table(language);
  return table ? Texts(table->begin(), table->end()) : Texts();
}

std::multiset<std::string> matches(const std::string& text, const std::regex& pattern) {
  std::multiset<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
    found.insert(it->str());
  }
  return found;
}

/// What the formatter replaces, positions included.
const std::regex Conversion(R"(%%|%([0-9]+\$)?(\+|\.[0-9]+)?[SDX])");

/// What no translator may touch: forms of the command line, names of locales and facilities, quoted words, addresses.
const std::regex Literal(R"(-?-?<[^>]*>|-help|[a-z]{2}_[A-Z]{2}|'[^']*'|)"
                         R"(user, daemon, auth, authpriv|security \(|local0\.\.local7|https://\S+|\n)");

const std::regex Untidy(R"(^\s|\s$|\t|\r| \n|\n |   |[^.]  )");
/// Texts that are rightly the same as in English, by language and key.
const std::regex MayEqualEnglish("(de|es|pt) loc_byte.*|fr loc_period_minute_.*|.* loc_(timedate|timezone)_separator");

}  // namespace

TEST(BuiltInTexts, areCleanAndSayTheSameInEveryLanguageAndAreFoundThroughItsLocale) {
  const Texts english = textsOf("en");
  EXPECT_FALSE(english.empty());
  for (const std::string locale : {"en_US", "de_DE", "es_ES", "fr_FR", "pt_BR"}) {
    const loc::LocaleSetter setter(locale.c_str());
    const std::string language = locale.substr(0, 2);
    const Texts texts = textsOf(language.c_str());
    EXPECT_EQ(texts.size(), english.size()) << language;
    for (const auto& [key, original] : english) {
      ASSERT_EQ(texts.count(key), 1U) << language << ' ' << key;
      const std::string& text = texts.at(key);
      SCOPED_TRACE(language + ' ' + key + ": " + text);
      EXPECT_EQ(loc::translate(key.c_str(), nullptr, 0, true), text);
      EXPECT_TRUE(plat::isValidUtf8(text.c_str()));
      EXPECT_EQ(std::regex_replace(text, Conversion, "").find('%'), std::string::npos);
      EXPECT_FALSE(std::regex_search(text, Untidy));
      EXPECT_EQ(matches(text, Conversion), matches(original, Conversion));
      EXPECT_EQ(matches(text, Literal), matches(original, Literal));
      EXPECT_TRUE(language == "en" || text != original || std::regex_match(language + ' ' + key, MayEqualEnglish));
    }
  }
}
