#include "base/plat/FilePtr.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/StdlibException.h"
#include "base/plat/SystemException.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/TempDir.h"

namespace {

using plat::FilePtr;
using testing::HasSubstr;

TEST(FilePtr, opensEveryModeAsItsFlagsSay) {
  struct Case {
    int mode;
    int flags;
    bool creates;
    std::string after;  ///< contents "old" after writing "X", or what is there if not writable
  };
  const Case cases[] = {
      {FilePtr::Read, 0, false, "old"},
      {FilePtr::Write, 0, true, "X"},
      {FilePtr::Write, FilePtr::Append, true, "oldX"},
      {FilePtr::ReadWrite, 0, false, "Xld"},
      {FilePtr::ReadWrite, FilePtr::Create, true, "Xld"},
      {FilePtr::ReadWrite, FilePtr::Create | FilePtr::Truncate, true, "X"},
  };
  const test::TempDir dir;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << c.mode << " flags " << c.flags);
    dir.write("there", "old");
    ::unlink((dir / "missing").c_str());
    {
      FilePtr missing;
      missing.open((dir / "missing").c_str(), c.mode, c.flags | FilePtr::NoThrow);
      EXPECT_EQ(missing.isOpen(), c.creates);
      FilePtr file;
      file.open((dir / "there").c_str(), c.mode, c.flags);
      EXPECT_TRUE(::fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC);
      std::fputs("X", file.get());
    }
    EXPECT_EQ(dir.read("there"), c.after);
  }
}

TEST(FilePtr, createsWithTheChosenPermission) {
  const test::TempDir dir;
  const mode_t umaskBefore = ::umask(0);
  FilePtr file;
  struct stat info;
  file.open((dir / "shared").c_str(), FilePtr::Write);
  ASSERT_EQ(::fstat(fileno(file.get()), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0664u);
  file.open((dir / "private").c_str(), FilePtr::Write, FilePtr::Private);
  ASSERT_EQ(::fstat(fileno(file.get()), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  ::umask(umaskBefore);
}

TEST(FilePtr, tellsWhatCouldNotBeOpenedUnlessToldNotTo) {
  FilePtr file;
  try {
    file.open("/nonexistent/x", FilePtr::Read);
    FAIL();
  } catch (const plat::SystemException& e) {
    EXPECT_EQ(e.err, ENOENT);
    EXPECT_THAT(e.message, HasSubstr("Error opening \"/nonexistent/x\": "));
  }
  file.open("/nonexistent/x", FilePtr::Read, FilePtr::NoThrow);
  EXPECT_FALSE(file.isOpen());
}

TEST(FilePtr, takesADashForTheStandardStreams) {
  FilePtr file;
  file.open("-", FilePtr::Read);
  EXPECT_EQ(file.get(), stdin);
  file.open("-", FilePtr::Write);
  EXPECT_EQ(file.get(), stdout);
  EXPECT_FALSE(file.owned());
  try {
    file.open("-", FilePtr::ReadWrite);
    FAIL();
  } catch (const plat::Exception& e) {
    EXPECT_STREQ(e.message, "Invalid mode for stdin/stdout");
  }
}

TEST(FilePtr, reportsFailuresOfFlushAndClose) {
  FilePtr file;
  const auto openFull = [&file] {
    file.open("/dev/full", FilePtr::Write);
    std::fputs("lost", file.get());
  };
  openFull();
  EXPECT_THROW(file.flushFile(), plat::StdlibException);
  openFull();
  try {
    file.attach(stdout, false);
    FAIL();
  } catch (const plat::StdlibException& e) {
    EXPECT_THAT(e.message, HasSubstr("fclose: "));
    EXPECT_EQ(e.err, ENOSPC);
  }
  EXPECT_EQ(file.get(), stdout);  // the new stream stands all the same
}

TEST(FilePtr, logsAFailedCloseInItsDestructorIfAskedTo) {
  test::RecordingDest log("FilePtr:rec:0");
  for (const bool report : {true, false}) {
    FilePtr file;
    file.setReportCloseErrors(report);
    file.open("/dev/full", FilePtr::Write);
    std::fputs("lost", file.get());
  }
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_THAT(log.lines()[0], HasSubstr("0 FilePtr: [System-28] fclose: "));
}

}  // namespace
