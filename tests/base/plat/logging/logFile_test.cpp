#include "base/plat/logging/logFile.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <regex>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "base/plat/String.h"
#include "base/plat/Time.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/file/file.h"
#include "base/plat/logging/LogDestFile.h"
#include "base/plat/logging/LogDestFileMgr.h"
#include "base/plat/logging/logParameters.h"
#include "tests/support/TempDir.h"

namespace {

using plat::LogDestFile;
using testing::ElementsAre;
using testing::HasSubstr;

class LogFile : public testing::Test {
protected:
  [[nodiscard]] std::string logged() const { return dir.read("app.log"); }
  void age(const char* name, int days) const {
    plat::fileSetTime((dir / name).c_str(), plat::getTime() - days * 24 * 3600 * plat::TicksPerSecond);
  }
  /// The time of the file, in the form in which it becomes part of its name.
  [[nodiscard]] std::string stamp() const {
    struct stat info {};
    ::stat(path.c_str(), &info);
    std::tm local{};
    char text[16] = "";
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", ::localtime_r(&info.st_mtime, &local));
    return text;
  }

  test::TempDir dir;
  std::string path = dir / "app.log";
  LogDestFile dest{"test file", nullptr};
};

TEST_F(LogFile, writesEveryLevelWithItsPriorityOrCompactLinesWithoutColours) {
  dest.setPath(path.c_str());
  std::string expected;
  for (const auto& [level, priority] :
       {std::pair(-5, 11), {0, 11}, {1, 12}, {5, 12}, {6, 13}, {10, 13}, {11, 14}, {30, 14}, {31, 15}, {200, 15}}) {
    dest.log(level, "Src", "some text");
    expected += "<" + std::to_string(priority) +
                "> \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z [^ .]* [^ ]*\\[" + std::to_string(::getpid()) +
                "\\]: Src: some text\n";
  }
  plat::compactLogParameter().setParam("1", 10);
  dest.log(0, "Src", "text");
  plat::compactLogParameter().unsetParam(10, true);
  expected += "\\d\\d:\\d\\d:\\d\\d\\.\\d{3} Src: text\n";
  EXPECT_TRUE(std::regex_match(logged(), std::regex(expected))) << logged();
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

TEST_F(LogFile, isEnabledByAPathAndMakesItsFolderWithTheFirstLine) {
  EXPECT_FALSE(dest.isEnabled());
  dest.log(0, "Src", "goes nowhere");
  dest.setPath((dir / "a/b/c.log").c_str());
  EXPECT_TRUE(dest.isEnabled() && !dir.exists("a"));
  dest.log(0, "Src", "text");
  EXPECT_TRUE(dir.exists("a/b/c.log"));
  struct stat info {};
  ::stat((dir / "a/b").c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0700u);
  dest.setPath(nullptr);
  EXPECT_FALSE(dest.isEnabled());
}

TEST_F(LogFile, rotatesTheFileBeforeAndPurgesOldOnes) {
  const struct {
    const char* name;
    int days;
  } files[] = {{"app.log", 2}, {"app.log.20000101000000", 31}, {"app.log.young", 29}, {"app.logs", 99}};
  for (const auto& file : files) {
    dir.write(file.name, file.name);
    age(file.name, file.days);
  }
  const std::string stamped = "app.log." + stamp();
  dest.setPath(path.c_str());
  dest.log(0, "Src", "fresh");
  EXPECT_THAT(logged(), HasSubstr("fresh"));
  EXPECT_THAT(dir.list(), ElementsAre("app.log", stamped, "app.log.young", "app.logs"));
  EXPECT_EQ(dir.read(stamped), "app.log");
}

TEST_F(LogFile, numbersARotatedFileWhoseNameIsTaken) {
  dir.write("app.log", "later");
  const std::string end = "." + stamp();
  dir.write("app.log" + end, "earlier");
  dest.setPath(path.c_str());
  dest.log(0, "Src", "fresh");
  EXPECT_EQ(dir.read("app.log" + end), "earlier");
  EXPECT_EQ(dir.read("app.log(1)" + end), "later");
}

TEST_F(LogFile, leavesADeviceWhereItIs) {
  ASSERT_EQ(::symlink("/dev/null", path.c_str()), 0);
  dest.setPath(path.c_str());
  dest.log(0, "Src", "into nothing");
  EXPECT_THAT(dir.list(), ElementsAre("app.log"));
}

TEST_F(LogFile, leavesALinkInDevWhereItIs) {
  char name[] = "/dev/shm/kelfops-log-XXXXXX";  // stands for "/dev/stdout", which leads to a file at times
  ASSERT_NE(::mkdtemp(name), nullptr);
  const std::string folder = name, link = folder + "/stdout", plain = folder + "/plain";
  EXPECT_EQ(::symlink(path.c_str(), link.c_str()), 0);
  for (const std::string& log : {link, plain, plain}) {
    dest.setPath(log.c_str());
    dest.log(0, "Src", "line");
    dest.setPath(nullptr);
  }
  EXPECT_THAT(logged(), HasSubstr("line"));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  const auto files = std::filesystem::directory_iterator(folder);
  EXPECT_EQ(std::distance(begin(files), end(files)), 3) << "of its own, a plain file there is as good as elsewhere";
  std::filesystem::remove_all(folder);
}

TEST_F(LogFile, staysClosedOnceItIsFull) {
  dest.setPath(path.c_str());
  dest.setMaxFileSize(60);
  dest.log(0, "Src", "a line that is certainly longer than sixty bytes, time and host included");
  dest.log(0, "Src", "lost");
  EXPECT_THAT(logged(), testing::MatchesRegex("[^\n]*sixty bytes[^\n]*\n"));
  dest.setMaxFileSize(0);
  dest.log(0, "Src", "again");
  EXPECT_THAT(logged(), HasSubstr("again"));
}

TEST_F(LogFile, isReopenedOnlyWhenItWasReplaced) {
  dest.setPath(path.c_str());
  dest.log(0, "Src", "one");
  dest.reopenIfReplaced();
  dest.log(0, "Src", "two");
  EXPECT_THAT(logged(), testing::MatchesRegex("[^\n]*one\n[^\n]*two\n"));
  ASSERT_EQ(std::rename(path.c_str(), (dir / "moved").c_str()), 0);
  dest.reopenIfReplaced();
  dest.log(0, "Src", "three");
  EXPECT_THAT(logged(), testing::MatchesRegex("[^\n]*three\n"));
}

TEST_F(LogFile, fallsBackToTheDefaultFileWhenTheChosenOneCannotBeOpened) {
  const auto complaintOf = [](LogDestFile& file) {
    file.setPath("/dev/null/x.log");
    testing::internal::CaptureStderr();
    file.log(30, "Src", "the line itself");
    return testing::internal::GetCapturedStderr();
  };
  LogDestFile unlucky("unlucky", nullptr), hopeless("hopeless", nullptr);
  plat::logDirParameter().setParam(dir.path().c_str(), 0);
  plat::logFileParameter().setParam("app.log", 0);
  plat::logFileParameter().setParam("/dev/null/x.log", 10);
  EXPECT_THAT(complaintOf(dest), testing::MatchesRegex("Error opening log file: \\[System-[^\n]*\nReverting to default "
                                                       "log file " +
                                                       path + "\n"));
  plat::logFileParameter().unsetParam(10, true);
  EXPECT_THAT(logged(), testing::MatchesRegex("<11> [^\n]*: LogDestFile: Error opening log file: [^\n]*\n<14> [^\n]*: "
                                              "Src: the line itself\n"));
  plat::logDirParameter().setParam("/dev/null", 0);
  plat::logDirParameter().setParam(dir.path().c_str(), 10);
  EXPECT_THAT(complaintOf(unlucky),
              testing::MatchesRegex("Error opening log file: [^\n]*\nReverting to default log file /dev/null/app.log\n"
                                    "Error opening default log file: [^\n]*\n"));
  plat::logDirParameter().unsetParam(10, true);  // nobody chose it, so there is nothing else to try
  EXPECT_THAT(complaintOf(hopeless), testing::MatchesRegex("Error opening log file: [^\n]*\n"));
  plat::logDirParameter().setParam("", 0);
  plat::logFileParameter().setParam("", 0);
}

TEST(LogFilePath, isNeverRelative) {
  ::setenv("KEL_TEST_DIR", "/tmp/kel", 1);
  EXPECT_STREQ(plat::logFilePath("/var/log/", "a.log").get(), "/var/log/a.log");
  EXPECT_STREQ(plat::logFilePath("/var/log", "/a.log").get(), "/a.log");
  EXPECT_STREQ(plat::logFilePath("", "a.log").get(), "/a.log");
  EXPECT_STREQ(plat::logFilePath("$KEL_TEST_DIR", "$$.log").get(), "/tmp/kel/$.log");
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
