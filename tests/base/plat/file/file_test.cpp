#include "base/plat/file/file.h"

#include "base/plat/file/FilePtr.h"
#include "base/plat/file/fileLinks.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/filePerms.h"
#include "base/rdr/fileReadBytes.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

using Stream = std::shared_ptr<std::FILE>;

class FileTest : public testing::Test {
protected:
  Stream open(const std::string& name, int flags = O_RDWR | O_CREAT, const char* mode = "r+") {
    return Stream(fileOpenStream((dir / name).c_str(), flags, mode, 0644), std::fclose);
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
  const Stream in(::fdopen(fds[0], "r"), std::fclose), out(::fdopen(fds[1], "w"), std::fclose);
  const Stream file = open("file", O_RDONLY, "r"), folder = open("", O_RDONLY, "r");
  char byte;
  const std::tuple<std::function<void()>, std::string, int> cases[] = {
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
      {[&] { fileReadBytes(folder.get(), &byte, 1); }, "reading from file failed: ", EISDIR},
      {[&] { filePermsCheck(g, {}); }, "stat(" + gone + "): ", ENOENT},
      {[&] { FilePtr().open(g, FilePtr::Read); }, "Error opening \"" + gone + "\": ", ENOENT},
  };
  for (const auto& [call, words, err] : cases) {
    const SystemException e = failureFrom(call);
    EXPECT_THAT(e.message, StartsWith(words.substr(0, 255)));
    EXPECT_EQ(e.err, err) << words;
  }
  EXPECT_EQ(fileOpenStream(dir.path().c_str(), O_RDONLY, "nonsense"), nullptr);
  EXPECT_EQ(errno, EINVAL) << "that of fdopen, although the descriptor was closed since";
}

TEST_F(FileTest, existenceTypeAndIdentityFollowLinks) {
  const std::string inside = dir.makeDir("closed/folder"), link = dir / "link";
  dir.write("file", "x");
  dir.link("closed", "link");
  dir.link("nowhere", "dangling");
  EXPECT_TRUE(fileIsDir(link.c_str()));
  EXPECT_FALSE(fileIsDir((dir / "file").c_str()));
  for (const auto& [name, exists] : {std::pair("link", true), {"dangling", false}, {"file/below", false}}) {
    EXPECT_EQ(fileExists((dir / name).c_str()), exists) << name;
  }
  dir.link("file", "toFile");
  const Stream stream = open("file"), other = open("other");
  for (const auto& [name, same] : {std::pair("toFile", true), {"gone", false}, {"other", false}}) {
    EXPECT_EQ(fileIsSameAsFd(::fileno(stream.get()), (dir / name).c_str()), same) << name;
  }
  Unprivileged::give(dir.path());
  Unprivileged::give(dir / "closed");
  const Unprivileged rights;
  ASSERT_EQ(::chmod((dir / "closed").c_str(), 0600), 0);
  EXPECT_EQ(failureFrom([&] { fileExists(inside.c_str()); }).err, EACCES);
}

TEST_F(FileTest, timesAreSetToTheMicrosecondAndReadInSeconds) {
  dir.write("file", "x");
  const std::string path = dir / "file";
  const FileTime modify = fileTimeFromUnix(1'000'000'000, 123'456);
  fileSetTime(path.c_str(), modify, fileTimeFromUnix(-5, 250'000));
  const struct stat both = statOf("file");
  EXPECT_THAT((std::array{both.st_mtim.tv_sec, both.st_mtim.tv_nsec, both.st_atim.tv_sec, both.st_atim.tv_nsec}),
              ElementsAre(1'000'000'000, 123'456'000, -5, 250'000'000));
  EXPECT_EQ(fileGetTime(path.c_str()), fileTimeFromUnix(1'000'000'000));
  fileSetTime(path.c_str(), modify, 0);
  EXPECT_EQ(statOf("file").st_atim.tv_sec, 1'000'000'000) << "no access time: that of the modification";
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
  EXPECT_EQ(messageFrom<rdr::EndOfStream>([&] { fileReadBytes(stream.get(), buffer, 1); }), "End of file");
}

TEST_F(FileTest, aLockKeepsOtherProcessesOutUntilItIsReleased) {
  const Stream mine = open("file");
  EXPECT_TRUE(fileLock(mine.get(), false));
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const Stream stream = open("file");
    const bool refused = !fileLock(stream.get(), false) && ::write(ends[1], "r", 1) == 1;
    ::_exit(refused && fileLock(stream.get(), true) && dir.exists("released") ? 0 : 1);
  }
  ::close(ends[1]);
  char answer = 0;
  EXPECT_EQ(::read(ends[0], &answer, 1), 1) << "refused";
  ::close(ends[0]);
  dir.write("released", "");
  fileUnlock(mine.get());
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(FileTest, theWorkingFolderMayBeDeeperThanTheFirstBufferAndIsWhereRelativePathsStart) {
  const std::string before = getWorkingDir().get();
  std::string deep = "d";
  while (deep.size() < 1500) {
    deep += "/" + std::string(100, 'd');
  }
  dir.link("d", "link");
  dir.makeDir("d/b");
  chDir(dir.makeDir(deep).c_str());
  const std::string inside = getWorkingDir().get();
  ASSERT_EQ(::rmdir(inside.c_str()), 0);
  const SystemException failure = failureFrom([] { getWorkingDir(); });
  chDir((dir / "d").c_str());
  const std::string paths[] = {fileAbsPath("../link//./b").get(), fileAbsPath("").get(),
                               fileAbsPath((dir / "link/../d").c_str()).get()};
  chDir(before.c_str());
  EXPECT_EQ(inside, dir / deep);
  EXPECT_THAT(failure.message, StartsWith("getcwd: "));
  EXPECT_THAT(paths, ElementsAre(dir / "d/b", dir / "d", dir / "d"));
}

TEST_F(FileTest, permissionsAreTakenFromGroupAndOthersCopiedAndChecked) {
  const Stream stream = open("file");
  const std::string path = dir / "file";
  for (const auto& [before, after] : {std::pair(0777u, 0700u), {0400, 0400}, {01755, 01700}, {0002, 0}}) {
    ::chmod(path.c_str(), before);
    fileMakePrivate(path.c_str());
    EXPECT_EQ(modeOf("file"), after);
    ::chmod(path.c_str(), before);
    fileMakePrivate(stream.get(), "nobody looks at this");
    EXPECT_EQ(modeOf("file"), after);
  }
  if (::geteuid() == 0 && ::chown(path.c_str(), 65534, 12) == 0) {
    fileMakePrivate(path.c_str());
    EXPECT_EQ(std::pair(statOf("file").st_uid, statOf("file").st_gid), std::pair(0u, 12u)) << "the group stays";
  }

  dir.write("model", "x");
  dir.link("model", "link");
  const std::string model = dir / "model";
  ::chmod(model.c_str(), 0751);
  EXPECT_TRUE(fileCopyPerms(model.c_str(), stream.get()));
  EXPECT_EQ(modeOf("file"), 0751u);
  EXPECT_FALSE(fileCopyPerms((dir / "gone").c_str(), stream.get()));
  fileMakeSticky(model.c_str());
  EXPECT_EQ(modeOf("model"), 01751u);

  const uid_t me = ::geteuid();
  EXPECT_NO_THROW(filePermsCheck((dir / "link").c_str(), {me, me + 1}));
  for (const auto& [mode, owner] : {std::pair(0751u, me + 1), {0720, me}, {0702, me}}) {
    ::chmod(model.c_str(), mode);
    EXPECT_EQ(messageFrom([&, trusted = owner] { filePermsCheck(model.c_str(), {trusted}); }),
              model + ": permissions are not restrictive enough");
  }
  // The folder for temporary files is open to everybody, so no path through it is safe.
  EXPECT_THROW(filePathPermsCheck(model.c_str(), {me, 0}), Exception);
  EXPECT_NO_THROW(filePathPermsCheck("/", {0}));
}

TEST(FilePaths, goByTheLettersAlone) {
  for (const auto& [path, normal, parent, base] :
       {std::tuple<const char*, const char*, const char*, const char*>(nullptr, ".", "..", "."),
        {"./", ".", "..", "."},
        {"//", "/", "/", ""},
        {"/../../a", "/a", "/", "a"},
        {"/a//./b/", "/a/b", "/a", "b"},
        {"a/../b", "b", ".", "b"},
        {"/a/../..", "/", "/", ""},
        {"a/../..", "..", "../..", "."},
        {"../a", "../a", "..", "a"},
        {"../a/..", "..", "../..", "."},
        {"..a/b..", "..a/b..", "..a", "b.."},
        {"a../..", ".", "..", "."}}) {
    const String parts[] = {fileNormalise(path), fileDirName(path), fileBaseName(path)};
    EXPECT_THAT(parts, ElementsAre(normal, parent, base)) << PrintToString(path);
  }
  const String bases[] = {fileBaseName("/bin/tool.EXE", ".exe"), fileBaseName("tool.exe", ""),
                          fileBaseName("tool.exe", ".ex"),       fileBaseName("/x/.exe/", ".exe"),
                          fileBaseName("exe", ".exe"),           fileBaseName("a.exe.exe", ".exe")};
  EXPECT_THAT(bases, ElementsAre("tool", "tool.exe", "tool.exe", ".exe", "exe", "a.exe"));
  EXPECT_EQ(fileJoin("/a", "b"), "/a/b");
  EXPECT_EQ(fileJoin("/", "b"), "/b");
  EXPECT_EQ(fileSanitiseName("a/b\x01\n\t\x1f\x20\x7f\xc3\xa9", '-'), "a-b---- -\xc3\xa9");
}

TEST_F(FileTest, everyKindOfLinkIsResolvedAndASecureFolderIsRootsAllTheWay) {
  dir.write("a/b/file", "x");
  for (const auto& [target, name] : {std::pair<std::string, const char*>("../a/b", "a/up"),
                                     {dir / "a", "absolute"},
                                     {"absolute/up/", "chain"},
                                     {"a/b/file", "0"},
                                     {"/", "root"},
                                     {"self", "self"},
                                     {"gone", "dangling"}}) {
    dir.link(target, name);
  }
  for (int i = 1; i <= 20; ++i) {
    dir.link(std::to_string(i - 1), std::to_string(i));
  }
  const auto real = [&](const std::string& name) { return fileRealPath("asked", (dir / name).c_str()); };
  for (const char* name : {"a/b/file", "chain/file", "absolute/up/file", "19"}) {
    EXPECT_EQ(real(name), (dir / "a/b/file").c_str()) << name;
  }
  EXPECT_EQ(real("root"), "/");
  EXPECT_EQ(real("root" + dir.path() + "/a"), (dir / "a").c_str());
  for (const auto& [name, err] :
       {std::pair("20", ELOOP), {"self", ELOOP}, {"dangling", ENOENT}, {"a/b/file/x", ENOTDIR}, {"1/x", ENOTDIR}}) {
    const SystemException failure = failureFrom([&, n = name] { real(n); });
    EXPECT_THAT(failure.message, StartsWith("realpath(asked): "));
    EXPECT_EQ(failure.err, err) << name;
  }
  EXPECT_DEATH(fileRealPath("asked", "relative"), "Assertion 'path\\[0\\] == '/'' failed at base/plat/file:");

  EXPECT_EQ(fileMakeSecureDir("/", nullptr), "/");
  EXPECT_THROW(fileMakeSecureDir(dir.path().c_str(), nullptr), Exception);
  EXPECT_EQ(messageFrom([] { fileMakeSecureDir("/no/such", "/target"); }),
            "/no/such must be created and point to /target");
}

TEST_F(FileTest, filePtrOpensEveryModeAsItsFlagsSay) {
  // The mode of a file that is created, or 0, and the contents "old" after writing "X".
  const std::tuple<int, int, mode_t, std::string> cases[] = {
      {FilePtr::Read, 0, 0, "old"},
      {FilePtr::Write, 0, 0664, "X"},
      {FilePtr::Write, FilePtr::Append | FilePtr::Private, 0600, "oldX"},
      {FilePtr::ReadWrite, 0, 0, "Xld"},
      {FilePtr::ReadWrite, FilePtr::Create, 0664, "Xld"},
      {FilePtr::ReadWrite, FilePtr::Create | FilePtr::Truncate, 0664, "X"}};
  const mode_t umaskBefore = ::umask(0);
  for (const auto& [mode, flags, created, after] : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << mode << " flags " << flags);
    dir.write("there", "old");
    ::unlink((dir / "missing").c_str());
    {
      FilePtr missing, file;
      missing.open((dir / "missing").c_str(), mode, flags | FilePtr::NoThrow);
      EXPECT_EQ(dir.exists("missing"), created != 0);
      EXPECT_EQ(missing.isOpen() ? modeOf("missing") : 0, created);
      file.open((dir / "there").c_str(), mode, flags);
      EXPECT_TRUE(::fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC);
      std::fputs("X", file.get());
    }
    EXPECT_EQ(dir.read("there"), after);
  }
  ::umask(umaskBefore);

  FilePtr file;
  file.open("-", FilePtr::Read);
  EXPECT_EQ(file.get(), stdin);
  file.open("-", FilePtr::Write);
  EXPECT_EQ(file.get(), stdout);
  EXPECT_FALSE(file.owned());
  EXPECT_EQ(messageFrom([&] { file.open("-", FilePtr::ReadWrite); }), "Invalid mode for stdin/stdout");
}

TEST(FilePtr, reportsFailuresOfFlushAndClose) {
  RecordingDest log("FilePtr:rec:0");
  for (const bool report : {true, false}) {
    FilePtr file;
    file.setReportCloseErrors(report);
    file.open("/dev/full", FilePtr::Write);
    std::fputs("lost", file.get());
    EXPECT_THROW(file.flushFile(), StdlibException);
    std::fputs("lost", file.get());
    const SystemException failure = failureFrom([&] { file.attach(std::fopen("/dev/full", "w"), true); });
    EXPECT_THAT(failure.message, StartsWith("fclose: "));
    EXPECT_EQ(failure.err, ENOSPC);
    std::fputs("lost", file.get());  // the new stream stands all the same
  }
  EXPECT_THAT(log.lines(), ElementsAre(StartsWith("0 FilePtr: [System-28] fclose: ")));
}

}  // namespace
}  // namespace plat
