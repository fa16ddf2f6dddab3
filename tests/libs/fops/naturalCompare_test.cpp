#include "libs/fops/naturalCompare.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "tests/libs/fops/TestLocales.h"

namespace fops {
namespace {

struct Case {
  const char* a;
  const char* b;
  int order;
};

void checkBothWays(const Case& c) {
  SCOPED_TRACE(std::string(c.a ? c.a : "<null>") + " : " + (c.b ? c.b : "<null>"));
  EXPECT_EQ(naturalCompare(c.a, c.b), c.order);
  EXPECT_EQ(naturalCompare(c.b, c.a), -c.order);
}

TEST(NaturalCompare, takesNumbersByTheirValue) {
  const loc::LocaleSetter locale("C");
  for (const Case& c : {
           Case{"file2", "file10", -1},
           {"a1b", "a1c", -1},
           {"a1b2", "a1b10", -1},
           {"a01", "a1", 0},     // leading zeros do not count
           {"a01b", "a1c", -1},  // and the rest decides
           {"a1", "a1 ", -1},
           {"a", "a1", -1},
           {"1", "a", -1},
           {"b1", "a2", 1},            // the text before the number comes first
           {"a4294967295", "a5", 1},   // the largest number that is one
           {"a4294967296", "a5", -1},  // text from here on
           {"a4294967296", "a4294967297", -1},
           {"a1-99999999999", "a1-5", 1},   // also after a number that was equal
           {"a01-4294967296", "a1-5", -1},  // the rests, without the number before them
           {"", "a", -1},
           {"", "", 0},
           {nullptr, "", -1},
           {nullptr, nullptr, 0},
       })
    checkBothWays(c);
}

TEST(NaturalCompare, isNoStrictWeakOrder) {
  const loc::LocaleSetter locale("C");
  EXPECT_LT(naturalCompare("a5", "a10"), 0);
  EXPECT_LT(naturalCompare("a10", "a4294967296"), 0);
  EXPECT_LT(naturalCompare("a4294967296", "a5"), 0);
}

TEST(NaturalCompare, followsTheThreadsLocale) {
  TestLocales locales;
  if (!locales.make("en_US", "UTF-8"))
    GTEST_SKIP() << "no locale sources here";
  {
    const loc::LocaleSetter bytes("C");
    checkBothWays({"Zebra1", "apple1", -1});
    checkBothWays({"\xc3\xa9t\xc3\xa9 2", "zoo 10", 1});
  }
  const loc::LocaleSetter english("en_US");
  ASSERT_STREQ(english.name(), "en_US.UTF-8");
  checkBothWays({"Zebra1", "apple1", 1});
  checkBothWays({"\xc3\xa9t\xc3\xa9 2", "zoo 10", -1});
  checkBothWays({"\xc3\xa9t\xc3\xa9 2", "\xc3\xa9t\xc3\xa9 10", -1});
}

TEST(NaturalCompare, reducesNamesToTheLocalesCodeset) {
  TestLocales locales;
  if (!locales.make("sv_SE", "ISO-8859-1"))
    GTEST_SKIP() << "no locale sources here";
  const loc::LocaleSetter swedish("sv_SE");
  ASSERT_EQ(swedish.codeset(), loc::Codeset::Latin1);
  checkBothWays({"\xc3\xa5 1", "z 1", 1});             // a with a ring is a letter after z
  checkBothWays({"\xe6\x97\xa5", "\xe6\x9c\xac", 0});  // what the codeset lacks is all one question mark
  checkBothWays(
      {"\xe6\x97\xa5"
       "2",
       "\xe6\x9c\xac"
       "10",
       -1});  // so the number behind it decides
}

TEST(Collate, answersOneStepAndPutsNullFirst) {
  const loc::LocaleSetter locale("C");
  EXPECT_EQ(collate("a", "z"), -1);
  EXPECT_EQ(collate("z", "a"), 1);
  EXPECT_EQ(collate("10", "9"), -1);
  EXPECT_EQ(collate(nullptr, ""), -1);
  EXPECT_EQ(collate(nullptr, nullptr), 0);
}

}  // namespace
}  // namespace fops
