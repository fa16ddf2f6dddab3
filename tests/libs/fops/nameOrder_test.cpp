#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "base/plat/String.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/EntrySorter.h"
#include "libs/fops/naturalCompare.h"
#include "tests/support/TestLocales.h"

/// The C library never frees what it makes of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

namespace fops {
namespace {

using Names = std::vector<std::string>;

/// With German in UTF-8 and Swedish in ISO 8859-1, where the machine can make them.
class NameOrderTest : public testing::Test {
protected:
  static void SetUpTestSuite() {
    using Locales = std::initializer_list<test::TestLocales::Locale>;
    locales_ = std::make_unique<test::TestLocales>(
        Locales{{"de_DE", "UTF-8", "de_DE.UTF-8"}, {"sv_SE", "ISO-8859-1", "sv_SE"}});
  }
  static void TearDownTestSuite() { locales_.reset(); }

  static inline std::unique_ptr<test::TestLocales> locales_;
};

struct Case {
  const char* a;
  const char* b;
  int order;
};

void checkBothWays(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    EXPECT_EQ(naturalCompare(c.a, c.b), c.order) << testing::PrintToString(c.a) << " : " << testing::PrintToString(c.b);
    EXPECT_EQ(naturalCompare(c.b, c.a), -c.order)
        << testing::PrintToString(c.b) << " : " << testing::PrintToString(c.a);
  }
}

TEST_F(NameOrderTest, takesNumbersByTheirValue) {
  const loc::LocaleSetter locale("C");
  checkBothWays({
      {"file2", "file10", -1},
      {"a1b", "a1c", -1},
      {"a1b2", "a1b10", -1},
      {"a01", "a1", 0},     // leading zeros do not count
      {"a01b", "a1c", -1},  // and the rest decides
      {"a", "a1", -1},
      {"1", "a", -1},
      {"b1", "a2", 1},            // the text before the number comes first
      {"a4294967295", "a5", 1},   // the largest number that is one
      {"a4294967296", "a5", -1},  // text from here on, so the order runs in circles: a5, a10, a4294967296, a5
      {"a10", "a4294967296", -1},
      {"a1-99999999999", "a1-5", 1},   // also after a number that was equal
      {"a01-4294967296", "a1-5", -1},  // the rests, without the number before them
      {nullptr, "", -1},
      {nullptr, nullptr, 0},
      {"Zebra1", "apple1", -1},
      {"\xc3\xa9t\xc3\xa9 2", "zoo 10", 1},
  });
}

TEST_F(NameOrderTest, followsTheThreadsLocaleAndCodeset) {
  if (!locales_->complete()) {
    GTEST_SKIP() << "no locale sources here";
  }
  {
    const loc::LocaleSetter german("de_DE");
    ASSERT_EQ(german.codeset(), loc::Codeset::Utf8);
    checkBothWays({{"Zebra1", "apple1", 1},
                   {"\xc3\xa9t\xc3\xa9 2", "zoo 10", -1},
                   {"\xc3\xa9t\xc3\xa9 2", "\xc3\xa9t\xc3\xa9 10", -1}});
  }
  const loc::LocaleSetter swedish("sv_SE");
  ASSERT_EQ(swedish.codeset(), loc::Codeset::Latin1);
  const std::string sun = "\xe6\x97\xa5";
  const std::string book = "\xe6\x9c\xac";
  checkBothWays({{"\xc3\xa5 1", "z 1", 1},        // a with a ring is a letter after z
                 {sun.c_str(), book.c_str(), 0},  // what the codeset lacks is all one question mark,
                 {(sun + "2").c_str(), (book + "10").c_str(), -1}});  // so the number behind it decides
}

std::vector<DirEntry> entries(const Names& names) {
  std::vector<DirEntry> list;
  for (const std::string& name : names) {
    list.emplace_back(name.c_str(), 0);
  }
  return list;
}

Names namesOf(const std::vector<DirEntry>& list) {
  Names names;
  for (const DirEntry& entry : list) {
    names.emplace_back(entry.name.orEmpty());
  }
  return names;
}

/// A name out of few pieces, so that many begin alike: letters of one to three bytes, digits, numbers beyond 32 bits.
std::string randomName(std::mt19937& engine) {
  static const char* const pieces[] = {"a",       "B",  "b",          "-",           " ",
                                       "_",       ".",  "\xc3\xa9",   "0",           "1",
                                       "10",      "02", "4294967296", "99999999999", "\xe6\x97\xa5",
                                       "\xc3\x9f"};
  std::string name;
  for (auto count = 1 + engine() % 6; count > 0; --count) {
    name += pieces[engine() % std::size(pieces)];
  }
  return name == "." || name == ".." ? "x" : name;
}

/// In the thread's locale: two names at a time are put as naturalCompare says, and a whole list, although the order
/// runs in circles, keeps every name once with each pair of neighbours in order.
void checkSorter() {
  std::mt19937 engine(20240229);
  for (int i = 0; i < 2000; ++i) {
    const Names pair = {randomName(engine), randomName(engine)};
    std::vector<DirEntry> list = entries(pair);
    EntrySorter().sort(list);
    const bool swap = naturalCompare(pair[0].c_str(), pair[1].c_str()) > 0;
    ASSERT_STREQ(list[0].name.get(), pair[swap ? 1 : 0].c_str()) << pair[0] << " : " << pair[1];
  }
  std::set<std::string> distinct;
  while (distinct.size() < 1000) {
    distinct.insert(randomName(engine));
  }
  Names names(distinct.begin(), distinct.end());
  std::shuffle(names.begin(), names.end(), engine);
  std::vector<DirEntry> list = entries(names);
  EntrySorter().sort(list);
  const Names sorted = namesOf(list);
  EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), names.begin(), names.end()));
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    ASSERT_LE(naturalCompare(sorted[i - 1].c_str(), sorted[i].c_str()), 0) << sorted[i - 1] << " : " << sorted[i];
  }
}

TEST_F(NameOrderTest, isTheOneThatListsAreSortedBy) {
  checkSorter();  // without a setter
  for (const char* locale : {"C", "de_DE", "sv_SE"}) {
    SCOPED_TRACE(locale);
    if (locales_->complete() || *locale == 'C') {
      const loc::LocaleSetter setter(locale);
      checkSorter();
    }
  }
}

TEST_F(NameOrderTest, putsDirectoriesFirstAndMovesEntriesWhole) {
  const loc::LocaleSetter locale("C");
  std::vector<DirEntry> list = entries({"a10", "d10", "a2", "b", "d9", "a01", "a1"});
  list[1].flags = Directory | HasSubdirs;
  list[4].flags = Directory;
  list[1].size = 5;
  EntrySorter().sort(list);
  EXPECT_EQ(namesOf(list), (Names{"d9", "d10", "a01", "a1", "a2", "a10", "b"}));
  EXPECT_EQ(list[1].flags, Directory | HasSubdirs);
  EXPECT_EQ(list[1].size, 5);
}

}  // namespace
}  // namespace fops
