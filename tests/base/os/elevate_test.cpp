#include "base/os/elevate.h"

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/os/commandWords.h"
#include "base/os/environment.h"
#include "base/plat/BoolParameter.h"
#include "base/plat/Configuration.h"
#include "base/plat/StringParameter.h"
#include "tests/base/os/inChild.h"
#include "tests/support/TempDir.h"
#include "tests/support/thrown.h"

namespace {

using testing::ElementsAreArray;

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
      {"", {}},
      {" \t\n", {}},
      {"/usr/bin/xterm -e sudo", {"/usr/bin/xterm", "-e", "sudo"}},
      {"  a\t b\n", {"a", "b"}},
      {"\"/a b/c\" -t \"x  y\"z", {"/a b/c", "-t", "x  yz"}},
      {"a \"\" b", {"a", "", "b"}},
      {"a\\ b \\\"c \"d\\\"e\\\\ f\"", {"a b", "\"c", "d\"e\\ f"}},
      {"it's 'a b'", {"it's", "'a", "b'"}},
      {"a \"b c", {"a", "b c"}},
      {"a\\", {"a\\"}},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(textsOf(os::splitCommand(c.text)), ElementsAreArray(c.words)) << c.text;
  }
}

/// A `PATH` of one private folder with stand-ins, and a private folder for the files that tell distributions apart.
class ElevateTest : public testing::Test {
protected:
  ElevateTest() : path_(std::getenv("PATH")) {
    os::setEnvironment("PATH", dir.makeDir("bin").c_str());
    os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "");
    dir.makeDir("etc");
  }
  ~ElevateTest() override {
    os::setEnvironment("PATH", path_.c_str());
    os::unsetEnvironment("DBUS_SESSION_BUS_ADDRESS");
    os::allowPkexec = true;
    command().unsetParam(10, true);
    singleArg().unsetParam(10, true);
  }

  static plat::StringParameter& command() { return plat::Configuration::global().getStringParam("ElevateCmd"); }
  static plat::BoolParameter& singleArg() { return plat::Configuration::global().getBoolParam("ElevateCmdSingleArg"); }

  void install(const std::string& name, const std::string& script = "") {
    dir.write("bin/" + name, "#!/bin/sh\n" + script);
    ::chmod((dir / "bin/" + name).c_str(), 0755);
  }
  void remove(const std::string& name) { ::unlink((dir / "bin/" + name).c_str()); }

  std::vector<plat::String> elevated(std::vector<plat::String> args, const char* title) {
    os::getElevateProg(args, title, (dir / "etc").c_str());
    return args;
  }

  /// The words in front of a command "c", with the name alone of each program that was found.
  Texts front(const char* title = "App") {
    Texts words = textsOf(elevated({"c", "it's"}, title));
    for (std::string& word : words) {
      const std::string folder = dir / "bin/";
      if (word.rfind(folder, 0) == 0) {
        word.replace(0, folder.size(), "@");
      }
    }
    return words;
  }

  test::TempDir dir;

private:
  std::string path_;
};

TEST_F(ElevateTest, theConfiguredCommandNeedsNoSearch) {
  os::setEnvironment("PATH", "~/refused");
  command().setParam("\"/opt/my tools/root\" -x", 10);
  EXPECT_EQ(front(), (Texts{"/opt/my tools/root", "-x", "c", "it's"}));
  singleArg().setParam("1", 10);
  EXPECT_EQ(front(), (Texts{"/opt/my tools/root", "-x", "'c' 'it'\\''s'"}));
  command().setParam("  ", 10);
  EXPECT_EQ(test::messageFrom([&] { front(); }), "PATH contains invalid '~' character") << "blanks are no command";
}

TEST_F(ElevateTest, pkexecNeedsASessionBus) {
  for (const char* program : {"pkexec", "sudo", "xterm"}) {
    install(program);
  }
  const Texts terminal = {"@xterm", "-T", "", "-e", "@sudo", "c", "it's"};
  EXPECT_EQ(front(nullptr), terminal);
  os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/bus");
  EXPECT_EQ(front(), (Texts{"@pkexec", "c", "it's"}));
  os::allowPkexec = false;
  EXPECT_EQ(front(nullptr), terminal);
  os::allowPkexec = true;
  remove("pkexec");
  EXPECT_EQ(front(nullptr), terminal);
}

TEST_F(ElevateTest, theToolDependsOnWhatIsThere) {
  install("xterm");
  EXPECT_EQ(test::messageFrom([&] { front(); }), "Elevation not supported: no su or sudo found");
  const Texts byRoot = {"@xterm", "-T", "App - su password required", "-e", "su", "-", "root", "-c", "'c' 'it'\\''s'"};
  const std::string sudoTitle = "App - " + dir / "bin/sudo" + " password required";
  const Texts byUser = {"@xterm", "-T", sudoTitle, "-e", "@sudo", "c", "it's"};
  install("su");
  EXPECT_EQ(front(), byRoot);
  install("sudo");
  EXPECT_EQ(front(), byUser);
  dir.write("etc/redhat-release", "");
  EXPECT_EQ(front(), byRoot);
  remove("su");
  EXPECT_EQ(front(), byUser);
}

TEST_F(ElevateTest, theFirstTerminalOfTheTableWins) {
  install("sudo");
  std::vector<plat::String> args = {"c"};
  EXPECT_EQ(test::messageFrom([&] { os::getElevateProg(args, "App", (dir / "etc").c_str()); }),
            "Elevation not supported: no terminal found");
  EXPECT_EQ(textsOf(args), Texts{"c"});
  const Texts table[] = {
      // from the last to the first
      {"gnome-terminal", "--title", "", "--"},      {"foot", "-T", "", "-e"},       {"xfce4-terminal", "-T", "", "-x"},
      {"konsole", "--title", "", "--nofork", "-e"}, {"lxterminal", "-t", "", "-e"}, {"xterm", "-T", "", "-e"},
  };
  for (Texts words : table) {
    install(words[0]);
    words[0].insert(0, "@");
    words.insert(words.end(), {"@sudo", "c", "it's"});
    EXPECT_EQ(front(nullptr), words);
  }
}

TEST_F(ElevateTest, ubuntusTerminalIsToldToWait) {
  install("sudo");
  install("gnome-terminal");
  for (const auto& [name, waits] : {std::pair("Twig", false), std::pair("xubunTU Core", true)}) {
    dir.write("etc/os-release", std::string("NAME=\"") + name + "\"\nVERSION_ID=1\n");
    Texts words = {"@gnome-terminal", "--title", "", "--", "@sudo", "c", "it's"};
    if (waits) {
      words.insert(words.begin() + 3, "--disable-factory");
    }
    EXPECT_EQ(front(nullptr), words);
  }
}

TEST_F(ElevateTest, wordsArriveIntactThroughTheShell) {
  const Texts words = {"it's", "", "a  b", "$HOME `id` \\", "\"", "''", "*", "new\nline", "-n", "\xc3\xa9;&|<>"};
  install("xterm", "shift 3\nexec \"$@\"\n");
  install("sudo", "exec \"$@\"\n");
  install("su", "[ \"$#:$1 $2 $3\" = '4:- root -c' ] && exec /bin/sh -c \"$4\"\n");
  install("show", "printf '[%s]' \"$@\"\n");
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
