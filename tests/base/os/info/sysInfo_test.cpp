// What the system says of itself, of the environment, of the user's folders, and of what a folder holds.

#include "base/os/info/sysInfo.h"

#include <sys/utsname.h>

#include "base/os/environment.h"
#include "base/os/info/userDirs.h"
#include "base/os/unix/DirEnum.h"
#include "base/plat/DString.h"
#include "base/rdr/MemInStream.h"
#include "tests/support/prelude.h"

namespace {

using test::TempDir;

using Pairs = std::vector<std::pair<const char*, const char*>>;

TEST(SysInfo, namesTheRunningSystem) {
  utsname info = {};
  ASSERT_EQ(::uname(&info), 0);
  const std::string release = info.release, host = info.nodename;
  EXPECT_EQ(os::kernelDescription(), ("Linux " + release.substr(0, release.find('-'))).c_str());
  EXPECT_EQ(os::machineName(), info.machine);
  EXPECT_EQ(os::hostNameShort(), host.substr(0, host.find('.')).c_str());
}

TEST(SysInfo, assignmentsLoseTheirQuotes) {
  const Pairs cases = {
      {"K=\n", ""},         {"K\n", nullptr},         {"K=a=b\n", "a=b"},
      {"K=\"\"\n", ""},     {"K=\"\n", nullptr},      {"K='mixed\"\n", nullptr},
      {"K='\\$'\n", "\\$"}, {"K=a\"b\"\n", "a\"b\""}, {"K=\"\\$\\`\\\"\\'\\\\ \\n\"\n", "$`\"'\\ \\n"}};
  for (const auto& [assignment, expected] : cases) {
    SCOPED_TRACE(assignment);
    rdr::MemInStream in(assignment, static_cast<int>(std::strlen(assignment)));
    plat::DString line;
    EXPECT_STREQ(os::readAssignment(in, line), expected);
    EXPECT_STREQ(line.get(), "K");
    EXPECT_TRUE(in.atEnd());
  }
}

std::string distributionIn(const TempDir& etc) {
  return os::distributionName(etc.path().c_str()).orEmpty();
}

TEST(SysInfo, theDistributionIsWhatTheFirstFileSaysAndOlderOnesAreKnownByTheirReleaseFiles) {
  const TempDir etc;
  for (const char* file : {"release", "release-debian", "debian.release", "unknown-release"}) {
    etc.write(file, "Nobody release 1\n");
  }
  EXPECT_EQ(distributionIn(etc), "");
  etc.write("debian_version", "12.1\nsecond line\n");
  EXPECT_EQ(distributionIn(etc), "Debian 12.1");
  etc.write("lsb-release", "DISTRIB_ID=Twig\nDISTRIB_RELEASE=1\nDISTRIB_RELEASE=\"2\"");
  etc.write("os-release", "NAME=\"Branch OS\"\n");
  EXPECT_EQ(distributionIn(etc), "Twig 2") << "the first file names no version";
  etc.write("os-release", "NAME=\"Branch OS\"\nID_LIKE=\"x DeBian\"\nVERSION_ID='3.4'\n");
  EXPECT_EQ(distributionIn(etc), "Branch OS 3.4");
  EXPECT_TRUE(os::isDebianFamily((etc / "os-release").c_str()));
  EXPECT_FALSE(os::isDebianFamily((etc / "lsb-release").c_str()));
  EXPECT_FALSE(os::isDebianFamily((etc / "missing").c_str()));

  const std::string longest(1024, 'x');
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"centos-release", "CentOS Linux release 7.9.2009 (Core)\n", "CentOS Linux 7.9.2009"},
      {"SuSE-release", "Some Linux (x86)\nVERSION = 9\n", "Some Linux"},
      {"SuSE-release", "Some Linux 10.1 (x86)\n", ""},  // the scan ends with the number
      {"gentoo-release", "Base  System\trelease release next after", "Base System next"},
      {"mageia-release", "A release (next)\n", "A (next)"},
      {"UnitedLinux-version", "1.0 2.0\n", "UnitedLinux 1.0"},
      {"arch_version", "(nothing)\n", ""},
      {"arch_version", "", ""},
      {"debian_version", longest, "Debian " + longest},
      {"debian_version", longest + "x", ""},  // no line of that length is read
  };
  for (const auto& [file, text, result] : cases) {
    const TempDir olderEtc;
    olderEtc.write(file, text);
    EXPECT_EQ(distributionIn(olderEtc), result) << file;
  }
}

TEST(Environment, variablesAreSetHiddenAndBack) {
  const char* const name = "KEL_TEST_VARIABLE";
  static char entry[] = "KEL_TEST_VARIABLE=mine";
  ::putenv(entry);
  {
    const os::EnvironmentHider hider(name);
    EXPECT_STREQ(std::getenv(name), "");
  }
  EXPECT_STREQ(std::getenv(name), "mine");
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
    std::string found = "none";
    test::messageFrom([&] { found = os::getXdgUserDir(key).get(); });
    return found;
  }

  TempDir dir;

private:
  const std::string before_ = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
};

TEST_F(UserDirsTest, theFirstUsableAssignmentCounts) {
  for (const char* name : {"plain", "two", "back\\slash"}) {
    dir.makeDir(name);
  }
  const Pairs cases = {{"$HOME/plain", "plain"},   {"\"$HOME/back\\\\slash\"", "back\\slash"},
                       {"\"$HOME/plain", nullptr}, {"", nullptr},
                       {"$HOME/gone", nullptr},    {"$HOME/\xff", nullptr}};
  for (const auto& [value, expected] : cases) {
    settings(std::string("# made by hand\n\nno assignment\nXDG_OTHER_DIR=$HOME/gone\nXDG_X_DIR=") + value + "\r\n");
    EXPECT_EQ(find("XDG_X_DIR"), expected != nullptr ? dir / expected : "none") << value;
  }
  settings(
      "XDG_X_DIR=\"$HOME/gone\"\nXDG_X_DIRS=$HOME/two\n XDG_X_DIR=$HOME/two\nXDG_X_DIR=$HOME/plain\n"
      "XDG_X_DIR=$HOME/two\nXDG_LAST=$HOME/two");
  EXPECT_EQ(find("XDG_X_DIR"), dir / "plain");
  EXPECT_EQ(find("XDG_LAST"), dir / "two") << "a last line without its newline";
  EXPECT_EQ(find("XDG_X"), "none");
}

TEST_F(UserDirsTest, eachFolderFallsBackToTheNextAndAtLastToHomeWhichMustBeAFolder) {
  EXPECT_EQ(os::getVideosDir().get(), dir.path()) << "no settings and no usual folder";
  for (const char* name : {"Desktop", "Documents", "Downloads"}) {
    dir.makeDir(name);
    EXPECT_EQ(os::getDownloadsDir().get(), dir / name);
  }
  dir.makeDir("Videos");
  EXPECT_EQ(os::getVideosDir().get(), dir / "Videos");
  settings("XDG_DESKTOP_DIR=\"$HOME/Videos\"\nXDG_VIDEOS_DIR=\"$HOME/gone\"\n");
  EXPECT_EQ(os::getDesktopDir().get(), dir / "Videos") << "as set";
  EXPECT_EQ(os::getVideosDir().get(), dir / "Videos") << "what is set is gone";
  EXPECT_EQ(test::messageFrom([] { os::getHomeSubDir("other"); }), "Subdir of HOME not found");
  dir.write("file", "");
  os::setEnvironment("HOME", (dir / "file").c_str());
  EXPECT_EQ(test::messageFrom([] { os::getHomeDir(); }), "HOME dir not found");
  os::unsetEnvironment("HOME");
  EXPECT_EQ(test::messageFrom([] { os::getHomeDir(); }), "HOME dir not found");
}

TEST(DirEnum, givesEveryElementOnceWithItsFullPath) {
  const TempDir dir;
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
  EXPECT_THAT(test::messageFrom([] { os::DirEnum(""); }),
              testing::StartsWith("Assertion 'dirLen > 0' failed at base/os/unix/DirEnum:"));
}

}  // namespace
