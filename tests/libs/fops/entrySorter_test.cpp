#include "libs/fops/EntrySorter.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "base/loc/LocaleSetter.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/naturalCompare.h"
#include "tests/libs/fops/TestLocales.h"

namespace fops {
namespace {

std::vector<DirEntry> entries(const std::vector<std::string>& names) {
  std::vector<DirEntry> list;
  for (const std::string& name : names)
    list.emplace_back(name.c_str(), 0);
  return list;
}

std::vector<std::string> namesOf(const std::vector<DirEntry>& list) {
  std::vector<std::string> names;
  for (const DirEntry& entry : list)
    names.emplace_back(entry.name.orEmpty());
  return names;
}

/// Names out of few pieces, so that many begin alike: letters of one to three bytes, digits, numbers beyond 32 bits.
class RandomNames {
public:
  std::string one() {
    static const char* const pieces[] = {"a",       "B",  "b",          "-",           " ",
                                         "_",       ".",  "\xc3\xa9",   "0",           "1",
                                         "10",      "02", "4294967296", "99999999999", "\xe6\x97\xa5",
                                         "\xc3\x9f"};
    std::string name;
    for (int count = pick(1, 6); count > 0; --count)
      name += pieces[pick(0, static_cast<int>(std::size(pieces)) - 1)];
    return name == "." || name == ".." ? "x" : name;
  }
  std::vector<std::string> many(int count) {
    std::set<std::string> names;
    while (static_cast<int>(names.size()) < count)
      names.insert(one());
    std::vector<std::string> shuffled(names.begin(), names.end());
    std::shuffle(shuffled.begin(), shuffled.end(), engine_);
    return shuffled;
  }

private:
  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }

  std::mt19937 engine_{20240229};
};

/// In the thread's locale: two names at a time are put as naturalCompare says, and a whole list, although the order
/// runs in circles, keeps every name once with each pair of neighbours in order.
void checkAgainstNaturalCompare() {
  RandomNames random;
  for (int i = 0; i < 3000; ++i) {
    const std::vector<std::string> pair = {random.one(), random.one()};
    std::vector<DirEntry> list = entries(pair);
    EntrySorter().sort(list);
    const bool swap = naturalCompare(pair[0].c_str(), pair[1].c_str()) > 0;
    ASSERT_STREQ(list[0].name.get(), pair[swap ? 1 : 0].c_str()) << pair[0] << " : " << pair[1];
  }
  const std::vector<std::string> names = random.many(2000);
  std::vector<DirEntry> list = entries(names);
  EntrySorter().sort(list);
  const std::vector<std::string> sorted = namesOf(list);
  EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), names.begin(), names.end()));
  for (std::size_t i = 1; i < sorted.size(); ++i)
    ASSERT_LE(naturalCompare(sorted[i - 1].c_str(), sorted[i].c_str()), 0) << sorted[i - 1] << " : " << sorted[i];
}

TEST(EntrySorter, putsDirectoriesFirstAndEachGroupInNaturalOrder) {
  const loc::LocaleSetter locale("C");
  std::vector<DirEntry> list = entries({"a10", "d10", "a2", "b", "d9", "a01", "a1"});
  list[1].flags = Directory | HasSubdirs;
  list[4].flags = Directory;
  for (std::size_t i = 0; i < list.size(); ++i)
    list[i].size = static_cast<std::int64_t>(i);
  EntrySorter().sort(list);
  EXPECT_EQ(namesOf(list), (std::vector<std::string>{"d9", "d10", "a01", "a1", "a2", "a10", "b"}));
  EXPECT_EQ(list[1].flags, Directory | HasSubdirs);  // an entry moves as a whole
  EXPECT_EQ(list[1].size, 1);
  EXPECT_EQ(list[6].size, 3);
}

TEST(EntrySorter, takesListsOfAnySize) {
  const loc::LocaleSetter locale("C");
  for (const int count : {0, 1, 2, 3, 7, 8, 9, 100}) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i)
      names.push_back("n" + std::to_string(i));
    std::vector<std::string> shuffled = names;
    std::reverse(shuffled.begin(), shuffled.end());
    std::vector<DirEntry> list = entries(shuffled);
    EntrySorter().sort(list);
    EXPECT_EQ(namesOf(list), names);
  }
}

TEST(EntrySorter, agreesWithNaturalCompareByByte) {
  const loc::LocaleSetter locale("C");
  checkAgainstNaturalCompare();
}

TEST(EntrySorter, agreesWithNaturalCompareWithoutASetter) {
  checkAgainstNaturalCompare();
}

TEST(EntrySorter, agreesWithNaturalCompareInALanguage) {
  TestLocales locales;
  if (!locales.make("de_DE", "UTF-8"))
    GTEST_SKIP() << "no locale sources here";
  const loc::LocaleSetter german("de_DE");
  ASSERT_EQ(german.codeset(), loc::Codeset::Utf8);
  ASSERT_GT(naturalCompare("Zebra", "apple"), 0);  // control: not by byte
  checkAgainstNaturalCompare();
}

TEST(EntrySorter, agreesWithNaturalCompareInAnotherCodeset) {
  TestLocales locales;
  if (!locales.make("fi_FI", "ISO-8859-1"))
    GTEST_SKIP() << "no locale sources here";
  const loc::LocaleSetter finnish("fi_FI");
  ASSERT_EQ(finnish.codeset(), loc::Codeset::Latin1);
  checkAgainstNaturalCompare();
}

}  // namespace
}  // namespace fops
