#include "base/loc/OsLocale.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/translate.h"
#include "tests/support/TestLocales.h"

/// The C library never frees what it makes of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

namespace {

using loc::Codeset;

/// With German and French in UTF-8 and Swedish in ISO 8859-1, where the machine can make them.
class RealLocaleTest : public testing::Test {
protected:
  static void SetUpTestSuite() {
    using Locales = std::initializer_list<test::TestLocales::Locale>;
    locales_ = std::make_unique<test::TestLocales>(
        Locales{{"de_DE", "UTF-8", "de_DE.UTF-8"}, {"fr_FR", "UTF-8", "fr_FR.utf8"}, {"sv_SE", "ISO-8859-1", "sv_SE"}});
    if (locales_->complete()) {
      locales_->alias("de_DE.UTF-8", "de_AT.utf8");
      locales_->alias("sv_SE", "da_DK.ISO-8859-1");
    }
  }
  static void TearDownTestSuite() { locales_.reset(); }

  void SetUp() override {
    if (!locales_->complete()) {
      GTEST_SKIP() << "no locale sources here";
    }
  }

  static inline std::unique_ptr<test::TestLocales> locales_;
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
  const std::string german =
      "Dr\xc3\xbc"
      "cken";
  struct Case {
    const char* lang;
    const char* language;
    std::string result;
  };
  for (const Case& c : {
           Case{"de_DE.UTF-8", "", "<de_DE:en_US|de_DE|de_DE.UTF-8 1|" + german},
           {"de_DE", "", "<C:en_US|C|"},  // only known with its codeset, so the C library refuses the environment
           {"fr_FR.UTF-8", "fr_FR:x", "<fr_FR:x:en_US|fr_FR:x|fr_FR.UTF-8 1|Appuyez"},
           {"sv_SE", "", "<sv_SE:en_US|sv_SE|sv_SE 2|" + english},
           {"sv_SE", "fr:de", "<fr_FR:de_DE:en_US|fr_FR:fr:de|sv_SE 2|Appuyez"},
           {"de_AT.UTF-8", "de:fr", "<de_AT:fr_FR:en_US|de_AT:de:fr|de_AT.UTF-8 1|" + german},
           {"C", "de", "<C:en_US|C:de|C.UTF-8 1|" + english},
           {"POSIX", "de", "<C:en_US|C:de|C.UTF-8 1|" + english},
           {"xx_YY.UTF-8", "de", "<C:en_US|C:de|C.UTF-8 1|" + english},
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
  for (const Case& c : {Case{"de_DE", "de_DE.UTF-8", Codeset::Utf8},
                        {"fr_FR.ISO-8859-1", "fr_FR.UTF-8", Codeset::Utf8},
                        {"de_DE@euro", "de_DE.UTF-8@euro", Codeset::Utf8},
                        {"sv_SE", "sv_SE", Codeset::Latin1},
                        {"da_DK", "da_DK.ISO-8859-1", Codeset::Latin1},
                        {"C", "C.UTF-8", Codeset::Utf8}}) {
    loc::OsLocale found;
    EXPECT_TRUE(loc::resolveOsLocale(c.name, found)) << c.name;
    EXPECT_EQ(found.name, c.found);
    EXPECT_EQ(found.codeset, c.codeset) << c.name;
  }
  EXPECT_EQ(loc::chooseOsLocale({"xx_YY", "de_DE"}).name, "de_DE.UTF-8");
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
    {
      const loc::LocaleSetter none("C");
      EXPECT_TRUE(upperCaseFirst());
      EXPECT_EQ(loc::getLocaleList(), "C");
    }
    const loc::LocaleSetter inherited;
    EXPECT_STREQ(inherited.name(), "sv_SE");
    EXPECT_EQ(loc::getLocaleList(), "sv_SE");
    EXPECT_FALSE(upperCaseFirst());
  }
  EXPECT_EQ(upperCaseFirst(), before);
}

TEST(OsLocale, classifiesCodesets) {
  for (const auto& [name, codeset] : std::vector<std::pair<const char*, Codeset>>{{"UTF-8", Codeset::Utf8},
                                                                                  {"utf8", Codeset::Utf8},
                                                                                  {"ISO-8859-1", Codeset::Latin1},
                                                                                  {"ISO_8859-15", Codeset::Latin1},
                                                                                  {"ANSI_X3.4-1968", Codeset::Ascii},
                                                                                  {"US-ASCII", Codeset::Ascii},
                                                                                  {"646", Codeset::Ascii},
                                                                                  {"ISO-IR-6", Codeset::Ascii},
                                                                                  {"ISO646-DE", Codeset::Ascii},
                                                                                  {"KOI8-R", Codeset::Other},
                                                                                  {nullptr, Codeset::Other}}) {
    EXPECT_EQ(loc::classifyCodeset(name), codeset) << (name ? name : "(null)");
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
