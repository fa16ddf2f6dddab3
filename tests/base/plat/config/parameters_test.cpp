

#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/EnumParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/config/S64Parameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/usage/configXml.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

using Bytes = MBuf<unsigned char>;

constexpr const char* Colours[] = {"red", "\"green\"", nullptr};

class Parameters : public testing::Test {
protected:
  Parameters() { config.setChild(child, true); }

  Configuration config{"Test"};
  Configuration child{"Child"};
  StringParameter text{"text", "A <text> & \"more\"", "a", false, &config, "x,noPolicy,a&b"};
  BoolParameter flag{"Flag", LocDesc("plat_run_with_help"), true, true, &config};
  IntParameter number{"Number", "n", -5, false, &child, -10, INT_MAX};
  EnumParameter colour{"Colour", "", "\"green\"", false, &child, Colours};
  S64Parameter big{"Big", "b", "", false, &config};
  BinaryParameter bytes{"bytes", "b", {}, false, &config};
  IntParameter hidden{"_Hidden", "", 1, false, &config, 0, 1};
};

TEST_F(Parameters, haveTheValueOfTheirHighestPriorityAndTellOfEveryChange) {
  RecordingDest log("ConfigParameter:rec:110");
  struct Changes final : ParameterChangedCallback {
    void parameterChanged(ConfigParameter&, int priority) override { told.push_back(priority); }
    std::vector<int> told;
  } a, b;
  flag.addCallback(&a);
  flag.addCallback(&b);
  flag.setParam("0", 10);
  flag.removeCallback(&b);
  EXPECT_TRUE(flag.setParam("false", 10));  // equal
  EXPECT_TRUE(flag.setParam("on", 30));
  EXPECT_EQ(flag.getPriority(), 30);
  EXPECT_TRUE(flag.setParam("no", 5));  // below the one in force, and told all the same
  flag.unsetParam(30, true);
  EXPECT_FALSE(flag.getValue());
  flag.unsetParam(30, true);  // nothing there
  flag.unsetParam(0, true);   // never goes
  EXPECT_TRUE(flag.hasPriority(0));
  EXPECT_TRUE(flag.getValueStrAt(7).isNull());
  flag.unsetParam(10, false);
  EXPECT_THAT(a.told, ElementsAre(10, 30, 5, 30));
  EXPECT_THAT(b.told, ElementsAre(10));

  flag.setParam("perhaps", 10);
  bytes.setParam("c0ffee", 10);
  text.setParam("b", 0);
  config.setLogChanges(false);
  flag.setParam("on", 20);
  flag.unsetParam(20, false);
  EXPECT_THAT(log.lines(), ElementsAre("100 ConfigParameter: set Flag(bool) to 0, priority 10",
                                       "100 ConfigParameter: set Flag(bool) to 1, priority 30",
                                       "100 ConfigParameter: set Flag(bool) to 0, priority 5",
                                       "100 ConfigParameter: unset Flag(bool) priority 30, now 0, priority 10",
                                       "100 ConfigParameter: unset Flag(bool) priority 10, now 0, priority 5",
                                       "0 ConfigParameter: Bool parameter Flag: invalid value 'perhaps'",
                                       "100 ConfigParameter: set bytes(binary) to <binary>, priority 10",
                                       "110 ConfigParameter: set text(string) to b, priority 0"));
}

TEST_F(Parameters, takeTheTextsOfTheirTypeOnlyAndRefuseDefinitionsThatAreBugs) {
  IntParameter size("Size", "", 20000, false, &config, 16384, INT_MAX);
  const struct {
    ConfigParameter& parameter;
    std::vector<std::pair<const char*, const char*>> taken;
    std::vector<const char*> refused;
  } cases[] = {
      {flag, {{"off", "0"}, {"ON", "1"}, {"false", "0"}, {"TRUE", "1"}, {"no", "0"}, {"Yes", "1"}}, {"2"}},
      {flag, {{"0", "0"}, {"", "1"}, {"0", "0"}, {nullptr, "1"}}, {}},
      {size, {{"0x4000", "16384"}, {"040001", "16385"}}, {"16383", "", "20000x", nullptr}},
      {colour, {{"RED", "red"}}, {"1", nullptr}},
      {text, {{"Gr\xc3\xbc\xc3\x9f", "Gr\xc3\xbc\xc3\x9f"}}, {nullptr}},
      {big,
       {{"0807060504030201", "int64:0102030405060708"}, {"int64:FFFFFFFFFFFFFFFE", "int64:FFFFFFFFFFFFFFFE"}},
       {"int64:01020304050607", "int64:010203040506070g", "080706050403020100", nullptr}},
      {bytes, {{"ABcd", "abcd"}}, {"abc", "zz"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.parameter.name());
    for (const char* const bad : c.refused) {
      EXPECT_FALSE(c.parameter.setParam(bad, 10)) << PrintToString(bad);
      EXPECT_FALSE(c.parameter.hasPriority(10)) << PrintToString(bad);
    }
    for (const auto& [good, value] : c.taken) {
      EXPECT_TRUE(c.parameter.setParam(good, 10));
      EXPECT_EQ(c.parameter.getValueStr(), value);
    }
  }
  EXPECT_FALSE(size.setParamInt(16383, 10));
  EXPECT_FALSE(colour.setParamInt(2, 10));
  EXPECT_TRUE(flag.setParamInt(2, 10));
  EXPECT_EQ(flag.getValueInt(), 1);
  EXPECT_EQ(big.getValueS64(), -2);
  EXPECT_EQ(messageFrom<BadUtf8>([&] { text.setParam("\xff", 10); }), "Bad UTF-8 string for text");
  EXPECT_EQ(EnumParameter("Other", "", "mauve", false, &config, Colours).getValueInt(), 0);
  const Bytes initial(reinterpret_cast<const unsigned char*>("\x01\x02"), 2, true);
  Bytes out;
  BinaryParameter("Key", "", initial, false, &config).getValueBuf(out);
  EXPECT_EQ(out, initial);
  EXPECT_TRUE(out.secure());

  EXPECT_THAT(messageFrom<AssertionFail>([&] { StringParameter("S", "", nullptr, false, &config); }),
              MatchesRegex("Assertion 'v' failed at base/plat/ConfigParameter:[0-9]+: Default value <null> "
                           "for S not allowed"));
  const char* const none = nullptr;
  EXPECT_THAT(messageFrom<AssertionFail>([&] { BoolParameter("B", none, false, false, &config); }),
              StartsWith("Assertion 'desc || locDesc' failed at base/plat/ConfigParameter:"));
}

TEST_F(Parameters, areDescribedInXmlSortedByName) {
  text.setParam("l1\nl2\t<'>", 10);
  text.setParam("first", -1);
  const auto filter = [](const char* name, const char* type, bool advanced) {
    return std::string(name) != "Number" && std::string(type) != "s64" && !advanced;
  };
  EXPECT_EQ(configToXml(config, false, false, filter), R"(<?xml version="1.0"?>
<config>
<enum   name="Colour"
        description=""
        advanced="false"
        min="0"
        max="1">
    <value data="&quot;green&quot;" priority="0"/>
    <opt data="red"/>
    <opt data="&quot;green&quot;"/>
</enum>
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
  const std::string all = configToXml(config, true, true).get();
  EXPECT_THAT(all, HasSubstr("<int    name=\"_Hidden\"\n"));
  EXPECT_THAT(all, HasSubstr("<bool   name=\"Flag\"\n        locDesc=\"plat_run_with_help\"\n"));
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
    const String out = configToXml(config, true, useLocDesc);
    Configuration in("In");
    in.addBool("Old", "plat_run_with_help", false);
    configFromXml(in, out.get());
    EXPECT_EQ(configToXml(in, true, useLocDesc), out);
    EXPECT_EQ(in.getParam("text").getValueStrAt(5).view(), odd + "5");
    EXPECT_FALSE(in.getParam("text").setParam("policy", 30));
    // What it made needs neither the text nor, once it is cloned, the configuration itself.
    Configuration copy(in);
    configFromXml(in, "<config/>");
    EXPECT_EQ(configToXml(in, true, false), "<?xml version=\"1.0\"?>\n<config>\n</config>\n");
    EXPECT_EQ(configToXml(copy, true, useLocDesc), out);
  }
  // Of one name, the same one is found afterwards.
  const IntParameter shadowed("TEXT", "", 2, false, &child, 0, 9);
  Configuration in("In");
  configFromXml(in, configToXml(config, false, false).get());
  EXPECT_EQ(in.getParam("text").getTypeName(), std::string("string"));
}

TEST(ConfigFromXml, fillsInWhatMayBeLeftOutAndSaysWhatIsWrong) {
  Configuration in("In");
  configFromXml(in,
                "<config><INT name='i' description='' advanced='TRUE'><value data='7' priority='3'/></INT>"
                "<enum name='e' description=''><value data='none' priority='0'/><opt data='one'/></enum>"
                "<int name='skipped' description=''><value data='x' priority='0'/></int></config>",
                [](const char* name, const char*, bool) { return std::string(name) != "skipped"; });
  const IntParameter& number = in.getIntParam("i");
  EXPECT_TRUE(number.isAdvanced());
  EXPECT_EQ(std::tuple(number.minValue(), number.maxValue()), std::tuple(INT_MIN, INT_MAX));
  EXPECT_EQ(number.getDefaultStr(), "0");
  EXPECT_EQ(number.getValueInt(), 7);
  EXPECT_EQ(in.getParam("e").getValueStr(), "one");
  EXPECT_EQ(in.find("skipped", true), nullptr);

  const auto message = [&](const char* xml) { return messageFrom([&] { configFromXml(in, xml); }); };
  EXPECT_EQ(message("<config>\n<x"), "XML error 2:1 unclosed token");
  EXPECT_EQ(message("<other/>"), "XML error 1:1 unexpected root element");
  EXPECT_EQ(message(nullptr), "XML error 1:1 no element found");
  for (const char* element : {
           "<int description=''><value data='0' priority='0'/></int>",
           "<int name='a'><value data='0' priority='0'/></int>",
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
    EXPECT_EQ(message(("<config>" + std::string(element) + "</config>").c_str()), "Incompatible XML config") << element;
  }
}

}  // namespace
}  // namespace plat
