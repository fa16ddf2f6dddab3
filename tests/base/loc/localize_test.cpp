#include "base/loc/Localize.h"

#include <cstdlib>
#include <cstring>
#include <optional>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "base/loc/OsLocale.h"
#include "base/loc/translate.h"
#include "base/plat/ConfigParameter.h"
#include "base/plat/Configuration.h"

namespace {

/// Sets `Locale` for one test, and gives the environment back as it was.
class LocaleTest : public testing::Test {
protected:
  LocaleTest() {
    if (const char* language = std::getenv("LANGUAGE")) {
      language_ = language;
    }
    loc::Localize::instance().setSearchDirs({});
  }
  ~LocaleTest() override {
    plat::Configuration::global().getParam("Locale").unsetParam(10, true);
    if (language_) {
      setenv("LANGUAGE", language_->c_str(), 1);
    } else {
      unsetenv("LANGUAGE");
    }
  }

  std::optional<std::string> language_;
};

}  // namespace

TEST_F(LocaleTest, translatesFromTheBuiltInEnglish) {
  EXPECT_STREQ(loc::translate("plat_run_with_help", nullptr, 0, false), "Run with -help for usage.");
  EXPECT_STREQ(loc::translate("io_error_endpoint_badescape", nullptr, 0, false),
               "Invalid endpoint: incorrect % escape");
  EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), "Bad argument '%S'.");
  EXPECT_EQ(loc::tryTranslate("no_such_key", false), nullptr);
  EXPECT_STREQ(loc::translate("no_such_key", nullptr, 0, false), "no_such_key");
}

TEST_F(LocaleTest, refusesOneTextInTwoWays) {
  loc::translate("plat_usage_label", nullptr, 0, false);
  EXPECT_DEATH(loc::translate("plat_usage_label", nullptr, 0, true), "Can't use same string as both raw and formatted");
}

TEST_F(LocaleTest, putsTheChosenLocaleFirstAndEnglishLast) {
  unsetenv("LANGUAGE");
  plat::Configuration::global().set("Locale", "de:xx", 10);
  EXPECT_EQ(loc::Localize::instance().locales(), (std::vector<std::string>{"de_DE", "xx", "en_US"}));
  EXPECT_STREQ(std::getenv("LANGUAGE"), "de_DE");
  EXPECT_EQ(loc::getLocaleList(), "de_DE:xx:en_US");
  plat::Configuration::global().set("Locale", "fr", 10);
  EXPECT_STREQ(std::getenv("LANGUAGE"), "fr_FR:de_DE");
}

TEST_F(LocaleTest, setsAThreadsTextsAndGivesThemBack) {
  loc::Localize::instance().addBuiltIn("xx", "loc_test_only", "ikks");
  EXPECT_EQ(loc::tryTranslate("loc_test_only", false), nullptr);
  {
    const loc::LocaleSetter outer("xx");
    EXPECT_STREQ(loc::translate("loc_test_only", nullptr, 0, false), "ikks");
    EXPECT_EQ(loc::getLocaleList(), "xx");
    const loc::LocaleSetter inner;
    EXPECT_STREQ(inner.name(), outer.name());
    EXPECT_EQ(loc::LocaleSetter::current(), &inner);
  }
  EXPECT_EQ(loc::LocaleSetter::current(), nullptr);
  EXPECT_EQ(loc::tryTranslate("loc_test_only", false), nullptr);
}

TEST(OsLocale, classifiesCodesets) {
  for (const auto& [name, codeset] :
       std::vector<std::pair<const char*, loc::Codeset>>{{"UTF-8", loc::Codeset::Utf8},
                                                         {"utf8", loc::Codeset::Utf8},
                                                         {"ISO-8859-1", loc::Codeset::Latin1},
                                                         {"ISO_8859-15", loc::Codeset::Latin1},
                                                         {"ANSI_X3.4-1968", loc::Codeset::Ascii},
                                                         {"US-ASCII", loc::Codeset::Ascii},
                                                         {"646", loc::Codeset::Ascii},
                                                         {"ISO646-DE", loc::Codeset::Ascii},
                                                         {"KOI8-R", loc::Codeset::Other},
                                                         {nullptr, loc::Codeset::Other}}) {
    EXPECT_EQ(loc::classifyCodeset(name), codeset) << (name ? name : "(null)");
  }
}

TEST(OsLocale, refusesWhatTheSystemDoesNotKnow) {
  loc::OsLocale found{"untouched", loc::Codeset::Other};
  EXPECT_FALSE(loc::resolveOsLocale("xx_YY", found));
  EXPECT_EQ(found.name, "untouched");
  EXPECT_EQ(loc::chooseOsLocale({"xx_YY"}).name, "C");
  EXPECT_EQ(loc::osLocaleObject("xx_YY"), locale_t{});
  EXPECT_TRUE(loc::resolveOsLocale("C", found));
}
