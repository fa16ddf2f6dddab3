// The command-line program as people and scripts use it, against the real helper over each kind of link.

#include "tests/apps/Child.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using Names = std::vector<std::string>;

class KelfopsTest : public testing::Test {
protected:
  Outcome kel(const Names& words) { return run({kelfops(), "--root", remote.path()}, words); }

  /// Runs commands, each of which has to succeed.
  void succeed(const std::vector<Names>& commands) {
    for (const Names& words : commands) {
      const Outcome outcome = kel(words);
      EXPECT_EQ(outcome.status, 0) << testing::PrintToString(words) << outcome.errors;
    }
  }

  const test::TempDir remote;
  const test::TempDir local;
};

}  // namespace

TEST_F(KelfopsTest, transfersATreeBothWaysOverEveryLinkAndVersion) {
  remote.write("tree/a.txt", "alpha");
  remote.write("tree/empty", "");
  remote.write("tree/sub/deep/large.bin", test::pattern(1700000));
  remote.makeDir("tree/nothing");
  for (int i = 0; i < 400; ++i) {  // more than fits into a stream's window when it is listed
    remote.write("tree/many/" + std::to_string(i), std::to_string(i));
  }
  const auto expectSame = [&](const std::string& copy) {
    const Outcome difference = run({"/bin/sh", "-c", R"(diff -r "$0" "$1")", remote / "tree", copy});
    EXPECT_EQ(difference.status, 0) << difference.output << difference.errors;
  };
  for (const char* link : {"socket", "fd", "stdin"}) {
    for (const char* version : {"3", "4"}) {
      const std::string name = std::string(link) + version;
      SCOPED_TRACE(name);
      const auto get = kel({"--link", link, "--client-version", version, "get", "-r", "tree", local / name});
      EXPECT_EQ(get.status, 0) << get.errors;
      EXPECT_THAT(get.output, HasSubstr("403 files, 5 folders, "));
      expectSame(local / name);
      const auto put = kel({"--link", link, "--client-version", version, "put", "-r", local / name});
      EXPECT_EQ(put.status, 0) << put.errors;
      expectSame(remote / name);
    }
  }
}

TEST_F(KelfopsTest, listsChangesTheTreeAndTellsAboutTheHelper) {
  remote.write("file10", "0123456789");
  remote.write("file9", "x");
  remote.makeDir("folder");
  chmod((remote / "file10").c_str(), 0604);
  const auto names = kel({"ls"});
  EXPECT_EQ(names.status, 0) << names.errors;
  EXPECT_EQ(names.output, "folder\nfile9\nfile10\n");
  EXPECT_EQ(names.errors, "");
  const auto details = kel({"ls", "-l", ""});
  EXPECT_THAT(details.output, HasSubstr("-rw----r--           10 20"));
  const auto info = kel({"info"});
  EXPECT_EQ(info.status, 0);
  EXPECT_THAT(info.output, HasSubstr("protocol version  4\n"));
  const std::string log = kel({"--log-level", "100", "ls"}).errors;
  EXPECT_THAT(log, HasSubstr(": SFopsProto (30): Session started, fops version 4 client version 4\n"));
  EXPECT_THAT(log, HasSubstr("Scanning directory <root>"));

  succeed({{"mkdir", "folder/inner"},
           {"mv", "file9", "folder/inner/b"},
           {"mkdir", "other/"},
           {"mv", "folder/inner/", "other/"},
           {"mv", "other/inner/b", "/"},
           {"mv", "b", "other//"},
           {"rm", "folder"}});
  EXPECT_EQ(remote.list(), (Names{"file10", "other"}));
  EXPECT_EQ(remote.list("other"), (Names{"b", "inner"}));
  EXPECT_EQ(remote.read("other/b"), "x");
  EXPECT_EQ(kel({"rm", "other/"}).status, 0);
  EXPECT_FALSE(remote.exists("other"));
}

TEST_F(KelfopsTest, givesCollidingNamesANumberOnBothSides) {
  for (const char* name : {"f.txt", "d/x"}) {
    remote.write(name, "remote");
    local.write(name, "local");
  }
  succeed({{"get", "f.txt", local.path()},
           {"get", "-r", "d", local.path()},
           {"put", local / "f.txt"},
           {"put", "-r", local / "d"}});
  for (const char* name : {"f(1).txt", "d(1)/x"}) {
    EXPECT_EQ(local.read(name), "remote");
    EXPECT_EQ(remote.read(name), "local");
  }
}

TEST_F(KelfopsTest, endsWithAStatusAndWordsForScripts) {
  remote.makeDir("folder/sub");
  remote.write("file", "1");
  remote.link("folder/sub", "link");
  local.link(remote / "link", "link");
  const std::string folder = remote / "folder";
  const std::string itself = "load a folder into itself";
  const struct {
    Names words;
    int status;
    std::string text;  // a part of what stands on standard error
  } cases[] = {
      {{"get", "../x"}, 1, "kelfops: ../x: [BadPath] Invalid path: . or ..\n"},
      {{"get", "folder"}, 1, "kelfops: folder: Path is a directory\n"},
      {{"mkdir", "/x"}, 1, "kelfops: /x: [BadPath] Invalid path: starts with /\n"},
      {{"rm", "/x"}, 1, "kelfops: /x: [BadPath] Invalid path: starts with /\n"},
      {{"ls", "absent"},
       1,
       "kelfops: absent: [NotFound] opendir(" + remote / "absent" + "): No such file or directory (2)\n"},
      {{"put", "-r", folder, "folder"}, 1, itself},
      {{"put", "-r", folder, "folder/sub"}, 1, itself},
      {{"get", "-r", "folder", folder + "/sub/new"}, 1, itself},
      {{"get", "-r", "folder", local / "link"}, 1, itself},
      {{"put", "-r", folder, "link"}, 1, itself},
      {{"get", "file", local / "new/"}, 1, "kelfops: file: [System-20] " + local / "new: Not a directory (20)\n"},
      {{}, 2, ""},
      {{"frobnicate"}, 2, ""},
      {{"--client-version", "2", "ls"}, 2, ""},
      {{"mv", "a"}, 2, ""},
      {{"--helper", "/absent", "ls"}, 3, ""},
      {{"--set", "MaxOutBufferSize=1", "ls"}, 3, "(--link fd shows its complaint)"},
      {{"--help"}, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    const Outcome outcome = kel(c.words);
    EXPECT_EQ(outcome.status, c.status);
    EXPECT_THAT(outcome.errors, HasSubstr(c.text));
    EXPECT_TRUE(!c.text.ends_with('\n') || outcome.errors == c.text) << outcome.errors;
  }
  EXPECT_EQ(remote.list("folder/sub"), Names{});
  Child dies({kelfops(), "--root", remote.path(), "--helper", "/bin/false", "ls"},
             [] { signal(SIGCHLD, SIG_IGN); });  // which would have the helper reaped unseen
  EXPECT_EQ(dies.wait(), 3);
  EXPECT_THAT(dies.errors(), HasSubstr("exit status 1"));
}

TEST_F(KelfopsTest, reportsAFileThatFailsAndGoesOnWithTheRest) {
  for (const test::TempDir* dir : {&remote, &local}) {
    for (const char* name : {"good", "secret", "zzz"}) {
      dir->write(std::string(dir == &remote ? "d/" : "up/") + name, "1");
    }
  }
  chmod((remote / "d/secret").c_str(), 0);
  chmod((local / "up/secret").c_str(), 0);
  local.link("nowhere", "up/dangling");
  const auto get = kel({"get", "-r", "d", local.path()});
  EXPECT_EQ(get.status, 1);
  EXPECT_THAT(get.errors, HasSubstr("kelfops: d/secret: [System-13] "));
  EXPECT_EQ(local.list("d"), (Names{"good", "zzz"}));
  const auto put = kel({"put", "-r", local / "up"});
  EXPECT_EQ(put.status, 1);
  EXPECT_THAT(put.errors, HasSubstr("/up/dangling: [System-2] stat("));
  EXPECT_EQ(remote.list("up"), (Names{"good", "zzz"}));
}

TEST_F(KelfopsTest, leavesNothingHalfDoneWhenItsGroupIsInterrupted) {
  for (const test::TempDir* dir : {&local, &remote}) {
    dir->write("endless", "");
    std::filesystem::resize_file(*dir / "endless", 1LL << 32);
  }
  for (const auto& [sig, words, to] : {std::tuple(SIGINT, Names{"put", local / "endless"}, &remote),
                                       {SIGTERM, {"get", "endless", local.path()}, &local},
                                       {SIGHUP, {"get", "endless", local.path()}, &local},
                                       {SIGHUP, {"put", local / "endless"}, &remote}}) {
    SCOPED_TRACE(testing::PrintToString(words) + std::to_string(sig));
    Names command = {kelfops(), "--root", remote.path()};
    command.insert(command.end(), words.begin(), words.end());
    Child child(command, [] {
      setpgid(0, 0);
      for (const int heeded : {SIGINT, SIGTERM, SIGHUP}) {  // whatever the tests were started with
        signal(heeded, SIG_DFL);
      }
    });
    while (!to->exists("endless.tmp") && child.isRunning()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(-child.pid(), sig);
    EXPECT_EQ(child.wait(), 3);
    EXPECT_THAT(child.errors(), HasSubstr("kelfops: interrupted\n"));
    EXPECT_THAT(child.errors(), Not(HasSubstr("TimedOut")));
    EXPECT_EQ(to->list(), Names{"endless"});
  }
}

TEST_F(KelfopsTest, noticesAtOnceThatTheHelperIsDead) {
  // One holds the link open for longer than a test waits for a program.
  for (const auto& [link, holder] : {std::pair("socket", ""), std::pair("fd", "sleep 40 >/dev/null 2>&1 &\n")}) {
    SCOPED_TRACE(link);
    local.write("helper",
                std::string("#!/bin/sh\n") + holder + "(sleep 0.3; kill -9 $$) &\nexec " + helper() + " \"$@\"\n");
    chmod((local / "helper").c_str(), 0755);
    const auto dead = kel({"--link", link, "--helper", local / "helper", "ls", "--repeat", "100000000"});
    EXPECT_EQ(dead.status, 3);
    EXPECT_THAT(dead.errors, HasSubstr("kelfops: the helper ended with signal SIGKILL"));
  }
}
