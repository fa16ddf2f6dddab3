#include "base/plat/file.h"

#include <cerrno>
#include <functional>
#include <memory>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/plat/filePerms.h"
#include "base/rdr/EndOfStream.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

using test::failureFrom;
using testing::StartsWith;

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

class FileTest : public testing::Test {
protected:
  Stream open(const std::string& name, int flags = O_RDWR | O_CREAT, const char* mode = "r+") {
    return Stream(fileOpenStream((dir / name).c_str(), flags, mode, 0644));
  }
  struct stat statOf(const std::string& name) const {
    struct stat info {};
    EXPECT_EQ(::stat((dir / name).c_str(), &info), 0) << name;
    return info;
  }
  mode_t modeOf(const std::string& name) const { return statOf(name).st_mode & 07777; }

  test::TempDir dir;
};

TEST_F(FileTest, everyFailureHasItsWords) {
  dir.write("file", "x");
  const std::string gone = dir / "gone";
  const std::string below = dir / "file/below";
  const std::string tooLong = dir / std::string(300, 'n');
  const char* const g = gone.c_str();
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  const Stream in(::fdopen(fds[0], "r"));
  const Stream out(::fdopen(fds[1], "w"));
  const Stream file = open("file", O_RDONLY, "r");
  const struct {
    std::function<void()> call;
    std::string words;
    int err;
  } cases[] = {
      {[&] { chDir(g); }, "chDir(" + gone + "): ", ENOENT},
      {[&] { fileExists(tooLong.c_str()); }, "fileExists(" + tooLong.substr(0, 200), ENAMETOOLONG},
      {[&] { fileGetSize(g); }, "fileGetSize(" + gone + "): ", ENOENT},
      {[&] { fileGetTime(below.c_str()); }, "fileGetTime(" + below + "): ", ENOTDIR},
      {[&] { fileSetTime(g, UnixEpochTicks); }, "fileSetTime(" + gone + "): ", ENOENT},
      {[&] { fileOpenFd(g, O_RDONLY); }, "fileOpenFd(" + gone + "): ", ENOENT},
      {[&] { fileRemove(g); }, "fileRemove(" + gone + "): ", ENOENT},
      {[&] { fileRename(g, g); }, "fileRename(" + gone + "," + gone + "): ", ENOENT},
      {[&] { fileSeek(file.get(), -1, SEEK_SET); }, "fileSeek: ", EINVAL},
      {[&] { fileGetLength(in.get()); }, "fileTell: ", ESPIPE},
      {[&] { fileTruncate(out.get(), 1); }, "fileTruncate(): ", EINVAL},
      {[&] { fileLock(file.get(), false); }, "fileLock: ", EBADF},
      {[&] { fileIsSameAsFd(-1, g); }, "fileIsSameAsFd/fstat: ", EBADF},
      {[&] { fileIsSameAsFd(0, tooLong.c_str()); }, "fileIsSameAsFd/stat(" + tooLong.substr(0, 200), ENAMETOOLONG},
      {[&] { fileMakePrivate(g); }, "fileMakePrivate/stat(" + gone + "): ", ENOENT},
      {[&] { fileCopyPerms(tooLong.c_str(), 0); }, "fileCopyPerms/stat(" + tooLong.substr(0, 200), ENAMETOOLONG},
      {[&] { fileCopyPerms(dir.path().c_str(), -1); }, "fileCopyPerms/fchmod: ", EBADF},
      {[&] { fileMakeSticky(g); }, "fileMakeSticky/stat(" + gone + "): ", ENOENT},
      {[&] { filePermsCheck(g, {}); }, "stat(" + gone + "): ", ENOENT},
  };
  for (const auto& c : cases) {
    const SystemException e = failureFrom(c.call);
    EXPECT_THAT(e.message, StartsWith(c.words.substr(0, 255)));
    EXPECT_EQ(e.err, c.err) << c.words;
  }
}

TEST_F(FileTest, quietFormsLeaveTheErrorNumber) {
  errno = 0;
  EXPECT_LT(fileOpenFdNoThrow((dir / "gone").c_str(), O_RDONLY), 0);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(fileOpenStream(dir.path().c_str(), O_RDONLY, "nonsense"), nullptr);
  EXPECT_EQ(errno, EINVAL) << "that of fdopen, although the descriptor was closed since";
}

TEST_F(FileTest, existenceAndTypeFollowLinks) {
  dir.write("file", "x");
  dir.makeDir("closed/folder");
  dir.link("closed", "toFolder");
  dir.link("nowhere", "dangling");
  const auto seen = [&](const char* name) {
    const std::string path = dir / name;
    return std::string(fileExists(path.c_str()) ? "exists" : "") + (fileIsDir(path.c_str()) ? ", a folder" : "");
  };
  EXPECT_EQ(seen("file"), "exists");
  EXPECT_EQ(seen("toFolder"), "exists, a folder");
  EXPECT_EQ(seen("dangling") + seen("file/below"), "");
  test::Unprivileged::give(dir.path());
  test::Unprivileged::give(dir / "closed");
  const test::Unprivileged rights;
  ASSERT_EQ(::chmod((dir / "closed").c_str(), 0600), 0);
  EXPECT_FALSE(fileIsDir((dir / "closed/folder").c_str()));
  EXPECT_EQ(failureFrom([&] { fileExists((dir / "closed/folder").c_str()); }).err, EACCES);
}

TEST_F(FileTest, timesAreSetToTheMicrosecondAndReadInSeconds) {
  dir.write("file", "x");
  const std::string path = dir / "file";
  const FileTime modify = fileTimeFromUnix(1'000'000'000, 123'456);
  fileSetTime(path.c_str(), modify, fileTimeFromUnix(-5, 250'000));
  const struct stat both = statOf("file");
  EXPECT_EQ(both.st_mtim.tv_sec, 1'000'000'000);
  EXPECT_EQ(both.st_mtim.tv_nsec, 123'456'000);
  EXPECT_EQ(both.st_atim.tv_sec, -5);
  EXPECT_EQ(both.st_atim.tv_nsec, 250'000'000);
  EXPECT_EQ(fileGetTime(path.c_str()), fileTimeFromUnix(1'000'000'000));
  fileSetTime(path.c_str(), modify, 0);
  EXPECT_EQ(statOf("file").st_atim.tv_sec, 1'000'000'000) << "no access time: that of the modification";
}

TEST_F(FileTest, descriptorsAreCloseOnExecAndKeepTheFlags) {
  const std::string path = dir / "new";
  const int fd = fileOpenFd(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0640);
  EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(modeOf("new") & ~0640u, 0u);
  ::close(fd);
  EXPECT_EQ(failureFrom([&] { fileOpenFd(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0640); }).err, EEXIST);
  EXPECT_NE(::fcntl(::fileno(open("new").get()), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(FileTest, streamsTellTheirLengthAndReadToTheEnd) {
  dir.write("file", "0123456789abcde");
  const Stream stream = open("file");
  fileTruncate(stream.get(), 10);
  fileSeek(stream.get(), 5, SEEK_SET);
  EXPECT_EQ(fileGetLength(stream.get()), 10);
  EXPECT_EQ(fileGetPosition(stream.get()), 5) << "asking for the length moves nothing";
  char buffer[4];
  EXPECT_EQ(fileReadBytes(stream.get(), buffer, sizeof buffer), 4u);
  EXPECT_EQ(fileReadBytes(stream.get(), buffer, sizeof buffer), 1u);
  EXPECT_EQ(buffer[0], '9');
  EXPECT_EQ(test::messageFrom<rdr::EndOfStream>([&] { fileReadBytes(stream.get(), buffer, 1); }), "End of file");
  const Stream folder(fileOpenStream(dir.path().c_str(), O_RDONLY, "r"));
  const SystemException failure = failureFrom([&] { fileReadBytes(folder.get(), buffer, 1); });
  EXPECT_THAT(failure.message, StartsWith("reading from file failed: "));
  EXPECT_EQ(failure.err, EISDIR);
}

TEST_F(FileTest, aLockKeepsOtherProcessesOutUntilItIsReleased) {
  int released[2];
  ASSERT_EQ(::pipe(released), 0);
  const Stream mine = open("file");
  EXPECT_TRUE(fileLock(mine.get(), false));
  const pid_t child = ::fork();
  if (child == 0) {
    const Stream stream = open("file");
    const bool refused = !fileLock(stream.get(), false);
    const bool waited = fileLock(stream.get(), true);
    char byte = 0;
    ::fcntl(released[0], F_SETFL, O_NONBLOCK);
    ::_exit(refused && waited && ::read(released[0], &byte, 1) == 1 ? 0 : 1);
  }
  ::usleep(20'000);
  ASSERT_EQ(::write(released[1], "x", 1), 1);
  fileUnlock(mine.get());
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  ::close(released[0]);
  ::close(released[1]);
}

TEST_F(FileTest, sameAsFdComparesWhatTheNameLeadsTo) {
  dir.write("file", "x");
  dir.write("other", "x");
  dir.link("file", "link");
  const Stream stream = open("file");
  const auto same = [&](const char* name) { return fileIsSameAsFd(::fileno(stream.get()), (dir / name).c_str()); };
  EXPECT_TRUE(same("file") && same("link"));
  EXPECT_FALSE(same("other") || same("gone"));
  fileRename((dir / "other").c_str(), (dir / "file").c_str());
  EXPECT_FALSE(same("file")) << "replaced behind the descriptor";
}

TEST_F(FileTest, theWorkingFolderMayBeDeeperThanTheFirstBuffer) {
  const std::string before = getWorkingDir().get();
  std::string deep = "d";
  while (deep.size() < 1500) {
    deep += "/" + std::string(100, 'd');
  }
  chDir(dir.makeDir(deep).c_str());
  const std::string inside = getWorkingDir().get();
  ASSERT_EQ(::rmdir(inside.c_str()), 0);
  const SystemException failure = failureFrom([] { getWorkingDir(); });
  chDir(before.c_str());
  EXPECT_EQ(inside, dir / deep);
  EXPECT_THAT(failure.message, StartsWith("getcwd: "));
}

TEST_F(FileTest, makePrivateTakesEverythingFromGroupAndOthers) {
  const Stream stream = open("file");
  const std::string path = dir / "file";
  const std::function<void()> forms[] = {
      [&] { fileMakePrivate(path.c_str()); },
      [&] { fileMakePrivate(stream.get(), "nobody looks at this"); },
      [&] { fileMakePrivate(static_cast<std::FILE*>(nullptr), path.c_str()); },
  };
  const struct {
    mode_t before, after;
  } cases[] = {{0777, 0700}, {0640, 0600}, {0400, 0400}, {01755, 01700}, {0002, 0}};
  for (const auto& c : cases) {
    for (const auto& form : forms) {
      ::chmod(path.c_str(), c.before);
      form();
      EXPECT_EQ(modeOf("file"), c.after);
    }
  }
  if (::geteuid() == 0 && ::chown(path.c_str(), 65534, 12) == 0) {
    fileMakePrivate(path.c_str());
    EXPECT_EQ(statOf("file").st_uid, 0u);
    EXPECT_EQ(statOf("file").st_gid, 12u) << "the group stays";
  }
}

TEST_F(FileTest, permissionsAreCopiedAndChecked) {
  dir.write("model", "x");
  dir.link("model", "link");
  const std::string model = dir / "model";
  const Stream stream = open("file");
  ASSERT_EQ(::chmod(model.c_str(), 0751), 0);
  EXPECT_TRUE(fileCopyPerms(model.c_str(), stream.get()));
  EXPECT_EQ(modeOf("file"), 0751u);
  EXPECT_FALSE(fileCopyPerms((dir / "gone").c_str(), stream.get()));
  fileMakeSticky(model.c_str());
  EXPECT_EQ(modeOf("model"), 01751u);

  const uid_t me = ::geteuid();
  const std::string complaint = model + ": permissions are not restrictive enough";
  const auto complains = [&](const std::set<uid_t>& owners) {
    return test::messageFrom([&] { filePermsCheck(model.c_str(), owners); }) == complaint.substr(0, 255);
  };
  EXPECT_NO_THROW(filePermsCheck((dir / "link").c_str(), {me, me + 1}));
  EXPECT_TRUE(complains({me + 1}));
  for (const mode_t mode : {0720u, 0702u}) {
    ::chmod(model.c_str(), mode);
    EXPECT_TRUE(complains({me})) << std::oct << mode;
  }
  // The folder for temporary files is open to everybody, so no path through it is safe.
  EXPECT_THROW(filePathPermsCheck(model.c_str(), {me, 0}), Exception);
  EXPECT_NO_THROW(filePathPermsCheck("/", {0}));
}

}  // namespace
}  // namespace plat
