#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/BadUtf8.h"
#include "base/plat/BinaryParameter.h"
#include "base/plat/BoolParameter.h"
#include "base/plat/Configuration.h"
#include "base/plat/EnumParameter.h"
#include "base/plat/IntParameter.h"
#include "base/plat/ParameterChangedCallback.h"
#include "base/plat/S64Parameter.h"
#include "base/plat/StringParameter.h"
#include "tests/base/plat/RecordingDest.h"

namespace {

using plat::BinaryParameter;
using plat::BoolParameter;
using plat::ConfigParameter;
using plat::Configuration;
using plat::EnumParameter;
using plat::IntParameter;
using plat::S64Parameter;
using plat::StringParameter;
using testing::ElementsAre;

using Bytes = plat::MBuf<unsigned char>;

constexpr const char* Colours[] = {"Red", "Green", "Blue", nullptr};

/// Keeps the priorities of the changes it is told of.
struct Changes final : plat::ParameterChangedCallback {
  std::vector<int> priorities;
  void parameterChanged(ConfigParameter&, int priority) override { priorities.push_back(priority); }
};

class Parameter : public testing::Test {
protected:
  Configuration config{"Test"};
};

TEST_F(Parameter, hasTheValueOfItsHighestPriority) {
  BoolParameter p("Switch", "", false, false, &config);
  Changes changes;
  p.addCallback(&changes);
  EXPECT_TRUE(p.setParam("1", 10));
  EXPECT_TRUE(p.setParam("off", 30));
  EXPECT_FALSE(p.getValue());
  EXPECT_EQ(p.getPriority(), 30);
  EXPECT_TRUE(p.setParam("yes", 5));  // below the one in force, and told all the same
  p.unsetParam(30, true);
  EXPECT_TRUE(p.getValue());
  p.unsetParam(30, true);  // nothing there
  p.unsetParam(0, true);   // never goes
  EXPECT_TRUE(p.hasPriority(0));
  p.unsetParam(10, false);
  EXPECT_THAT(changes.priorities, ElementsAre(10, 30, 5, 30));
  EXPECT_TRUE(p.getValueStrAt(7).isNull());
  EXPECT_STREQ(p.getDefaultStr().get(), "0");
}

TEST_F(Parameter, callsBackOnlyForAChangeAndInOrder) {
  IntParameter p("Number", "", 1, 0, 9, false, &config);
  struct Named final : plat::ParameterChangedCallback {
    std::string& out;
    char id;
    Named(std::string& o, char i) : out(o), id(i) {}
    void parameterChanged(ConfigParameter&, int) override { out += id; }
  };
  std::string calls;
  Named a(calls, 'a');
  Named b(calls, 'b');
  p.addCallback(&a);
  p.addCallback(&b);
  p.setParam("2", 10);
  p.setParam("0x2", 10);
  EXPECT_EQ(calls, "ab");
  p.removeCallback(&a);
  p.setParam("3", 10);
  EXPECT_EQ(calls, "abb");
}

TEST_F(Parameter, logsChangesButNoBinaryValues) {
  BoolParameter flag("Flag", "", false, false, &config);
  BinaryParameter secret("Secret", "", Bytes(), false, &config);
  test::RecordingDest log("ConfigParameter:rec:110");
  flag.setParam("on", 0);
  flag.setParam("off", 10);
  flag.setParam("perhaps", 10);
  flag.unsetParam(10, false);
  secret.setParam("c0ffee", 10);
  config.setLogChanges(false);
  flag.setParam("off", 20);
  EXPECT_THAT(log.lines(), ElementsAre("110 ConfigParameter: set Flag(bool) to 1, priority 0",
                                       "100 ConfigParameter: set Flag(bool) to 0, priority 10",
                                       "0 ConfigParameter: Bool parameter Flag: invalid value 'perhaps'",
                                       "100 ConfigParameter: unset Flag(bool) priority 10, now 1, priority 0",
                                       "100 ConfigParameter: set Secret(binary) to <binary>, priority 10"));
}

TEST_F(Parameter, refusesPolicyWhereItIsForbidden) {
  StringParameter p("Free", "", "", false, &config, "user,noPolicy");
  EXPECT_FALSE(p.setParam("x", 30));
  EXPECT_FALSE(p.hasPriority(30));
  EXPECT_TRUE(p.setParam("x", 29));
}

TEST_F(Parameter, readsSwitches) {
  BoolParameter p("Switch", "", false, false, &config);
  for (const char* text : {"", "1", "on", "TRUE", "Yes", static_cast<const char*>(nullptr)}) {
    SCOPED_TRACE(text ? text : "null");
    p.setParam("0", 10);
    EXPECT_TRUE(p.setParam(text, 10));
    EXPECT_STREQ(p.getValueStr().get(), "1");
  }
  for (const char* text : {"0", "OFF", "false", "no"}) {
    SCOPED_TRACE(text);
    p.setParam("1", 10);
    EXPECT_TRUE(p.setParam(text, 10));
    EXPECT_STREQ(p.getValueStr().get(), "0");
  }
  EXPECT_FALSE(p.setParam("2", 10));
  EXPECT_TRUE(p.setParamInt(2, 10));
  EXPECT_EQ(p.getValueInt(), 1);
}

TEST_F(Parameter, readsNumbersWithinTheirRange) {
  IntParameter p("Size", "", 20000, 16384, INT_MAX, false, &config);
  struct Case {
    const char* text;
    bool fits;
    int value;
  };
  const Case cases[] = {{"0x4000", true, 16384},
                        {"16384", true, 16384},
                        {"2147483647", true, INT_MAX},
                        {"040000", true, 16384},
                        {"100", false, 0},
                        {"16383", false, 0},
                        {"2147483648", false, 0},
                        {"", false, 0},
                        {"20000x", false, 0},
                        {"20000 ", false, 0},
                        {"-20000", false, 0},
                        {nullptr, false, 0},
                        {"99999999999999999999", false, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text ? c.text : "null");
    p.unsetParam(10, false);
    EXPECT_EQ(p.setParam(c.text, 10), c.fits);
    EXPECT_EQ(p.hasPriority(10), c.fits);
    EXPECT_EQ(p.getValueInt(), c.fits ? c.value : 20000);
  }
  EXPECT_FALSE(p.setParamInt(16383, 10));
}

TEST_F(Parameter, knowsChoicesByName) {
  EnumParameter p("Colour", "", "green", Colours, false, &config);
  EXPECT_EQ(p.getValueInt(), 1);
  EXPECT_TRUE(p.setParam("BLUE", 10));
  EXPECT_STREQ(p.getValueStr().get(), "Blue");
  EXPECT_FALSE(p.setParam("1", 10));
  EXPECT_FALSE(p.setParam(nullptr, 10));
  EXPECT_FALSE(p.setParamInt(3, 10));
  EXPECT_TRUE(p.setParamInt(0, 10));
  EXPECT_STREQ(p.getValueStr().get(), "Red");
  EXPECT_EQ(EnumParameter("Other", "", "mauve", Colours, false, &config).getValueInt(), 0);
}

TEST_F(Parameter, refusesTextThatIsNotUtf8) {
  StringParameter p("Text", "", "old", false, &config);
  try {
    p.setParam("\xff", 10);
    FAIL();
  } catch (const plat::BadUtf8& e) {
    EXPECT_STREQ(e.message, "Bad UTF-8 string for Text");
  }
  EXPECT_FALSE(p.setParam(nullptr, 10));
  EXPECT_STREQ(p.value(), "old");
  EXPECT_TRUE(p.setParam("Gr\xc3\xbc\xc3\x9f", 10));
}

TEST_F(Parameter, keepsLongNumbersInOneFormAndReadsTwo) {
  S64Parameter p("Id", "", "int64:0000000000000000", false, &config);
  EXPECT_TRUE(p.setParam("0807060504030201", 10));
  EXPECT_STREQ(p.getValueStr().get(), "int64:0102030405060708");
  EXPECT_EQ(p.getValueS64(), 0x0102030405060708);
  EXPECT_TRUE(p.setParam("int64:FFFFFFFFFFFFFFFE", 10));
  EXPECT_EQ(p.getValueS64(), -2);
  EXPECT_TRUE(p.setValueS64(INT64_MIN, 10));
  EXPECT_STREQ(p.getValueStr().get(), "int64:8000000000000000");
  for (const char* bad : {"", "int64:", "int64:01020304050607", "int64:010203040506070g", "08070605040302",
                          "080706050403020100", "int64:01020304050607080", static_cast<const char*>(nullptr)}) {
    SCOPED_TRACE(bad ? bad : "null");
    EXPECT_FALSE(p.setParam(bad, 10));
  }
}

TEST_F(Parameter, handsBinaryValuesOutByCopy) {
  Bytes initial(reinterpret_cast<const unsigned char*>("\x01\x02"), 2, true);
  BinaryParameter p("Key", "", initial, false, &config);
  EXPECT_TRUE(p.isAdvanced());
  Bytes out(200);
  p.getValueBuf(out);
  EXPECT_TRUE(out == initial);
  EXPECT_TRUE(out.secure());
  EXPECT_STREQ(p.getValueStr().get(), "0102");
  EXPECT_STREQ(p.getValueStrAt(0).get(), "<binary>");
  EXPECT_TRUE(p.getValueStrAt(1).isNull());
  EXPECT_FALSE(p.setParam("abc", 10));
  EXPECT_FALSE(p.setParam("zz", 10));
  EXPECT_TRUE(p.setParam("ABcd", 10));
  EXPECT_STREQ(p.getValueStr().get(), "abcd");
  EXPECT_TRUE(p.setParam("", 10));
  p.getValueBuf(out);
  EXPECT_EQ(out.size(), 0);
}

TEST_F(Parameter, refusesDefinitionsThatAreBugs) {
  const auto message = [](auto make) -> std::string {
    try {
      make();
    } catch (const plat::AssertionFail& e) {
      return e.message;
    }
    return "";
  };
  EXPECT_THAT(
      message([&] { StringParameter("S", "", nullptr, false, &config); }),
      testing::MatchesRegex("Assertion 'v' failed at base/plat/ConfigParameter:[0-9]+: Default value <null> for "
                            "S not allowed"));
  EXPECT_THAT(message([&] { BoolParameter("B", static_cast<const char*>(nullptr), false, false, &config); }),
              testing::StartsWith("Assertion 'desc || locDesc' failed at base/plat/ConfigParameter:"));
  EXPECT_EQ(config.find("S", false), nullptr);
}

TEST_F(Parameter, takesAllValuesOverFromAnother) {
  Configuration otherConfig("Other");
  IntParameter p("N", "", 1, 0, 9, false, &config);
  IntParameter other("N", "", 2, 0, 9, false, &otherConfig);
  p.setParam("3", 10);
  p.setParam("4", 20);
  other.setParam("4", 20);
  other.setParam("6", 40);
  Changes changes;
  p.addCallback(&changes);
  p.assignFrom(other);
  EXPECT_THAT(changes.priorities, ElementsAre(10, 0, 40));
  EXPECT_EQ(p.getAllValues(), other.getAllValues());
}

TEST_F(Parameter, isClonedWithItsValuesAndTextsAndTags) {
  Configuration target("Target");
  std::string name = "Colour";
  auto p =
      std::make_unique<EnumParameter>(name.c_str(), "what it looks like", "red", Colours, true, &config, "noPolicy");
  p->setParam("blue", 10);
  const auto copy = p->clone(target);
  p.reset();
  name = "gone";
  EXPECT_EQ(target.find("colour", false), copy.get());
  EXPECT_STREQ(copy->name(), "Colour");
  EXPECT_STREQ(copy->getDescription(), "what it looks like");
  EXPECT_STREQ(copy->getTypeName(), "enum");
  EXPECT_TRUE(copy->isAdvanced());
  EXPECT_STREQ(copy->getValueStr().get(), "Blue");
  EXPECT_STREQ(copy->getDefaultStr().get(), "Red");
  EXPECT_FALSE(copy->setParam("green", 30));
}

}  // namespace
