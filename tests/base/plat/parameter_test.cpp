#include <climits>
#include <cstdint>
#include <string>
#include <utility>

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
#include "tests/support/thrown.h"

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

/// Writes its name and the priority of each change that it is told of.
struct Changes final : plat::ParameterChangedCallback {
  Changes(std::string& o, const char* n) : out(o), name(n) {}
  void parameterChanged(ConfigParameter&, int priority) override { out += name + std::to_string(priority) + " "; }
  std::string& out;
  std::string name;
};

class Parameter : public testing::Test {
protected:
  Configuration config{"Test"};
  std::string changes;
};

TEST_F(Parameter, hasTheValueOfItsHighestPriorityAndCallsBackForEveryChange) {
  BoolParameter p("Switch", "", false, false, &config);
  Changes a(changes, "a");
  Changes b(changes, "b");
  p.addCallback(&a);
  p.addCallback(&b);
  EXPECT_TRUE(p.setParam("1", 10));
  p.removeCallback(&b);
  EXPECT_TRUE(p.setParam("true", 10));  // equal
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
  EXPECT_EQ(changes, "a10 b10 a30 a5 a30 ");
  EXPECT_TRUE(p.getValueStrAt(7).isNull());
  EXPECT_STREQ(p.getDefaultStr().get(), "0");
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

TEST_F(Parameter, readsSwitches) {
  BoolParameter p("Switch", "", false, false, &config);
  const struct {
    const char *text, *value;
  } cases[] = {{"", "1"},     {"0", "0"},  {"1", "1"},   {"OFF", "0"}, {"on", "1"},   {"false", "0"},
               {"TRUE", "1"}, {"no", "0"}, {"Yes", "1"}, {"0", "0"},   {nullptr, "1"}};
  for (const auto& c : cases) {
    EXPECT_TRUE(p.setParam(c.text, 10));
    EXPECT_STREQ(p.getValueStr().get(), c.value) << (c.text ? c.text : "null");
  }
  EXPECT_FALSE(p.setParam("2", 10));
  EXPECT_TRUE(p.setParamInt(2, 10));
  EXPECT_EQ(p.getValueInt(), 1);
}

TEST_F(Parameter, readsNumbersWithinTheirRange) {
  IntParameter p("Size", "", 20000, false, &config, 16384, INT_MAX);
  for (const auto& [text, value] :
       {std::pair("0x4000", 16384), {"040001", 16385}, {"16386", 16386}, {"2147483647", INT_MAX}}) {
    EXPECT_TRUE(p.setParam(text, 10)) << text;
    EXPECT_EQ(p.getValueInt(), value) << text;
  }
  p.unsetParam(10, false);
  for (const char* text : {"100", "16383", "2147483648", "", "20000x", "20000 ", "-20000", "99999999999999999999",
                           static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(p.setParam(text, 10)) << (text ? text : "null");
    EXPECT_FALSE(p.hasPriority(10));
  }
  EXPECT_FALSE(p.setParamInt(16383, 10));
}

TEST_F(Parameter, knowsChoicesByName) {
  EnumParameter p("Colour", "", "green", false, &config, Colours);
  EXPECT_TRUE(p.setParam("BLUE", 10));
  EXPECT_STREQ(p.getValueStr().get(), "Blue");
  EXPECT_FALSE(p.setParam("1", 10));
  EXPECT_FALSE(p.setParam(nullptr, 10));
  EXPECT_FALSE(p.setParamInt(3, 10));
  EXPECT_EQ(EnumParameter("Other", "", "mauve", false, &config, Colours).getValueInt(), 0);
}

TEST_F(Parameter, refusesTextThatIsNotUtf8) {
  StringParameter p("Text", "", "old", false, &config);
  EXPECT_EQ(test::messageFrom<plat::BadUtf8>([&] { p.setParam("\xff", 10); }), "Bad UTF-8 string for Text");
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
    EXPECT_FALSE(p.setParam(bad, 10)) << (bad ? bad : "null");
  }
}

TEST_F(Parameter, handsBinaryValuesOutByCopy) {
  Bytes initial(reinterpret_cast<const unsigned char*>("\x01\x02"), 2, true);
  BinaryParameter p("Key", "", initial, false, &config);
  EXPECT_TRUE(p.isAdvanced());
  Bytes out(200);
  p.getValueBuf(out);
  EXPECT_TRUE(out == initial && out.secure());
  EXPECT_STREQ(p.getValueStrAt(0).get(), "<binary>");
  EXPECT_FALSE(p.setParam("abc", 10) || p.setParam("zz", 10));
  EXPECT_TRUE(p.setParam("ABcd", 10));
  EXPECT_STREQ(p.getValueStr().get(), "abcd");
}

TEST_F(Parameter, refusesDefinitionsThatAreBugs) {
  using test::messageFrom;
  EXPECT_THAT(
      messageFrom<plat::AssertionFail>([&] { StringParameter("S", "", nullptr, false, &config); }),
      testing::MatchesRegex("Assertion 'v' failed at base/plat/ConfigParameter:[0-9]+: Default value <null> for "
                            "S not allowed"));
  const char* const none = nullptr;
  EXPECT_THAT(messageFrom<plat::AssertionFail>([&] { BoolParameter("B", none, false, false, &config); }),
              testing::StartsWith("Assertion 'desc || locDesc' failed at base/plat/ConfigParameter:"));
  EXPECT_EQ(config.find("S", false), nullptr);
}

TEST_F(Parameter, isClonedWithItsValuesAndTextsAndTags) {
  Configuration target("Target");
  std::string name = "Colour";
  auto p =
      std::make_unique<EnumParameter>(name.c_str(), "what it looks like", "red", true, &config, Colours, "noPolicy");
  p->setParam("blue", 10);
  const auto copy = p->clone(target);
  p.reset();
  name = "gone";
  EXPECT_EQ(target.find("colour", false), copy.get());
  EXPECT_STREQ(copy->getDescription(), "what it looks like");
  EXPECT_TRUE(copy->isAdvanced());
  EXPECT_STREQ(copy->getValueStr().get(), "Blue");
  EXPECT_STREQ(copy->getDefaultStr().get(), "Red");
  EXPECT_FALSE(copy->setParam("green", 30)) << "policy is forbidden";
}

}  // namespace
