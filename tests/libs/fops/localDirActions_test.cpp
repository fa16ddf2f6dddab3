#include "libs/fops/LocalDirActions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/plat/Exception.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/LocalFsRoot.h"
#include "tests/libs/fops/protoTestSupport.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"

namespace fops {
namespace {

using Names = std::vector<std::string>;

/// Keeps the last result as text: the paths or names, then type and message of the error.
class RecordingCallback : public DirActions::Callback {
public:
  void getRootResult(const DirEntry& root) override { keep(root.name.orEmpty(), plat::Exception()); }
  void dirScanResult(const std::vector<DirEntry>& list, const plat::Exception& error) override {
    std::string names;
    for (const DirEntry& entry : list)
      names += std::string(names.empty() ? "" : " ") + entry.name.orEmpty();
    keep(names, error);
  }
  void createFolderResult(const char* path, const plat::Exception& error) override { keep(path, error); }
  void deleteFileOrFolderResult(const char* path, const plat::Exception& error) override { keep(path, error); }
  void renameFileOrFolderResult(const char* from, const char* to, const plat::Exception& error) override {
    keep(std::string(from) + " > " + to, error);
  }

  std::string last;
  int calls = 0;

private:
  void keep(const std::string& what, const plat::Exception& error) {
    ++calls;
    last = what + (error.isEmpty() ? "" : std::string(" [") + error.type + "] " + error.message);
  }
};

class LocalDirActionsTest : public testing::Test {
protected:
  std::string scan(const char* path, bool dirs = true, bool files = true) {
    actions.dirScan(path, dirs, files);
    return std::exchange(callback.last, "");
  }
  std::string create(const char* parent, const char* name) {
    actions.createFolder(parent, name);
    return std::exchange(callback.last, "");
  }
  std::string remove(const char* path) {
    actions.deleteFileOrFolder(path);
    return std::exchange(callback.last, "");
  }
  std::string rename(const char* from, const char* to) {
    actions.renameFileOrFolder(from, to);
    return std::exchange(callback.last, "");
  }

  test::TempDir dir;
  LocalFsRoot root{dir.path().c_str()};
  RecordingCallback callback;
  LocalDirActions actions{callback, root, "host", true};
};

TEST_F(LocalDirActionsTest, namesTheRootAfterTheMachine) {
  const LogLines lines;
  actions.getRoot();
  EXPECT_EQ(callback.last, "host");
  EXPECT_EQ(lines.all(), Names{"LocalDirActions 100 Getting root " + dir.path() + " name host"});
  const LocalFsRoot lost((dir / "none").c_str());
  EXPECT_THROW(LocalDirActions(callback, lost, "host", true).getRoot(), plat::Exception);
  EXPECT_EQ(callback.calls, 1);
}

TEST_F(LocalDirActionsTest, listsFoldersFirstInNaturalOrder) {
  for (const char* name : {"a10", "a2", "b"})
    dir.write(name, "");
  dir.makeDir("z10");
  dir.makeDir("z9/x");
  EXPECT_EQ(scan(nullptr), "z9 z10 a2 a10 b");
  EXPECT_EQ(scan("", true, false), "z9 z10");
  EXPECT_EQ(scan("", false, true), "a2 a10 b");
  EXPECT_EQ(scan("", false, false), "");
  EXPECT_EQ(scan("z9"), "x");
  EXPECT_EQ(scan("z10"), "");
  const LogLines lines;
  scan("");
  scan("z9");
  EXPECT_EQ(lines.all(), (Names{"LocalDirActions 100 Listing directory <root>, full path " + dir.path(),
                                "LocalDirActions 100 Listing directory z9, full path " + dir / "z9"}));
}

TEST_F(LocalDirActionsTest, typesTheErrorsOfAListing) {
  dir.write("f", "");
  dir.makeDir("closed");
  ::chmod((dir / "closed").c_str(), 0);
  test::Unprivileged::give(dir / "closed");
  ::chmod(dir.path().c_str(), 0755);
  const test::Unprivileged rights;
  const LogLines lines;
  const std::string missing = "opendir(" + dir / "none" + "): No such file or directory (2)";
  EXPECT_EQ(scan("none"), " [NotFound] " + missing);
  EXPECT_TRUE(lines.has("LocalDirActions 30 Error reading directory 'none': [System-2] " + missing));
  EXPECT_EQ(scan("f"), " [NotFound] opendir(" + dir / "f" + "): Not a directory (20)");
  EXPECT_EQ(scan("closed"), " [AccessDenied] opendir(" + dir / "closed" + "): Permission denied (13)");
  const std::string loop(300, 'n');
  EXPECT_EQ(scan(loop.c_str()).rfind(" [System-36] opendir(", 0), 0U);  // any other keeps its own
}

TEST_F(LocalDirActionsTest, createsFoldersUnderFreeNames) {
  EXPECT_EQ(create("", "x.y"), "x.y");
  EXPECT_EQ(create("", "x.y"), "x(1).y");
  EXPECT_EQ(create("new/parent", "n"), "new/parent/n");
  struct stat st {};
  ASSERT_EQ(::stat((dir / "new/parent").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 077, 0U);
  EXPECT_EQ(dir.list(), (Names{"new", "x(1).y", "x.y"}));
}

TEST_F(LocalDirActionsTest, reportsAFolderMadeInARootThatEndsInASlash) {
  const LocalFsRoot slashed((dir.path() + "/").c_str());
  LocalDirActions(callback, slashed, "host", true).createFolder("", "n");
  EXPECT_EQ(callback.last, "n [BadPath] Invalid path: starts with /");
  EXPECT_EQ(dir.list(), Names{"n"});  // it is there all the same
}

TEST_F(LocalDirActionsTest, reportsAFolderThatCannotBeMade) {
  dir.write("f", "data");
  const LogLines lines;
  const std::string error = "[System-20] mkDir(" + dir / "f/n" + "): Not a directory (20)";
  EXPECT_EQ(create("f", "n"), "f/n " + error);
  EXPECT_EQ(lines.all(), (Names{"LocalDirActions 30 Create new dir " + dir / "f/n",
                                "LocalDirActions 30 Failed to create new dir f/n: " + error}));
  for (int i = 0; i <= 99; ++i)
    dir.makeDir(i == 0 ? "t" : "t(" + std::to_string(i) + ")");
  EXPECT_EQ(create("", "t"), "t [] Too many files with same name");
  EXPECT_EQ(dir.list().size(), 101U);
  EXPECT_EQ(dir.read("f"), "data");
}

TEST_F(LocalDirActionsTest, deletesFilesAndWholeTrees) {
  dir.write("f", "");
  dir.write("t/u/v", "");
  dir.link("nowhere", "dangling");
  dir.write("stays", "");
  EXPECT_EQ(remove("f"), "f");
  EXPECT_EQ(remove("t"), "t");
  EXPECT_EQ(remove("dangling"), "dangling");
  EXPECT_EQ(dir.list(), Names{"stays"});
  const LogLines lines;
  const std::string message = "fileRemove(" + dir / "f" + "): No such file or directory (2)";
  EXPECT_EQ(remove("f"), "f [System-2] " + message);
  EXPECT_EQ(lines.all(),
            (Names{"LocalDirActions 30 Delete path f", "LocalDirActions 30 Failed to delete f - " + message}));
}

TEST_F(LocalDirActionsTest, emptiesTheFolderBehindALinkAndKeepsTheLink) {
  dir.write("t/u/v", "");
  dir.link("t", "link");
  EXPECT_EQ(remove("link"), "link [System-20] rmDir(" + dir / "link" + "): Not a directory (20)");
  EXPECT_EQ(dir.list(), (Names{"link", "t"}));
  EXPECT_TRUE(dir.list("t").empty());
}

TEST_F(LocalDirActionsTest, removesWhatItMayOfATree) {
  dir.write("t/mine", "");
  dir.write("t/fixed/kept", "");
  ::chmod((dir / "t/fixed").c_str(), 0500);
  for (const char* name : {"", "t", "t/fixed"})
    test::Unprivileged::give(dir / name);
  {
    const test::Unprivileged rights;
    EXPECT_EQ(remove("t"), "t [System-39] rmDir(" + dir / "t" + "): Directory not empty (39)");
  }
  EXPECT_EQ(dir.list("t"), Names{"fixed"});
  EXPECT_EQ(dir.list("t/fixed"), Names{"kept"});
}

TEST_F(LocalDirActionsTest, renamesAsTheSystemDoes) {
  dir.write("a", "new");
  dir.write("b", "old");
  dir.write("full/f", "");
  dir.makeDir("d");
  EXPECT_EQ(rename("a", "b"), "a > b");
  EXPECT_EQ(dir.read("b"), "new");
  EXPECT_EQ(rename("b", "d/c"), "b > d/c");
  EXPECT_EQ(dir.list("d"), Names{"c"});
  const LogLines lines;
  const std::string error = "[System-39] fileRename(" + dir / "d" + "," + dir / "full" + "): Directory not empty (39)";
  EXPECT_EQ(rename("d", "full"), "d > full " + error);
  EXPECT_EQ(lines.all(), (Names{"LocalDirActions 30 Renaming path from d to full",
                                "LocalDirActions 30 Failed to rename d: " + error}));
  EXPECT_EQ(dir.list("d"), Names{"c"});
  EXPECT_EQ(dir.list("full"), Names{"f"});
}

}  // namespace
}  // namespace fops
