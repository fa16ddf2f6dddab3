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
      {nullptr, ".", "..", "."},
      {"./", ".", "..", "."},
      {"//", "/", "/", ""},
      {"/../../a", "/a", "/", "a"},
      {"a/", "a", ".", "a"},
      {"/a//./b/", "/a/b", "/a", "b"},
      {"a/..", ".", "..", "."},
      {"a/../b", "b", ".", "b"},
      {"/a/../..", "/", "/", ""},
      {"/a/b/../../c", "/c", "/", "c"},
      {"..", "..", "../..", "."},
      {"a/../..", "..", "../..", "."},
      {"../a", "../a", "..", "a"},
      {"../a/..", "..", "../..", "."},
      {"..a/b..", "..a/b..", "..a", "b.."},
      {"a../..", ".", "..", "."},
      {"/a/ ...", "/a/ ...", "/a", " ..."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path ? c.path : "(null)");
    EXPECT_EQ(text(fileNormalise(c.path)), c.normal);
    EXPECT_EQ(text(fileDirName(c.path)), c.dir);
    EXPECT_EQ(text(fileBaseName(c.path)), c.base);
  }
}

TEST(FilePaths, baseNameCutsASuffixShorterThanTheElement) {
  const struct {
    const char *path, *suffix, *expected;
  } cases[] = {{"/bin/tool.EXE", ".exe", "tool"}, {"tool.exe", "", "tool.exe"}, {"tool.exe", ".ex", "tool.exe"},
               {"/x/.exe/", ".exe", ".exe"},      {"exe", ".exe", "exe"},       {"a.exe.exe", ".exe", "a.exe"}};
  for (const auto& c : cases) {
    EXPECT_EQ(text(fileBaseName(c.path, c.suffix)), c.expected) << c.path;
  }
}

TEST(FilePaths, areJoinedWithOneSlashAndSanitisedOfControlBytes) {
  EXPECT_EQ(text(fileJoin("/a", "b")), "/a/b");
  EXPECT_EQ(text(fileJoin("/", "b")), "/b");
  EXPECT_EQ(text(fileSanitiseName("a/b\x01\n\t\x1f\x20\x7f\xc3\xa9", '-')), "a-b---- -\xc3\xa9");
  EXPECT_EQ(text(fileSanitiseName(nullptr, '-')), "(null)");
}

}  // namespace
}  // namespace plat
