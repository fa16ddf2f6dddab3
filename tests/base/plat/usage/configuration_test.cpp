#include "base/plat/config/Configuration.h"

#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/StringParameter.h"
#include "tests/support/prelude.h"

namespace {

using namespace plat;
using namespace test;

class ConfigurationTest : public testing::Test {
protected:
  Configuration config{"Test"};
  BoolParameter compact{"Compact", "Shorter lines", false, true, &config};
  StringParameter file{"LogFile", "Where to", "", false, &config};
  IntParameter size{"Size", "How much", 5, false, &config, 0, 99};
  IntParameter hidden{"_Hidden", "", 1, false, &config, 0, 9};
};

TEST_F(ConfigurationTest, takesEveryFormOfOneArgument) {
  for (const auto& [arg, name, value] : {std::tuple("--LogFile=a=b", "LogFile", "a=b"),
                                         {"LOGFILE=", "LogFile", ""},
                                         {"-Compact", "Compact", "1"},
                                         {"--Compact", "Compact", "1"},
                                         {"Compact", "Compact", nullptr},
                                         {"-LogFile", "LogFile", nullptr},
                                         {"-Size=100", "Size", nullptr},
                                         {nullptr, "Size", nullptr}}) {
    ConfigParameter& p = config.getParam(name);
    p.unsetParam(7, false);
    EXPECT_EQ(config.setFromArg(arg, 7), value != nullptr) << PrintToString(arg);
    EXPECT_EQ(p.getValueStrAt(7), value) << PrintToString(arg);
  }
}

TEST_F(ConfigurationTest, stopsAtTheFirstArgumentThatIsNoParameterAndCallsForHelpInTheModeAskedFor) {
  static int lastMode;
  const auto recordMode = [](int mode, Configuration&) { lastMode = mode; };
  const std::tuple<std::vector<const char*>, int, int> cases[] = {
      {{nullptr}, 0, -1},
      {{"-Compact", "rest", nullptr}, 1, -1},  // a switch takes no value from the next word
      {{"-LogFile", "x.log", "Size=3", nullptr}, 3, -1},
      {{"--LogFile", "x.log", nullptr}, 0, -1},  // with two dashes the value stands in the same word
      {{"-Size", "100", nullptr}, 0, -1},
      {{"-help=1", nullptr}, 0, -1},
      {{"-help", nullptr}, 0, 0},
      {{"Size=1", "--HELP", "all", nullptr}, 1, 1},
      {{"-h", "ALL", nullptr}, 0, 1},
      {{"/?", "Xml", nullptr}, 0, 2}};
  for (const auto& [words, taken, mode] : cases) {  // a mode of -1 for no call
    SCOPED_TRACE(PrintToString(words));
    char** const args = const_cast<char**>(words.data());
    char** cursor = args;
    lastMode = -1;
    EXPECT_EQ(config.parseArgs(cursor, recordMode), mode < 0);
    EXPECT_EQ(cursor - args, taken);
    EXPECT_EQ(lastMode, mode);
  }
  EXPECT_EQ(size.getValueInt(), 1);
  EXPECT_EQ(size.getPriority(), 10);

  const char* words[] = {"Size=1", "pipe", nullptr};
  char** cursor = const_cast<char**>(words);
  EXPECT_THAT([&] { config.parseArgsOrThrow(cursor, recordMode); },
              Throws<Exception>(ResultOf([](const Exception& e) { return std::string(ExceptionText(e).get()); },
                                         "[BadCmdLineArg] Bad argument 'pipe'.  Run with -help for usage.")));
  EXPECT_EQ(messageFrom([&] { config.parseArgsOrThrow(cursor, nullptr); }), "Bad argument 'pipe'.");
  EXPECT_NO_THROW(config.parseArgsOrThrow(++cursor, recordMode));
}

TEST_F(ConfigurationTest, findsParametersByNameAndTypeAndOutlivesOrIsOutlivedByThem) {
  Configuration child("Child"), grandchild("Grandchild");
  BoolParameter inChild("Inner", "", true, false, &child);
  IntParameter shadowed("Size", "", 7, false, &child, 0, 9);
  const BoolParameter deep("Deep", "", false, false, &grandchild);
  config.setChild(child, true);
  child.setChild(grandchild, true);
  EXPECT_EQ(config.find("inner", false), nullptr);
  EXPECT_EQ(config.find("inner", true), &inChild);
  EXPECT_TRUE(config.set("INNER", "0", 10));
  EXPECT_TRUE(config.set("Size", "8", 10));
  EXPECT_EQ(shadowed.getValueInt(), 7) << "the own one was set";
  EXPECT_THROW((void)config.getBoolParam("Size"), AssertionFail);
  EXPECT_EQ(messageFrom([&] { (void)config.getParam("Nowhere"); }), "Parameter Nowhere not found");
  EXPECT_TRUE(config.getBool("Nowhere", true));
  std::string names;
  for (Configuration::Iterator all(config, true); const ConfigParameter* p = all.next();) {
    names += std::string(p->name()) + " ";
  }
  EXPECT_EQ(names, "_Hidden Size LogFile Compact Size Inner Deep ");

  auto inner = std::make_unique<Configuration>("Inner");
  BoolParameter outliving("Outliving", "", false, false, inner.get());
  std::make_unique<BoolParameter>("Short", "", false, false, inner.get()).reset();
  EXPECT_EQ(inner->find("Short", false), nullptr);
  inner.reset();
  EXPECT_TRUE(outliving.setParam("1", 10));
}

TEST_F(ConfigurationTest, expandsAliases) {
  struct Inverted final : ParameterAlias {
    Inverted() : ParameterAlias("Compact") {}
    bool expand(const char*, const char* value, ParameterMap& out) override {
      out["compact"] = *value == '0' ? "1" : "0";
      return true;
    }
  } inverted;
  ParameterAlias both("Size", "LogFile", "Nowhere");
  config.addAlias("Both", both);
  config.addAlias("Verbose", inverted);
  EXPECT_TRUE(config.set("BOTH", "42", 10));
  EXPECT_EQ(size.getValueInt(), 42);
  EXPECT_STREQ(file.value(), "42");
  EXPECT_TRUE(config.setFromArg("-verbose=0", 10));
  EXPECT_TRUE(compact.getValue());
  Configuration taker("Taker");
  IntParameter own("Size", "", 0, false, &taker, 0, 99);
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
  EXPECT_THAT(Configuration::listDifferences(copy, config).get(), AnyOf(StrEq("Size,LogFile"), StrEq("LogFile,Size")));
  IntParameter own("size", "", 1, false, &target, 0, 99);
  target.applyDifferences(copy, config);
  EXPECT_EQ(std::pair(own.getValueInt(), own.getPriority()), std::pair(7, 20));
  target.copyFrom(config, false, false);
  EXPECT_EQ(own.getAllValues(), size.getAllValues());
  EXPECT_FALSE(Configuration::sameAs(config, target)) << "what it has not is not added";
  target.copyFrom(config, true, false);
  EXPECT_TRUE(Configuration::sameAs(config, target));
  ParameterMap preferences;
  config.collectAtPriority(10, preferences);
  EXPECT_THAT(preferences, ElementsAre(Pair("Size", "6")));
}

TEST_F(ConfigurationTest, listsParametersByNameAndLogsValuesWithWhereTheyComeFrom) {
  Configuration child("Child");
  BinaryParameter key("Key", "A secret", {}, false, &child);
  config.setChild(child, true);
  testing::internal::CaptureStdout();
  config.printParams(true, true, stdout, 79, 8);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Test Parameters:\n  Compact  - Shorter lines (default=0)\n  LogFile  - Where to (default=)\n"
            "  Size     - How much (default=5)\nChild Parameters:\n  Key      - A secret\n");

  size.setParam("6", 10);
  size.setParam("7", 40);
  file.setParam("x", 10);
  compact.setParam("1", 5);
  StringParameter policy("Alone", "", "", false, &config);
  policy.setParam("p", 40);
  StringParameter untouched("Untouched", "", "u", false, &config);
  RecordingDest log("Configuration:rec:100");
  config.logValues();
  EXPECT_THAT(
      log.lines(),
      ElementsAre("30 Configuration: Alone=p (Policy)", "30 Configuration: Size=7 (Policy overriding preference)",
                  "30 Configuration: LogFile=x (Preference)", "30 Configuration: Compact=1 (Priority 5)",
                  "100 Configuration: Key=<binary> (Default)", "100 Configuration: Untouched=u (Default)"));
}

}  // namespace
