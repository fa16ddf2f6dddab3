#include "base/os/userDirs.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace os {
namespace {

class UserDirsTest : public testing::Test {
protected:
  UserDirsTest() {
    if (const char* const home = std::getenv("HOME")) {
      before_ = home;
    }
    ::setenv("HOME", dir.path().c_str(), 1);
  }
  ~UserDirsTest() override { ::setenv("HOME", before_.c_str(), 1); }

  void settings(const std::string& text) { dir.write(".config/user-dirs.dirs", text); }
  std::string find(const char* key) const {
    try {
      return getXdgUserDir(key).get();
    } catch (const plat::Exception&) {
      return "none";
    }
  }

  test::TempDir dir;

private:
  std::string before_;
};

TEST_F(UserDirsTest, homeMustBeAFolder) {
  EXPECT_EQ(getHomeDir().get(), dir.path());
  EXPECT_EQ(test::messageFrom([] { getHomeSubDir("Desktop"); }), "Subdir of HOME not found");
  dir.makeDir("Desktop");
  EXPECT_EQ(getHomeSubDir("Desktop").get(), dir / "Desktop");

  dir.write("file", "");
  ::setenv("HOME", (dir / "file").c_str(), 1);
  EXPECT_EQ(test::messageFrom([] { getHomeDir(); }), "HOME dir not found");
  ::unsetenv("HOME");
  EXPECT_THROW(getDesktopDir(), plat::Exception);
  EXPECT_THROW(getXdgUserDir("XDG_DESKTOP_DIR"), plat::Exception);
}

TEST_F(UserDirsTest, assignmentsAreReadWithTheirMarks) {
  for (const char* name : {"plain", "with blank", "$dollar", "quo\"te", "back\\slash", "x\\y"}) {
    dir.makeDir(name);
  }
  ::setenv("KELTEST_DIR", dir.path().c_str(), 1);
  const struct {
    const char *value, *expected;
  } cases[] = {{"$HOME/plain", "plain"},
               {"${KELTEST_DIR}/plain", "plain"},
               {"\"$HOME/with blank\"", "with blank"},
               {"\"$HOME/quo\\\"te\"", "quo\"te"},
               {"\"$HOME/back\\\\slash\"", "back\\slash"},
               {"\"$HOME/x\\y\"", "x\\y"},
               {"'$HOME/x\\y'", "x\\y"},
               {"$HOME/$$dollar", "$dollar"},
               {"\"$HOME/plain", nullptr},
               {"\"$HOME/plain'", nullptr},
               {"\"", nullptr},
               {"", nullptr},
               {"$HOME/gone", nullptr},
               {"$KELTEST_UNKNOWN/plain", nullptr},
               {"$HOME/\xff", nullptr}};
  for (const auto& c : cases) {
    settings(std::string("# made by hand\n\nno assignment\nXDG_OTHER_DIR=$HOME/gone\nXDG_X_DIR=") + c.value + "\r\n");
    EXPECT_EQ(find("XDG_X_DIR"), c.expected != nullptr ? dir / c.expected : "none") << c.value;
  }
  ::unsetenv("KELTEST_DIR");
}

TEST_F(UserDirsTest, theFirstUsableAssignmentCounts) {
  dir.makeDir("one");
  dir.makeDir("two");
  settings(
      "XDG_X_DIR=\"$HOME/gone\"\nXDG_X_DIRS=$HOME/two\n XDG_X_DIR=$HOME/two\nXDG_X_DIR=$HOME/one\n"
      "XDG_X_DIR=$HOME/two\nXDG_LAST=$HOME/two");
  EXPECT_EQ(find("XDG_X_DIR"), dir / "one");
  EXPECT_EQ(find("XDG_LAST"), dir / "two") << "a last line without its newline";
  EXPECT_EQ(find("XDG_X") + find(""), "nonenone");
}

TEST_F(UserDirsTest, eachFolderFallsBackToTheNext) {
  EXPECT_EQ(getVideosDir().get(), dir.path()) << "no settings and no usual folder: all the way to HOME";
  dir.makeDir("Desktop");
  EXPECT_EQ(getDesktopDir().get(), dir / "Desktop");
  EXPECT_EQ(getDownloadsDir().get(), dir / "Desktop");
  dir.makeDir("Documents");
  EXPECT_EQ(getDocumentsDir().get(), dir / "Documents");
  EXPECT_EQ(getDownloadsDir().get(), dir / "Documents");
  dir.makeDir("Downloads");
  dir.makeDir("Videos");
  EXPECT_EQ(getDownloadsDir().get(), dir / "Downloads");
  EXPECT_EQ(getVideosDir().get(), dir / "Videos");

  dir.makeDir("elsewhere");
  settings("XDG_DESKTOP_DIR=\"$HOME/elsewhere\"\nXDG_VIDEOS_DIR=\"$HOME/gone\"\n");
  EXPECT_EQ(getDesktopDir().get(), dir / "elsewhere");
  EXPECT_EQ(getVideosDir().get(), dir / "Videos");
}

}  // namespace
}  // namespace os
