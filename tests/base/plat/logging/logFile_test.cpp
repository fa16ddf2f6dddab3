#include "base/plat/logging/logFile.h"

#include <ctime>

#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/dateText.h"
#include "base/plat/file/file.h"
#include "base/plat/logging/LogDestFile.h"
#include "base/plat/logging/LogDestFileMgr.h"
#include "base/plat/logging/logParameters.h"
#include "tests/support/prelude.h"

namespace {

using namespace plat;
using namespace test;

class LogFile : public testing::Test {
protected:
  ~LogFile() override {
    LogDestFile::setHeader(nullptr);
    compactLogParameter().unsetParam(10, true);
  }

  void log(const char* text) { dest.log(0, "Src", text); }
  std::string logged() const { return dir.read("app.log"); }

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
  compactLogParameter().setParam("1", 10);
  log("text");
  expected += "\\d\\d:\\d\\d:\\d\\d\\.\\d{3} Src: text\n";
  EXPECT_TRUE(std::regex_match(logged(), std::regex(expected))) << logged();
}

TEST_F(LogFile, beginsEachFileWithTheHeaderStaysClosedOnceFullAndIsReopenedOnlyWhenReplaced) {
  LogDestFile::setHeader("who wrote this");
  dest.setPath(path.c_str());
  log("one");
  dest.setMaxFileSize(1);
  log("two");
  log("lost");
  EXPECT_THAT(logged(), MatchesRegex("who wrote this\n<11> [^\n]*one\n<11> [^\n]*two\n"));
  dest.setMaxFileSize(0);
  log("again");
  EXPECT_THAT(logged(), MatchesRegex("who wrote this\n<11> [^\n]*again\n"));

  dest.reopenIfReplaced();
  log("more");
  EXPECT_THAT(logged(), MatchesRegex("who wrote this\n[^\n]*again\n[^\n]*more\n"));
  ASSERT_EQ(std::rename(path.c_str(), (dir / "moved").c_str()), 0);
  dest.reopenIfReplaced();
  log("new");
  EXPECT_THAT(logged(), MatchesRegex("who wrote this\n[^\n]*new\n"));
}

TEST_F(LogFile, isEnabledByAPathAndMakesItsFolderWithTheFirstLine) {
  EXPECT_FALSE(dest.isEnabled());
  log("goes nowhere");
  dest.setPath((dir / "a/b/c.log").c_str());
  EXPECT_TRUE(dest.isEnabled());
  EXPECT_FALSE(dir.exists("a"));
  log("text");
  EXPECT_TRUE(dir.exists("a/b/c.log"));
  EXPECT_EQ(std::filesystem::status(dir / "a/b").permissions(), std::filesystem::perms::owner_all);
  dest.setPath(nullptr);
  EXPECT_FALSE(dest.isEnabled());
}

TEST_F(LogFile, rotatesTheFileBeforeToAFreeNameAndPurgesOldOnes) {
  for (const auto& [name, days] :
       {std::pair("app.log", 2), {"app.log.20000101000000", 31}, {"app.log.young", 29}, {"app.logs", 99}}) {
    dir.write(name, name);
    fileSetTime((dir / name).c_str(), getTime() - days * 24 * 3600 * TicksPerSecond);
  }
  // The time of the file before becomes part of its name.
  const std::string stamp = formatDate(".%Y%m%d%H%M%S", localBreakdown(fileGetTime(path.c_str()))).get();
  const std::string stamped = "app.log" + stamp, numbered = "app.log(1)" + stamp;
  dir.write(stamped, "taken");
  dest.setPath(path.c_str());
  log("fresh");
  EXPECT_THAT(logged(), HasSubstr("fresh"));
  EXPECT_THAT(dir.list(), UnorderedElementsAre("app.log", stamped, numbered, "app.log.young", "app.logs"));
  EXPECT_EQ(dir.read(stamped), "taken");
  EXPECT_EQ(dir.read(numbered), "app.log");
}

TEST_F(LogFile, leavesADeviceAndALinkInDevWhereTheyAre) {
  dir.link("/dev/null", "null");
  char name[] = "/dev/shm/kelfops-log-XXXXXX";  // stands for "/dev/stdout", which leads to a file at times
  ASSERT_NE(::mkdtemp(name), nullptr);
  const std::string folder = name, link = folder + "/stdout", plain = folder + "/plain";
  EXPECT_EQ(::symlink(path.c_str(), link.c_str()), 0);
  for (const std::string& file : {dir / "null", link, plain, plain}) {
    dest.setPath(file.c_str());
    log("line");
    dest.setPath(nullptr);
  }
  EXPECT_THAT(logged(), HasSubstr("line"));
  EXPECT_THAT(dir.list(), ElementsAre("app.log", "null"));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  const auto files = std::filesystem::directory_iterator(folder);
  EXPECT_EQ(std::distance(begin(files), end(files)), 3) << "of its own, a plain file there is as good as elsewhere";
  std::filesystem::remove_all(folder);
}

TEST_F(LogFile, fallsBackToTheDefaultFileWhenTheChosenOneCannotBeOpened) {
  StringParameter &logDir = logDirParameter(), &logFile = logFileParameter();
  const auto complaint = [&](const char* folder, StringParameter& chosen, int priority) {
    logDir.setParam(folder, 0);
    logFile.setParam("app.log", 0);
    chosen.setParam("x.log", priority);
    LogDestFile unlucky("unlucky", nullptr);
    unlucky.setPath("/dev/null/x.log");
    testing::internal::CaptureStderr();
    unlucky.log(30, "Src", "the line itself");
    chosen.unsetParam(priority, true);
    return testing::internal::GetCapturedStderr();
  };
  const std::string failed = "Error opening log file: \\[System-[^\n]*\n", reverting = "Reverting to default log file ";
  EXPECT_THAT(complaint(dir.path().c_str(), logFile, 10), MatchesRegex(failed + reverting + path + "\n"));
  EXPECT_THAT(logged(), MatchesRegex("<11> [^\n]*: LogDestFile: Error opening log file: [^\n]*\n<14> [^\n]*: Src: the "
                                     "line itself\n"));
  EXPECT_THAT(complaint("/dev/null", logDir, 10),
              MatchesRegex(failed + reverting + "/dev/null/app.log\nError opening default log file: [^\n]*\n"));
  EXPECT_THAT(complaint("/dev/null", logFile, 0), MatchesRegex(failed)) << "nobody chose it: there is nothing else";
  logDir.setParam("", 0);
  logFile.setParam("", 0);
}

TEST(LogDestFileMgr, followsTheParametersWhileEnabledAndMakesTheirPathAbsolute) {
  LogDestFile& dest = LogDestFileMgr::instance().dest();
  ::setenv("KEL_TEST_DIR", "/tmp/kel", 1);
  logFileParameter().setParam("$$.log", 10);
  EXPECT_TRUE(dest.path().isNull());
  LogDestFileMgr::setEnabled(true);
  EXPECT_EQ(dest.path(), "/$.log");
  for (const auto& [folder, file, expected] : {std::tuple("/var/log/", "a.log", "/var/log/a.log"),
                                               {"/var/log", "/b.log", "/b.log"},
                                               {"$KEL_TEST_DIR", "c.log", "/tmp/kel/c.log"}}) {
    logFileParameter().setParam(file, 10);
    logDirParameter().setParam(folder, 10);
    EXPECT_EQ(dest.path(), expected);
  }
  EXPECT_THROW((void)logFilePath("$KEL_NO_SUCH", "a.log"), Exception);
  LogDestFileMgr::setEnabled(false);
  EXPECT_TRUE(dest.path().isNull());
  logDirParameter().unsetParam(10, true);
  logFileParameter().unsetParam(10, true);
}

}  // namespace
