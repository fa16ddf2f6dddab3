// The command-line program as people and scripts use it, against the real helper over each kind of link.

#include <chrono>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "tests/apps/Child.h"
#include "tests/apps/Environment.h"
#include "tests/support/TempDir.h"

namespace {

struct Outcome {
  int status;
  std::string output;
  std::string errors;
};

Outcome run(const std::string& root, const std::vector<std::string>& words) {
  std::vector<std::string> all = {environment::kelfops(), "--root", root};
  all.insert(all.end(), words.begin(), words.end());
  Child child(all);
  const int status = child.wait();
  return {status, child.output(), child.errors()};
}

std::string large() {
  std::string bytes;
  for (int i = 0; i < 300000; ++i) {
    bytes += std::to_string(i);
  }
  return bytes;
}

void makeTree(const test::TempDir& dir) {
  dir.write("tree/a.txt", "alpha");
  dir.write("tree/empty", "");
  dir.write("tree/sub/deep/large.bin", large());
  dir.makeDir("tree/nothing");
  for (int i = 0; i < 200; ++i) {
    dir.write("tree/many/" + std::to_string(i), std::to_string(i));
  }
}

void expectTree(const test::TempDir& dir, const std::string& top) {
  EXPECT_EQ(dir.list(top), (std::vector<std::string>{"a.txt", "empty", "many", "nothing", "sub"}));
  EXPECT_EQ(dir.read(top + "/a.txt"), "alpha");
  EXPECT_EQ(dir.read(top + "/empty"), "");
  EXPECT_EQ(dir.read(top + "/sub/deep/large.bin"), large());
  EXPECT_EQ(dir.list(top + "/many").size(), 200U);
  EXPECT_EQ(dir.read(top + "/many/199"), "199");
}

}  // namespace

TEST(Kelfops, transfersATreeBothWaysOverEveryLinkAndVersion) {
  const test::TempDir remote;
  const test::TempDir local;
  makeTree(remote);
  for (const char* link : {"socket", "fd", "stdin"}) {
    for (const char* version : {"3", "4"}) {
      SCOPED_TRACE(std::string(link) + " " + version);
      const std::string name = std::string(link) + version;
      const auto get =
          run(remote.path(), {"--link", link, "--client-version", version, "get", "-r", "tree", local / name});
      EXPECT_EQ(get.status, 0) << get.errors;
      EXPECT_NE(get.output.find("203 files, 5 folders, "), std::string::npos) << get.output;
      expectTree(local, name);
      const auto put = run(remote.path(), {"--link", link, "--client-version", version, "put", "-r", local / name});
      EXPECT_EQ(put.status, 0) << put.errors;
      expectTree(remote, name);
    }
  }
}

TEST(Kelfops, listsAndTellsAboutTheHelper) {
  const test::TempDir dir;
  dir.write("file10", "0123456789");
  dir.write("file9", "x");
  dir.makeDir("folder");
  chmod((dir / "file10").c_str(), 0604);
  const auto names = run(dir.path(), {"ls"});
  EXPECT_EQ(names.status, 0) << names.errors;
  EXPECT_EQ(names.output, "folder\nfile9\nfile10\n");
  const auto details = run(dir.path(), {"ls", "-l", ""});
  EXPECT_NE(details.output.find("-rw----r--           10 20"), std::string::npos) << details.output;
  const auto info = run(dir.path(), {"info"});
  EXPECT_EQ(info.status, 0);
  EXPECT_NE(info.output.find("protocol version  4\n"), std::string::npos) << info.output;
}

TEST(Kelfops, changesTheTree) {
  const test::TempDir dir;
  dir.write("a", "a");
  EXPECT_EQ(run(dir.path(), {"mkdir", "new"}).status, 0);
  EXPECT_EQ(run(dir.path(), {"mkdir", "new/inner"}).status, 0);
  EXPECT_EQ(run(dir.path(), {"mv", "a", "new/inner/b"}).status, 0);
  EXPECT_EQ(dir.read("new/inner/b"), "a");
  EXPECT_EQ(run(dir.path(), {"rm", "new"}).status, 0);
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(Kelfops, givesCollidingNamesANumberOnBothSides) {
  const test::TempDir remote;
  const test::TempDir local;
  remote.write("f.txt", "remote");
  remote.write("d/x", "remote");
  local.write("f.txt", "local");
  local.write("d/x", "local");
  EXPECT_EQ(run(remote.path(), {"get", "f.txt", local.path()}).status, 0);
  EXPECT_EQ(local.read("f(1).txt"), "remote");
  EXPECT_EQ(run(remote.path(), {"get", "-r", "d", local.path()}).status, 0);
  EXPECT_EQ(local.read("d(1)/x"), "remote");
  EXPECT_EQ(run(remote.path(), {"put", local / "f.txt"}).status, 0);
  EXPECT_EQ(remote.read("f(1).txt"), "local");
  EXPECT_EQ(run(remote.path(), {"put", "-r", local / "d"}).status, 0);
  EXPECT_EQ(remote.read("d(1)/x"), "local");
}

TEST(Kelfops, tellsRefusalsWithTextAndType) {
  const test::TempDir dir;
  dir.makeDir("folder");
  for (const auto& [words, text] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"get", "../x"}, "kelfops: ../x: [BadPath] Invalid path: . or ..\n"},
           {{"get", "folder"}, "kelfops: folder: Path is a directory\n"},
           {{"mkdir", "/x"}, "kelfops: /x: [BadPath] Invalid path: starts with /\n"},
           {{"rm", "/x"}, "kelfops: /x: [BadPath] Invalid path: starts with /\n"},
           {{"ls", "absent"},
            "kelfops: absent: [NotFound] opendir(" + dir / "absent" + "): No such file or directory (2)\n"}}) {
    const auto outcome = run(dir.path(), words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, text);
  }
}

TEST(Kelfops, reportsAFileThatFailsAndGoesOnWithTheRest) {
  const test::TempDir remote;
  const test::TempDir local;
  remote.write("d/good", "1");
  remote.write("d/secret", "2");
  remote.write("d/zzz", "3");
  chmod((remote / "d/secret").c_str(), 0);
  const auto get = run(remote.path(), {"get", "-r", "d", local.path()});
  EXPECT_EQ(get.status, 1);
  EXPECT_NE(get.errors.find("kelfops: d/secret: [System-13] "), std::string::npos) << get.errors;
  EXPECT_EQ(local.list("d"), (std::vector<std::string>{"good", "zzz"}));

  local.write("up/good", "1");
  local.write("up/secret", "2");
  chmod((local / "up/secret").c_str(), 0);
  const auto put = run(remote.path(), {"put", "-r", local / "up"});
  EXPECT_EQ(put.status, 1);
  EXPECT_EQ(remote.list("up"), std::vector<std::string>{"good"});

  local.write("links/plain", "x");
  local.link("nowhere", "links/dangling");
  const auto links = run(remote.path(), {"put", "-r", local / "links"});
  EXPECT_EQ(links.status, 1);
  EXPECT_NE(links.errors.find("/links/dangling: [System-2] stat("), std::string::npos) << links.errors;
  EXPECT_EQ(remote.list("links"), std::vector<std::string>{"plain"});
}

TEST(Kelfops, uploadsNoFolderIntoItself) {
  const test::TempDir dir;
  dir.makeDir("a/b");
  for (const char* destination : {"a", "a/b"}) {
    const auto put = run(dir.path(), {"put", "-r", dir / "a", destination});
    EXPECT_EQ(put.status, 1);
    EXPECT_NE(put.errors.find("cannot upload a folder into itself"), std::string::npos) << put.errors;
  }
  EXPECT_EQ(dir.list("a/b"), std::vector<std::string>{});
}

TEST(Kelfops, noticesAtOnceThatTheHelperIsDead) {
  const test::TempDir remote;
  const test::TempDir local;
  // One holds the link open for longer than anybody would wait.
  for (const auto& [link, holder] : {std::pair("socket", ""), std::pair("fd", "sleep 20 >/dev/null 2>&1 &\n")}) {
    SCOPED_TRACE(link);
    local.write("helper", std::string("#!/bin/sh\n") + holder + "(sleep 0.3; kill -9 $$) &\nexec " +
                              environment::helper() + " \"$@\"\n");
    chmod((local / "helper").c_str(), 0755);
    const auto begin = std::chrono::steady_clock::now();
    const auto dead = run(remote.path(), {"--link", link, "--helper", local / "helper", "ls", "--repeat", "100000000"});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_EQ(dead.status, 3);
    EXPECT_NE(dead.errors.find("kelfops: the helper ended with signal SIGKILL"), std::string::npos) << dead.errors;
  }
}

TEST(Kelfops, showsTheHelpersLogAndPassesSettings) {
  const test::TempDir dir;
  const auto quiet = run(dir.path(), {"ls"});
  EXPECT_EQ(quiet.errors, "");
  const auto lines = run(dir.path(), {"--log-level", "100", "ls"});
  EXPECT_NE(lines.errors.find(": SFopsProto (30): Session started, fops version 4 client version 4\n"),
            std::string::npos)
      << lines.errors;
  EXPECT_NE(lines.errors.find("Scanning directory <root>"), std::string::npos);
  const auto badSetting = run(dir.path(), {"--set", "MaxOutBufferSize=1", "ls"});
  EXPECT_EQ(badSetting.status, 3);
}

TEST(Kelfops, keepsItsExitStatusesForScripts) {
  const test::TempDir dir;
  EXPECT_EQ(run(dir.path(), {}).status, 2);
  EXPECT_EQ(run(dir.path(), {"frobnicate"}).status, 2);
  EXPECT_EQ(run(dir.path(), {"--client-version", "2", "ls"}).status, 2);
  EXPECT_EQ(run(dir.path(), {"mv", "a"}).status, 2);
  EXPECT_EQ(run(dir.path(), {"--helper", "/absent", "ls"}).status, 3);
  Child dies({environment::kelfops(), "--root", dir.path(), "--helper", "/bin/false", "ls"}, -1, -1,
             [] { signal(SIGCHLD, SIG_IGN); });  // which would have the helper reaped unseen
  EXPECT_EQ(dies.wait(), 3);
  EXPECT_NE(dies.errors().find("exit status 1"), std::string::npos) << dies.errors();
  EXPECT_EQ(run(dir.path(), {"--help"}).status, 0);
}
