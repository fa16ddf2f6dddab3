#include "base/loc/BuiltInTexts.h"

#include <array>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/translate.h"
#include "base/plat/Lock.h"
#include "base/plat/utf8.h"

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
const std::regex EnglishWord(R"(\b(the|of|and|with|for|is|are|not|which|should|run)\b)", std::regex::icase);

/// Texts that are rightly the same as in English, by language and key.
const std::regex MayEqualEnglish("(de|es|pt) loc_byte.*|fr loc_period_minute_.*|.* loc_(timedate|timezone)_separator");

/// French punctuation that could begin a line.
const std::regex LooseMark(R"([^\xA0][:;?!](\s|$))");

/// The punctuation that ends a text; typography apart, it is the same in every language.
char ending(const std::string& text) {
  return std::string_view(".:").find(text.back()) == std::string_view::npos ? ' ' : text.back();
}

}  // namespace

TEST(BuiltInTexts, areCleanAndSayTheSameInEveryLanguage) {
  const Texts english = textsOf("en");
  EXPECT_FALSE(english.empty());
  for (const std::string language : {"en", "de", "es", "fr", "pt"}) {
    const Texts texts = textsOf(language.c_str());
    EXPECT_EQ(texts.size(), english.size()) << language;
    for (const auto& [key, original] : english) {
      ASSERT_EQ(texts.count(key), 1U) << language << ' ' << key;
      const std::string& text = texts.at(key);
      SCOPED_TRACE(language + ' ' + key + ": " + text);
      EXPECT_TRUE(plat::isValidUtf8(text.c_str()));
      EXPECT_EQ(std::regex_replace(text, Conversion, "").find('%'), std::string::npos);
      EXPECT_FALSE(std::regex_search(text, Untidy));
      EXPECT_EQ(matches(text, Conversion), matches(original, Conversion));
      EXPECT_EQ(matches(text, Literal), matches(original, Literal));
      EXPECT_EQ(ending(text), ending(original));
      if (language != "en") {
        EXPECT_TRUE(text != original || std::regex_match(language + ' ' + key, MayEqualEnglish));
        EXPECT_FALSE(std::regex_search(text, EnglishWord));
      }
      if (language == "fr" && key != "plat_bad_argument") {  // which other programs have long known by its bytes
        EXPECT_FALSE(std::regex_search(text, LooseMark));
      }
    }
  }
  EXPECT_EQ(textsOf("fr").at("plat_usage_label"), "Utilisation\u00a0:");
  EXPECT_EQ(textsOf("fr").at("plat_configuration_global_params"), "Paramètres globaux\u00a0");
}

TEST(BuiltInTexts, areFoundThroughTheLocale) {
  using Row = std::array<const char*, 3>;
  for (const auto& [locale, badArgument, days] : {Row{"en_US", "Bad argument '%S'.", "%D days"},
                                                  {"de_DE", "Falsches Argument '%S'.", "%D Tage"},
                                                  {"es_ES", "El argumento '%S' no es correcto.", "%D días"},
                                                  {"fr_FR", "Argument incorrect : '%S'.", "%D jours"},
                                                  {"pt_BR", "Argumento incorreto '%S'.", "%D dias"}}) {
    const loc::LocaleSetter setter(locale);
    EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), badArgument);
    EXPECT_STREQ(loc::translate("loc_period_day_many", nullptr, 0, true), days);
    for (const auto& [key, text] : textsOf(std::string(locale, 2).c_str())) {
      EXPECT_EQ(loc::translate(key.c_str(), nullptr, 0, true), text) << locale << ' ' << key;
    }
  }
}
