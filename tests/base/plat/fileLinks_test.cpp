#include "base/plat/fileLinks.h"

#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/plat/SystemException.h"
#include "base/plat/file.h"
#include "tests/support/TempDir.h"

namespace plat {
namespace {

class FileLinksTest : public testing::Test {
protected:
  std::string real(const std::string& name) const { return fileRealPath("asked", (dir / name).c_str()).get(); }
  int errorOf(const std::string& name) const {
    try {
      real(name);
    } catch (const SystemException& e) {
      EXPECT_THAT(e.message, testing::StartsWith("realpath(asked): "));
      return e.err;
    }
    return 0;
  }
  test::TempDir dir;
};

TEST_F(FileLinksTest, everyKindOfLinkIsResolved) {
  dir.makeDir("a/b");
  dir.write("a/b/file", "x");
  dir.link("b", "a/relative");
  dir.link("../a/b", "a/up");
  dir.link(dir / "a", "absolute");
  dir.link("absolute/relative/", "chain");
  dir.link("a/b/file", "toFile");
  dir.link("/", "root");
  const struct {
    const char *name, *expected;
  } cases[] = {
      {"a/b/file", "a/b/file"},         {"a/relative/file", "a/b/file"},
      {"a/up/file", "a/b/file"},        {"absolute/b", "a/b"},
      {"chain/file", "a/b/file"},       {"toFile", "a/b/file"},
      {"absolute/up/file", "a/b/file"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(real(c.name), dir / c.expected) << c.name;
  }
  EXPECT_EQ(real("root"), "/");
  EXPECT_EQ(real("root" + dir.path() + "/a"), dir / "a");
}

TEST_F(FileLinksTest, twentyLinksMayFollowFromEachOther) {
  dir.write("0", "x");
  for (int i = 1; i <= 21; ++i) {
    dir.link(std::to_string(i - 1), std::to_string(i));
  }
  EXPECT_EQ(real("20"), dir / "0");
  EXPECT_EQ(errorOf("21"), ELOOP);
  dir.link("self", "self");
  EXPECT_EQ(errorOf("self"), ELOOP);
}

TEST_F(FileLinksTest, failuresCarryTheSystemsReason) {
  dir.write("file", "x");
  dir.link("gone", "dangling");
  dir.link("file", "toFile");
  EXPECT_EQ(errorOf("gone"), ENOENT);
  EXPECT_EQ(errorOf("dangling"), ENOENT);
  EXPECT_EQ(errorOf("file/x"), ENOTDIR);
  EXPECT_EQ(errorOf("toFile/x"), ENOTDIR);
  EXPECT_DEATH(fileRealPath("asked", "relative"), "Assertion 'path\\[0\\] == '/'' failed at base/plat/file:");
}

TEST_F(FileLinksTest, absPathCountsFromTheWorkingFolder) {
  dir.makeDir("a/b");
  dir.link("a", "link");
  const std::string before = getWorkingDir().get();
  chDir((dir / "a").c_str());
  const std::string relative = fileAbsPath("../link//./b").get();
  const std::string here = fileAbsPath("").get();
  chDir(before.c_str());
  EXPECT_EQ(relative, dir / "a/b");
  EXPECT_EQ(here, dir / "a");
  EXPECT_STREQ(fileAbsPath((dir / "link/../a").c_str()).get(), (dir / "a").c_str());
}

TEST_F(FileLinksTest, aSecureFolderMustExistAndBelongToRootAllTheWay) {
  EXPECT_STREQ(fileMakeSecureDir("/", nullptr).get(), "/");
  EXPECT_THROW(fileMakeSecureDir(dir.path().c_str(), nullptr), Exception);
  try {
    fileMakeSecureDir("/no/such", "/target");
    FAIL();
  } catch (const Exception& e) {
    EXPECT_STREQ(e.message, "/no/such must be created and point to /target");
  }
}

}  // namespace
}  // namespace plat
