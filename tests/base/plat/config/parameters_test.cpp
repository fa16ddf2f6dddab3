#include <climits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/EnumParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/config/S64Parameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/exceptions.h"
#include "base/plat/usage/configXml.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/thrown.h"

namespace {

using plat::BinaryParameter;
using plat::BoolParameter;
using plat::Configuration;
using plat::EnumParameter;
using plat::IntParameter;
using plat::S64Parameter;
using plat::StringParameter;
using test::messageFrom;

using Bytes = plat::MBuf<unsigned char>;

constexpr const char* Colours[] = {"red", "\"green\"", nullptr};

/// Writes its name and the priority of each change that it is told of.
struct Changes final : plat::ParameterChangedCallback {
  Changes(std::string& o, const char* n) : out(o), name(n) {}
  void parameterChanged(plat::ConfigParameter&, int priority) override { out += name + std::to_string(priority) + " "; }
  std::string& out;
  std::string name;
};

class Parameters : public testing::Test {
protected:
  Parameters() { config.setChild(child, true); }
  ~Parameters() override { config.setChild(child, false); }

  Configuration config{"Test"};
  Configuration child{"Child"};
  StringParameter text{"text", "A <text> & \"more\"", "a", false, &config, "x,noPolicy,a&b"};
  BoolParameter flag{"Flag", plat::LocDesc("plat_run_with_help"), true, true, &config};
  IntParameter number{"Number", "n", -5, false, &child, -10, INT_MAX};
  EnumParameter colour{"Colour", "", "\"green\"", false, &child, Colours};
  S64Parameter big{"Big", "b", "", false, &config};
  BinaryParameter bytes{"bytes", "b", {}, false, &config};
  IntParameter hidden{"_Hidden", "", 1, false, &config, 0, 1};
};

TEST_F(Parameters, haveTheValueOfTheirHighestPriorityAndCallBackForEveryChange) {
  std::string changes;
  Changes a(changes, "a"), b(changes, "b");
  flag.addCallback(&a);
  flag.addCallback(&b);
  EXPECT_TRUE(flag.setParam("0", 10));
  flag.removeCallback(&b);
  EXPECT_TRUE(flag.setParam("false", 10));  // equal
  EXPECT_TRUE(flag.setParam("on", 30));
  EXPECT_TRUE(flag.getValue());
  EXPECT_EQ(flag.getPriority(), 30);
  EXPECT_TRUE(flag.setParam("no", 5));  // below the one in force, and told all the same
  flag.unsetParam(30, true);
  EXPECT_FALSE(flag.getValue());
  flag.unsetParam(30, true);  // nothing there
  flag.unsetParam(0, true);   // never goes
  EXPECT_TRUE(flag.hasPriority(0));
  flag.unsetParam(10, false);
  EXPECT_EQ(changes, "a10 b10 a30 a5 a30 ");
  EXPECT_TRUE(flag.getValueStrAt(7).isNull());
}

TEST_F(Parameters, logChangesButNoBinaryValues) {
  test::RecordingDest log("ConfigParameter:rec:110");
  flag.setParam("off", 0);
  flag.setParam("on", 10);
  flag.setParam("perhaps", 10);
  flag.unsetParam(10, false);
  bytes.setParam("c0ffee", 10);
  config.setLogChanges(false);
  flag.setParam("on", 20);
  EXPECT_THAT(log.lines(), testing::ElementsAre("110 ConfigParameter: set Flag(bool) to 0, priority 0",
                                                "100 ConfigParameter: set Flag(bool) to 1, priority 10",
                                                "0 ConfigParameter: Bool parameter Flag: invalid value 'perhaps'",
                                                "100 ConfigParameter: unset Flag(bool) priority 10, now 0, priority 0",
                                                "100 ConfigParameter: set bytes(binary) to <binary>, priority 10"));
}

TEST_F(Parameters, takeTheTextsOfTheirTypeOnly) {
  IntParameter size("Size", "", 20000, false, &config, 16384, INT_MAX);
  const struct {
    plat::ConfigParameter& parameter;
    std::vector<std::pair<const char*, const char*>> taken;
    std::vector<const char*> refused;
  } cases[] = {
      {flag,
       {{"0", "0"}, {"1", "1"}, {"off", "0"}, {"ON", "1"}, {"false", "0"}, {"TRUE", "1"}, {"no", "0"}, {"Yes", "1"}},
       {"2"}},
      {flag, {{"0", "0"}, {"", "1"}, {"0", "0"}, {nullptr, "1"}}, {}},
      {size,
       {{"0x4000", "16384"}, {"040001", "16385"}, {"2147483647", "2147483647"}},
       {"16383", "2147483648", "", "20000x", "20000 ", "-20000", nullptr}},
      {colour, {{"RED", "red"}}, {"1", nullptr}},
      {text, {{"Gr\xc3\xbc\xc3\x9f", "Gr\xc3\xbc\xc3\x9f"}}, {nullptr}},
      {big,
       {{"0807060504030201", "int64:0102030405060708"}, {"int64:FFFFFFFFFFFFFFFE", "int64:FFFFFFFFFFFFFFFE"}},
       {"int64:", "int64:01020304050607", "int64:010203040506070g", "08070605040302", "080706050403020100", nullptr}},
      {bytes, {{"ABcd", "abcd"}}, {"abc", "zz"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.parameter.name());
    for (const char* const bad : c.refused) {
      EXPECT_FALSE(c.parameter.setParam(bad, 10) || c.parameter.hasPriority(10)) << (bad != nullptr ? bad : "null");
    }
    for (const auto& [good, value] : c.taken) {
      EXPECT_TRUE(c.parameter.setParam(good, 10)) << value;
      EXPECT_STREQ(c.parameter.getValueStr().get(), value);
    }
  }
  EXPECT_FALSE(size.setParamInt(16383, 10) || colour.setParamInt(2, 10));
  EXPECT_TRUE(flag.setParamInt(2, 10) && flag.getValueInt() == 1);
  EXPECT_EQ(big.getValueS64(), -2);
  EXPECT_EQ(messageFrom<plat::BadUtf8>([&] { text.setParam("\xff", 10); }), "Bad UTF-8 string for text");
  EXPECT_EQ(EnumParameter("Other", "", "mauve", false, &config, Colours).getValueInt(), 0);
}

TEST_F(Parameters, handBinaryValuesOutByCopy) {
  const Bytes initial(reinterpret_cast<const unsigned char*>("\x01\x02"), 2, true);
  const BinaryParameter key("Key", "", initial, false, &config);
  Bytes out(200);
  key.getValueBuf(out);
  EXPECT_TRUE(out == initial && out.secure());
  EXPECT_EQ(key.getValueStrAt(0), "<binary>");
}

TEST_F(Parameters, refuseDefinitionsThatAreBugs) {
  EXPECT_THAT(messageFrom<plat::AssertionFail>([&] { StringParameter("S", "", nullptr, false, &config); }),
              testing::MatchesRegex("Assertion 'v' failed at base/plat/ConfigParameter:[0-9]+: Default value <null> "
                                    "for S not allowed"));
  const char* const none = nullptr;
  EXPECT_THAT(messageFrom<plat::AssertionFail>([&] { BoolParameter("B", none, false, false, &config); }),
              testing::StartsWith("Assertion 'desc || locDesc' failed at base/plat/ConfigParameter:"));
  EXPECT_EQ(config.find("S", false), nullptr);
}

TEST_F(Parameters, areDescribedInXmlSortedByName) {
  text.setParam("l1\nl2\t<'>", 10);
  text.setParam("first", -1);
  bytes.setParam("00ff", 40);
  big.setValueS64(-2, 10);
  EXPECT_EQ(plat::configToXml(config, false, false), R"(<?xml version="1.0"?>
<config>
<s64    name="Big"
        description="b"
        advanced="false">
    <value data="" priority="0"/>
    <value data="int64:fffffffffffffffe" priority="10"/>
</s64>
<binary name="bytes"
        description="b"
        advanced="true">
    <value data="" priority="0"/>
    <value data="00ff" priority="40"/>
</binary>
<enum   name="Colour"
        description=""
        advanced="false"
        min="0"
        max="1">
    <value data="&quot;green&quot;" priority="0"/>
    <opt data="red"/>
    <opt data="&quot;green&quot;"/>
</enum>
<bool   name="Flag"
        description="Run with -help for usage."
        advanced="true">
    <value data="1" priority="0"/>
</bool>
<int    name="Number"
        description="n"
        advanced="false"
        min="-10"
        max="2147483647">
    <value data="-5" priority="0"/>
</int>
<string name="text"
        description="A &lt;text&gt; &amp; &quot;more&quot;"
        advanced="false"
        flags="a&amp;b,noPolicy,x">
    <value data="first" priority="-1"/>
    <value data="a" priority="0"/>
    <value data="l1&#10;l2&#9;&lt;'&gt;" priority="10"/>
</string>
</config>
)");
}

TEST_F(Parameters, areLeftOutOfXmlIfNotWanted) {
  const auto only = [](const char* name, const char* type, bool advanced) {
    return std::string(name) == "_Hidden" || (std::string(type) == "bool" && advanced);
  };
  const std::string xml = plat::configToXml(config, true, true, only).get();
  const std::size_t second = xml.find("<bool   name=\"Flag\"\n        locDesc=\"plat_run_with_help\"\n");
  EXPECT_LT(xml.find("<int    name=\"_Hidden\"\n"), second);
  EXPECT_EQ(xml.find("name=", second + 20), std::string::npos) << xml;
}

TEST_F(Parameters, comeInFromXmlAsTheyWentOut) {
  std::string odd = "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 ~\\&amp;&#1;<![CDATA[]]> \r\n ";
  for (char c = 1; c < 0x20; ++c) {
    odd += c;
  }
  for (const int priority : {-7, 5, 10, 29}) {
    text.setParam((odd + std::to_string(priority)).c_str(), priority);
    number.setParamInt(priority, priority);
    colour.setParam("RED", priority);
    flag.setParam(priority > 5 ? "no" : "yes", priority);
    big.setValueS64(priority, priority);
    bytes.setParam(priority > 5 ? "" : "0123456789abcdef", priority);
  }
  for (const bool useLocDesc : {false, true}) {
    const plat::String out = plat::configToXml(config, true, useLocDesc);
    Configuration in("In");
    in.addBool("Old", "plat_run_with_help", false);
    plat::configFromXml(in, out.get());
    EXPECT_EQ(plat::configToXml(in, true, useLocDesc), out);
    EXPECT_EQ(in.getParam("text").getValueStrAt(5).view(), odd + "5");
    EXPECT_FALSE(in.getParam("text").setParam("policy", 30));
    // What it made needs neither the text nor, once it is cloned, the configuration itself.
    Configuration copy(in);
    plat::configFromXml(in, "<config/>");
    EXPECT_EQ(plat::configToXml(in, true, false), "<?xml version=\"1.0\"?>\n<config>\n</config>\n");
    EXPECT_EQ(plat::configToXml(copy, true, useLocDesc), out);
  }
}

TEST_F(Parameters, ofOneNameComeInSoThatTheSameOneIsFound) {
  const IntParameter shadowed("TEXT", "", 2, false, &child, 0, 9);
  const plat::String out = plat::configToXml(config, false, false);
  Configuration in("In");
  plat::configFromXml(in, out.get());
  EXPECT_EQ(in.getParam("text").getValueStr(), "a");
  EXPECT_EQ(plat::configToXml(in, false, false), out);
}

TEST(ConfigFromXml, fillsInWhatMayBeLeftOut) {
  Configuration in("In");
  plat::configFromXml(in,
                      "<config><INT name='i' description='' advanced='TRUE'><value data='7' priority='3'/></INT>"
                      "<enum name='e' description=''><value data='none' priority='0'/><opt data='one'/></enum>"
                      "<int name='skipped' description=''><value data='x' priority='0'/></int></config>",
                      [](const char* name, const char*, bool) { return std::string(name) != "skipped"; });
  const plat::IntParameter& number = in.getIntParam("i");
  EXPECT_TRUE(number.isAdvanced());
  EXPECT_EQ(number.minValue(), INT_MIN);
  EXPECT_EQ(number.maxValue(), INT_MAX);
  EXPECT_EQ(number.getDefaultStr(), "0");
  EXPECT_EQ(number.getValueInt(), 7);
  EXPECT_EQ(in.getParam("e").getValueStr(), "one");
  EXPECT_EQ(in.find("skipped", true), nullptr);
}

TEST(ConfigFromXml, saysWhatIsWrong) {
  const auto message = [](const std::string& xml) {
    Configuration in("In");
    return messageFrom([&] { plat::configFromXml(in, xml.c_str()); });
  };
  EXPECT_EQ(message("<config>\n<x"), "XML error 2:1 unclosed token");
  EXPECT_EQ(message("<other/>"), "XML error 1:1 unexpected root element");
  Configuration none("None");
  EXPECT_EQ(messageFrom([&] { plat::configFromXml(none, nullptr); }), "XML error 1:1 no element found");
  EXPECT_EQ(message("<config><string name='a' description=''><value data='&#xFDD0;' priority='1'/></string></config>"),
            "Bad UTF-8 string for a");
  for (const char* element : {
           "<int description=''><value data='' priority='0'/></int>",
           "<int name='a'><value data='' priority='0'/></int>",
           "<int name='a' description=''/>",
           // A text to be filled in; shown as a description it would abort the program that fills it in later.
           "<int name='a' locDesc='plat_bad_argument'><value data='0' priority='0'/></int>",
           "<float name='a' description=''><value data='' priority='0'/></float>",
           "<int name='a' description=''><value priority='0'/></int>",
           "<int name='a' description=''><value data='0'/></int>",
           "<int name='a' description=''><value data='0' priority='1x'/></int>",
           "<int name='a' description='' min=''><value data='0' priority='1'/></int>",
           "<enum name='a' description=''><value data='0' priority='1'/><opt/></enum>",
       }) {
    EXPECT_EQ(message("<config>" + std::string(element) + "</config>"), "Incompatible XML config") << element;
  }
}

}  // namespace
