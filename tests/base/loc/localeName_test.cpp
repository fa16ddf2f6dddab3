#include "base/loc/localeName.h"

#include <gtest/gtest.h>

using Names = std::vector<std::string>;

TEST(LocaleName, isLanguageAndTerritoryInOneForm) {
  for (const auto& [given, normal] : std::vector<std::pair<const char*, const char*>>{{"de", "de_DE"},
                                                                                      {"de-AT", "de_AT"},
                                                                                      {"fr_CA.UTF-8", "fr_CA"},
                                                                                      {"fr_FR.ISO8859-1@euro", "fr_FR"},
                                                                                      {"en.UTF-8", "en_US"},
                                                                                      {"xx", "xx"},
                                                                                      {"xx_YY", "xx_YY"},
                                                                                      {"zh@pinyin", "zh_CN"},
                                                                                      {"pt-BR@latin", "pt_BR"},
                                                                                      {"", ""},
                                                                                      {"_DE", ""},
                                                                                      {"af", "af_ZA"},
                                                                                      {"C.UTF-8", "C"},
                                                                                      {"POSIX", "POSIX"}}) {
    SCOPED_TRACE(given);
    EXPECT_EQ(loc::normaliseLocale(given), normal);
  }
  EXPECT_EQ(loc::normaliseLocale("de", "de_AT"), "de_AT");
  EXPECT_EQ(loc::normaliseLocale("de_CH", "de_AT"), "de_CH");
  EXPECT_EQ(loc::normaliseLocale("fr", "de_AT"), "fr_FR");
  EXPECT_EQ(loc::normaliseLocale("de", "de"), "de_DE");
}

TEST(LocaleName, listsKeepTheirOrderAndNameNothingTwice) {
  EXPECT_EQ(loc::parseLocaleList("fr:de::fr_FR:en"), (Names{"fr_FR", "de_DE", "en_US"}));
  EXPECT_EQ(loc::parseLocaleList(nullptr), Names{});
  EXPECT_EQ(loc::expandLocaleList({"de_DE", "en_US"}), (Names{"de_DE", "de", "en_US", "en"}));
  EXPECT_EQ(loc::expandLocaleList({"en_GB"}), (Names{"en_GB", "en", "en_US"}));
  EXPECT_EQ(loc::joinLocaleList({"a", "b"}), "a:b");
}
