#include "base/plat/fileLinks.h"

#include <cerrno>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/plat/file.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

class FileLinksTest : public testing::Test {
protected:
  std::string real(const std::string& name) const { return fileRealPath("asked", (dir / name).c_str()).get(); }
  int errorOf(const std::string& name) const {
    const SystemException failure = test::failureFrom([&] { real(name); });
    EXPECT_THAT(failure.message, testing::StartsWith("realpath(asked): "));
    return failure.err;
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
  for (const char* name : {"a/b/file", "a/relative/file", "a/up/file", "chain/file", "toFile", "absolute/up/file"}) {
    EXPECT_EQ(real(name), dir / "a/b/file") << name;
  }
  EXPECT_EQ(real("root"), "/");
  EXPECT_EQ(real("root" + dir.path() + "/a"), dir / "a");
}

TEST_F(FileLinksTest, failuresCarryTheSystemsReason) {
  dir.write("0", "x");
  for (int i = 1; i <= 21; ++i) {
    dir.link(std::to_string(i - 1), std::to_string(i));
  }
  EXPECT_EQ(real("20"), dir / "0");
  EXPECT_EQ(errorOf("21"), ELOOP);
  dir.link("self", "self");
  EXPECT_EQ(errorOf("self"), ELOOP);
  dir.link("gone", "dangling");
  EXPECT_EQ(errorOf("dangling"), ENOENT);
  EXPECT_EQ(errorOf("0/x"), ENOTDIR);
  EXPECT_EQ(errorOf("1/x"), ENOTDIR);
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
  EXPECT_EQ(test::messageFrom([] { fileMakeSecureDir("/no/such", "/target"); }),
            "/no/such must be created and point to /target");
}

}  // namespace
}  // namespace plat
