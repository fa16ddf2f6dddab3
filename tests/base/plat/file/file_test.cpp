#include "base/plat/file/file.h"

#include <array>

#include "base/plat/file/fileLinks.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/filePerms.h"
#include "base/rdr/exceptions.h"
#include "base/rdr/fileReadBytes.h"
#include "tests/support/Unprivileged.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using test::failureFrom;
using testing::ElementsAre;
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
  EXPECT_EQ(fileOpenStream(dir.path().c_str(), O_RDONLY, "nonsense"), nullptr);
  EXPECT_EQ(errno, EINVAL) << "that of fdopen, although the descriptor was closed since";
}

TEST_F(FileTest, existenceAndTypeFollowLinks) {
  const std::string inside = dir.makeDir("closed/folder"), link = dir / "link";
  dir.write("file", "x");
  dir.link("closed", "link");
  dir.link("nowhere", "dangling");
  EXPECT_TRUE(fileIsDir(link.c_str()));
  EXPECT_FALSE(fileIsDir((dir / "file").c_str()));
  for (const auto& [name, exists] : {std::pair("link", true), {"dangling", false}, {"file/below", false}}) {
    EXPECT_EQ(fileExists((dir / name).c_str()), exists) << name;
  }
  test::Unprivileged::give(dir.path());
  test::Unprivileged::give(dir / "closed");
  const test::Unprivileged rights;
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
  EXPECT_EQ(test::messageFrom<rdr::EndOfStream>([&] { fileReadBytes(stream.get(), buffer, 1); }), "End of file");
  const Stream folder(fileOpenStream(dir.path().c_str(), O_RDONLY, "r"));
  const SystemException failure = failureFrom([&] { fileReadBytes(folder.get(), buffer, 1); });
  EXPECT_THAT(failure.message, StartsWith("reading from file failed: "));
  EXPECT_EQ(failure.err, EISDIR);
}

TEST_F(FileTest, aLockKeepsOtherProcessesOutUntilItIsReleased) {
  const Stream mine = open("file");
  EXPECT_TRUE(fileLock(mine.get(), false));
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const Stream stream = open("file");
    const char answer = fileLock(stream.get(), false) ? 'g' : 'r';
    const bool told = ::write(ends[1], &answer, 1) == 1;
    ::_exit(told && fileLock(stream.get(), true) && dir.exists("released") ? 0 : 1);
  }
  ::close(ends[1]);
  char answer = 0;
  EXPECT_EQ(::read(ends[0], &answer, 1), 1);
  ::close(ends[0]);
  EXPECT_EQ(answer, 'r') << "refused";
  dir.write("released", "");
  fileUnlock(mine.get());
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(FileTest, sameAsFdComparesWhatTheNameLeadsTo) {
  dir.link("file", "link");
  const Stream stream = open("file"), other = open("other");
  for (const auto& [name, same] : {std::pair("link", true), {"gone", false}, {"other", false}}) {
    EXPECT_EQ(fileIsSameAsFd(::fileno(stream.get()), (dir / name).c_str()), same) << name;
  }
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

TEST_F(FileTest, makePrivateTakesEverythingFromGroupAndOthers) {
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
    EXPECT_EQ(statOf("file").st_uid, 0u);
    EXPECT_EQ(statOf("file").st_gid, 12u) << "the group stays";
  }
}

TEST_F(FileTest, permissionsAreCopiedAndChecked) {
  dir.write("model", "x");
  dir.link("model", "link");
  const std::string model = dir / "model";
  const Stream stream = open("file");
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
    EXPECT_EQ(test::messageFrom([&, trusted = owner] { filePermsCheck(model.c_str(), {trusted}); }),
              model + ": permissions are not restrictive enough");
  }
  // The folder for temporary files is open to everybody, so no path through it is safe.
  EXPECT_THROW(filePathPermsCheck(model.c_str(), {me, 0}), Exception);
  EXPECT_NO_THROW(filePathPermsCheck("/", {0}));
}

TEST(FilePaths, normaliseDirNameAndBaseNameGoByTheLettersAlone) {
  const struct {
    const char *path, *normal, *dir, *base;
  } cases[] = {{nullptr, ".", "..", "."},
               {"./", ".", "..", "."},
               {"//", "/", "/", ""},
               {"/../../a", "/a", "/", "a"},
               {"/a//./b/", "/a/b", "/a", "b"},
               {"a/../b", "b", ".", "b"},
               {"/a/../..", "/", "/", ""},
               {"..", "..", "../..", "."},
               {"a/../..", "..", "../..", "."},
               {"../a", "../a", "..", "a"},
               {"../a/..", "..", "../..", "."},
               {"..a/b..", "..a/b..", "..a", "b.."},
               {"a../..", ".", "..", "."},
               {"/a/ ...", "/a/ ...", "/a", " ..."}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.path));
    EXPECT_EQ(fileNormalise(c.path), c.normal);
    EXPECT_EQ(fileDirName(c.path), c.dir);
    EXPECT_EQ(fileBaseName(c.path), c.base);
  }
}

TEST(FilePaths, areCutOfASuffixJoinedWithOneSlashAndSanitisedOfControlBytes) {
  const struct {
    const char *path, *suffix, *expected;
  } cases[] = {{"/bin/tool.EXE", ".exe", "tool"}, {"tool.exe", "", "tool.exe"}, {"tool.exe", ".ex", "tool.exe"},
               {"/x/.exe/", ".exe", ".exe"},      {"exe", ".exe", "exe"},       {"a.exe.exe", ".exe", "a.exe"}};
  for (const auto& c : cases) {
    EXPECT_EQ(fileBaseName(c.path, c.suffix), c.expected);
  }
  EXPECT_EQ(fileJoin("/a", "b"), "/a/b");
  EXPECT_EQ(fileJoin("/", "b"), "/b");
  EXPECT_EQ(fileSanitiseName("a/b\x01\n\t\x1f\x20\x7f\xc3\xa9", '-'), "a-b---- -\xc3\xa9");
}

TEST_F(FileTest, everyKindOfLinkIsResolved) {
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
}

TEST_F(FileTest, aSecureFolderMustExistAndBelongToRootAllTheWay) {
  EXPECT_EQ(fileMakeSecureDir("/", nullptr), "/");
  EXPECT_THROW(fileMakeSecureDir(dir.path().c_str(), nullptr), Exception);
  EXPECT_EQ(test::messageFrom([] { fileMakeSecureDir("/no/such", "/target"); }),
            "/no/such must be created and point to /target");
}

}  // namespace
}  // namespace plat
