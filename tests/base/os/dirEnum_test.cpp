#include "base/os/unix/DirEnum.h"

#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/os/unix/treeWalk.h"
#include "base/plat/AssertionFail.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace os {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

TEST(DirEnum, givesEveryElementOnceWithItsFullPath) {
  const test::TempDir dir;
  std::set<std::string> expected = {".hidden", "..strange", std::string(255, 'n'), "\xff\xfe"};
  for (int i = 0; i < 500; ++i) {  // more than one read of the folder yields
    expected.insert(std::string(60, 'f') + std::to_string(i));
  }
  for (const std::string& name : expected) {
    dir.write(name, "");
  }
  for (const std::string& path : {dir.path(), dir.path() + "/"}) {
    DirEnum at(path.c_str());
    std::set<std::string> found;
    while (const char* const name = at.next()) {
      EXPECT_STREQ(at.name(), name);
      EXPECT_EQ(at.path(), dir / name);
      EXPECT_TRUE(found.insert(name).second) << name;
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(at.next(), nullptr) << "and stays at the end";
  }
  dir.makeDir("empty");
  EXPECT_EQ(DirEnum((dir / "empty").c_str()).next(), nullptr);
}

TEST(DirEnum, raisesWhatItCannotOpenOrRead) {
  const test::TempDir dir;
  dir.write("file", "");
  plat::SystemException failure = test::failureFrom([&] { DirEnum at((dir / "file").c_str()); });
  EXPECT_THAT(failure.message, StartsWith("opendir(" + (dir / "file") + "): "));
  EXPECT_EQ(failure.err, ENOTDIR);
  for (const char* empty : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_THAT(test::messageFrom<plat::AssertionFail>([&] { DirEnum at(empty); }),
                StartsWith("Assertion 'dirLen > 0' failed at base/os/unix/DirEnum:"));
  }
  DirEnum at(dir.path().c_str());
  ::close(at.fd());
  failure = test::failureFrom([&] { at.next(); });
  EXPECT_THAT(failure.message, StartsWith("readdir: "));
  EXPECT_EQ(failure.err, EBADF);
}

// Writes down what it is told; enters folders, and nothing through links.
class RecordingVisitor : public TreeVisitor {
public:
  explicit RecordingVisitor(const test::TempDir& dir) : prefix_(dir.path().size()) {}

  void enterFolder(const char* path) override { log.push_back("enter " + std::string(path + prefix_)); }
  bool element(const DirEnum& at) override {
    log.push_back("element " + std::string(at.path() + prefix_));
    struct stat info {};
    return ::lstat(at.path(), &info) == 0 && S_ISDIR(info.st_mode);
  }
  void leaveFolder(const char* path, std::exception_ptr failure) override {
    log.push_back((failure ? "fail " : "leave ") + std::string(path + prefix_));
  }

  std::vector<std::string> log;

private:
  std::size_t prefix_;
};

TEST(TreeWalk, tellsAFolderWholeBeforeItEntersWhatIsInIt) {
  const test::TempDir dir;
  dir.makeDir("a/b/c");
  dir.write("file", "");
  RecordingVisitor visitor(dir);
  for (const char* top : {"a", "file"}) {
    walkTree((dir / top).c_str(), visitor);
  }
  EXPECT_THAT(visitor.log, ElementsAre("enter /a", "element /a/b", "enter /a/b", "element /a/b/c", "enter /a/b/c",
                                       "leave /a/b/c", "leave /a/b", "leave /a", "enter /file", "fail /file"));
}

}  // namespace
}  // namespace os
