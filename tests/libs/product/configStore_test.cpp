#include "base/os/info/AppInfo.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "base/rdr/MemInStream.h"
#include "libs/product/ConfigFile.h"
#include "libs/product/ConfigStoreFile.h"
#include "libs/product/configFileFormat.h"
#include "tests/support/prelude.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

plat::ParameterMap parse(const std::string& text) {
  rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
  return qzutil::readConfigLines(in);
}

std::string written(const char* name, const char* value) {
  rdr::MemOutStream out;
  qzutil::writeConfigLine(out, name, value);
  return test::contents(out);
}

class ConfigStoreTest : public testing::Test {
protected:
  ConfigStoreTest() {
    os::AppInfo::setApp("app");
    os::AppInfo::setPathComp("kel");
    dirs.machine = (dir / "etc").c_str();
    dirs.program = (dir / "bin").c_str();
    dirs.userConfigDir = (dir / "user").c_str();
    dirs.userConfigFile = (dir / "user/app").c_str();
    dir.makeDir("user");
    config.setLogChanges(false);
    baseline.setLogChanges(false);
  }

  test::TempDir dir;
  qzutil::Directories dirs;
  plat::Configuration config{"Test"};
  plat::StringParameter name{"Name", "", "default", false, &config};
  plat::StringParameter other{"Other", "", "default", false, &config};
  plat::BoolParameter flag{"Flag", "", false, false, &config};
  plat::Configuration baseline{config};  // all at their defaults
};

}  // namespace

TEST(ConfigFileFormat, takesLinesApart) {
  const struct {
    const char *line, *name, *value;
  } cases[] = {
      {"Name=value", "Name", "value"},
      {" \t Name=value \t\v\f", "Name", "value"},
      {"Name = a = b", "Name ", " a = b"},
      {"Name=", "Name", ""},
      {"Name", "Name", nullptr},
      {"# a comment", "# a comment", nullptr},
      {"Name=a\\nb\\rc\\\\d", "Name", "a\nb\rc\\d"},
      {"Name=C:\\temp\\q", "Name", "C:\\temp\\q"},
      {"Name=a\\n \t", "Name", "a\n"},  // an escaped character is not trimmed,
      {"Name=a\\  ", "Name", "a\\ "},   // neither is a blank behind a backslash
      {"Name=a\\\\ ", "Name", "a\\"},   // but one behind an escaped backslash is
      {"Name=a\\", "Name", "a\\"},
      {"Na\\nme=a\r\rb\r", "Na\nme", "ab"},
      {"Name=\xff", "Name", "\xef\xbf\xbd"},
  };
  for (const auto& c : cases) {
    for (const char* const end : {"", "\n", "\r\n"}) {
      SCOPED_TRACE(c.line);
      const plat::ParameterMap values = parse(std::string(c.line) + end);
      ASSERT_EQ(values.size(), 1u);
      EXPECT_EQ(values.begin()->first, c.name);
      EXPECT_EQ(values.begin()->second, c.value);
    }
  }
}

TEST(ConfigFileFormat, readsBackWhatItWrites) {
  for (const char* const value :
       {"", "\n", "end\r\n", "\\", "\\\\n", "C:\\new\\", "\\ x", " in front", "a=b", "ä\n\u20ac"}) {
    EXPECT_EQ(parse(written("Name", value)).at("Name"), value);
  }
  EXPECT_EQ(parse("").size() + 1, parse("\r\n").size()) << "an empty line is one, the end of the file is none";
  EXPECT_EQ(written("Name", nullptr), "Name\n");
  EXPECT_EQ(written("Name", "a\nb\rc\\d"), "Name=a\\nb\\rc\\\\d\n");
  EXPECT_EQ(parse(written("Name", "blanks at the end \t")).at("Name"), "blanks at the end");  // the form's limit
  const plat::ParameterMap values = parse("Name=1\nOTHER\nname=2\nother=3");  // the last of several lines counts
  ASSERT_EQ(values.size(), 2u);
  EXPECT_EQ(values.at("NAME"), "2");
  EXPECT_EQ(values.at("Other"), "3");
}

TEST(ConfigFileFormat, limitsTheLineInBothDirections) {
  std::string value(qzutil::MaxConfigLine - 5, 'x');
  EXPECT_EQ(parse(written("Name", value.c_str())).at("Name"), value.c_str());
  EXPECT_THROW(parse("Name=" + value + "x\n"), rdr::StringTooLongException);
  EXPECT_THROW(written("Name", (value + "x").c_str()), plat::Exception);
  value.back() = '\\';  // takes two bytes in a file
  EXPECT_THROW(written("Name", value.c_str()), plat::Exception);
}

TEST_F(ConfigStoreTest, letsLaterFilesReplaceEarlierOnesAndPolicyBeatAll) {
  qzutil::ConfigStoreFile store(dirs);
  for (const char* const unread : {"bin/kel/policy.d/common.custom", "etc/policy.d/common.custom", "user/common.custom",
                                   "policy.d/common", "bin/config.d/common"}) {
    dir.write(unread, "Name=must not be read");
  }
  for (const char* const file :
       {"bin/kel/config.d/common", "bin/kel/config.d/common.custom", "bin/kel/config.d/app", "etc/config.d/common",
        "etc/config.d/common.custom", "etc/config.d/app", "user/common", "user/app", "bin/kel/policy.d/common",
        "bin/kel/policy.d/app", "etc/policy.d/common", "etc/policy.d/app"}) {
    SCOPED_TRACE(file);
    dir.write(file, std::string("name=") + file + "\nNoSuchName=1\n# no setting\n\nFlag");
    store.loadAll(true, &config);
    EXPECT_STREQ(name.value(), file);
  }
  EXPECT_TRUE(flag.getValue());
  EXPECT_EQ(name.getPriority(), 40);
  name.unsetParam(40, true);
  EXPECT_STREQ(name.value(), "user/app");
  store.loadAll(false, &config);
  EXPECT_EQ(name.getPriority(), 10);
  EXPECT_THAT(store.files(5), IsEmpty());

  dirs.program = nullptr;
  EXPECT_STREQ(qzutil::ConfigStoreFile(dirs).files(10)[0].get(), (dir / "etc/config.d/common").c_str());
}

TEST_F(ConfigStoreTest, logsWhatItLooksForAndWhatItReads) {
  dirs.program = nullptr;
  dir.write("etc", "a file where there should be a folder");
  dir.write("user/app", "Name=x");
  test::RecordingDest rec("FileConfig:rec:110");
  qzutil::ConfigStoreFile(dirs).load(10, &config);
  const std::string looking = "110 FileConfig: Looking for Test config in " + dir.path();
  EXPECT_THAT(rec.lines(), ElementsAre(looking + "/etc/config.d/common", looking + "/etc/config.d/common.custom",
                                       looking + "/etc/config.d/app", looking + "/user/common", looking + "/user/app",
                                       "100 FileConfig: Reading Test config from " + dir / "user/app"));
}

TEST_F(ConfigStoreTest, endsWithWordsAtAFileThatCannotBeRead) {
  const std::string path = dir / "user/app";
  const auto failure = [&] { return test::messageFrom([&] { qzutil::ConfigStoreFile(dirs).loadAll(true, &config); }); };
  dir.write("etc/config.d/app", "Name=machine");
  dir.makeDir("user/app");
  EXPECT_EQ(failure(), "Error reading " + path + ": reading from file failed: Is a directory (21)");
  EXPECT_STREQ(name.value(), "machine");  // what came before stays

  ASSERT_EQ(::rmdir(path.c_str()), 0);
  dir.write("user/app", "Name=" + std::string(300000, 'x'));
  EXPECT_EQ(failure(), "Error reading " + path + ": String exceeds maximum length");

  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  test::Unprivileged::give(dir.path());
  test::Unprivileged::give(dir / "user");
  const test::Unprivileged unprivileged;
  EXPECT_EQ(test::failureFrom([&] { qzutil::ConfigFile(path.c_str()).values(); }).err, EACCES);
}

TEST_F(ConfigStoreTest, savesWhatDiffersAndKeepsTheRest) {
  qzutil::ConfigStoreFile store(dirs);
  store.save(&config, baseline);
  EXPECT_FALSE(store.exists());  // nothing to write
  plat::StringParameter unknown("Unknown", "", "not in the baseline", false, &config);
  name.setParam("C:\\x\ny", 10);
  store.save(&config, baseline);
  EXPECT_TRUE(store.exists());
  EXPECT_EQ(dir.read("user/app"), "Name=C:\\\\x\\ny\n");
  EXPECT_EQ(std::filesystem::status(dir / "user/app").permissions(), std::filesystem::perms(0600));

  plat::ParameterAlias alias("Other", "Flag");
  config.addAlias("OldOther", alias);
  dir.write("user/app", "zebra=1\nOther=2\n# words\nOLDOTHER=3\nNAME=4\n");
  store.save(&config, baseline);
  EXPECT_EQ(dir.read("user/app"), "# words\nFlag=3\nNAME=C:\\\\x\\ny\nOther=3\nzebra=1\n");

  plat::Configuration reloaded(baseline);
  store.load(10, &reloaded);
  EXPECT_EQ(reloaded.find("Name", false)->getValueStr(), name.getValueStr());
}

TEST_F(ConfigStoreTest, changesSingleKeys) {
  qzutil::ConfigStoreFile store(dirs);
  store.removeParam(name);
  EXPECT_FALSE(store.exists());
  flag.setParam("on", 10);
  store.saveParam(flag);
  store.saveParam(name);
  EXPECT_EQ(dir.read("user/app"), "Flag=1\nName=default\n");
  store.removeParam(flag);
  qzutil::ConfigFile file(dirs.userConfigFile.get());
  file.setUnlessThere("name", "not taken");
  file.setUnlessThere("New", nullptr);
  EXPECT_EQ(dir.read("user/app"), "Name=default\nNew\n");

  // A write that fails leaves the file as it was, and TempDir finds no half of the new one.
  name.setParam(std::string(300000, 'x').c_str(), 10);
  EXPECT_EQ(test::messageFrom([&] { store.saveParam(name); }), "The value of Name is too long");
  EXPECT_EQ(dir.read("user/app"), "Name=default\nNew\n");
}

TEST_F(ConfigStoreTest, renamesAliases) {
  /// Refuses what it does not know, as an alias of an enumeration would.
  struct Picky final : plat::ParameterAlias {
    Picky() : ParameterAlias("Other") {}
    bool expand(const char*, const char*, plat::ParameterMap&) override { return false; }
  } picky;
  plat::ParameterAlias one("Name");
  plat::ParameterAlias three("Name", "Flag", "Other");
  plat::Configuration child("Child");
  config.setChild(child, true);
  config.addAlias("Old", one);
  config.addAlias("Picky", picky);
  child.addAlias("Many", three);
  dir.write("user/app", "OLD=1\nMany=2\nFlag=3\nPicky=4\n");
  qzutil::ConfigFile file(dirs.userConfigFile.get());
  config.renameAliasesIn(file);
  EXPECT_EQ(dir.read("user/app"), "Flag=3\nName=1\nOther=2\nPicky=4\n");
  config.setChild(child, false);
}
