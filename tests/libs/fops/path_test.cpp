#include "libs/fops/path.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libs/fops/BadPath.h"

namespace fops {
namespace {

// The message of the BadPath that `check` raises, "" if it raises none.
template <class Check>
std::string reasonOf(const Check& check) {
  try {
    check();
  } catch (const BadPath& e) {
    EXPECT_STREQ("BadPath", e.type);
    return e.message;
  }
  return "";
}

const char Empty[] = "Invalid path: empty";
const char Dots[] = "Invalid path: . or ..";
const char Slash[] = "Invalid path: element contains /";
const char BadText[] = "Invalid path: bad UTF-8";
const char Null[] = "Invalid path: null";
const char Absolute[] = "Invalid path: starts with /";

struct ElementCase {
  const char* element;
  unsigned flags;
  const char* reason;
};

TEST(CheckPathElement, reportsTheFirstReasonThatApplies) {
  const ElementCase cases[] = {
      {nullptr, 0, Empty},
      {"", 0, Empty},
      {nullptr, AllowEmptyElement, ""},
      {"", AllowEmptyElement, ""},
      {"a", 0, ""},
      {"...", 0, ""},
      {".a", 0, ""},
      {"..a", 0, ""},
      {"\xC3\xA4 b", 0, ""},
      {".", 0, Dots},
      {"..", 0, Dots},
      {"..", RefuseBackslash | AllowEmptyElement, Dots},
      {"a/b", 0, Slash},
      {"/", 0, Slash},
      {"a\\b", 0, ""},
      {"a\\b", RefuseBackslash, "Invalid path: element contains \\"},
      {"a/\\", RefuseBackslash, Slash},
      {"\xC3", 0, BadText},
      {"/\xFF", 0, BadText},
      {"\xED\xA0\x80", 0, BadText},  // a surrogate
      {"\xC0\xAF", 0, BadText},      // an overlong slash
  };
  for (const ElementCase& c : cases) {
    SCOPED_TRACE(c.element ? c.element : "(null)");
    EXPECT_EQ(c.reason, reasonOf([&] { checkPathElement(c.element, c.flags); }));
  }
}

struct PathCase {
  const char* path;
  const char* strict;
  const char* lenient;
};

TEST(CheckPath, letsOnlyTheLenientFormSkipEmptyElements) {
  const PathCase cases[] = {
      {nullptr, Null, Null},
      {"", Empty, ""},
      {"a", "", ""},
      {"a/b/c", "", ""},
      {"a/b\\c", "", ""},
      {"a//b", Empty, ""},
      {"a/", Empty, ""},
      {"a//b/", Empty, ""},
      {"/", Absolute, Absolute},
      {"/a", Absolute, Absolute},
      {"//", Absolute, Absolute},
      {".", Dots, Dots},
      {"..", Dots, Dots},
      {"../a", Dots, Dots},
      {"a/../b", Dots, Dots},
      {"a/..", Dots, Dots},
      {"a/./b", Dots, Dots},
      {"a//..", Empty, Dots},
      {"a/\xFF/b", BadText, BadText},
      {"a/b/..c", "", ""},
  };
  for (const PathCase& c : cases) {
    SCOPED_TRACE(c.path ? c.path : "(null)");
    EXPECT_EQ(c.strict, reasonOf([&] { checkPath(c.path); }));
    EXPECT_EQ(c.lenient, reasonOf([&] { checkDirPath(c.path); }));
  }
}

TEST(JoinPath, putsASlashOnlyBehindAFolder) {
  EXPECT_STREQ("x", joinPath(nullptr, "x").get());
  EXPECT_STREQ("x", joinPath("", "x").get());
  EXPECT_STREQ("a/x", joinPath("a", "x").get());
  EXPECT_STREQ("a//x", joinPath("a/", "x").get());
  EXPECT_STREQ("a/", joinPath("a", "").get());
}

TEST(JoinPathDeathTest, endsTheProcessOnALeadingSlash) {
  EXPECT_DEATH((void)joinPath("a", nullptr), "libs/fops/path:34");
  EXPECT_DEATH((void)joinPath("a", "/x"), "libs/fops/path:34");
  EXPECT_DEATH((void)joinPath("/a", "x"), "libs/fops/path:36");
}

}  // namespace
}  // namespace fops
