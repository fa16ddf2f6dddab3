#include "libs/fops/local/metadata.h"

#include "base/plat/Time.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/local/treeSize.h"
#include "tests/libs/fops/protoTestSupport.h"

namespace fops {
namespace {

class MetadataTest : public testing::Test {
protected:
  DirEntry entryOf(const std::string& name) { return getDirEntry((dir / name).c_str(), nullptr); }
  Lines scan(const std::string& name, bool dirs, bool files) {
    Lines names;
    for (const DirEntry& entry : scanDir((dir / name).c_str(), dirs, files)) {
      EXPECT_EQ(entry, getDirEntry((dir / name + "/" + entry.name.get()).c_str(), nullptr));
      names.emplace_back(entry.name.get());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::int64_t size(const std::string& name = "") { return dirTreeSize((dir / name).c_str()); }
  /// A folder that the test will not own as root does.
  void makeGuarded(const std::string& name, mode_t bits) {
    ::chmod(dir.path().c_str(), 0755);
    ASSERT_EQ(::chmod((dir / name).c_str(), bits), 0);
    test::Unprivileged::give(dir / name);
  }

  test::TempDir dir;
  const std::string noEntry = "): No such file or directory (2)";
};

TEST_F(MetadataTest, describesAFileAndRefusesWhatItCannotDescribe) {
  dir.write(".x", "12345");
  ASSERT_EQ(::chmod((dir / ".x").c_str(), 0444), 0);
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
  EXPECT_EQ(getDirEntry((dir / ".x").c_str(), "shown").flags, Hidden | ReadOnly) << "by the path, not by the name";
  EXPECT_STREQ(getDirEntry("/", "host").name.get(), "host");

  ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(entryOf("pipe"), SpecialFileException);
  EXPECT_EQ(failureOf([&] { entryOf("pipe"); }), "[] " + dir / "pipe" + " is a special file");
  EXPECT_EQ(failureOf([&] { entryOf("none"); }), "[System-2] stat(" + dir / "none" + noEntry);
  EXPECT_THROW(entryOf("bad\xff"), BadPath);
  EXPECT_THROW(getDirEntry("/tmp/", nullptr), BadPath);
  EXPECT_DEATH(getDirEntry("relative", nullptr), "filePath\\[0\\] == '/'.*libs/fops/unix/metadata");
}

TEST_F(MetadataTest, describesWhatIsOpenWhateverHasTakenItsPath) {
  const std::string path = dir / "f";
  dir.write("f", "12345");
  const test::Fd opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::unlink(path.c_str()), 0);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(getOpenEntry(opened, path.c_str()).size, 5);
  EXPECT_STREQ(getOpenEntry(opened, path.c_str()).name.get(), "f");
  const test::Fd pipe(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_EQ(failureOf([&] { getOpenEntry(pipe, path.c_str()); }), "[] " + path + " is a special file");
}

TEST_F(MetadataTest, looksIntoDirectoriesForDirectories) {
  for (const char* name : {"empty", "deep/sub", "linked", "dangling", "unreadable/sub", "unsearchable/sub"}) {
    dir.makeDir(name);
  }
  dir.write("files/a", "");
  dir.link("../empty", "linked/to");
  dir.link("nowhere", "dangling/to");
  makeGuarded("unreadable", 0300);
  makeGuarded("unsearchable", 0600);
  const test::Unprivileged rights;
  const std::pair<const char*, std::uint32_t> cases[] = {
      {"empty", Directory},
      {"files", Directory},
      {"deep", Directory | HasSubdirs},
      {"linked", Directory | HasSubdirs},
      {"dangling", Directory},
      {"unreadable", Directory | SubdirsUnknown},
      {"unsearchable", Directory}};  // it can be read, but nothing in it is known to be a directory
  for (const auto& [name, flags] : cases) {
    EXPECT_EQ(entryOf(name).flags, flags) << name;
  }
  const test::RecordingDest log("*:rec:100");
  EXPECT_EQ(scan("unsearchable", true, false), Lines{});
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(MetadataTest, listsWhatIsAskedForAndLogsWhatItLeavesOut) {
  dir.makeDir("d/sub");
  dir.write("f", "1");
  dir.write("bad\xff", "");
  dir.link("d", "to d");
  dir.link("f", "to f");
  dir.link("nowhere", "to nothing");
  ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0600), 0);
  dir.link("pipe", "to pipe");
  const test::RecordingDest log("*:rec:100");
  EXPECT_EQ(scan("", true, false), (Lines{"d", "to d"}));
  EXPECT_EQ(scan("", false, false), Lines{});
  EXPECT_EQ(log.lines(), Lines{}) << "nothing of what is not asked for";
  EXPECT_EQ(scan("", true, true), (Lines{"d", "f", "to d", "to f"}));
  EXPECT_THAT(
      log.lines(),  // nothing of special files
      testing::UnorderedElementsAre(
          "100 getDirEntry: Error for '" + dir / "bad~M^?': [BadPath] Invalid path: bad UTF-8",
          "100 getDirEntry: Error for '" + dir / "to nothing" + "': [System-2] stat(" + dir / "to nothing" + noEntry));
  EXPECT_EQ(scan("", false, true), (Lines{"f", "to f"}));
}

TEST_F(MetadataTest, addsUpFilesAndLogsWhatItCannotRead) {
  EXPECT_EQ(size(), 0);
  dir.write("a", "1");
  dir.write("b/c", "22");
  dir.write("b/d/f/g", "444455555");
  EXPECT_EQ(size(), 12);
  dir.link("b", "again");
  EXPECT_EQ(dirTreeSize((dir.path() + "/").c_str()), 23);
  dir.write("closed/f", "333");
  dir.link("nowhere", "dangling");
  makeGuarded("closed", 0);
  const test::Unprivileged rights;
  const test::RecordingDest log("*:rec:100");
  EXPECT_EQ(size(), 23);
  EXPECT_THAT(log.lines(),
              testing::UnorderedElementsAre("100 getDirEntry: Error getting size of " + dir / "closed" +
                                                ": [System-13] opendir(" + dir / "closed" + "): Permission denied (13)",
                                            "100 getDirEntry: Error getting size of " + dir / "dangling" +
                                                ": [System-2] fileGetSize(" + dir / "dangling" + noEntry));
  EXPECT_EQ(failureOf([&] { size("a"); }), "[System-20] opendir(" + dir / "a" + "): Not a directory (20)");
}

TEST_F(MetadataTest, measuresALoopOfLinksUpToTheSystemsLimit) {
  dir.write("d/f", "1");
  dir.link(".", "d/loop");
  const test::RecordingDest log("*:rec:100");
  EXPECT_EQ(size(), 41);  // the system follows forty links in one path
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_NE(log.lines()[0].find("[System-40] fileGetSize("), std::string::npos) << log.lines()[0];
}

}  // namespace
}  // namespace fops
