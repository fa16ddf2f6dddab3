#include "base/plat/Configuration.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/BinaryParameter.h"
#include "base/plat/BoolParameter.h"
#include "base/plat/IntParameter.h"
#include "base/plat/StringParameter.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/thrown.h"

namespace {

using plat::Configuration;
using testing::ElementsAre;

/// An argument vector as main gets it, and how far it was taken.
class Args {
public:
  Args(std::initializer_list<const char*> words) : words_(words.begin(), words.end()) {
    for (std::string& word : words_) {
      pointers_.push_back(word.data());
    }
    pointers_.push_back(nullptr);
    cursor = pointers_.data();
  }
  [[nodiscard]] std::ptrdiff_t taken() { return cursor - pointers_.data(); }

  char** cursor;

private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};

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
  } cases[] = {{"--LogFile=a=b", "LogFile", "a=b"},
               {"LOGFILE=d", "LogFile", "d"},
               {"LogFile=", "LogFile", ""},
               {"-Compact", "Compact", "1"},
               {"--Compact", "Compact", "1"},
               {"Compact", "Compact", nullptr},
               {"-Compact=0", "Compact", "0"},
               {"-LogFile", "LogFile", nullptr},
               {"-Size=100", "Size", nullptr},
               {"-", "Size", nullptr},
               {"=3", "Size", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arg);
    plat::ConfigParameter& p = config.getParam(c.name);
    p.unsetParam(7, false);
    EXPECT_EQ(config.setFromArg(c.arg, 7), c.value != nullptr);
    EXPECT_EQ(p.getValueStrAt(7), c.value);
  }
  EXPECT_FALSE(config.setFromArg(nullptr, 7));
}

TEST_F(ConfigurationTest, stopsAtTheFirstArgumentThatIsNoParameter) {
  struct Case {
    Args args;
    std::ptrdiff_t taken;
  };
  Case cases[] = {
      {{}, 0},
      {{"-Compact", "rest"}, 1},  // a switch takes no value from the next word
      {{"-LogFile", "x.log", "Size=3"}, 3},
      {{"--LogFile", "x.log"}, 0},  // with two dashes the value stands in the same word
      {{"-Size", "100"}, 0},
      {{"Size=1", "pipe", "Size=2"}, 1},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_TRUE(config.parseArgs(c.args.cursor, recordMode));
    EXPECT_EQ(c.args.taken(), c.taken);
  }
  EXPECT_EQ(size.getValueInt(), 1);
  EXPECT_EQ(size.getPriority(), 10);
}

TEST_F(ConfigurationTest, callsForHelpInTheModeAskedFor) {
  struct Case {
    Args args;
    int mode;  ///< -1 for no call
  };
  Case cases[] = {{{"-help"}, 0},       {{"Size=1", "--HELP", "all"}, 1}, {{"-h", "ALL"}, 1}, {{"/?", "Xml"}, 2},
                  {{"-help", "me"}, 0}, {{"unknown", "-help"}, -1},       {{"-help=1"}, -1}};
  for (Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    lastMode = -1;
    EXPECT_EQ(config.parseArgs(c.args.cursor, recordMode), c.mode < 0);
    EXPECT_EQ(lastMode, c.mode);
  }
  Args help{"-help"};
  EXPECT_TRUE(config.parseArgs(help.cursor, nullptr));
  EXPECT_EQ(help.taken(), 0);
}

TEST_F(ConfigurationTest, throwsOverAnArgumentThatIsLeft) {
  Args left{"Size=1", "pipe"}, help{"-help"}, good{"Size=1"};
  const auto message = [this](Args& args, Configuration::HelpCallback callback) {
    return test::messageFrom([&] { config.parseArgsOrThrow(args.cursor, callback); });
  };
  EXPECT_EQ(message(left, recordMode), "Bad argument 'pipe'.  Run with -help for usage.");
  EXPECT_EQ(message(help, nullptr), "Bad argument '-help'.");
  try {
    config.parseArgsOrThrow(help.cursor, nullptr);
  } catch (const plat::Exception& e) {
    EXPECT_STREQ(e.type, "BadCmdLineArg");
  }
  EXPECT_NO_THROW(config.parseArgsOrThrow(good.cursor, recordMode));
}

TEST_F(ConfigurationTest, findsParametersByNameAndType) {
  Configuration child("Child");
  plat::BoolParameter inChild("Inner", "", true, false, &child);
  plat::IntParameter shadowed("Size", "", 7, false, &child, 0, 9);
  config.setChild(child, true);
  EXPECT_EQ(config.find("inner", false), nullptr);
  EXPECT_EQ(config.find("inner", true), &inChild);
  EXPECT_TRUE(config.getBool("Nowhere", true));
  EXPECT_TRUE(config.set("INNER", "0", 10));
  EXPECT_TRUE(config.set("Size", "8", 10));
  EXPECT_EQ(shadowed.getValueInt(), 7);  // the own one was set
  EXPECT_FALSE(config.set("Size", "bad", 10));
  EXPECT_THROW((void)config.getBoolParam("Size"), plat::AssertionFail);
  EXPECT_EQ(test::messageFrom([&] { (void)config.getParam("Nowhere"); }), "Parameter Nowhere not found");
  Configuration grandchild("Grandchild");
  const plat::BoolParameter deep("Deep", "", false, false, &grandchild);
  child.setChild(grandchild, true);
  std::string names;
  for (Configuration::Iterator all(config, true); const plat::ConfigParameter* p = all.next();) {
    names += std::string(p->name()) + " ";
  }
  EXPECT_EQ(names, "_Hidden Size LogFile Compact Size Inner Deep ");
  config.setChild(child, false);
  EXPECT_EQ(config.find("inner", true), nullptr);
}

TEST_F(ConfigurationTest, expandsAliases) {
  struct Inverted final : plat::ParameterAlias {
    Inverted() : ParameterAlias("Compact") {}
    bool expand(const char*, const char* value, plat::ParameterMap& out) override {
      if (value == nullptr) {
        return false;
      }
      out["compact"] = *value == '0' ? "1" : "0";
      return true;
    }
  };
  plat::ParameterAlias both("Size", "LogFile", "Nowhere");
  Inverted inverted;
  config.addAlias("Both", both);
  config.addAlias("Verbose", inverted);
  EXPECT_TRUE(config.set("BOTH", "42", 10));
  EXPECT_EQ(size.getValueInt(), 42);
  EXPECT_STREQ(file.value(), "42");
  EXPECT_TRUE(config.setFromArg("-verbose=0", 10));
  EXPECT_TRUE(compact.getValue());
  EXPECT_FALSE(config.set("Verbose", nullptr, 10));
  Configuration taker("Taker");
  plat::IntParameter own("Size", "", 0, false, &taker, 0, 99);
  taker.addAliases(config);
  EXPECT_TRUE(taker.set("Both", "7", 10));
  EXPECT_EQ(own.getValueInt(), 7);
}

TEST_F(ConfigurationTest, comparesAndCopiesWholeSets) {
  size.setParam("6", 10);
  Configuration copy(config);
  EXPECT_TRUE(Configuration::sameAs(config, copy));
  copy.set("Size", "7", 20);
  copy.set("LogFile", "x", 10);
  EXPECT_FALSE(Configuration::sameAs(config, copy));
  EXPECT_THAT(Configuration::listDifferences(copy, config).get(),
              testing::AnyOf(testing::StrEq("Size,LogFile"), testing::StrEq("LogFile,Size")));
  Configuration target("Target");
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
  EXPECT_EQ(preferences.size(), 1u);
  EXPECT_STREQ(preferences["SIZE"].get(), "6");
}

TEST_F(ConfigurationTest, outlivesOrIsOutlivedByItsParameters) {
  auto inner = std::make_unique<Configuration>("Inner");
  plat::BoolParameter outliving("Outliving", "", false, false, inner.get());
  { const plat::BoolParameter shortLived("Short", "", false, false, inner.get()); }
  EXPECT_EQ(inner->find("Short", false), nullptr);
  inner.reset();
  EXPECT_TRUE(outliving.setParam("1", 10));
}

std::string printed(const Configuration& config, bool advanced, bool defaults, int width = 79) {
  std::FILE* const file = std::tmpfile();
  config.printParams(advanced, defaults, file, width, 8);
  std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
  std::fclose(file);
  return text;
}

TEST_F(ConfigurationTest, listsParametersByNameAndBreaksLongLines) {
  Configuration child("Child");
  plat::BinaryParameter key("Key", "A secret", {}, false, &child);
  config.setChild(child, true);
  const std::string plain = "  LogFile  - Where to (default=)\n  Size     - How much (default=5)\nChild Parameters:\n";
  EXPECT_EQ(printed(config, false, true), "Test Parameters:\n" + plain);
  EXPECT_EQ(printed(config, true, true),
            "Test Parameters:\n  Compact  - Shorter lines (default=0)\n" + plain + "  Key      - A secret\n");

  Configuration narrow("Narrow");
  plat::StringParameter p("Name", "Twenty columns wide!", "a value", false, &narrow);
  // "  Name     - Twenty columns wide!" is 33 columns, the note 17: together 50.
  const std::string start = "Narrow Parameters:\n  Name     - Twenty columns";
  EXPECT_EQ(printed(narrow, false, true, 52), start + " wide! (default=a value)\n");
  EXPECT_EQ(printed(narrow, false, true, 50), start + " wide!\n             (default=a value)\n");
  EXPECT_EQ(printed(narrow, false, false, 30), start + "\n             wide! \n");
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
