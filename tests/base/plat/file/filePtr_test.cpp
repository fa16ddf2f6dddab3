#include "base/plat/file/FilePtr.h"

#include "base/plat/exceptions.h"
#include "tests/support/prelude.h"

namespace {

using plat::FilePtr;
using testing::StartsWith;

TEST(FilePtr, opensEveryModeAsItsFlagsSay) {
  const struct {
    int mode, flags;
    mode_t created;     ///< 0 if it does not create
    std::string after;  ///< contents "old" after writing "X", or what is there if not writable
  } cases[] = {{FilePtr::Read, 0, 0, "old"},
               {FilePtr::Write, 0, 0664, "X"},
               {FilePtr::Write, FilePtr::Append | FilePtr::Private, 0600, "oldX"},
               {FilePtr::ReadWrite, 0, 0, "Xld"},
               {FilePtr::ReadWrite, FilePtr::Create, 0664, "Xld"},
               {FilePtr::ReadWrite, FilePtr::Create | FilePtr::Truncate, 0664, "X"}};
  const test::TempDir dir;
  const mode_t umaskBefore = ::umask(0);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << c.mode << " flags " << c.flags);
    dir.write("there", "old");
    ::unlink((dir / "missing").c_str());
    {
      FilePtr missing, file;
      missing.open((dir / "missing").c_str(), c.mode, c.flags | FilePtr::NoThrow);
      struct stat info {};
      EXPECT_EQ(::stat((dir / "missing").c_str(), &info) == 0, missing.isOpen());
      EXPECT_EQ(info.st_mode & 07777, c.created);
      file.open((dir / "there").c_str(), c.mode, c.flags);
      EXPECT_TRUE(::fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC);
      std::fputs("X", file.get());
    }
    EXPECT_EQ(dir.read("there"), c.after);
  }
  ::umask(umaskBefore);
  const plat::SystemException failure = test::failureFrom([] { FilePtr().open("/nonexistent/x", FilePtr::Read); });
  EXPECT_EQ(failure.err, ENOENT);
  EXPECT_THAT(failure.message, StartsWith("Error opening \"/nonexistent/x\": "));
}

TEST(FilePtr, takesADashForTheStandardStreams) {
  FilePtr file;
  file.open("-", FilePtr::Read);
  EXPECT_EQ(file.get(), stdin);
  file.open("-", FilePtr::Write);
  EXPECT_EQ(file.get(), stdout);
  EXPECT_FALSE(file.owned());
  EXPECT_EQ(test::messageFrom([&] { file.open("-", FilePtr::ReadWrite); }), "Invalid mode for stdin/stdout");
}

TEST(FilePtr, reportsFailuresOfFlushAndClose) {
  test::RecordingDest log("FilePtr:rec:0");
  for (const bool report : {true, false}) {
    FilePtr file;
    file.setReportCloseErrors(report);
    file.open("/dev/full", FilePtr::Write);
    std::fputs("lost", file.get());
    EXPECT_THROW(file.flushFile(), plat::StdlibException);
    std::fputs("lost", file.get());
    const plat::SystemException failure = test::failureFrom([&] { file.attach(std::fopen("/dev/full", "w"), true); });
    EXPECT_THAT(failure.message, StartsWith("fclose: "));
    EXPECT_EQ(failure.err, ENOSPC);
    std::fputs("lost", file.get());  // the new stream stands all the same
  }
  EXPECT_THAT(log.lines(), testing::ElementsAre(StartsWith("0 FilePtr: [System-28] fclose: ")));
}

}  // namespace
