// What the system says of itself, of the environment, of the user's folders, and of what a folder holds.

#include "base/os/info/sysInfo.h"

#include <cstdlib>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "base/os/environment.h"
#include "base/os/info/userDirs.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/DString.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/exceptions.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace {

TEST(SysInfo, namesTheRunningSystem) {
  utsname info = {};
  ASSERT_EQ(::uname(&info), 0);
  const std::string release = info.release, host = info.nodename;
  EXPECT_EQ(os::kernelDescription(), ("Linux " + release.substr(0, release.find('-'))).c_str());
  EXPECT_EQ(os::machineName(), info.machine);
  EXPECT_EQ(os::hostNameShort(), host.substr(0, host.find('.')).c_str());
}

TEST(SysInfo, assignmentsLoseTheirQuotes) {
  const struct {
    const char *line, *value;  // null for none
  } cases[] = {{"K=v", "v"},
               {"K=", ""},
               {"K", nullptr},
               {"K=a=b", "a=b"},
               {"K=\"two words\"", "two words"},
               {"K=\"\"", ""},
               {"K=\"", nullptr},
               {"K='mixed\"", nullptr},
               {"K=\"\\$\\`\\\"\\'\\\\ \\n\"", "$`\"'\\ \\n"},
               {"K='\\$'", "\\$"},
               {"K=a\"b\"", "a\"b\""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string text = std::string(c.line) + "\n";
    rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
    plat::DString line;
    EXPECT_STREQ(os::readAssignment(in, line), c.value);
    if (c.value != nullptr) {
      EXPECT_STREQ(line.get(), "K");
    }
    EXPECT_THROW(os::readAssignment(in, line), rdr::EndOfStream);
  }
}

TEST(SysInfo, theDistributionIsWhatTheFirstFileSays) {
  test::TempDir dir;
  const auto name = [&dir] { return os::distributionName(dir.path().c_str()); };
  EXPECT_TRUE(name().isNull());
  for (const char* file : {"release", "release-debian", "debian.release", "unknown-release"}) {
    dir.write(file, "Nobody release 1\n");
  }
  EXPECT_TRUE(name().isNull());
  dir.write("debian_version", "12.1\n");
  EXPECT_EQ(name(), "Debian 12.1");
  dir.write("lsb-release", "DISTRIB_ID=Twig\nDISTRIB_RELEASE=1\nDISTRIB_RELEASE=2\n");
  dir.write("os-release", "NAME=\"Branch OS\"\n");
  EXPECT_EQ(name(), "Twig 2") << "the first file names no version";
  dir.write("os-release", "NAME=\"Branch OS\"\nID_LIKE=\"x DeBian\"\nVERSION_ID='3.4'\n");
  EXPECT_EQ(name(), "Branch OS 3.4");
  for (const char* file : {"os-release", "lsb-release", "missing"}) {
    EXPECT_EQ(os::isDebianFamily((dir / file).c_str()), *file == 'o');
  }
}

TEST(SysInfo, olderDistributionsAreKnownByTheirReleaseFiles) {
  const struct {
    const char *file, *text, *result;
  } cases[] = {
      {"centos-release", "CentOS Linux release 7.9.2009 (Core)\n", "CentOS Linux 7.9.2009"},
      {"debian_version", "10.4\nsecond line\n", "Debian 10.4"},
      {"debian_version", "testing/unstable\n", "Debian testing/unstable"},
      {"debian-release", "10.4\n", nullptr},
      {"SuSE-release", "Some Linux (x86)\nVERSION = 9\n", "Some Linux"},
      {"SuSE-release", "Some Linux 10.1 (x86)\n", nullptr},  // the scan ends with the number
      {"suse-release", "Some Linux release 9\n", nullptr},
      {"gentoo-release", "Base  System\trelease release next after", "Base System next"},
      {"mageia-release", "A release (next)\n", "A (next)"},
      {"UnitedLinux-version", "1.0 2.0\n", "UnitedLinux 1.0"},
      {"fedora-release-version", "Core release 3\n", "Core 3"},
      {"fedoraversion", "3\n", nullptr},
      {"arch_version", "  Some   Linux\n", "Arch Some Linux"},
      {"arch_version", "\n10.4\n", nullptr},
      {"arch_version", "(nothing)\n", nullptr},
      {"arch_version", "", nullptr},
      {"lsb-release", "DISTRIB_ID=Twig\n", nullptr},
      {"lsb-release", "DISTRIB_ID='Twig'\nDISTRIB_RELEASE=\"\"", "Twig "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.file) + ": " + c.text);
    const test::TempDir dir;
    dir.write(c.file, c.text);
    EXPECT_EQ(os::distributionName(dir.path().c_str()), c.result);
  }
  const test::TempDir dir;
  for (const std::size_t length : {1024, 1025}) {
    dir.write("debian_version", std::string(length, 'x'));
    EXPECT_EQ(os::distributionName(dir.path().c_str()).isNull(), length > 1024);
  }
}

TEST(Environment, variablesAreSetHiddenAndBack) {
  const char* const name = "KEL_TEST_VARIABLE";
  os::setEnvironment(name, "one");
  os::setEnvironment(name, "two");
  {
    const os::EnvironmentHider hider(name);
    EXPECT_STREQ(std::getenv(name), "");
  }
  EXPECT_STREQ(std::getenv(name), "two");
  static char entry[] = "KEL_TEST_VARIABLE=mine";
  ::putenv(entry);
  {
    const os::EnvironmentHider hider(name);
    os::setEnvironment(name, "changed meanwhile");
  }
  EXPECT_STREQ(std::getenv(name), "changed meanwhile");
  EXPECT_STREQ(entry, "KEL_TEST_VARIABLE=") << "no longer what the environment points to";
  os::unsetEnvironment(name);
  EXPECT_EQ(std::getenv(name), nullptr);
  const os::EnvironmentHider nothingToHide(name);
  EXPECT_THROW(os::setEnvironment("A=B", "x"), plat::SystemException);
}

class UserDirsTest : public testing::Test {
protected:
  UserDirsTest() { os::setEnvironment("HOME", dir.path().c_str()); }
  ~UserDirsTest() override { os::setEnvironment("HOME", before_.c_str()); }

  void settings(const std::string& text) { dir.write(".config/user-dirs.dirs", text); }
  static std::string find(const char* key) {
    try {
      return os::getXdgUserDir(key).get();
    } catch (const plat::Exception&) {
      return "none";
    }
  }

  test::TempDir dir;

private:
  const std::string before_ = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
};

TEST_F(UserDirsTest, homeMustBeAFolder) {
  EXPECT_EQ(os::getHomeDir().get(), dir.path());
  EXPECT_EQ(test::messageFrom([] { os::getHomeSubDir("Desktop"); }), "Subdir of HOME not found");
  dir.write("file", "");
  os::setEnvironment("HOME", (dir / "file").c_str());
  EXPECT_EQ(test::messageFrom([] { os::getHomeDir(); }), "HOME dir not found");
  os::unsetEnvironment("HOME");
  EXPECT_THROW(os::getDesktopDir(), plat::Exception);
  EXPECT_THROW(os::getXdgUserDir("XDG_DESKTOP_DIR"), plat::Exception);
}

TEST_F(UserDirsTest, theFirstUsableAssignmentCounts) {
  for (const char* name : {"plain", "two", "with blank", "$dollar", "quo\"te", "back\\slash", "x\\y"}) {
    dir.makeDir(name);
  }
  os::setEnvironment("KELTEST_DIR", dir.path().c_str());
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
  os::unsetEnvironment("KELTEST_DIR");
  settings(
      "XDG_X_DIR=\"$HOME/gone\"\nXDG_X_DIRS=$HOME/two\n XDG_X_DIR=$HOME/two\nXDG_X_DIR=$HOME/plain\n"
      "XDG_X_DIR=$HOME/two\nXDG_LAST=$HOME/two");
  EXPECT_EQ(find("XDG_X_DIR"), dir / "plain");
  EXPECT_EQ(find("XDG_LAST"), dir / "two") << "a last line without its newline";
  EXPECT_EQ(find("XDG_X") + find(""), "nonenone");
}

TEST_F(UserDirsTest, eachFolderFallsBackToTheNext) {
  EXPECT_EQ(os::getVideosDir().get(), dir.path()) << "no settings and no usual folder: all the way to HOME";
  for (const char* name : {"Desktop", "Documents", "Downloads"}) {
    dir.makeDir(name);
    EXPECT_EQ(os::getDownloadsDir().get(), dir / name);
  }
  dir.makeDir("Videos");
  EXPECT_EQ(os::getVideosDir().get(), dir / "Videos");
  EXPECT_EQ(os::getDocumentsDir().get(), dir / "Documents");
  EXPECT_EQ(os::getDesktopDir().get(), dir / "Desktop");
  dir.makeDir("elsewhere");
  settings("XDG_DESKTOP_DIR=\"$HOME/elsewhere\"\nXDG_VIDEOS_DIR=\"$HOME/gone\"\n");
  EXPECT_EQ(os::getDesktopDir().get(), dir / "elsewhere");
  EXPECT_EQ(os::getVideosDir().get(), dir / "Videos");
}

TEST(DirEnum, givesEveryElementOnceWithItsFullPath) {
  const test::TempDir dir;
  const std::set<std::string> expected = {".hidden", "..strange", std::string(255, 'n'), "\xff\xfe"};
  for (const std::string& name : expected) {
    dir.write(name, "");
  }
  for (const std::string& path : {dir.path(), dir.path() + "/"}) {
    os::DirEnum at(path.c_str());
    std::set<std::string> found;
    while (const char* const name = at.next()) {
      EXPECT_EQ(at.path(), dir / name);
      EXPECT_TRUE(found.insert(name).second) << name;
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(at.next(), nullptr) << "and stays at the end";
    ::close(at.fd());
    EXPECT_EQ(test::messageFrom([&] { at.next(); }), "readdir: Bad file descriptor (9)");
  }
  EXPECT_THAT(test::messageFrom<plat::AssertionFail>([] { os::DirEnum(""); }),
              testing::StartsWith("Assertion 'dirLen > 0' failed at base/os/unix/DirEnum:"));
}

}  // namespace
