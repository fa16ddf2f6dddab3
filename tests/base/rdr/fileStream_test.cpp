#include <cstdio>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "TestStreams.h"
#include "base/os/unix/FileFdOutStream.h"
#include "base/rdr/FileOutStream.h"
#include "base/rdr/TransactedFileOutStream.h"
#include "tests/support/TempDir.h"

using test::pattern;
using test::put;
using test::raised;
using test::TempDir;

namespace {

mode_t modeOf(const std::string& path) {
  struct stat st {};
  stat(path.c_str(), &st);
  return st.st_mode & 07777;
}

}  // namespace

TEST(FileOutStream, writesWhatIsPendingToTheFileItWasWrittenFor) {
  const TempDir dir;
  const std::string bytes = pattern(50000);
  {
    rdr::FileOutStream out((dir / "a").c_str());
    put(out, bytes);
    out.open((dir / "b").c_str());
    put(out, "b");
    out.attach(std::fopen((dir / "c").c_str(), "w"), true);
    put(out, "c");
  }
  { put(*std::make_unique<rdr::FileOutStream>((dir / "b").c_str(), 1), "+"); }
  EXPECT_EQ(dir.read("a"), bytes);
  EXPECT_EQ(dir.read("b"), "b+") << "appends";
  EXPECT_EQ(dir.read("c"), "c");
}

TEST(FileStreams, reportAFullDevice) {
  rdr::FileOutStream out("/dev/full");
  put(out, "x");
  EXPECT_EQ(raised([&] { out.flush(); }), "writing to file failed: No space left on device (28)");
  os::FileFdOutStream direct("/dev/full", {O_WRONLY, 0});
  put(direct, "x");
  EXPECT_EQ(raised([&] { direct.flush(); }), "write: No space left on device (28)");
  EXPECT_EQ(raised([&] { put(direct, pattern(20000)); }), "write: No space left on device (28)");
}

TEST(FileFdOutStream, writesAndClosesWhatItOwns) {
  const TempDir dir;
  const std::string path = dir / "f";
  const std::string bytes = pattern(40000);
  int fd = -1;
  {
    os::FileFdOutStream out(path.c_str(), {O_WRONLY | O_CREAT | O_EXCL, 0600});
    fd = out.fd();
    put(out, bytes);
    EXPECT_EQ(dir.read("f").size(), 36864U) << "in whole pages";
    EXPECT_EQ(modeOf(path), 0600U);
  }
  EXPECT_LT(fcntl(fd, F_GETFD), 0);
  EXPECT_EQ(raised([&] {
              os::FileFdOutStream again(path.c_str(), {O_WRONLY | O_CREAT | O_EXCL, 0600});
            }),
            "fileOpenFd(" + path + "): File exists (17)");
  fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  { put(*std::make_unique<os::FileFdOutStream>(fd, false), "+"); }
  EXPECT_EQ(dir.read("f"), bytes + "+");
  EXPECT_EQ(close(fd), 0);
}

TEST(FileFdOutStream, joinsBufferedBytesAndLargeBlocksInOrder) {
  const TempDir dir;
  std::string written;
  os::FileFdOutStream out((dir / "f").c_str(), {O_WRONLY | O_CREAT, 0600});
  for (const std::size_t length : {5U, 16384U, 16379U, 1U, 16383U, 16385U, 4096U, 65536U, 16800U, 16800U, 3U}) {
    const std::string block = pattern(length + written.size()).substr(written.size());
    put(out, block);
    written += block;
    EXPECT_EQ(out.length(), written.size()) << length;
    EXPECT_EQ(dir.read("f").size() + static_cast<std::size_t>(out.nPending()), written.size()) << length;
  }
  out.flush();
  EXPECT_EQ(dir.read("f"), written);
}

TEST(TransactedFileOutStream, replacesTheTargetOnlyOnCommit) {
  const TempDir dir;
  const std::string path = dir / "f";
  dir.write("f", "old");
  chmod(path.c_str(), 0640);
  dir.write("f.tmp", "a long leftover of somebody else");
  {
    rdr::TransactedFileOutStream out(path.c_str(), 1);
    put(out, "abandoned");
    out.flush();
    EXPECT_EQ(modeOf(path + ".tmp"), 0640U);
    EXPECT_EQ(dir.read("f.tmp").find("leftover"), std::string::npos);
  }
  EXPECT_EQ(dir.list(), std::vector<std::string>{"f"});
  EXPECT_EQ(dir.read("f"), "old");
  const std::string bytes = pattern(50000);
  rdr::TransactedFileOutStream out(path.c_str(), 16);
  put(out, bytes);
  out.commit();
  out.commit();
  EXPECT_EQ(dir.read("f"), bytes);
  EXPECT_EQ(dir.list(), std::vector<std::string>{"f"});
  EXPECT_EQ(modeOf(path), 0600U) << "private, as was asked for";
}

TEST(TransactedFileOutStream, leavesNothingAfterAFailure) {
  const TempDir dir;
  const std::string inNoFolder = dir / "missing/f";
  EXPECT_NE(raised([&] { rdr::TransactedFileOutStream out(inNoFolder.c_str()); }), "");
  const std::string path = dir.makeDir("folder");
  EXPECT_EQ(raised([&] { rdr::TransactedFileOutStream(path.c_str()).commit(); }),
            "fileRename(" + path + ".tmp," + path + "): Is a directory (21)");
  EXPECT_EQ(dir.list(), std::vector<std::string>{"folder"});
}
