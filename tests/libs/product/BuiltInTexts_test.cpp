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
using Words = std::multiset<std::string>;

constexpr std::array<const char*, 4> Translations = {"de", "es", "fr", "pt"};
const std::string NoBreakSpace = "\u00a0";

/// The built-in texts of one language, whoever owns them.
Texts textsOf(const char* language) {
  const plat::Lock lock(loc::Localize::instance().lock());
  Texts texts;
  if (const auto* table = loc::Localize::instance().table(language)) {
    for (const auto& [key, text] : *table) {
      texts.emplace(key, text);
    }
  }
  return texts;
}

Words matches(const std::string& text, const std::regex& pattern) {
  Words found;
  for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
    found.insert(it->str());
  }
  return found;
}

/// What the formatter replaces, positions included.
const std::regex& conversion() {
  static const std::regex pattern(R"(%%|%([0-9]+\$)?(\+|\.[0-9]+)?[SDX])");
  return pattern;
}

/// What no translator may touch: forms of the command line, names of locales and facilities, quoted words, addresses.
Words literals(const std::string& text) {
  static const std::regex pattern(R"(-?-?<[^>]*>|-help|[a-z]{2}_[A-Z]{2}|'[^']*'|)"
                                  R"(user, daemon, auth, authpriv|security \(|local0\.\.local7|https://\S+|\n)");
  return matches(text, pattern);
}

/// The punctuation that ends a text; typography apart, it is the same in every language.
char ending(const std::string& text) {
  return std::string_view(".:").find(text.back()) == std::string_view::npos ? ' ' : text.back();
}

/// Texts that are rightly the same as in English.
bool mayEqualEnglish(const std::string& language, const std::string& key) {
  static const std::regex pattern("(de|es|pt) loc_byte.*|fr loc_period_minute_.*|.* loc_(timedate|timezone)_separator");
  return std::regex_match(language + ' ' + key, pattern);
}

}  // namespace

TEST(BuiltInTexts, standInEveryLanguage) {
  const Texts english = textsOf("en");
  EXPECT_EQ(english.size(), 80U);
  for (const char* language : Translations) {
    const Texts texts = textsOf(language);
    EXPECT_EQ(texts.size(), english.size()) << language;
    for (const auto& [key, unused] : english) {
      EXPECT_EQ(texts.count(key), 1U) << language << ' ' << key;
    }
  }
}

TEST(BuiltInTexts, keepPlaceholdersLiteralsAndEnding) {
  const Texts english = textsOf("en");
  for (const char* language : Translations) {
    for (const auto& [key, text] : textsOf(language)) {
      SCOPED_TRACE(std::string(language) + ' ' + key + ": " + text);
      const std::string& original = english.at(key);
      EXPECT_EQ(matches(text, conversion()), matches(original, conversion()));
      EXPECT_EQ(literals(text), literals(original));
      EXPECT_EQ(ending(text), ending(original));
    }
  }
}

TEST(BuiltInTexts, areCleanUtf8ThatTheFormatterTakes) {
  static const std::regex untidy(R"(^\s|\s$|\t|\r| \n|\n |   |[^.]  )");
  for (const char* language : {"en", "de", "es", "fr", "pt"}) {
    for (const auto& [key, text] : textsOf(language)) {
      SCOPED_TRACE(std::string(language) + ' ' + key + ": " + text);
      EXPECT_TRUE(plat::isValidUtf8(text.c_str()));
      EXPECT_EQ(std::regex_replace(text, conversion(), "").find('%'), std::string::npos);
      EXPECT_FALSE(std::regex_search(text, untidy));
    }
  }
}

TEST(BuiltInTexts, leaveNothingInEnglish) {
  static const std::regex englishWord(R"(\b(the|of|and|with|for|is|are|not|which|should|run)\b)", std::regex::icase);
  const Texts english = textsOf("en");
  for (const char* language : Translations) {
    for (const auto& [key, text] : textsOf(language)) {
      EXPECT_TRUE(text != english.at(key) || mayEqualEnglish(language, key)) << language << ' ' << key << ": " << text;
      EXPECT_FALSE(std::regex_search(text, englishWord)) << language << ' ' << key << ": " << text;
    }
  }
}

TEST(BuiltInTexts, keepTheColonOfFrenchOnItsLine) {
  static const std::regex looseMark(R"([^\xA0][:;?!](\s|$))");
  for (const auto& [key, text] : textsOf("fr")) {
    if (key != "plat_bad_argument") {  // worded long ago, and other programs know it by its bytes
      EXPECT_FALSE(std::regex_search(text, looseMark)) << key << ": " << text;
    }
  }
  EXPECT_EQ(textsOf("fr").at("plat_usage_label"), "Utilisation" + NoBreakSpace + ":");
  EXPECT_EQ(textsOf("fr").at("plat_configuration_global_params"), "Paramètres globaux" + NoBreakSpace);
}

TEST(BuiltInTexts, areFoundThroughTheLocale) {
  struct Case {
    const char* locale;
    const char* badArgument;
    const char* days;
  };
  for (const Case& c :
       {Case{"en_US", "Bad argument '%S'.", "%D days"}, Case{"de_DE", "Falsches Argument '%S'.", "%D Tage"},
        Case{"es_ES", "El argumento '%S' no es correcto.", "%D días"},
        Case{"fr_FR", "Argument incorrect : '%S'.", "%D jours"},
        Case{"pt_BR", "Argumento incorreto '%S'.", "%D dias"}}) {
    const loc::LocaleSetter setter(c.locale);
    EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), c.badArgument);
    EXPECT_STREQ(loc::translate("loc_period_day_many", nullptr, 0, true), c.days);
    for (const auto& [key, text] : textsOf(std::string(c.locale, 2).c_str())) {
      EXPECT_EQ(loc::translate(key.c_str(), nullptr, 0, true), text) << c.locale << ' ' << key;
    }
  }
}
