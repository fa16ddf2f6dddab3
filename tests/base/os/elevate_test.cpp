// Programs found through PATH, and the one that gets root's rights.

#include "base/os/elevate.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/os/commandWords.h"
#include "base/os/environment.h"
#include "base/os/programPath.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "tests/base/os/inChild.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace {

using Texts = std::vector<std::string>;

Texts textsOf(const std::vector<plat::String>& words) {
  Texts texts;
  for (const plat::String& word : words) {
    texts.emplace_back(word.orEmpty());
  }
  return texts;
}

TEST(CommandWords, areSplitAtBlanksOutsideOfQuotes) {
  const struct {
    const char* text;
    Texts words;
  } cases[] = {
      {" \t\n", {}},
      {"  a\t b\n", {"a", "b"}},
      {"\"/a b/c\" -t \"x  y\"z", {"/a b/c", "-t", "x  yz"}},
      {"a \"\" b", {"a", "", "b"}},
      {"a\\ b \\\"c \"d\\\"e\\\\ f\"", {"a b", "\"c", "d\"e\\ f"}},
      {"it's 'a b'", {"it's", "'a", "b'"}},
      {"a \"b c", {"a", "b c"}},
      {"a\\", {"a\\"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(textsOf(os::splitCommand(c.text)), c.words) << c.text;
  }
}

/// Gives `PATH` back at the end.
class FindProgramTest : public testing::Test {
protected:
  ~FindProgramTest() override { os::setEnvironment("PATH", path_.c_str()); }

  void install(const std::string& name, const std::string& script = "", mode_t mode = 0755) {
    dir.write(name, "#!/bin/sh\n" + script);
    ::chmod((dir / name).c_str(), mode);
  }

  test::TempDir dir;

private:
  std::string path_ = std::getenv("PATH");
};

TEST_F(FindProgramTest, theFirstThingOfThatNameInPathDecides) {
  dir.makeDir("empty");
  dir.makeDir("folder/tool");
  install("good/tool");
  install("late/tool");
  install("bad/tool", "", 0644);
  const auto withPath = [&](std::initializer_list<const char*> elements) {
    std::string path;
    for (const char* element : elements) {
      path += (path.empty() ? "" : ":") + (*element == '~' ? element : dir / element);
    }
    os::setEnvironment("PATH", path.c_str());
    return os::findExecutable("tool", true);
  };
  EXPECT_EQ(withPath({"empty", "good", "late"}), (dir / "good/tool").c_str());
  EXPECT_TRUE(withPath({"bad", "good"}).isNull());
  EXPECT_TRUE(withPath({"folder", "good"}).isNull());
  EXPECT_EQ(withPath({"good", "~/bin"}), (dir / "good/tool").c_str());
  EXPECT_EQ(test::messageFrom([&] { withPath({"empty", "~/bin", "good"}); }), "PATH contains invalid '~' character");
  EXPECT_TRUE(os::findExecutable("tool", false).isNull());

  EXPECT_EQ(os::findExecutable((dir / "late/../good/tool").c_str(), false), (dir / "good/tool").c_str());
  for (const char* name : {"bad/tool", "folder/tool", "missing/tool"}) {
    EXPECT_TRUE(os::findExecutable((dir / name).c_str(), true).isNull());
  }
}

TEST_F(FindProgramTest, programsAreLookedForBesideThisOne) {
  const plat::String self = os::programPath();
  const std::string name = std::string(self.get()).substr(std::string(self.get()).rfind('/') + 1);
  EXPECT_EQ(os::findProgram(nullptr, true, false), self);
  EXPECT_EQ(os::findProgram(name.c_str(), true, false), self);
  EXPECT_TRUE(os::findProgram("no-such-program", false, true).isNull());
  EXPECT_EQ(test::failureFrom([] { os::findProgram("no-such-program", true, true); }).err, ENOENT);
}

/// A `PATH` of one private folder with stand-ins, and a private folder for the files that tell distributions apart.
class ElevateTest : public FindProgramTest {
protected:
  ElevateTest() {
    os::setEnvironment("PATH", dir.makeDir("bin").c_str());
    os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "");
    dir.makeDir("etc");
  }
  ~ElevateTest() override {
    os::unsetEnvironment("DBUS_SESSION_BUS_ADDRESS");
    os::allowPkexec = true;
    command.unsetParam(10, true);
    singleArg.unsetParam(10, true);
  }

  void remove(const std::string& name) { ::unlink((dir / name).c_str()); }

  std::vector<plat::String> elevated(std::vector<plat::String> args, const char* title) {
    os::getElevateProg(args, title, (dir / "etc").c_str());
    return args;
  }

  /// The words in front of a command "c", with the name alone of each program that was found.
  Texts front(const char* title = nullptr) {
    Texts words = textsOf(elevated({"c", "it's"}, title));
    const std::string folder = dir / "bin/";
    for (std::string& word : words) {
      if (word.starts_with(folder)) {
        word.replace(0, folder.size(), "@");
      }
    }
    return words;
  }
  std::string failure() {
    return test::messageFrom([this] { front(); });
  }

  plat::StringParameter& command = plat::Configuration::global().getStringParam("ElevateCmd");
  plat::BoolParameter& singleArg = plat::Configuration::global().getBoolParam("ElevateCmdSingleArg");
};

TEST_F(ElevateTest, theConfiguredCommandNeedsNoSearch) {
  os::setEnvironment("PATH", "~/refused");
  command.setParam("\"/opt/my tools/root\" -x", 10);
  EXPECT_EQ(front(), (Texts{"/opt/my tools/root", "-x", "c", "it's"}));
  singleArg.setParam("1", 10);
  EXPECT_EQ(front(), (Texts{"/opt/my tools/root", "-x", "'c' 'it'\\''s'"}));
  command.setParam("  ", 10);
  EXPECT_EQ(failure(), "PATH contains invalid '~' character") << "blanks are no command";
}

TEST_F(ElevateTest, theToolDependsOnWhatIsThere) {
  install("bin/xterm");
  EXPECT_EQ(failure(), "Elevation not supported: no su or sudo found");
  const Texts byRoot = {"@xterm", "-T", "App - su password required", "-e", "su", "-", "root", "-c", "'c' 'it'\\''s'"};
  const std::string sudoTitle = "App - " + dir / "bin/sudo" + " password required";
  const Texts byUser = {"@xterm", "-T", sudoTitle, "-e", "@sudo", "c", "it's"};
  install("bin/su");
  EXPECT_EQ(front("App"), byRoot);
  install("bin/sudo");
  EXPECT_EQ(front("App"), byUser);
  dir.write("etc/redhat-release", "");
  EXPECT_EQ(front("App"), byRoot);
  remove("bin/su");
  EXPECT_EQ(front("App"), byUser);

  install("bin/pkexec");
  EXPECT_EQ(front("App"), byUser) << "there is no session bus";
  os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/bus");
  EXPECT_EQ(front("App"), (Texts{"@pkexec", "c", "it's"}));
  os::allowPkexec = false;
  EXPECT_EQ(front("App"), byUser);
  os::allowPkexec = true;
  remove("bin/pkexec");
  EXPECT_EQ(front("App"), byUser);
}

TEST_F(ElevateTest, theFirstTerminalOfTheTableWins) {
  install("bin/sudo");
  EXPECT_EQ(failure(), "Elevation not supported: no terminal found");
  const struct {
    Texts words;
    const char* osName = "Twig";
  } cases[] = {
      // from the last to the first
      {{"gnome-terminal", "--title", "", "--"}},
      {{"gnome-terminal", "--title", "", "--disable-factory", "--"}, "xubunTU Core"},
      {{"foot", "-T", "", "-e"}},
      {{"xfce4-terminal", "-T", "", "-x"}},
      {{"konsole", "--title", "", "--nofork", "-e"}},
      {{"lxterminal", "-t", "", "-e"}},
      {{"xterm", "-T", "", "-e"}},
  };
  for (const auto& c : cases) {
    install("bin/" + c.words[0]);
    dir.write("etc/os-release", "NAME=\"" + std::string(c.osName) + "\"\nVERSION_ID=1\n");
    Texts words = c.words;
    words[0].insert(0, "@");
    words.insert(words.end(), {"@sudo", "c", "it's"});
    EXPECT_EQ(front(), words);
  }
}

TEST_F(ElevateTest, wordsArriveIntactThroughTheShell) {
  const Texts words = {"it's", "", "a  b", "$HOME `id` \\", "\"", "''", "*", "new\nline", "-n", "\xc3\xa9;&|<>"};
  install("bin/xterm", "shift 3\nexec \"$@\"\n");
  install("bin/sudo", "exec \"$@\"\n");
  install("bin/su", "[ \"$#:$1 $2 $3\" = '4:- root -c' ] && exec /bin/sh -c \"$4\"\n");
  install("bin/show", "printf '[%s]' \"$@\"\n");
  std::vector<plat::String> args = {plat::String((dir / "bin/show").c_str())};
  std::string expected;
  for (const std::string& word : words) {
    args.emplace_back(word.c_str());
    expected += "[" + word + "]";
  }
  for (const char* release : {"etc/other", "etc/redhat-release"}) {
    dir.write(release, "");
    const std::vector<plat::String> all = elevated(args, "A 'title'");
    const test::Outcome outcome = test::inChild([&all] {
      std::vector<char*> argv;
      for (const plat::String& word : all) {
        argv.push_back(const_cast<char*>(word.get()));
      }
      argv.push_back(nullptr);
      ::execv(argv[0], argv.data());
    });
    EXPECT_EQ(outcome, (test::Outcome{0, expected, ""}));
  }
}

}  // namespace
