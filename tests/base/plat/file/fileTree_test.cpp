#include "base/plat/file/fileTree.h"

#include "base/plat/file/file.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

class FileTreeTest : public testing::Test {
protected:
  ~FileTreeTest() override { ::umask(umaskBefore); }

  mode_t modeOf(const char* name) const {
    struct stat info {};
    EXPECT_EQ(::stat((dir / name).c_str(), &info), 0) << name;
    return info.st_mode & 07777;
  }
  std::string unique(const char* name, int limit = 99) const {
    return fileMakeUnique(dir.path().c_str(), name, "(", ")", limit).get();
  }

  test::TempDir dir;
  const mode_t umaskBefore = ::umask(022);
};

TEST_F(FileTreeTest, mkDirsMakesWhatIsMissingTightensOnlyTheLastAndMatchesTheParentIfAsked) {
  const auto make = [&](const std::string& name, bool isPrivate, bool tighten) {
    return mkDirs((dir / name).c_str(), isPrivate, tighten);
  };
  EXPECT_TRUE(mkDir((dir / "a").c_str(), false, false));
  EXPECT_TRUE(make("a/b/c//d/", true, false));
  EXPECT_EQ(modeOf("a"), 0755u);
  for (const char* name : {"a/b", "a/b/c", "a/b/c/d"}) {
    EXPECT_EQ(modeOf(name), 0700u) << name;
    ::chmod((dir / name).c_str(), 0755);
  }
  EXPECT_FALSE(make("a/b/c", true, false));
  EXPECT_FALSE(make("a/b/c", false, true));
  EXPECT_EQ(modeOf("a/b/c"), 0755u) << "left as it was";
  EXPECT_FALSE(make("a/b/c", true, true));
  EXPECT_EQ(modeOf("a/b/c"), 0700u);
  EXPECT_EQ(modeOf("a/b"), 0755u);

  dir.write("file", "x");
  dir.link("gone", "dangling");
  EXPECT_EQ(failureFrom([&] { mkDir((dir / "file").c_str(), false, false); }).err, EEXIST);
  EXPECT_EQ(failureFrom([&] { make("file/x/y", false, false); }).err, ENOTDIR);
  const SystemException failure = failureFrom([&] { make("dangling/x", false, false); });
  EXPECT_EQ(failure.err, EEXIST);
  EXPECT_THAT(failure.message, StartsWith("mkDir(" + (dir / "dangling") + "): ")) << "tells which one failed";
  EXPECT_EQ(failureFrom([] { mkDirs("", false, false); }).err, ENOENT);

  ::chmod(dir.makeDir("top").c_str(), 02775);
  for (const auto& [name, isPrivate, mode] : {std::tuple("top/open", false, 02755u), {"top/private", true, 02700u}}) {
    EXPECT_TRUE(mkDirMatchParent((dir / name).c_str(), isPrivate));
    EXPECT_FALSE(mkDirMatchParent((dir / name).c_str(), !isPrivate)) << "one that is there is left alone";
    EXPECT_EQ(modeOf(name), mode);
  }
}

TEST_F(FileTreeTest, rmDirLeavesWhatLinksPointToAndTellsWhyTheTopStays) {
  dir.write("kept/inner/file", "x");
  dir.write("tree/a/b/.hidden", "x");
  dir.makeDir("tree/empty");
  dir.link("../../kept", "tree/a/toFolder");
  dir.link("../kept/inner/file", "tree/toFile");
  dir.link("nowhere", "tree/dangling");
  ASSERT_EQ(::mkfifo((dir / "tree/fifo").c_str(), 0600), 0);
  rmDir((dir / "tree").c_str(), true);
  EXPECT_THAT(dir.list(), ElementsAre("kept"));

  dir.write("target/a/file", "x");
  dir.link("target", "link");
  for (const auto& [name, recursive, err] : {std::tuple("kept", false, ENOTEMPTY),
                                             {"kept/inner/file", true, ENOTDIR},
                                             {"gone", true, ENOENT},
                                             {"link", true, ENOTDIR}}) {
    const std::string path = dir / name;
    const SystemException failure = failureFrom([&, all = recursive] { rmDir(path.c_str(), all); });
    EXPECT_THAT(failure.message, StartsWith("rmDir(" + path + "): "));
    EXPECT_EQ(failure.err, err) << name;
  }
  EXPECT_EQ(dir.read("kept/inner/file"), "x");
  EXPECT_THAT(dir.list("target"), IsEmpty()) << "a link at the top is followed, but stays";
  EXPECT_EQ(failureFrom([] { rmDir("", true); }).err, ENOENT);
}

TEST_F(FileTreeTest, rmDirRemovesAllThatItCanAroundWhatItCannot) {
  for (const char* name : {"tree/a/file", "tree/stuck/inner/file", "tree/unreadable/file"}) {
    dir.write(name, "x");
  }
  for (const char* name : {"", "tree", "tree/a", "tree/stuck", "tree/stuck/inner", "tree/unreadable"}) {
    Unprivileged::give(dir / name);
  }
  {
    const Unprivileged rights;
    ::chmod((dir / "tree/stuck").c_str(), 0500);  // "inner" is emptied, but stays
    ::chmod((dir / "tree/unreadable").c_str(), 0);
    EXPECT_EQ(failureFrom([&] { rmDir((dir / "tree").c_str(), true); }).err, ENOTEMPTY) << "not the refusals below";
    ::chmod((dir / "tree/unreadable").c_str(), 0700);
  }
  EXPECT_THAT(dir.list("tree"), ElementsAre("stuck", "unreadable"));
  EXPECT_THAT(dir.list("tree/stuck/inner"), IsEmpty());
}

TEST_F(FileTreeTest, rmDirGoesAsDeepAsPathsReachWithHardlyAnyDescriptor) {
  const std::string before = getWorkingDir().get();
  chDir(dir.makeDir("tree").c_str());
  for (std::size_t length = dir.path().size() + 5; length + 2 <= 4095;) {
    const std::string name(std::min<std::size_t>(240, 4095 - length - 1), 'n');
    ASSERT_EQ(::mkdir(name.c_str(), 0700), 0);
    ASSERT_EQ(::symlink(name.c_str(), "l"), 0);
    chDir(name.c_str());
    length += 1 + name.size();
  }
  chDir(before.c_str());
  const SystemException failure = [&] {
    const test::FdLimit few(test::fewDescriptors(2));
    return failureFrom([&] { rmDir((dir / "tree").c_str(), true); });
  }();
  EXPECT_EQ(failure.err, -1) << failure.message;
  EXPECT_THAT(dir.list(), IsEmpty());
}

TEST_F(FileTreeTest, uniqueNamesPutTheNumberBeforeTheExtensionUpToTheLimit) {
  for (const auto& [name, free, collided] : {std::tuple("a.b.c", "a.b.c", "a.b(1).c"),
                                             {".profile", ".profile", "(1).profile"},
                                             {"a\n/b.t", "a--b.t", "a--b(1).t"},
                                             {"a(1)", "a(1)", "a(1)(1)"}}) {
    EXPECT_EQ(unique(name, 0), dir / free);
    dir.write(free, "");
    EXPECT_EQ(unique(name), dir / collided);
  }
  dir.write("x.t", "");
  dir.write("x(1).t", "");
  EXPECT_EQ(unique("x.t", 2), dir / "x(2).t");
  EXPECT_EQ(messageFrom([&] { unique("x.t", 1); }), "Too many files with same name");
  dir.link("nowhere", "dangling");
  EXPECT_EQ(unique("dangling"), dir / "dangling") << "a dangling link does not count as taken";
  EXPECT_EQ(failureFrom([&] { unique(std::string(300, 'n').c_str()); }).err, ENAMETOOLONG);
}

TEST_F(FileTreeTest, searchesTakeTheFirstThatExists) {
  const String dirs[] = {(dir / "gone").c_str(), dir.makeDir("one").c_str(), dir.makeDir("two").c_str()};
  dir.write("one/x", "");
  dir.write("two/x", "");
  dir.write("tree/deep/name/name/file", "");
  dir.link("nowhere", "tree/dangling");
  const auto search = [&](const char* name) { return fileSearchPath({dirs, dirs + 3}, name); };
  const auto find = [&](const char* name) { return fileFindInTree((dir / "tree").c_str(), name); };
  EXPECT_EQ(search("x"), (dir / "one/x").c_str());
  EXPECT_TRUE(search("z").isNull());
  EXPECT_EQ(find("name"), (dir / "tree/deep/name/name").c_str()) << "what is inside goes first";
  EXPECT_TRUE(find("dangling").isNull());
  EXPECT_TRUE(fileFindInTree("", "x").isNull());
}

}  // namespace
}  // namespace plat
