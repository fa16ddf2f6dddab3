#include "base/plat/filePaths.h"

#include <string>

#include <gtest/gtest.h>

namespace plat {
namespace {

std::string text(const String& s) {
  return s.isNull() ? "(null)" : s.get();
}

TEST(FilePaths, normaliseDirNameAndBaseNameGoByTheLettersAlone) {
  const struct {
    const char *path, *normal, *dir, *base;
  } cases[] = {
      {"", ".", "..", "."},
      {".", ".", "..", "."},
      {"./", ".", "..", "."},
      {"/", "/", "/", ""},
      {"//", "/", "/", ""},
      {"/..", "/", "/", ""},
      {"/../../a", "/a", "/", "a"},
      {"/.", "/", "/", ""},
      {"a", "a", ".", "a"},
      {"a/", "a", ".", "a"},
      {"/a", "/a", "/", "a"},
      {"/a//b/", "/a/b", "/a", "b"},
      {"a/./b", "a/b", "a", "b"},
      {"a/..", ".", "..", "."},
      {"a/../b", "b", ".", "b"},
      {"/a/b/../../c", "/c", "/", "c"},
      {"/a/../..", "/", "/", ""},
      {"..", "..", "../..", "."},
      {"../..", "../..", "../../..", "."},
      {"a/../..", "..", "../..", "."},
      {"../a", "../a", "..", "a"},
      {"../a/..", "..", "../..", "."},
      {"...", "...", ".", "..."},
      {"..a/b..", "..a/b..", "..a", "b.."},
      {"a../..", ".", "..", "."},
      {"/a/ b", "/a/ b", "/a", " b"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(text(fileNormalise(c.path)), c.normal) << c.path;
    EXPECT_EQ(text(fileDirName(c.path)), c.dir) << c.path;
    EXPECT_EQ(text(fileBaseName(c.path)), c.base) << c.path;
  }
  EXPECT_EQ(text(fileNormalise(nullptr)), ".");
}

TEST(FilePaths, baseNameCutsASuffixShorterThanTheElement) {
  const struct {
    const char *path, *suffix, *expected;
  } cases[] = {
      {"/bin/tool.EXE", ".exe", "tool"}, {"tool.exe", "", "tool.exe"},      {"tool.exe", ".ex", "tool.exe"},
      {".exe", ".exe", ".exe"},          {"/x/.exe/", ".exe", ".exe"},      {"exe", ".exe", "exe"},
      {"a.exe.exe", ".exe", "a.exe"},    {"tool.exe", nullptr, "tool.exe"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(text(fileBaseName(c.path, c.suffix)), c.expected) << c.path;
  }
}

TEST(FilePaths, joinWritesOneSlash) {
  EXPECT_EQ(text(fileJoin("/a", "b")), "/a/b");
  EXPECT_EQ(text(fileJoin("/a/", "b")), "/a/b");
  EXPECT_EQ(text(fileJoin("/", "b")), "/b");
}

TEST(FilePaths, sanitisedNamesHoldNoSlashAndNoControlByte) {
  EXPECT_EQ(text(fileSanitiseName("a/b\x01\n\t\x1f\x20\x7f\xc3\xa9", '-')), "a-b---- \x2d\xc3\xa9" + std::string());
  EXPECT_EQ(text(fileSanitiseName("", '-')), "");
  EXPECT_EQ(text(fileSanitiseName(nullptr, '-')), "(null)");
}

TEST(FilePaths, absoluteMeansALeadingSlash) {
  EXPECT_TRUE(isAbsolutePath("/"));
  EXPECT_TRUE(isAbsolutePath("//x"));
  for (const char* path : {"", "a", "./a", "~"}) {
    EXPECT_FALSE(isAbsolutePath(path)) << path;
  }
  EXPECT_FALSE(isAbsolutePath(nullptr));
}

}  // namespace
}  // namespace plat
