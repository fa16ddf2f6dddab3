#include "base/plat/config/Configuration.h"

#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/StringParameter.h"
#include "tests/support/prelude.h"

namespace {

using plat::Configuration;
using testing::ElementsAre;

/// An argument vector as main gets it; lives as long as the words.
std::vector<char*> argv(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

int lastMode;
void recordMode(int mode, Configuration&) {
  lastMode = mode;
}

class ConfigurationTest : public testing::Test {
protected:
  Configuration config{"Test"};
  plat::BoolParameter compact{"Compact", "Shorter lines", false, true, &config};
  plat::StringParameter file{"LogFile", "Where to", "", false, &config};
  plat::IntParameter size{"Size", "How much", 5, false, &config, 0, 99};
  plat::IntParameter hidden{"_Hidden", "", 1, false, &config, 0, 9};
};

TEST_F(ConfigurationTest, takesEveryFormOfOneArgument) {
  const struct {
    const char* arg;
    const char* name;
    const char* value;  ///< null if it is refused
  } cases[] = {{"--LogFile=a=b", "LogFile", "a=b"}, {"LOGFILE=", "LogFile", ""},     {"-Compact", "Compact", "1"},
               {"--Compact", "Compact", "1"},       {"Compact", "Compact", nullptr}, {"-LogFile", "LogFile", nullptr},
               {"-Size=100", "Size", nullptr},      {nullptr, "Size", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arg));
    plat::ConfigParameter& p = config.getParam(c.name);
    p.unsetParam(7, false);
    EXPECT_EQ(config.setFromArg(c.arg, 7), c.value != nullptr);
    EXPECT_EQ(p.getValueStrAt(7), c.value);
  }
}

TEST_F(ConfigurationTest, stopsAtTheFirstArgumentThatIsNoParameterAndCallsForHelpInTheModeAskedFor) {
  const struct {
    std::vector<std::string> args;
    std::ptrdiff_t taken;
    int mode;  ///< -1 for no call
  } cases[] = {{{}, 0, -1},
               {{"-Compact", "rest"}, 1, -1},  // a switch takes no value from the next word
               {{"-LogFile", "x.log", "Size=3"}, 3, -1},
               {{"--LogFile", "x.log"}, 0, -1},  // with two dashes the value stands in the same word
               {{"-Size", "100"}, 0, -1},
               {{"-help=1"}, 0, -1},
               {{"-help"}, 0, 0},
               {{"Size=1", "--HELP", "all"}, 1, 1},
               {{"-h", "ALL"}, 0, 1},
               {{"/?", "Xml"}, 0, 2}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    std::vector<char*> args = argv(c.args);
    char** cursor = args.data();
    lastMode = -1;
    EXPECT_EQ(config.parseArgs(cursor, recordMode), c.mode < 0);
    EXPECT_EQ(cursor - args.data(), c.taken);
    EXPECT_EQ(lastMode, c.mode);
  }
  EXPECT_EQ(size.getValueInt(), 1);
  EXPECT_EQ(size.getPriority(), 10);
}

TEST_F(ConfigurationTest, throwsOverAnArgumentThatIsLeft) {
  const std::vector<std::string> words = {"Size=1", "pipe"};
  std::vector<char*> args = argv(words);
  char** cursor = args.data();
  EXPECT_THAT([&] { config.parseArgsOrThrow(cursor, recordMode); },
              testing::Throws<plat::Exception>(
                  testing::ResultOf([](const plat::Exception& e) { return std::string(plat::ExceptionText(e).get()); },
                                    "[BadCmdLineArg] Bad argument 'pipe'.  Run with -help for usage.")));
  EXPECT_EQ(test::messageFrom([&] { config.parseArgsOrThrow(cursor, nullptr); }), "Bad argument 'pipe'.");
  EXPECT_NO_THROW(config.parseArgsOrThrow(++cursor, recordMode));
}

TEST_F(ConfigurationTest, findsParametersByNameAndType) {
  Configuration child("Child"), grandchild("Grandchild");
  plat::BoolParameter inChild("Inner", "", true, false, &child);
  plat::IntParameter shadowed("Size", "", 7, false, &child, 0, 9);
  const plat::BoolParameter deep("Deep", "", false, false, &grandchild);
  config.setChild(child, true);
  child.setChild(grandchild, true);
  EXPECT_EQ(config.find("inner", false), nullptr);
  EXPECT_EQ(config.find("inner", true), &inChild);
  EXPECT_TRUE(config.set("INNER", "0", 10));
  EXPECT_TRUE(config.set("Size", "8", 10));
  EXPECT_EQ(shadowed.getValueInt(), 7) << "the own one was set";
  EXPECT_THROW((void)config.getBoolParam("Size"), plat::AssertionFail);
  EXPECT_EQ(test::messageFrom([&] { (void)config.getParam("Nowhere"); }), "Parameter Nowhere not found");
  EXPECT_TRUE(config.getBool("Nowhere", true));
  std::string names;
  for (Configuration::Iterator all(config, true); const plat::ConfigParameter* p = all.next();) {
    names += std::string(p->name()) + " ";
  }
  EXPECT_EQ(names, "_Hidden Size LogFile Compact Size Inner Deep ");
}

TEST_F(ConfigurationTest, expandsAliases) {
  struct Inverted final : plat::ParameterAlias {
    Inverted() : ParameterAlias("Compact") {}
    bool expand(const char*, const char* value, plat::ParameterMap& out) override {
      out["compact"] = *value == '0' ? "1" : "0";
      return true;
    }
  } inverted;
  plat::ParameterAlias both("Size", "LogFile", "Nowhere");
  config.addAlias("Both", both);
  config.addAlias("Verbose", inverted);
  EXPECT_TRUE(config.set("BOTH", "42", 10));
  EXPECT_EQ(size.getValueInt(), 42);
  EXPECT_STREQ(file.value(), "42");
  EXPECT_TRUE(config.setFromArg("-verbose=0", 10));
  EXPECT_TRUE(compact.getValue());
  Configuration taker("Taker");
  plat::IntParameter own("Size", "", 0, false, &taker, 0, 99);
  taker.addAliases(config);
  EXPECT_TRUE(taker.set("Both", "7", 10));
  EXPECT_EQ(own.getValueInt(), 7);
}

TEST_F(ConfigurationTest, comparesAndCopiesWholeSets) {
  size.setParam("6", 10);
  Configuration copy(config), target("Target");
  EXPECT_TRUE(Configuration::sameAs(config, copy));
  copy.set("Size", "7", 20);
  copy.set("LogFile", "x", 10);
  EXPECT_FALSE(Configuration::sameAs(config, copy));
  EXPECT_THAT(Configuration::listDifferences(copy, config).get(),
              testing::AnyOf(testing::StrEq("Size,LogFile"), testing::StrEq("LogFile,Size")));
  plat::IntParameter own("size", "", 1, false, &target, 0, 99);
  target.applyDifferences(copy, config);
  EXPECT_EQ(own.getValueInt(), 7);
  EXPECT_EQ(own.getPriority(), 20);
  target.copyFrom(config, false, false);
  EXPECT_EQ(own.getAllValues(), size.getAllValues());
  EXPECT_FALSE(Configuration::sameAs(config, target)) << "what it has not is not added";
  target.copyFrom(config, true, false);
  EXPECT_TRUE(Configuration::sameAs(config, target));
  plat::ParameterMap preferences;
  config.collectAtPriority(10, preferences);
  EXPECT_THAT(preferences, ElementsAre(testing::Pair("Size", "6")));
}

TEST_F(ConfigurationTest, outlivesOrIsOutlivedByItsParameters) {
  auto inner = std::make_unique<Configuration>("Inner");
  plat::BoolParameter outliving("Outliving", "", false, false, inner.get());
  std::make_unique<plat::BoolParameter>("Short", "", false, false, inner.get()).reset();
  EXPECT_EQ(inner->find("Short", false), nullptr);
  inner.reset();
  EXPECT_TRUE(outliving.setParam("1", 10));
}

TEST_F(ConfigurationTest, listsParametersByName) {
  Configuration child("Child");
  plat::BinaryParameter key("Key", "A secret", {}, false, &child);
  config.setChild(child, true);
  testing::internal::CaptureStdout();
  config.printParams(true, true, stdout, 79, 8);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Test Parameters:\n  Compact  - Shorter lines (default=0)\n  LogFile  - Where to (default=)\n"
            "  Size     - How much (default=5)\nChild Parameters:\n  Key      - A secret\n");
}

TEST_F(ConfigurationTest, logsValuesWithWhereTheyComeFrom) {
  size.setParam("6", 10);
  size.setParam("7", 40);
  file.setParam("x", 10);
  compact.setParam("1", 5);
  plat::StringParameter policy("Alone", "", "", false, &config);
  policy.setParam("p", 40);
  plat::StringParameter untouched("Untouched", "", "u", false, &config);
  test::RecordingDest log("Configuration:rec:100");
  config.logValues();
  EXPECT_THAT(
      log.lines(),
      ElementsAre("30 Configuration: Alone=p (Policy)", "30 Configuration: Size=7 (Policy overriding preference)",
                  "30 Configuration: LogFile=x (Preference)", "30 Configuration: Compact=1 (Priority 5)",
                  "100 Configuration: Untouched=u (Default)"));
}

}  // namespace
