#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/BoolParameter.h"
#include "base/plat/Exception.h"
#include "base/plat/LogDestFile.h"
#include "base/plat/LogDestFileMgr.h"
#include "base/plat/String.h"
#include "base/plat/StringParameter.h"
#include "base/plat/Time.h"
#include "base/plat/file.h"
#include "base/plat/logParameters.h"
#include "tests/support/TempDir.h"

namespace {

using plat::LogDestFile;
using testing::HasSubstr;

class LogFile : public testing::Test {
protected:
  [[nodiscard]] std::string logged() const { return dir.read("app.log"); }
  void age(const char* name, int days) const {
    plat::fileSetTime((dir / name).c_str(), plat::getTime() - days * 24 * 3600 * plat::TicksPerSecond);
  }

  test::TempDir dir;
  std::string path = dir / "app.log";
  LogDestFile dest{"test file", nullptr};
};

TEST_F(LogFile, writesEveryLevelWithItsPriority) {
  const struct {
    int level;
    int priority;
  } cases[] = {{-5, 11}, {0, 11}, {1, 12}, {5, 12}, {6, 13}, {10, 13}, {11, 14}, {30, 14}, {31, 15}, {200, 15}};
  dest.setPath(path.c_str());
  std::string expected;
  for (const auto& c : cases) {
    dest.log(c.level, "Src", "some text");
    expected += plat::String::format(
                    "<%d> \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z [^ .]* [^ ]*\\[%d\\]: "
                    "Src: some text\n",
                    c.priority, static_cast<int>(::getpid()))
                    .get();
  }
  EXPECT_TRUE(std::regex_match(logged(), std::regex(expected))) << logged();
}

TEST_F(LogFile, writesCompactLinesWithoutColoursToAFile) {
  dest.setPath(path.c_str());
  plat::compactLogParameter().setParam("1", 10);
  dest.log(0, "Src", "text");
  plat::compactLogParameter().unsetParam(10, true);
  EXPECT_TRUE(std::regex_match(logged(), std::regex("\\d\\d:\\d\\d:\\d\\d\\.\\d{3} Src: text\n"))) << logged();
}

TEST_F(LogFile, beginsEachFileWithTheHeader) {
  LogDestFile::setHeader("who wrote this");
  const auto start = testing::MatchesRegex("who wrote this\n<11> [^\n]*\n(<11> [^\n]*two\n)?");
  dest.setPath(path.c_str());
  dest.log(0, "Src", "one");
  dest.log(0, "Src", "two");
  EXPECT_THAT(logged(), start);
  dest.setPath((dir / "other").c_str());
  dest.setMaxFileSize(1);
  dest.log(0, "Src", "three");
  EXPECT_THAT(dir.read("other"), start);
  dest.setMaxFileSize(0);
  dest.log(0, "Src", "four");  // opens a new file
  LogDestFile::setHeader(nullptr);
  EXPECT_THAT(dir.read("other"), start);
}

TEST_F(LogFile, isEnabledByAPathAndMakesItsFolder) {
  EXPECT_FALSE(dest.isEnabled());
  dest.log(0, "Src", "goes nowhere");
  dest.setPath((dir / "a/b/c.log").c_str());
  EXPECT_TRUE(dest.isEnabled());
  EXPECT_FALSE(dir.exists("a"));  // made with the first line only
  dest.log(0, "Src", "text");
  EXPECT_TRUE(dir.exists("a/b/c.log"));
  struct stat info;
  ASSERT_EQ(::stat((dir / "a/b").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0700u);
  dest.setPath(nullptr);
  EXPECT_FALSE(dest.isEnabled());
}

TEST_F(LogFile, rotatesTheFileBeforeAndPurgesOldOnes) {
  dir.write("app.log", "before");
  age("app.log", 2);
  dir.write("app.log.20000101000000", "long ago");
  age("app.log.20000101000000", 31);
  dir.write("app.log.young", "");
  age("app.log.young", 29);
  dir.write("app.logs", "not mine");
  age("app.logs", 99);
  const std::time_t before = std::time(nullptr) - 2 * 24 * 3600;
  char stamp[64];
  std::tm local;
  std::strftime(stamp, sizeof stamp, "app.log.%Y%m%d%H%M", ::localtime_r(&before, &local));

  dest.setPath(path.c_str());
  dest.log(0, "Src", "fresh");
  EXPECT_THAT(logged(), HasSubstr("fresh"));
  ASSERT_THAT(dir.list(), testing::ElementsAre("app.log", testing::StartsWith(std::string(stamp, 16)), "app.log.young",
                                               "app.logs"));
  const std::string rotated = dir.list()[1];
  EXPECT_EQ(rotated.size(), std::string("app.log.YYYYMMDDhhmmss").size());
  EXPECT_EQ(dir.read(rotated), "before");
}

TEST_F(LogFile, numbersARotatedFileWhoseNameIsTaken) {
  dir.write("app.log", "later");
  struct stat info;
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  char stamp[64];
  std::tm local;
  std::strftime(stamp, sizeof stamp, "%Y%m%d%H%M%S", ::localtime_r(&info.st_mtime, &local));
  dir.write(std::string("app.log.") + stamp, "earlier");
  dest.setPath(path.c_str());
  dest.log(0, "Src", "fresh");
  EXPECT_EQ(dir.read(std::string("app.log.") + stamp), "earlier");
  EXPECT_EQ(dir.read(std::string("app.log(1).") + stamp), "later");
}

TEST_F(LogFile, leavesADeviceWhereItIs) {
  ASSERT_EQ(::symlink("/dev/null", path.c_str()), 0);
  dest.setPath(path.c_str());
  dest.log(0, "Src", "into nothing");
  EXPECT_THAT(dir.list(), testing::ElementsAre("app.log"));
}

TEST_F(LogFile, staysClosedOnceItIsFull) {
  dest.setPath(path.c_str());
  dest.setMaxFileSize(60);
  dest.log(0, "Src", "a line that is certainly longer than sixty bytes, time and host included");
  const std::string full = logged();
  EXPECT_THAT(full, HasSubstr("sixty bytes"));
  dest.log(0, "Src", "lost");
  EXPECT_EQ(logged(), full);
  dest.setMaxFileSize(0);
  dest.log(0, "Src", "again");
  EXPECT_THAT(logged(), HasSubstr("again"));
}

TEST_F(LogFile, isReopenedOnlyWhenItWasReplaced) {
  dest.setPath(path.c_str());
  dest.log(0, "Src", "one");
  dest.reopenIfReplaced();
  dest.log(0, "Src", "two");
  EXPECT_THAT(logged(), testing::AllOf(HasSubstr("one"), HasSubstr("two")));
  ASSERT_EQ(std::rename(path.c_str(), (dir / "moved").c_str()), 0);
  dest.reopenIfReplaced();
  dest.log(0, "Src", "three");
  EXPECT_EQ(logged().find("one"), std::string::npos);
  EXPECT_THAT(logged(), HasSubstr("three"));
  EXPECT_EQ(dir.read("moved").find("three"), std::string::npos);
}

TEST_F(LogFile, fallsBackToTheDefaultFileWhenTheChosenOneCannotBeOpened) {
  plat::logDirParameter().setParam(dir.path().c_str(), 0);
  plat::logFileParameter().setParam("app.log", 0);
  plat::logFileParameter().setParam("/dev/null/x.log", 10);
  dest.setPath("/dev/null/x.log");
  testing::internal::CaptureStderr();
  dest.log(30, "Src", "the line itself");
  const std::string complaint = testing::internal::GetCapturedStderr();
  plat::logFileParameter().unsetParam(10, true);
  EXPECT_THAT(complaint, HasSubstr("Error opening log file: [System-"));
  EXPECT_THAT(complaint, HasSubstr("Reverting to default log file " + path + "\n"));
  EXPECT_THAT(logged(),
              testing::ContainsRegex("^<11> [^\n]*: LogDestFile: Error opening log file: [^\n]*\n<14> [^\n]*: "
                                     "Src: the line itself\n$"));

  plat::logDirParameter().setParam("/dev/null", 0);
  plat::logDirParameter().setParam(dir.path().c_str(), 10);
  testing::internal::CaptureStderr();
  LogDestFile unlucky("unlucky", nullptr);
  unlucky.setPath("/dev/null/x.log");
  unlucky.log(0, "Src", "lost");
  plat::logDirParameter().unsetParam(10, true);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::MatchesRegex("Error opening log file: [^\n]*\nReverting to default log file /dev/null/app.log\n"
                                    "Error opening default log file: [^\n]*\n"));

  testing::internal::CaptureStderr();  // nobody chose it, so there is nothing else to try
  LogDestFile hopeless("hopeless", nullptr);
  hopeless.setPath("/dev/null/x.log");
  hopeless.log(0, "Src", "lost");
  const std::string once = testing::internal::GetCapturedStderr();
  EXPECT_THAT(once, HasSubstr("Error opening log file: "));
  EXPECT_EQ(once.find("Reverting"), std::string::npos);
  plat::logDirParameter().setParam("", 0);
  plat::logFileParameter().setParam("", 0);
}

TEST(LogFilePath, isNeverRelative) {
  ::setenv("KEL_TEST_DIR", "/tmp/kel", 1);
  const struct {
    const char* dir;
    const char* file;
    const char* path;
  } cases[] = {{"/var/log", "a.log", "/var/log/a.log"},
               {"/var/log/", "a.log", "/var/log/a.log"},
               {"/var/log", "/a.log", "/a.log"},
               {"", "a.log", "/a.log"},
               {"$KEL_TEST_DIR", "$$.log", "/tmp/kel/$.log"}};
  for (const auto& c : cases) {
    EXPECT_STREQ(plat::logFilePath(c.dir, c.file).get(), c.path);
  }
  EXPECT_THROW((void)plat::logFilePath("$KEL_NO_SUCH", "a.log"), plat::Exception);
}

TEST(LogDestFileMgr, followsTheParametersWhileEnabled) {
  LogDestFile& dest = plat::LogDestFileMgr::instance().dest();
  plat::logDirParameter().setParam("/one", 10);
  EXPECT_TRUE(dest.path().isNull());
  plat::logFileParameter().setParam("x", 10);
  plat::LogDestFileMgr::setEnabled(true);
  EXPECT_STREQ(dest.path().get(), "/one/x");
  plat::logDirParameter().setParam("/two", 10);
  EXPECT_STREQ(dest.path().get(), "/two/x");
  plat::LogDestFileMgr::setEnabled(false);
  EXPECT_TRUE(dest.path().isNull());
  plat::logDirParameter().unsetParam(10, true);
  plat::logFileParameter().unsetParam(10, true);
}

}  // namespace
