#include "libs/fops/path.h"

#include <string>

#include <gtest/gtest.h>

#include "base/plat/StringParameter.h"
#include "libs/fops/BadPath.h"
#include "libs/fops/LocalFsRoot.h"
#include "tests/libs/fops/protoTestSupport.h"

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
const char Outside[] = "Path is not absolute or not within root dir";

TEST(CheckPathElement, reportsTheFirstReasonThatApplies) {
  struct {
    const char* element;
    unsigned flags;
    const char* reason;
  } const cases[] = {
      {nullptr, 0, Empty},
      {"", 0, Empty},
      {"", AllowEmptyElement, ""},
      {nullptr, AllowEmptyElement, ""},
      {"...", 0, ""},
      {".a \xC3\xA4", 0, ""},
      {".", 0, Dots},
      {"..", RefuseBackslash | AllowEmptyElement, Dots},
      {"a/b", 0, Slash},
      {"a\\b", 0, ""},
      {"a\\b", RefuseBackslash, "Invalid path: element contains \\"},
      {"a/\\", RefuseBackslash, Slash},
      {"/\xFF", 0, BadText},
      {"\xC0\xAF", 0, BadText},  // an overlong slash
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.reason, reasonOf([&] { checkPathElement(c.element, c.flags); })) << shown(c.element);
  }
}

TEST(CheckPath, letsOnlyTheLenientFormSkipEmptyElements) {
  struct {
    const char* path;
    const char* strict;
    const char* lenient;
  } const cases[] = {
      {nullptr, Null, Null},      {"", Empty, ""},        {"a/b\\c/..d", "", ""},
      {"a//b", Empty, ""},        {"a/", Empty, ""},      {"/a", Absolute, Absolute},
      {"//", Absolute, Absolute}, {"..", Dots, Dots},     {"a/../b", Dots, Dots},
      {"a/./b", Dots, Dots},      {"a//..", Empty, Dots}, {"a/\xFF/b", BadText, BadText},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.strict, reasonOf([&] { checkPath(c.path); })) << shown(c.path);
    EXPECT_EQ(c.lenient, reasonOf([&] { checkDirPath(c.path); })) << shown(c.path);
  }
}

TEST(JoinPath, putsASlashOnlyBehindAFolderAndDiesOfALeadingOne) {
  EXPECT_STREQ("x", joinPath(nullptr, "x").get());
  EXPECT_STREQ("x", joinPath("", "x").get());
  EXPECT_STREQ("a/x", joinPath("a", "x").get());
  EXPECT_DEATH((void)joinPath("a", nullptr), "Assertion 'f && f\\[0\\] != '/'' failed at libs/fops/path:34");
  EXPECT_DEATH((void)joinPath("/a", "x"), "Assertion 'd\\[0\\] != '/'' failed at libs/fops/path:36");
}

TEST(LocalFsRoot, putsOneSlashBetweenRootAndPath) {
  EXPECT_STREQ("/", fopsDirParameter().value());
  EXPECT_TRUE(LocalFsRoot("/").isFsRoot());
  EXPECT_FALSE(LocalFsRoot("//").isFsRoot());
  EXPECT_STREQ("/a/b", LocalFsRoot("/").toLocalPath("a/b").get());
  EXPECT_STREQ("/srv/x", LocalFsRoot("/srv").toLocalPath("x").get());
  EXPECT_STREQ("/srv/x", LocalFsRoot("/srv/").toLocalPath("x").get());
  EXPECT_STREQ("/srv/", LocalFsRoot("/srv/").toLocalPath("").get());
  EXPECT_STREQ("/srv", LocalFsRoot("/srv").toLocalPath(nullptr).get());
}

TEST(LocalFsRoot, givesThePathBelowTheRoot) {
  struct {
    const char* root;
    const char* local;
    const char* client;
    const char* reason;  // in the strict form; in the lenient one a path outside gives an empty path
  } const cases[] = {
      {"/srv/data", "/srv/data/x/y", "x/y", ""},
      {"/srv/data", "/srv/data", "", Outside},
      {"/srv/data", "/srv/data/", "", ""},
      {"/srv/data", "/srv/database/x", "", Outside},
      {"/srv/data", "/SRV/data/x", "", Outside},
      {"/srv/data", "srv/data/x", "", Outside},
      {"/srv/data", "/srv/data/x//y/", "x//y/", ""},
      {"/srv/data", "/srv/data//x", nullptr, Absolute},
      {"/srv/data", "/srv/data/../x", nullptr, Dots},
      {"/srv/data", "/srv/data/a\xFF", nullptr, BadText},
      {"/srv/data/", "/srv/data/x", "x", ""},
      {"/", "/home/u", "home/u", ""},
      {"/", "//name", nullptr, Absolute},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.local);
    const LocalFsRoot root(c.root);
    EXPECT_EQ(c.reason, reasonOf([&] { EXPECT_STREQ(c.client, root.toClientPath(c.local, true).get()); }));
    EXPECT_EQ(c.client ? "" : c.reason,
              reasonOf([&] { EXPECT_STREQ(c.client, root.toClientPath(c.local, false).get()); }));
  }
  const ParameterValue setting("_FopsCaseSensitive", "0");
  EXPECT_STREQ("File", LocalFsRoot("/Srv").toClientPath("/SRV/File", true).get());
}

TEST(LocalFsRoot, refusesARootThatIsNotAbsolute) {
  for (const char* dir : {"", "./srv"}) {
    EXPECT_EQ(test::raised([&] { const LocalFsRoot root(dir); }),
              "Assertion 'isAbsolutePath(rootDir)' failed at libs/fops/LocalFsRoot:30");
  }
}

}  // namespace
}  // namespace fops
