#include "libs/fops/LocalFileWriter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/plat/Time.h"
#include "base/rdr/OutStream.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"

namespace fops {
namespace {

class LocalFileWriterTest : public testing::Test {
protected:
  std::unique_ptr<LocalFileWriter> open(const DirEntry& entry) {
    return std::make_unique<LocalFileWriter>(entry, dir.path().c_str(),
                                             os::OpenArgs{O_WRONLY | O_CREAT | O_TRUNC, 0644});
  }
  std::unique_ptr<LocalFileWriter> open(const char* name) { return open(DirEntry(name, 0)); }
  struct stat statOf(const std::string& name) {
    struct stat st {};
    EXPECT_EQ(::stat((dir / name).c_str(), &st), 0);
    return st;
  }

  test::TempDir dir;
};

TEST_F(LocalFileWriterTest, writesBesideTheDestinationAndRenamesAtTheEnd) {
  const test::RecordingDest log("*:rec:100");
  const auto writer = open("a.txt");
  EXPECT_EQ(dir.list(), Lines{"a.txt.tmp"});
  EXPECT_STREQ(writer->displayPath(), (dir / "a.txt").c_str());
  test::put(writer->getOutStream(), std::string(100000, 'q'));
  writer->finish();
  EXPECT_EQ(dir.list(), Lines{"a.txt"});
  EXPECT_EQ(dir.read("a.txt"), std::string(100000, 'q'));
  open("a.txt")->getOutStream().writeU32(1);  // abandoned
  EXPECT_EQ(dir.list(), Lines{"a.txt"});
  const std::string temporary = dir / "a.txt.tmp";
  EXPECT_EQ(log.lines(),
            (Lines{"100 LocalFileWriter: Writing to " + temporary,
                   "100 LocalFileWriter: Renaming as " + dir / "a.txt" + " from " + temporary,
                   "100 LocalFileWriter: Writing to " + temporary, "100 LocalFileWriter: Removing " + temporary}));
}

TEST_F(LocalFileWriterTest, letsUploadsOfOneNameRunSideBySide) {
  const auto first = open("x");
  const auto second = open("x");
  EXPECT_EQ(dir.list(), (Lines{"x(1).tmp", "x.tmp"}));
  second->getOutStream().writeU8('2');
  second->finish();
  first->finish();
  EXPECT_EQ(dir.list(), (Lines{"x", "x(1)"}));
  EXPECT_EQ(dir.read("x"), "2");  // in the order of their ends
}

TEST_F(LocalFileWriterTest, givesTheAnnouncedPermissionFromTheFirstByteOn) {
  const struct {
    int unixMode;  // -1: no attribute
    std::uint32_t flags;
    mode_t mask, expected;
  } cases[] = {{0100600, 0, 0, 0600}, {0100777, 0, 022, 0755}, {-1, 0, 022, 0644}, {-1, ReadOnly, 022, 0444}};
  for (const auto& c : cases) {
    const mode_t before = ::umask(c.mask);
    DirEntry entry("f", c.flags);
    if (c.unixMode >= 0) {
      setUnixMode(entry, static_cast<std::uint16_t>(c.unixMode));
    }
    const auto writer = open(entry);
    EXPECT_EQ(statOf("f.tmp").st_mode & 07777, c.expected);
    writer->finish();
    EXPECT_EQ(statOf("f").st_mode & 07777, c.expected);
    ASSERT_EQ(::unlink((dir / "f").c_str()), 0);
    ::umask(before);
  }
}

TEST_F(LocalFileWriterTest, takesOverTimesOnlyIfAsked) {
  DirEntry entry("f", 0);
  entry.modifyTime = plat::fileTimeFromUnix(1000000000);
  open(entry)->finish();
  const ParameterValue preserve("_FopsPreserveTimestamps", "1");
  open(entry)->finish();
  EXPECT_GT(statOf("f").st_mtime, 1500000000);
  EXPECT_EQ(statOf("f(1)").st_mtime, 1000000000);
  EXPECT_EQ(statOf("f(1)").st_atime, 1000000000);  // zero means the same time
}

TEST_F(LocalFileWriterTest, removesTheFileWhenItCannotEndIt) {
  auto writer = open("gone");
  ASSERT_EQ(::unlink((dir / "gone.tmp").c_str()), 0);
  EXPECT_EQ(test::raised([&] { writer->finish(); }),
            "fileRename(" + dir / "gone.tmp" + "," + dir / "gone" + "): No such file or directory (2)");
  for (int i = 0; i <= 99; ++i) {  // all that could stand in for the name
    dir.makeDir(i == 0 ? "t" : "t(" + std::to_string(i) + ")");
  }
  writer = open("t");
  EXPECT_EQ(test::raised([&] { writer->finish(); }), "Too many files with same name");
  writer.reset();
  EXPECT_EQ(dir.list().size(), 100U);
}

}  // namespace
}  // namespace fops
