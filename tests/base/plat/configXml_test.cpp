#include "base/plat/configXml.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "base/plat/BinaryParameter.h"
#include "base/plat/BoolParameter.h"
#include "base/plat/Configuration.h"
#include "base/plat/EnumParameter.h"
#include "base/plat/IntParameter.h"
#include "base/plat/S64Parameter.h"
#include "base/plat/StringParameter.h"
#include "tests/support/thrown.h"

namespace {

using plat::Configuration;

constexpr const char* Colours[] = {"red", "\"green\"", nullptr};

class ConfigXml : public testing::Test {
protected:
  ConfigXml() { config.setChild(child, true); }
  ~ConfigXml() override { config.setChild(child, false); }

  Configuration config{"Test"};
  Configuration child{"Child"};
  plat::StringParameter text{"text", "A <text> & \"more\"", "a", false, &config, "x,noPolicy,a&b"};
  plat::BoolParameter flag{"Flag", plat::LocDesc("plat_run_with_help"), true, true, &config};
  plat::IntParameter number{"Number", "n", -5, false, &child, -10, std::numeric_limits<int>::max()};
  plat::EnumParameter colour{"Colour", "", "\"green\"", false, &child, Colours};
  plat::S64Parameter big{"Big", "b", "", false, &config};
  plat::BinaryParameter bytes{"bytes", "b", {}, false, &config};
  plat::IntParameter hidden{"_Hidden", "", 1, false, &config, 0, 1};
};

TEST_F(ConfigXml, describesEveryTypeSortedByName) {
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

TEST_F(ConfigXml, leavesOutWhatIsNotWanted) {
  const auto only = [](const char* name, const char* type, bool advanced) {
    return std::string(name) == "_Hidden" || (std::string(type) == "bool" && advanced);
  };
  EXPECT_EQ(plat::configToXml(config, true, true, only), R"(<?xml version="1.0"?>
<config>
<int    name="_Hidden"
        description=""
        advanced="false"
        min="0"
        max="1">
    <value data="1" priority="0"/>
</int>
<bool   name="Flag"
        locDesc="plat_run_with_help"
        advanced="true">
    <value data="1" priority="0"/>
</bool>
</config>
)");
}

TEST_F(ConfigXml, comesInAsItWentOut) {
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

TEST(ConfigFromXml, findsOfSeveralWithOneNameTheOneThatWasFound) {
  Configuration config("Test");
  Configuration child("Child");
  config.setChild(child, true);
  const plat::IntParameter own("Size", "own", 1, false, &config, 0, 9);
  const plat::IntParameter shadowed("SIZE", "shadowed", 2, false, &child, 0, 9);
  const plat::String out = plat::configToXml(config, false, false);
  config.setChild(child, false);
  Configuration in("In");
  plat::configFromXml(in, out.get());
  EXPECT_STREQ(in.getParam("Size").getDescription(), "own");
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
  EXPECT_EQ(number.minValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(number.maxValue(), std::numeric_limits<int>::max());
  EXPECT_EQ(number.getDefaultStr(), "0");
  EXPECT_EQ(number.getValueInt(), 7);
  EXPECT_EQ(in.getParam("e").getValueStr(), "one");
  EXPECT_EQ(in.find("skipped", true), nullptr);
}

TEST(ConfigFromXml, saysWhatIsWrong) {
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"<config>\n<x", "XML error 2:1 unclosed token"},
      {"<other/>", "XML error 1:1 unexpected root element"},
      {nullptr, "XML error 1:1 no element found"},
      {"<config><int description=''><value data='' priority='0'/></int></config>", "Incompatible XML config"},
      {"<config><int name='a'><value data='' priority='0'/></int></config>", "Incompatible XML config"},
      {"<config><int name='a' description=''/></config>", "Incompatible XML config"},
      // A text to be filled in; shown as a description it would abort the program that fills it in later.
      {"<config><int name='a' locDesc='plat_bad_argument'><value data='0' priority='0'/></int></config>",
       "Incompatible XML config"},
      {"<config><float name='a' description=''><value data='' priority='0'/></float></config>",
       "Incompatible XML config"},
      {"<config><int name='a' description=''><value priority='0'/></int></config>", "Incompatible XML config"},
      {"<config><int name='a' description=''><value data='0'/></int></config>", "Incompatible XML config"},
      {"<config><int name='a' description=''><value data='0' priority='1x'/></int></config>",
       "Incompatible XML config"},
      {"<config><int name='a' description='' min=''><value data='0' priority='1'/></int></config>",
       "Incompatible XML config"},
      {"<config><enum name='a' description=''><value data='0' priority='1'/><opt/></enum></config>",
       "Incompatible XML config"},
      {"<config><string name='a' description=''><value data='&#xFDD0;' priority='1'/></string></config>",
       "Bad UTF-8 string for a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text != nullptr ? c.text : "null");
    Configuration in("In");
    EXPECT_EQ(test::messageFrom([&] { plat::configFromXml(in, c.text); }), c.message);
  }
}

}  // namespace
