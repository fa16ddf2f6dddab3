#include "base/os/unix/treeWalk.h"

#include "base/os/unix/DirEnum.h"
#include "tests/support/prelude.h"

namespace {

/// Notes what it is told. When it has been told of two folders, there is a link to `outside` in the place of the first.
struct SwappingVisitor final : os::TreeVisitor {
  bool element(const os::DirEnum& at) override {
    sawKept = sawKept || std::strcmp(at.name(), "kept") == 0;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(at.path()))) {
      return false;
    }
    folders.emplace_back(at.path());
    if (folders.size() == 2) {
      std::filesystem::remove(folders[0]);
      std::filesystem::create_directory_symlink(outside, folders[0]);
    }
    return true;
  }
  void leaveFolder(const char* path, std::exception_ptr failure) override {
    (failure ? failed : left).emplace_back(path);
  }
  std::string outside;
  std::vector<std::string> folders, left, failed;
  bool sawKept = false;
};

TEST(WalkTree, entersALinkInAFoldersPlaceOnlyIfItMay) {
  for (const bool followLinks : {false, true}) {
    const test::TempDir dir, elsewhere;
    elsewhere.write("kept", "1");
    dir.makeDir("a");
    dir.makeDir("b");
    SwappingVisitor visitor;
    visitor.outside = elsewhere.path();
    os::walkTree(dir.path().c_str(), visitor, followLinks);
    ASSERT_EQ(visitor.folders.size(), 2U);
    EXPECT_EQ(visitor.sawKept, followLinks);
    visitor.folders.resize(followLinks ? 0 : 1);
    EXPECT_EQ(visitor.failed, visitor.folders) << "the one that is a link now, unless it may be entered";
    EXPECT_EQ(visitor.left.back(), dir.path());
  }
}

}  // namespace
