#include <string>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/badString.h"
#include "base/loc/format.h"
#include "base/loc/translate.h"

namespace {

const char* plural(const char* key, std::int64_t count) {
  return loc::translatePlural(loc::Localize::instance(), key, count, "some/file.cpp", 7);
}

}  // namespace

TEST(TranslatePlural, followsTheRuleOfTheLanguage) {
  loc::Localize& localize = loc::Localize::instance();
  for (const char* locale : {"de", "en", "fr", "ja", "pt", "zh_TW"}) {
    localize.storeString(locale, "test_plural_sing", (std::string(locale) + " sing").c_str());
    localize.storeString(locale, "test_plural_many", (std::string(locale) + " many").c_str());
  }
  localize.storeString("de", "test_half_sing", "half sing");
  localize.storeString("en", "test_half_many", "half many");
  struct Case {
    const char* locales;
    const char* key;
    std::int64_t count;
    const char* text;
  };
  for (const Case& c : {
           Case{"de", "test_plural", 0, "de many"},
           {"de", "test_plural", 1, "de sing"},
           {"de", "test_plural", 2, "de many"},
           {"fr", "test_plural", 0, "fr sing"},
           {"fr_CA", "test_plural", 1, "fr sing"},
           {"fr", "test_plural", 2, "fr many"},
           {"pt", "test_plural", 0, "pt sing"},  // Brazil's
           {"pt_PT", "test_plural", 0, "pt many"},
           {"pt_PT", "test_plural", 1, "pt sing"},
           {"ja", "test_plural", 1, "ja many"},
           {"zh_TW", "test_plural", 1, "zh_TW many"},
           {"xx:fr", "test_plural", 0, "fr sing"},
           {"xx", "test_plural", 1, "en sing"},
           {"de", "test_half", 1, "half sing"},
           {"de", "test_half", 2, "half many"},  // the form asked for is only in a later locale
           {"de", "loc_period_day", 2, "%D Tage"},
           {"de", "test_none", 2, "test_none"},
       }) {
    SCOPED_TRACE(std::string(c.locales) + " " + c.key + " " + std::to_string(c.count));
    const loc::LocaleSetter setter(c.locales);
    EXPECT_STREQ(plural(c.key, c.count), c.text);
  }
}

TEST(TranslatePlural, givesARawText) {
  EXPECT_DEATH(
      {
        loc::translate("loc_period_hour_many", nullptr, 0, false);
        plural("loc_period_hour", 3);
      },
      "Can't use same string as both raw and formatted - %");
}

TEST(BadStrings, endTheProcessWhenAskedTo) {
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), loc::translate("test_none", "some/file.cpp", 7, false)),
               "^Missing translation for \"test_none\" \\(some/file.cpp:7\\)\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), loc::translate("test_none", nullptr, 7, false)),
               "^Missing translation for \"test_none\"\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), plural("test_none", 1)),
               "^Missing plural translation for \"test_none\" \\(some/file.cpp:7\\)\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), loc::format("%S %D", {"a"})),
               "^Bad loc string for args - %S %D\nAborting\n$");
}
