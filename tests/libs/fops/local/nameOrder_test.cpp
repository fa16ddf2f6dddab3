#include <random>

#include "base/loc/LocaleSetter.h"
#include "base/plat/String.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/EntrySorter.h"
#include "libs/fops/local/naturalCompare.h"
#include "tests/support/TestLocales.h"
#include "tests/support/prelude.h"

/// The C library never frees what it makes of LOCPATH.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep\n";
}

namespace fops {
namespace {

using Names = std::vector<std::string>;

struct Case {
  const char *a, *b;
  int order;
};

void checkBothWays(const std::vector<Case>& cases) {
  for (const auto& [a, b, order] : cases) {
    SCOPED_TRACE(testing::PrintToString(a) + " : " + testing::PrintToString(b));
    EXPECT_EQ(naturalCompare(a, b), order);
    EXPECT_EQ(naturalCompare(b, a), -order);
  }
}

/// The names in the order that the sorter gives them.
Names sorted(const Names& names) {
  std::vector<DirEntry> list;
  for (const std::string& name : names) {
    list.emplace_back(name.c_str(), 0);
  }
  EntrySorter().sort(list);
  Names result;
  for (const DirEntry& entry : list) {
    result.emplace_back(entry.name.orEmpty());
  }
  return result;
}

/// A name out of few pieces, so that many begin alike: letters of one to three bytes, digits, numbers beyond 32 bits.
std::string randomName(std::mt19937& engine) {
  static const char* const pieces[] = {
      "a", "B", "b", "-", " ", "_", ".", "0", "1", "10", "02", "4294967296", "\xc3\xa9", "\xe6\x97\xa5", "\xc3\x9f"};
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
    const bool swap = naturalCompare(pair[0].c_str(), pair[1].c_str()) > 0;
    ASSERT_EQ(sorted(pair)[0], pair[swap ? 1 : 0]) << pair[0] << " : " << pair[1];
  }
  std::set<std::string> distinct;
  while (distinct.size() < 1000) {
    distinct.insert(randomName(engine));
  }
  Names names(distinct.begin(), distinct.end());
  std::shuffle(names.begin(), names.end(), engine);
  const Names result = sorted(names);
  EXPECT_TRUE(std::is_permutation(result.begin(), result.end(), names.begin(), names.end()));
  for (std::size_t i = 1; i < result.size(); ++i) {
    ASSERT_LE(naturalCompare(result[i - 1].c_str(), result[i].c_str()), 0) << result[i - 1] << " : " << result[i];
  }
}

TEST(NameOrder, takesNumbersByTheirValue) {
  checkSorter();  // without a setter
  const loc::LocaleSetter locale("C");
  checkSorter();
  checkBothWays({
      {"file2", "file10", -1},
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

TEST(NameOrder, followsTheThreadsLocaleAndCodeset) {
  const test::TestLocales locales{{"de_DE", "UTF-8", "de_DE.UTF-8"}, {"sv_SE", "ISO-8859-1", "sv_SE"}};
  if (!locales.complete()) {
    GTEST_SKIP() << "no locale sources here";
  }
  {
    const loc::LocaleSetter german("de_DE");
    ASSERT_EQ(german.codeset(), loc::Codeset::Utf8);
    checkSorter();
    checkBothWays({{"Zebra1", "apple1", 1},
                   {"\xc3\xa9t\xc3\xa9 2", "zoo 10", -1},
                   {"\xc3\xa9t\xc3\xa9 2", "\xc3\xa9t\xc3\xa9 10", -1}});
  }
  const loc::LocaleSetter swedish("sv_SE");
  ASSERT_EQ(swedish.codeset(), loc::Codeset::Latin1);
  checkSorter();
  const std::string sun = "\xe6\x97\xa5";
  const std::string book = "\xe6\x9c\xac";
  checkBothWays({{"\xc3\xa5 1", "z 1", 1},        // a with a ring is a letter after z
                 {sun.c_str(), book.c_str(), 0},  // what the codeset lacks is all one question mark,
                 {(sun + "2").c_str(), (book + "10").c_str(), -1}});  // so the number behind it decides
}

}  // namespace
}  // namespace fops
