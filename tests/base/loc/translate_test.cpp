#include "base/loc/translate.h"

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/badString.h"
#include "base/loc/format.h"
#include "tests/support/prelude.h"

namespace {

std::string text(const char* format, std::initializer_list<loc::FormatArg> args) {
  return loc::format(format, args).orEmpty();
}

const char* plural(const char* key, std::int64_t count) {
  return loc::translatePlural(loc::Localize::instance(), key, count, "some/file.cpp", 7);
}

}  // namespace

TEST(Format, putsArgumentsWhereTheyBelong) {
  EXPECT_EQ(text("Bad argument '%S'.", {"-x"}), "Bad argument '-x'.");
  EXPECT_EQ(text("%2$S, %1$S", {"a", "b"}), "b, a");
  EXPECT_EQ(text("%D days, 100%%", {-3}), "-3 days, 100%");
  EXPECT_EQ(text("%1$+D %+1$D", {3}), "+3 +3");
  EXPECT_EQ(text("%D %X", {std::uint64_t{255}}), "255 ff");
  EXPECT_EQ(text("%D", {~std::uint64_t{0}}), "18446744073709551615");
  EXPECT_EQ(text("%.2S|%.0S|%.9S", {"äöü"}), "äö||äöü");
}

TEST(Format, showsWhatDoesNotFitAndGoesOn) {
  EXPECT_EQ(text("%S and %1$S", {"a", "b"}), "%%S and a");
  EXPECT_EQ(text("%3$S", {"a", "b"}), "%%3$S");
  EXPECT_EQ(text("%1$2$S %1$.1.2S", {"a", "b"}), "%%1$2$S %%1$.1.2S");
  EXPECT_EQ(text("%0$S %99999999999$S", {"a"}), "%%0$S %%99999999999$S");
  EXPECT_EQ(text("%D", {"text"}), "%%D");
  EXPECT_EQ(text("%S", {1}), "%%S");
  EXPECT_EQ(text("%+S %++D %.D", {1}), "%%+S %%++D %%.D");
  EXPECT_EQ(text("%X", {1}), "%%X");
  EXPECT_EQ(text("%s %", {"a"}), "%%s %%");
}

TEST(TranslatePlural, followsTheRuleOfTheLanguage) {
  loc::Localize& localize = loc::Localize::instance();
  for (const std::string locale : {"de", "en", "fr", "ja", "ko", "pt", "vi", "zh_TW"}) {
    localize.storeString(locale.c_str(), "test_plural_sing", (locale + " sing").c_str());
    localize.storeString(locale.c_str(), "test_plural_many", (locale + " many").c_str());
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
           {"fr_CA", "test_plural", 0, "fr sing"},
           {"fr", "test_plural", 2, "fr many"},
           {"pt", "test_plural", 0, "pt sing"},  // Brazil's
           {"pt_PT", "test_plural", 0, "pt many"},
           {"ja", "test_plural", 1, "ja many"},
           {"ko", "test_plural", 1, "ko many"},
           {"vi", "test_plural", 1, "vi many"},
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
  EXPECT_DEATH((loc::translate("loc_period_hour_many", nullptr, 0, false), plural("loc_period_hour", 3)),
               "Can't use same string as both raw and formatted - %");
}

TEST(BadStrings, endTheProcessWhenAskedTo) {
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), loc::translate("test_none", "some/file.cpp", 7, false)),
               "^Missing translation for \"test_none\" \\(some/file.cpp:7\\)\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), loc::translate("test_none", nullptr, 7, false)),
               "^Missing translation for \"test_none\"\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), plural("test_none", 1)),
               "^Missing plural translation for \"test_none\" \\(some/file.cpp:7\\)\nAborting\n$");
  EXPECT_DEATH((loc::setAbortOnBadStrings(true), text("%S is good", {"a"}), text("%S %D", {"a"})),
               "^Bad loc string for args - %S %D\nAborting\n$");
}
