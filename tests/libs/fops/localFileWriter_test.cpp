#include "libs/fops/LocalFileWriter.h"

#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "base/plat/Exception.h"
#include "base/plat/Time.h"
#include "base/rdr/OutStream.h"
#include "libs/fops/DataSender.h"
#include "libs/fops/FileReceiver.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"

namespace fops {
namespace {

using Names = std::vector<std::string>;

const os::OpenArgs Args{O_WRONLY | O_CREAT | O_TRUNC, 0644};

std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const plat::Exception& error) {
    return std::string(error.type) + ' ' + error.message;
  }
  return "none";
}

/// Sets the umask for as long as it lives.
class Umask {
public:
  explicit Umask(mode_t mask) : before_(::umask(mask)) {}
  ~Umask() { ::umask(before_); }

private:
  const mode_t before_;
};

class LocalFileWriterTest : public testing::Test {
protected:
  std::unique_ptr<LocalFileWriter> open(const char* name, const char* folder = "") {
    return std::make_unique<LocalFileWriter>(DirEntry(name, 0), (dir / folder).c_str(), Args);
  }
  void upload(const char* name, const std::string& bytes) {
    const auto writer = open(name);
    writer->getOutStream().writeBytes(bytes.data(), static_cast<int>(bytes.size()));
    writer->finish();
  }
  mode_t modeOf(const std::string& name) {
    struct stat st {};
    EXPECT_EQ(::stat((dir / name).c_str(), &st), 0);
    return st.st_mode & 07777;
  }

  test::TempDir dir;
};

TEST_F(LocalFileWriterTest, writesBesideTheDestinationAndRenamesAtTheEnd) {
  const LogLines lines;
  const auto writer = open("a.txt");
  EXPECT_EQ(dir.list(), Names{"a.txt.tmp"});
  EXPECT_STREQ(writer->displayPath(), (dir / "a.txt").c_str());
  const std::string bytes(100000, 'q');
  writer->getOutStream().writeBytes(bytes.data(), 100000);
  writer->finish();
  EXPECT_EQ(dir.list(), Names{"a.txt"});
  EXPECT_EQ(dir.read("a.txt"), bytes);
  EXPECT_EQ(lines.all(), (Names{"LocalFileWriter 100 Writing to " + dir / "a.txt.tmp",
                                "LocalFileWriter 100 Renaming as " + dir / "a.txt" + " from " + dir / "a.txt.tmp"}));
}

TEST_F(LocalFileWriterTest, replacesNothing) {
  struct Case {
    const char* name;
    Names ends;  // names that successive uploads take
  };
  for (const Case& c : {Case{"a.txt", {"a.txt", "a(1).txt", "a(2).txt"}},
                        {"noext", {"noext", "noext(1)"}},
                        {".bashrc", {".bashrc", "(1).bashrc"}},
                        {"a.", {"a.", "a(1)."}},
                        {"tab\there", {"tab-here", "tab-here(1)"}}}) {
    for (std::size_t i = 0; i < c.ends.size(); ++i) {
      upload(c.name, std::to_string(i));
      EXPECT_EQ(dir.read(c.ends[i]), std::to_string(i));
    }
  }
}

TEST_F(LocalFileWriterTest, letsUploadsOfOneNameRunSideBySide) {
  const auto first = open("x");
  const auto second = open("x");
  EXPECT_EQ(dir.list(), (Names{"x(1).tmp", "x.tmp"}));
  second->getOutStream().writeU8('2');
  first->getOutStream().writeU8('1');
  second->finish();
  first->finish();
  EXPECT_EQ(dir.list(), (Names{"x", "x(1)"}));
  EXPECT_EQ(dir.read("x"), "2");  // in the order of their ends
}

TEST_F(LocalFileWriterTest, givesTheAnnouncedPermissionFromTheFirstByteOn) {
  struct Case {
    int unixMode;  // -1: no attribute
    std::uint32_t flags;
    mode_t mask;
    mode_t expected;
  };
  for (const Case& c : {Case{0100600, 0, 0, 0600},
                        {0100777, 0, 022, 0755},
                        {0100444, 0, 022, 0444},
                        {0100000, 0, 022, 0},
                        {-1, 0, 022, 0644},
                        {-1, ReadOnly, 022, 0444},
                        {-1, 0, 077, 0600}}) {
    SCOPED_TRACE(c.unixMode);
    const Umask umask(c.mask);
    DirEntry entry("f", c.flags);
    if (c.unixMode >= 0)
      setUnixMode(entry, static_cast<std::uint16_t>(c.unixMode));
    LocalFileWriter writer(entry, dir.path().c_str(), Args);
    EXPECT_EQ(modeOf("f.tmp"), c.expected);
    writer.getOutStream().writeU8('x');
    writer.finish();
    EXPECT_EQ(modeOf("f"), c.expected);
    ASSERT_EQ(::unlink((dir / "f").c_str()), 0);
  }
}

TEST_F(LocalFileWriterTest, takesOverTimesOnlyIfAsked) {
  DirEntry entry("f", 0);
  entry.modifyTime = plat::fileTimeFromUnix(1000000000);
  for (const char* preserve : {"0", "1"}) {
    const ParameterValue parameter("_FopsPreserveTimestamps", preserve);
    LocalFileWriter writer(entry, (dir.path() + "/").c_str(), Args);
    writer.finish();
  }
  struct stat st {};
  ASSERT_EQ(::stat((dir / "f").c_str(), &st), 0);
  EXPECT_GT(st.st_mtime, 1500000000);
  ASSERT_EQ(::stat((dir / "f(1)").c_str(), &st), 0);
  EXPECT_EQ(st.st_mtime, 1000000000);
  EXPECT_EQ(st.st_atime, 1000000000);  // zero means the same time
}

TEST_F(LocalFileWriterTest, leavesNothingWhenAbandoned) {
  dir.write("f", "old");
  const LogLines lines;
  {
    const auto writer = open("f");
    writer->getOutStream().writeU32(1);
  }
  EXPECT_EQ(dir.list(), Names{"f"});
  EXPECT_EQ(dir.read("f"), "old");
  EXPECT_TRUE(lines.has("LocalFileWriter 100 Removing " + dir / "f.tmp"));
}

TEST_F(LocalFileWriterTest, createsNothingWhenItCannotOpen) {
  EXPECT_EQ(failureOf([&] { open("f", "none"); }),
            "System-2 fileOpenFd(" + dir / "none/f.tmp" + "): No such file or directory (2)");
  dir.write("plain", "");
  EXPECT_EQ(failureOf([&] { open("f", "plain"); }),
            "System-20 fileOpenFd(" + dir / "plain/f.tmp" + "): Not a directory (20)");
  for (int i = 0; i <= 99; ++i)
    dir.write(i == 0 ? "t.tmp" : "t(" + std::to_string(i) + ").tmp", "");
  dir.allowTemporaryFiles();
  EXPECT_EQ(failureOf([&] { open("t"); }), " Too many files with same name");
  EXPECT_EQ(dir.list().size(), 101U);
}

TEST_F(LocalFileWriterTest, createsNothingWhereItHasNoRight) {
  for (const char* name : {"fixed", "closed"}) {
    dir.makeDir(name);
    test::Unprivileged::give(dir / name);
  }
  ::chmod((dir / "fixed").c_str(), 0500);
  ::chmod((dir / "closed").c_str(), 0600);
  ::chmod(dir.path().c_str(), 0755);
  {
    const test::Unprivileged rights;
    EXPECT_EQ(failureOf([&] { open("f", "fixed"); }),
              "System-13 fileOpenFd(" + dir / "fixed/f.tmp" + "): Permission denied (13)");
    EXPECT_EQ(failureOf([&] { open("f", "closed"); }),
              "System-13 fileExists(" + dir / "closed/f.tmp" + "): Permission denied (13)");
  }
  EXPECT_TRUE(dir.list("fixed").empty());
  EXPECT_TRUE(dir.list("closed").empty());
}

TEST_F(LocalFileWriterTest, removesTheFileWhenItCannotEndIt) {
  {
    const auto writer = open("gone");
    ASSERT_EQ(::unlink((dir / "gone.tmp").c_str()), 0);
    EXPECT_EQ(failureOf([&] { writer->finish(); }),
              "System-2 fileRename(" + dir / "gone.tmp" + "," + dir / "gone" + "): No such file or directory (2)");
  }
  EXPECT_TRUE(dir.list().empty());
  for (int i = 0; i <= 99; ++i)
    dir.write(i == 0 ? "t" : "t(" + std::to_string(i) + ")", "");
  {
    const auto writer = open("t");
    EXPECT_EQ(failureOf([&] { writer->finish(); }), " Too many files with same name");
  }
  EXPECT_EQ(dir.list().size(), 100U);
}

/// The peer of an upload that fails: keeps the cancel.
class CancelledPeer : public DataSender {
public:
  void dataReq(TransferId, std::uint64_t) override {}
  void cancelByReceiver(TransferId, const plat::Exception& error) override { type = error.type; }
  std::string type;
};

TEST_F(LocalFileWriterTest, leavesNothingWhenTheDiskFillsUp) {
  // A limit on the size of files stands in for the full disk: write() fails in the middle of the file.
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  CancelledPeer peer;
  FileReceiver receiver(peer);
  DirEntry entry("big", 0);
  entry.size = 200000;
  receiver.add(1, std::make_unique<LocalFileWriter>(entry, dir.path().c_str(), Args));
  struct rlimit limited = before;
  limited.rlim_cur = 100000;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
  const std::string bytes(50000, 'x');
  for (int i = 0; i < 4; ++i)
    receiver.dataChunk(1, static_cast<std::uint64_t>(i) * 50000, 50000,
                       reinterpret_cast<const std::uint8_t*>(bytes.data()));
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(peer.type, "System-27");
  EXPECT_TRUE(dir.list().empty());
}

}  // namespace
}  // namespace fops
