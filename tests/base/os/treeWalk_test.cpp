#include "base/os/unix/treeWalk.h"

#include <filesystem>
#include <string>
#include <vector>

#include <dirent.h>
#include <gtest/gtest.h>

#include "base/os/unix/DirEnum.h"
#include "tests/support/TempDir.h"

namespace {

/// Notes what it is told, and puts a link to `outside` in the place of `swapped` when that folder's turn comes.
struct SwappingVisitor final : os::TreeVisitor {
  bool element(const os::DirEnum& at) override { return at.entryType() == DT_DIR; }
  bool stillFolder(const char* path) override {
    if (path != swapped) {
      return true;
    }
    std::filesystem::remove(path);
    std::filesystem::create_directory_symlink(outside, path);
    return false;
  }
  void enterFolder(const char* path) override { calls.push_back(std::string("in ") + path); }
  void leaveFolder(const char* path, std::exception_ptr error) override {
    calls.push_back((error ? "failed " : "out ") + std::string(path));
  }
  std::string swapped;
  std::string outside;
  std::vector<std::string> calls;
};

TEST(WalkTree, entersNothingThatItsVisitorNoLongerTakesForAFolder) {
  const test::TempDir dir, elsewhere;
  elsewhere.write("kept/file", "1");
  const std::string top = dir.makeDir("top"), inner = dir.makeDir("top/inner");
  SwappingVisitor visitor;
  visitor.swapped = inner;
  visitor.outside = elsewhere.path();
  os::walkTree(top.c_str(), visitor);
  EXPECT_EQ(visitor.calls, (std::vector<std::string>{"in " + top, "out " + top}));
  visitor.calls.clear();
  visitor.swapped = "";
  std::filesystem::remove(inner);
  dir.makeDir("top/inner");
  os::walkTree(top.c_str(), visitor);
  EXPECT_EQ(visitor.calls, (std::vector<std::string>{"in " + top, "in " + inner, "out " + inner, "out " + top}));
}

}  // namespace
