#include "libs/fops/unix/metadata.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "base/plat/SystemException.h"
#include "base/plat/Time.h"
#include "libs/fops/BadPath.h"
#include "libs/fops/SpecialFileException.h"
#include "libs/fops/unix/treeSize.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"

namespace fops {
namespace {

using Names = std::vector<std::string>;

Names sortedNames(const std::vector<DirEntry>& list) {
  Names names;
  for (const DirEntry& entry : list)
    names.emplace_back(entry.name.orEmpty());
  std::sort(names.begin(), names.end());
  return names;
}

template <class Action>
std::string failureOf(const Action& action) {
  try {
    action();
  } catch (const plat::Exception& error) {
    return std::string(error.type) + ' ' + error.message;
  }
  return "none";
}

class MetadataTest : public testing::Test {
protected:
  DirEntry entryOf(const std::string& name) { return getDirEntry((dir / name).c_str(), nullptr); }
  void mode(const std::string& name, mode_t bits) { ASSERT_EQ(::chmod((dir / name).c_str(), bits), 0); }

  test::TempDir dir;
};

TEST_F(MetadataTest, describesAFile) {
  dir.write(".x", "12345");
  mode(".x", 0444);
  const timespec times[2] = {{1000000001, 999999999}, {1000000000, 500000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (dir / ".x").c_str(), times, 0), 0);
  const DirEntry entry = entryOf(".x");
  EXPECT_STREQ(entry.name.get(), ".x");
  EXPECT_EQ(entry.flags, Hidden | ReadOnly);
  EXPECT_EQ(entry.size, 5);
  EXPECT_EQ(entry.accessTime, plat::fileTimeFromUnix(1000000001));  // whole seconds
  EXPECT_EQ(entry.modifyTime, plat::fileTimeFromUnix(1000000000));
  EXPECT_GT(entry.createTime, plat::fileTimeFromUnix(1600000000));
  EXPECT_EQ(entry.osAttrs.size(), 1U);
  EXPECT_EQ(unixMode(entry), 0100444);
}

TEST_F(MetadataTest, looksIntoDirectoriesForDirectories) {
  dir.makeDir("empty");
  dir.write("files/a", "");
  dir.makeDir("deep/sub");
  dir.makeDir("linked");
  dir.link("../empty", "linked/to");
  dir.makeDir("dangling");
  dir.link("nowhere", "dangling/to");
  EXPECT_EQ(entryOf("empty").flags, Directory);
  EXPECT_EQ(entryOf("files").flags, Directory);
  EXPECT_EQ(entryOf("deep").flags, Directory | HasSubdirs);
  EXPECT_EQ(entryOf("linked").flags, Directory | HasSubdirs);
  EXPECT_EQ(entryOf("dangling").flags, Directory);
}

TEST_F(MetadataTest, saysWhenADirectoryCannotBeLookedInto) {
  dir.makeDir("unreadable/sub");
  dir.makeDir("unsearchable/sub");
  for (const char* name : {"unreadable", "unsearchable"})
    test::Unprivileged::give(dir / name);
  ::chmod(dir.path().c_str(), 0755);
  mode("unreadable", 0300);
  mode("unsearchable", 0600);
  const test::Unprivileged rights;
  EXPECT_EQ(entryOf("unreadable").flags, Directory | SubdirsUnknown);
  EXPECT_EQ(entryOf("unsearchable").flags, Directory);  // it can be read, but nothing in it is known to be a directory
}

TEST_F(MetadataTest, takesHiddenFromThePathAndTheNameFromTheCaller) {
  dir.write(".x", "");
  dir.write("y", "");
  EXPECT_EQ(getDirEntry((dir / ".x").c_str(), "shown").flags, Hidden);
  EXPECT_EQ(getDirEntry((dir / "y").c_str(), ".named").flags, 0U);
  EXPECT_STREQ(getDirEntry("/", "host").name.get(), "host");
}

TEST_F(MetadataTest, refusesWhatItCannotDescribe) {
  ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
  dir.link("nowhere", "dangling");
  EXPECT_THROW(entryOf("pipe"), SpecialFileException);
  EXPECT_EQ(failureOf([&] { entryOf("pipe"); }), " " + dir / "pipe" + " is a special file");
  EXPECT_EQ(failureOf([] { getDirEntry("/dev/null", nullptr); }), " /dev/null is a special file");
  EXPECT_EQ(failureOf([&] { entryOf("dangling"); }),
            "System-2 stat(" + dir / "dangling" + "): No such file or directory (2)");
  EXPECT_THROW(entryOf("bad\xff"), BadPath);
  EXPECT_THROW(getDirEntry("/tmp/", nullptr), BadPath);
  EXPECT_DEATH(getDirEntry("relative", nullptr), "filePath\\[0\\] == '/'.*libs/fops/unix/metadata");
}

class ScanDirTest : public MetadataTest {
protected:
  void SetUp() override {
    dir.makeDir("d/sub");
    dir.write("f", "1");
    dir.write("bad\xff", "");
    dir.link("d", "to d");
    dir.link("f", "to f");
    dir.link("nowhere", "to nothing");
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
    dir.link("pipe", "to pipe");
  }
};

TEST_F(ScanDirTest, listsWhatIsAskedFor) {
  const char* path = dir.path().c_str();
  EXPECT_EQ(sortedNames(scanDir(path, true, true)), (Names{"d", "f", "to d", "to f"}));
  EXPECT_EQ(sortedNames(scanDir(path, true, false)), (Names{"d", "to d"}));
  EXPECT_EQ(sortedNames(scanDir(path, false, true)), (Names{"f", "to f"}));
  EXPECT_TRUE(scanDir(path, false, false).empty());
  for (const DirEntry& entry : scanDir(path, true, true))
    EXPECT_EQ(entry, entryOf(entry.name.get()));
}

TEST_F(ScanDirTest, logsWhatItLeavesOutButForSpecialFiles) {
  const LogLines lines;
  scanDir(dir.path().c_str(), true, true);
  Names all = lines.all();
  std::sort(all.begin(), all.end());
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].rfind("getDirEntry 100 Error for '" + dir / "bad", 0), 0U);
  EXPECT_NE(all[0].find("': [BadPath] Invalid path: bad UTF-8"), std::string::npos);
  EXPECT_EQ(all[1], "getDirEntry 100 Error for '" + dir / "to nothing" + "': [System-2] stat(" + dir / "to nothing" +
                        "): No such file or directory (2)");
}

TEST_F(ScanDirTest, saysNothingOfWhatIsNotAskedFor) {
  const LogLines lines;
  scanDir(dir.path().c_str(), true, false);
  EXPECT_TRUE(lines.all().empty());
}

TEST_F(ScanDirTest, failsAsAWhole) {
  EXPECT_EQ(failureOf([&] { scanDir((dir / "none").c_str(), true, true); }),
            "System-2 opendir(" + dir / "none" + "): No such file or directory (2)");
  EXPECT_EQ(failureOf([&] { scanDir((dir / "f").c_str(), true, true); }),
            "System-20 opendir(" + dir / "f" + "): Not a directory (20)");
}

TEST_F(ScanDirTest, takesAReadableFolderThatCannotBeSearchedForFiles) {
  dir.makeDir("odd/sub");
  test::Unprivileged::give(dir / "odd");
  ::chmod(dir.path().c_str(), 0755);
  mode("odd", 0600);
  const test::Unprivileged rights;
  const LogLines lines;
  EXPECT_TRUE(scanDir((dir / "odd").c_str(), true, false).empty());
  EXPECT_TRUE(lines.all().empty());  // no directory as far as anyone can tell, so not asked for
  EXPECT_TRUE(scanDir((dir / "odd").c_str(), false, true).empty());
  EXPECT_EQ(lines.all(), Names{"getDirEntry 100 Error for '" + dir / "odd/sub" + "': [System-13] stat(" +
                               dir / "odd/sub" + "): Permission denied (13)"});
}

class TreeSizeTest : public MetadataTest {
protected:
  std::int64_t size(const std::string& name = "") { return dirTreeSize((dir / name).c_str()); }
};

TEST_F(TreeSizeTest, addsUpFilesBelow) {
  EXPECT_EQ(size(), 0);
  dir.write("a", "1");
  dir.write("b/c", "22");
  dir.write("b/d/e", "333");
  dir.write("b/d/f/g", "4444");
  dir.write("h", "55555");
  dir.makeDir("i/j");
  EXPECT_EQ(size(), 15);
  EXPECT_EQ(dirTreeSize((dir.path() + "/").c_str()), 15);
  dir.link("b", "again");
  EXPECT_EQ(size(), 24);
}

TEST_F(TreeSizeTest, countsAndLogsWhatItCannotRead) {
  dir.write("f", "1");
  dir.write("ok/f", "22");
  dir.write("closed/f", "333");
  dir.link("nowhere", "dangling");
  test::Unprivileged::give(dir / "closed");
  ::chmod(dir.path().c_str(), 0755);
  ::chmod((dir / "ok").c_str(), 0755);
  mode("closed", 0);
  const test::Unprivileged rights;
  const LogLines lines;
  EXPECT_EQ(size(), 3);
  Names all = lines.all();
  std::sort(all.begin(), all.end());
  EXPECT_EQ(all, (Names{"getDirEntry 100 Error getting size of " + dir / "closed" + ": [System-13] opendir(" +
                            dir / "closed" + "): Permission denied (13)",
                        "getDirEntry 100 Error getting size of " + dir / "dangling" + ": [System-2] fileGetSize(" +
                            dir / "dangling" + "): No such file or directory (2)"}));
}

TEST_F(TreeSizeTest, failsOnlyForTheTop) {
  dir.write("f", "1");
  EXPECT_EQ(failureOf([&] { size("f"); }), "System-20 opendir(" + dir / "f" + "): Not a directory (20)");
  EXPECT_EQ(failureOf([&] { size("none"); }), "System-2 opendir(" + dir / "none" + "): No such file or directory (2)");
}

TEST_F(TreeSizeTest, goesAsDeepAsPathsWithFewDescriptors) {
  // Nearly as deep as a path can be long, with a file at the bottom, and one that no path can name.
  std::string path = dir.path();
  int depth = 0;
  for (; path.size() + 12 < 4096; ++depth) {
    path += "/deeper";
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
  }
  dir.write(path.substr(dir.path().size() + 1) + "/f", "bottom");
  ASSERT_GT(depth, 500);
  const int bottom = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(::mkdirat(bottom, std::string(100, 'n').c_str(), 0700), 0);
  ::close(bottom);
  const LogLines lines;
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  struct rlimit few = before;
  few.rlim_cur = 32;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  const std::int64_t bytes = size();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(bytes, 6);
  ASSERT_EQ(lines.all().size(), 1U);  // cut to what a message holds
  EXPECT_NE(lines.all()[0].find("Error getting size of " + dir / "deeper/"), std::string::npos);
  EXPECT_EQ(sortedNames(scanDir(path.c_str(), true, true)), Names{"f"});
}

TEST_F(TreeSizeTest, endsInALoopOfLinks) {
  dir.write("d/f", "1");
  dir.link(".", "d/loop");
  const LogLines lines;
  const std::int64_t bytes = size();
  EXPECT_GT(bytes, 1);
  EXPECT_LE(bytes, 41);  // the system follows forty links in one path
  ASSERT_EQ(lines.all().size(), 1U);
  EXPECT_NE(lines.all()[0].find("[System-40] fileGetSize("), std::string::npos) << lines.all()[0];
}

}  // namespace
}  // namespace fops
