#include "base/os/sysInfo.h"

#include <cstdlib>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "base/os/environment.h"
#include "base/os/programPath.h"
#include "base/plat/DString.h"
#include "base/rdr/EndOfStream.h"
#include "base/rdr/MemInStream.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace {

using testing::StartsWith;

TEST(SysInfo, namesTheRunningSystem) {
  utsname info = {};
  ASSERT_EQ(::uname(&info), 0);
  const std::string release = info.release;
  EXPECT_EQ(os::kernelDescription(), ("Linux " + release.substr(0, release.find('-'))).c_str());
  EXPECT_EQ(os::machineName(), info.machine);
  const std::string host = info.nodename;
  EXPECT_EQ(os::hostNameShort(), host.substr(0, host.find('.')).c_str());
}

TEST(SysInfo, assignmentsLoseTheirQuotes) {
  const struct {
    const char* line;
    const char* value;  // null for none
  } cases[] = {
      {"K=v", "v"},
      {"K=", ""},
      {"K", nullptr},
      {"K=a=b", "a=b"},
      {"K=\"two words\"", "two words"},
      {"K=\"\"", ""},
      {"K=\"", nullptr},
      {"K='mixed\"", nullptr},
      {"K=\"\\$\\`\\\"\\'\\\\ \\n\"", "$`\"'\\ \\n"},
      {"K='\\$'", "\\$"},
      {"K=a\"b\"", "a\"b\""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string text = std::string(c.line) + "\n";
    rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
    plat::DString line;
    const char* const value = os::readAssignment(in, line);
    if (c.value != nullptr) {
      EXPECT_STREQ(line.get(), "K");
    }
    EXPECT_STREQ(value, c.value);
    EXPECT_THROW(os::readAssignment(in, line), rdr::EndOfStream);
  }
}

TEST(SysInfo, theDistributionIsWhatTheFirstFileSays) {
  test::TempDir dir;
  const auto name = [&dir] { return os::distributionName(dir.path().c_str()); };
  EXPECT_TRUE(name().isNull());
  dir.write("release", "Nobody release 1\n");
  dir.write("release-debian", "Nobody release 1\n");
  dir.write("debian.release", "Nobody release 1\n");
  dir.write("unknown-release", "Nobody release 1\n");
  EXPECT_TRUE(name().isNull());
  dir.write("debian_version", "12.1\n");
  EXPECT_EQ(name(), "Debian 12.1");
  dir.write("lsb-release", "DISTRIB_ID=Twig\nDISTRIB_RELEASE=1\nDISTRIB_RELEASE=2\n");
  dir.write("os-release", "NAME=\"Branch OS\"\n");
  EXPECT_EQ(name(), "Twig 2") << "the first file names no version";
  dir.write("os-release", "NAME=\"Branch OS\"\nID_LIKE=\"x DeBian\"\nVERSION_ID='3.4'\n");
  EXPECT_EQ(name(), "Branch OS 3.4");
  EXPECT_TRUE(os::isDebianFamily((dir / "os-release").c_str()));
  EXPECT_FALSE(os::isDebianFamily((dir / "lsb-release").c_str()));
  EXPECT_FALSE(os::isDebianFamily((dir / "missing").c_str()));
}

TEST(SysInfo, olderDistributionsAreKnownByTheirReleaseFiles) {
  const struct {
    const char* file;
    const char* text;
    const char* result;
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
    dir.write("file", std::string(length, 'x'));
    EXPECT_EQ(os::readReleaseFile((dir / "file").c_str(), "debian").isNull(), length > 1024);
  }
}

TEST(SysInfo, aBacktraceNumbersItsLinesFromTheCaller) {
  std::vector<std::string> lines;
  os::backtraceLines(lines);
  ASSERT_GE(lines.size(), 2u);
  EXPECT_THAT(lines[0], StartsWith(" 1 "));
  EXPECT_LE(lines.size(), 61u);
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
  char* variables[] = {entry, nullptr};
  char** const all = std::exchange(environ, variables);
  os::clearEnvironment();
  EXPECT_EQ(std::exchange(environ, all), variables);
  EXPECT_EQ(variables[0], nullptr);
}

class FindProgramTest : public testing::Test {
protected:
  void SetUp() override {
    path_ = std::getenv("PATH");
    dir.makeDir("empty");
    dir.makeDir("folder/tool");
    for (const char* name : {"good/tool", "late/tool", "bad/tool"}) {
      dir.write(name, "#!/bin/sh\n");
      ::chmod((dir / name).c_str(), *name == 'b' ? 0644 : 0755);
    }
  }
  void TearDown() override { os::setEnvironment("PATH", path_.c_str()); }

  plat::String withPath(std::initializer_list<const char*> elements) {
    std::string path;
    for (const char* element : elements) {
      if (!path.empty()) {
        path += ':';
      }
      path += *element == '~' ? element : dir / element;
    }
    os::setEnvironment("PATH", path.c_str());
    return os::findExecutable("tool", true);
  }

  test::TempDir dir;
  std::string path_;
};

TEST_F(FindProgramTest, theFirstThingOfThatNameInPathDecides) {
  EXPECT_EQ(withPath({"empty", "good", "late"}), (dir / "good/tool").c_str());
  EXPECT_TRUE(withPath({"bad", "good"}).isNull());
  EXPECT_TRUE(withPath({"folder", "good"}).isNull());
  EXPECT_EQ(withPath({"good", "~/bin"}), (dir / "good/tool").c_str());
  EXPECT_EQ(test::messageFrom([this] { withPath({"empty", "~/bin", "good"}); }), "PATH contains invalid '~' character");
  EXPECT_TRUE(os::findExecutable("tool", false).isNull());
  EXPECT_TRUE(os::findExecutable(nullptr, true).isNull());
}

TEST_F(FindProgramTest, aNameWithASlashIsTheFileItself) {
  EXPECT_EQ(os::findExecutable((dir / "late/../good/tool").c_str(), false), (dir / "good/tool").c_str());
  for (const char* name : {"bad/tool", "folder/tool", "missing/tool"}) {
    EXPECT_TRUE(os::findExecutable((dir / name).c_str(), true).isNull());
  }
}

TEST_F(FindProgramTest, programsAreLookedForBesideThisOne) {
  const plat::String self = os::programPath();
  const std::string name = std::string(self.get()).substr(std::string(self.get()).rfind('/') + 1);
  EXPECT_EQ(os::findProgram(nullptr, true, false), self);
  EXPECT_EQ(os::findProgram(name.c_str(), true, false), self);
  EXPECT_EQ(os::programDir(), std::string(self.get()).substr(0, self.length() - name.size() - 1).c_str());
  EXPECT_TRUE(os::findProgram("no-such-program", false, true).isNull());
  const plat::SystemException failure = test::failureFrom([] { os::findProgram("no-such-program", true, true); });
  EXPECT_THAT(failure.message, StartsWith("no-such-program does not exist or is not executable"));
  EXPECT_EQ(failure.err, ENOENT);
}

}  // namespace
