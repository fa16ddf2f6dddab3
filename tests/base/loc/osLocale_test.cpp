#include "base/loc/OsLocale.h"

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/localeName.h"
#include "base/loc/translate.h"
#include "tests/support/TestLocales.h"
#include "tests/support/prelude.h"

/// The C library never frees what it makes of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

namespace {

using loc::Codeset;

/// A locale in UTF-8 and one in ISO 8859-1, as far as the machine can make them, each under two names.
struct RealLocales : test::TestLocales {
  RealLocales() : TestLocales({{"de_AT", "UTF-8", "de_AT.UTF-8"}, {"sv_SE", "ISO-8859-1", "sv_SE"}}) {
    if (complete()) {
      alias("de_AT.UTF-8", "fr_FR.utf8");
      alias("sv_SE", "da_DK.ISO-8859-1");
    }
  }
};

class RealLocaleTest : public testing::Test {
protected:
  void SetUp() override {
    static const RealLocales locales;
    if (!locales.complete()) {
      GTEST_SKIP() << "no locale sources here";
    }
  }
};

/// Starts localisation as the user that the environment describes, and tells on stderr what came of it.
[[noreturn]] void startAs(const char* lang, const char* language) {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LC_CTYPE"}) {
    unsetenv(name);
  }
  setenv("LANG", lang, 1);
  setenv("LANGUAGE", language, 1);
  loc::Localize::instance().setSearchDirs({});
  const loc::OsLocale os = loc::processOsLocale();
  std::fprintf(stderr, "<%s|%s|%s %d|%s>", loc::getLocaleList().c_str(), std::getenv("LANGUAGE"), os.name.c_str(),
               static_cast<int>(os.codeset), loc::translate("plat_press_return_to_continue", nullptr, 0, false));
  std::_Exit(0);
}

}  // namespace

TEST_F(RealLocaleTest, takesTheUsersLanguage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the environment's locale is asked for once in a process
  const std::string english = "Press Enter/Return key to continue";
  const std::string german = "Drücken";
  struct Case {
    const char* lang;
    const char* language;
    std::string result;
  };
  for (const Case& c : {
           Case{"de_AT.UTF-8", "", "<de_AT:en_US|de_AT|de_AT.UTF-8 1|" + german},
           {"fr_FR.UTF-8", "fr_FR:x", "<fr_FR:x:en_US|fr_FR:x|fr_FR.UTF-8 1|Appuyez"},
           {"sv_SE", "fr:de", "<fr_FR:de_DE:en_US|fr_FR:fr:de|sv_SE 2|Appuyez"},
           {"de_AT.UTF-8", "de:fr", "<de_AT:fr_FR:en_US|de_AT:de:fr|de_AT.UTF-8 1|" + german},
           {"C", "de", "<C:en_US|C:de|C.UTF-8 1|" + english},
           {"de_AT", "de", "<C:en_US|C:de|C.UTF-8 1|" + english},  // only known with its codeset, so refused
       }) {
    SCOPED_TRACE(std::string(c.lang) + " " + c.language);
    EXPECT_EXIT(startAs(c.lang, c.language), testing::ExitedWithCode(0), testing::HasSubstr(c.result));
  }
}

TEST_F(RealLocaleTest, findsTheSpellingThatTheSystemKnows) {
  struct Case {
    const char* name;
    const char* found;
    Codeset codeset;
  };
  for (const Case& c : {Case{"de_AT", "de_AT.UTF-8", Codeset::Utf8},
                        {"fr_FR.ISO-8859-1", "fr_FR.UTF-8", Codeset::Utf8},
                        {"de_AT@euro", "de_AT.UTF-8@euro", Codeset::Utf8},
                        {"sv_SE", "sv_SE", Codeset::Latin1},
                        {"da_DK", "da_DK.ISO-8859-1", Codeset::Latin1}}) {
    loc::OsLocale found;
    EXPECT_TRUE(loc::resolveOsLocale(c.name, found)) << c.name;
    EXPECT_EQ(found.name, c.found);
    EXPECT_EQ(found.codeset, c.codeset) << c.name;
  }
  EXPECT_EQ(loc::chooseOsLocale({"xx_YY", "de_AT"}).name, "de_AT.UTF-8");
}

TEST_F(RealLocaleTest, appliesToTheThreadAndNests) {
  const auto upperCaseFirst = [] { return std::strcoll("Zebra", "apple") < 0; };
  const bool before = upperCaseFirst();
  {
    const loc::LocaleSetter swedish("sv_SE");
    EXPECT_EQ(swedish.codeset(), Codeset::Latin1);
    EXPECT_FALSE(upperCaseFirst());
    loc::OsLocale found;  // one not asked for before, whose codeset must not be mistaken for the thread's
    EXPECT_TRUE(loc::resolveOsLocale("fr_FR@other", found));
    EXPECT_EQ(found.codeset, Codeset::Utf8);
    EXPECT_FALSE(upperCaseFirst());  // and the thread keeps its own
    const loc::LocaleSetter inherited;
    EXPECT_STREQ(inherited.name(), "sv_SE");
    EXPECT_EQ(loc::getLocaleList(), "sv_SE");
    EXPECT_FALSE(upperCaseFirst());
  }
  EXPECT_EQ(upperCaseFirst(), before);
}

TEST(OsLocale, classifiesCodesets) {
  const std::map<Codeset, std::vector<const char*>> names = {
      {Codeset::Utf8, {"UTF-8", "utf8"}},
      {Codeset::Latin1, {"ISO-8859-1", "ISO_8859-15"}},
      {Codeset::Ascii, {"ANSI_X3.4-1968", "US-ASCII", "646", "ISO-IR-6", "ISO646-DE"}},
      {Codeset::Other, {"KOI8-R", nullptr}},
  };
  for (const auto& [codeset, ofIt] : names) {
    for (const char* const name : ofIt) {
      EXPECT_EQ(loc::classifyCodeset(name), codeset) << (name ? name : "(null)");
    }
  }
}

TEST(OsLocale, refusesWhatTheSystemDoesNotKnow) {
  loc::OsLocale found{"untouched", Codeset::Other};
  EXPECT_FALSE(loc::resolveOsLocale("xx_YY", found));
  EXPECT_EQ(found.name, "untouched");
  const loc::OsLocale fallback = loc::chooseOsLocale({"xx_YY"});
  EXPECT_EQ(fallback.name, "C");
  EXPECT_EQ(fallback.codeset, Codeset::Ascii);
  EXPECT_EQ(loc::osLocaleObject("xx_YY"), locale_t{});
}

TEST(LocaleName, isLanguageAndTerritoryInOneForm) {
  using Pair = std::pair<const char*, const char*>;
  for (const auto& [given, normal] : {Pair{"de-AT", "de_AT"},
                                      {"fr_FR.ISO8859-1@euro", "fr_FR"},
                                      {"en.UTF-8", "en_US"},
                                      {"xx", "xx"},
                                      {"xx_YY", "xx_YY"},
                                      {"zh@pinyin", "zh_CN"},
                                      {"pt-BR@latin", "pt_BR"},
                                      {"", ""},
                                      {"_DE", ""},
                                      {"af", "af_ZA"}}) {
    EXPECT_EQ(loc::normaliseLocale(given), normal) << given;
  }
  EXPECT_EQ(loc::normaliseLocale("de", "de_AT"), "de_AT");
  EXPECT_EQ(loc::normaliseLocale("de_CH", "de_AT"), "de_CH");
  EXPECT_EQ(loc::normaliseLocale("fr", "de_AT"), "fr_FR");
  EXPECT_EQ(loc::normaliseLocale("de", "de"), "de_DE");
}

TEST(LocaleName, listsKeepTheirOrderAndNameNothingTwice) {
  using Names = std::vector<std::string>;
  EXPECT_EQ(loc::parseLocaleList("fr:de::fr_FR:en"), (Names{"fr_FR", "de_DE", "en_US"}));
  EXPECT_EQ(loc::parseLocaleList(nullptr), Names{});
  EXPECT_EQ(loc::expandLocaleList({"de_DE", "en_US"}), (Names{"de_DE", "de", "en_US", "en"}));
  EXPECT_EQ(loc::expandLocaleList({"en_GB"}), (Names{"en_GB", "en", "en_US"}));
  EXPECT_EQ(loc::joinLocaleList({"a", "b"}), "a:b");
}
