// Programs found through PATH, and the one that gets root's rights.

#include "base/os/elevate.h"

#include "base/os/commandWords.h"
#include "base/os/environment.h"
#include "base/os/info/programPath.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "tests/support/prelude.h"

namespace {

using Words = std::vector<plat::String>;

/// The words, each in brackets.
std::string shown(const Words& words) {
  std::string text;
  for (const plat::String& word : words) {
    text.append("[").append(word.orEmpty()).append("]");
  }
  return text;
}

TEST(CommandWords, areSplitAtBlanksOutsideOfQuotes) {
  const std::pair<const char*, const char*> cases[] = {
      {" \t\n", ""},
      {"\"/a b/c\" -t \"x  y\"z", "[/a b/c][-t][x  yz]"},
      {"  a\t \"\" b\n", "[a][][b]"},
      {"a\\ b \\\"c \"d\\\"e\\\\ f\"", "[a b][\"c][d\"e\\ f]"},
      {"it's 'a b'", "[it's]['a][b']"},
      {"a \"b c", "[a][b c]"},
      {"a\\", "[a\\]"},
  };
  for (const auto& [text, words] : cases) {
    EXPECT_EQ(shown(os::splitCommand(text)), words);
  }
}

/// A `PATH` of one private folder with stand-ins, and a private folder for the files that tell distributions apart.
class ElevateTest : public testing::Test {
protected:
  ElevateTest() {
    os::setEnvironment("PATH", dir.makeDir("bin").c_str());
    os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "");
    dir.makeDir("etc");
  }
  ~ElevateTest() override {
    os::setEnvironment("PATH", path_.c_str());
    os::unsetEnvironment("DBUS_SESSION_BUS_ADDRESS");
    os::allowPkexec = true;
    command.unsetParam(10, true);
    singleArg.unsetParam(10, true);
  }

  void install(const std::string& name, mode_t mode = 0755) {
    dir.write(name, "");
    ::chmod((dir / name).c_str(), mode);
  }

  /// All words for a command, with "@" for the folder of each program that was found.
  std::string elevated(Words args = {"c", "it's"}, const char* title = "App") {
    os::getElevateProg(args, title, (dir / "etc").c_str());
    return std::regex_replace(shown(args), std::regex(dir / "bin/"), "@");
  }
  std::string failure() {
    return test::messageFrom([this] { elevated(); });
  }

  test::TempDir dir;
  plat::StringParameter& command = plat::Configuration::global().getStringParam("ElevateCmd");
  plat::BoolParameter& singleArg = plat::Configuration::global().getBoolParam("ElevateCmdSingleArg");

private:
  const std::string path_ = std::getenv("PATH");
};

TEST_F(ElevateTest, findsTheFirstThingOfThatNameInPathAndProgramsBesideThisOne) {
  dir.makeDir("empty");
  dir.makeDir("folder/tool");
  install("good/tool");
  install("bad/tool", 0644);
  const auto inPath = [&](const char* first, const char* second) {
    const std::string last = *second == '~' ? second : dir / second;
    os::setEnvironment("PATH", ((dir / first) + ":" + last).c_str());
    return os::findExecutable("tool", true);
  };
  EXPECT_EQ(inPath("empty", "good"), (dir / "good/tool").c_str());
  EXPECT_EQ(inPath("bad", "good"), nullptr);
  EXPECT_EQ(inPath("folder", "good"), nullptr);
  EXPECT_EQ(inPath("good", "~/bin"), (dir / "good/tool").c_str());
  EXPECT_EQ(test::messageFrom([&] { inPath("empty", "~/bin"); }), "PATH contains invalid '~' character");
  EXPECT_EQ(os::findExecutable("tool", false), nullptr);

  EXPECT_EQ(os::findExecutable((dir / "bad/../good/tool").c_str(), false), (dir / "good/tool").c_str());
  for (const char* name : {"bad/tool", "folder/tool", "missing/tool"}) {
    EXPECT_EQ(os::findExecutable((dir / name).c_str(), true), nullptr);
  }

  os::setEnvironment("PATH", (dir / "good").c_str());
  const plat::String self = os::programPath();
  const std::string path = self.get();
  EXPECT_EQ(os::findProgram(nullptr, true, false), self);
  EXPECT_EQ(os::findProgram(path.substr(path.rfind('/') + 1).c_str(), true, false), self);
  EXPECT_EQ(os::findProgram("no-such-program", false, true), nullptr);
  EXPECT_EQ(test::failureFrom([] { os::findProgram("no-such-program", true, true); }).err, ENOENT);
}

TEST_F(ElevateTest, theConfiguredCommandNeedsNoSearch) {
  os::setEnvironment("PATH", "~/refused");
  command.setParam("\"/opt/my tools/root\" -x", 10);
  EXPECT_EQ(elevated(), "[/opt/my tools/root][-x][c][it's]");
  singleArg.setParam("1", 10);
  EXPECT_EQ(elevated({"", "it's", "$a\n"}), "[/opt/my tools/root][-x]['' 'it'\\''s' '$a\n']");
  command.setParam("  ", 10);
  EXPECT_EQ(failure(), "PATH contains invalid '~' character") << "blanks are no command";
}

TEST_F(ElevateTest, theToolDependsOnWhatIsThere) {
  install("bin/xterm");
  EXPECT_EQ(failure(), "Elevation not supported: no su or sudo found");
  const std::string byRoot = "[@xterm][-T][App - su password required][-e][su][-][root][-c]['c' 'it'\\''s']";
  const std::string byUser = "[@xterm][-T][App - @sudo password required][-e][@sudo][c][it's]";
  install("bin/su");
  EXPECT_EQ(elevated(), byRoot);
  install("bin/sudo");
  EXPECT_EQ(elevated(), byUser);
  dir.write("etc/redhat-release", "");
  EXPECT_EQ(elevated(), byRoot);
  ::unlink((dir / "bin/su").c_str());
  EXPECT_EQ(elevated(), byUser);

  for (const char* const bus : {"unix:path=/run/bus", ""}) {  // first no pkexec, then no bus
    os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", bus);
    EXPECT_EQ(elevated(), byUser);
    install("bin/pkexec");
  }
  os::setEnvironment("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/bus");
  EXPECT_EQ(elevated(), "[@pkexec][c][it's]");
  os::allowPkexec = false;
  EXPECT_EQ(elevated(), byUser);
}

TEST_F(ElevateTest, theFirstTerminalOfTheTableWins) {
  install("bin/sudo");
  EXPECT_EQ(failure(), "Elevation not supported: no terminal found");
  const std::tuple<std::string, std::string, std::string> cases[] = {
      // from the last to the first
      {"Twig", "gnome-terminal", "[--title][][--]"},
      {"xubunTU Core", "gnome-terminal", "[--title][][--disable-factory][--]"},
      {"Twig", "foot", "[-T][][-e]"},
      {"Twig", "xfce4-terminal", "[-T][][-x]"},
      {"Twig", "konsole", "[--title][][--nofork][-e]"},
      {"Twig", "lxterminal", "[-t][][-e]"},
      {"Twig", "xterm", "[-T][][-e]"},
  };
  for (const auto& [osName, terminal, options] : cases) {
    install("bin/" + terminal);
    dir.write("etc/os-release", "NAME=\"" + osName + "\"\nVERSION_ID=1\n");
    EXPECT_EQ(elevated({"c"}, nullptr), "[@" + terminal + "]" + options + "[@sudo][c]");
  }
}

}  // namespace
