#include "base/xml/Document.h"

#include "base/xml/errors.h"
#include "base/xml/escape.h"
#include "tests/support/prelude.h"

namespace {

using xml::Document;

std::string repeat(const std::string& piece, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) {
    all += piece;
  }
  return all;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__clang__)
constexpr long AllowedKiB = 64 * 1024;  // a sanitizer keeps what was freed
#else
constexpr long AllowedKiB = 8 * 1024;
#endif

/// A line of the process's own account of its memory.
long memoryKiB(const std::string& line) {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (word != line && status >> word) {
  }
  long value = -1;
  status >> value;
  return value;
}

std::string failureOf(std::string_view text) {
  Document document;
  const int code = document.parse(text, "config");
  EXPECT_EQ(static_cast<bool>(document.root()), code == 0);
  return std::to_string(document.errorLine()) + ":" + std::to_string(document.errorColumn()) + " " +
         Document::errorMessage(code);
}

TEST(XmlDocument, givesElementsInOrderWithTheirAttributes) {
  Document document;
  ASSERT_EQ(document.parse("<?xml version='1.0'?><!-- c --><config><a x='1' y='&lt;&#10;2\n3'>t<v/><w/><v z=''/></a>"
                           "<b/>\n<a/></config>\n",
                           "config"),
            0);
  const Document::Element root = document.root();
  EXPECT_STREQ(root.name(), "config");
  EXPECT_EQ(root.childCount("a"), 2);
  EXPECT_EQ(root.childCount(nullptr), 3);
  EXPECT_EQ(root.childCount("v"), 0);
  std::uint32_t index = 0;
  const Document::Element a = root.nextChild("a", index);
  EXPECT_STREQ(a.attribute("x"), "1");
  EXPECT_STREQ(a.attribute("y"), "<\n2 3");
  EXPECT_EQ(a.attribute("z"), nullptr);
  EXPECT_EQ(a.childCount("v"), 2);
  EXPECT_EQ(root.nextChild("a", index).childCount(nullptr), 0);
  EXPECT_FALSE(root.nextChild("a", index));
  EXPECT_FALSE(root.nextChild("a", index)) << "and does not begin again";
  std::uint32_t inner = 0;
  EXPECT_EQ(a.nextChild("v", inner).attribute("z"), nullptr);
  EXPECT_STREQ(a.nextChild("v", inner).attribute("z"), "");
  EXPECT_FALSE(a.nextChild("v", inner));
  EXPECT_EQ(document.errorLine(), 0);
}

TEST(XmlDocument, givesBackEveryCharacterThatWasEscaped) {
  std::string all;
  for (int c = 1; c < 0x100; ++c) {
    all += c < 0x80 ? std::string(1, static_cast<char>(c))
                    : std::string{static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
  }
  all += "\xEF\xB6\x91\xEF\xB8\x80\xE2\x82\xAC\xF0\x9F\x98\x80 ]]> &#10; \r\n";
  Document document;
  ASSERT_EQ(document.parse("<config a=\"" + std::string(xml::escapeAttribute(all.c_str()).get()) + "\"/>", "config"),
            0);
  EXPECT_EQ(document.root().attribute("a"), all);
}

TEST(EscapeAttribute, writesMarkupAndLineEndsAsReferences) {
  EXPECT_EQ(xml::escapeAttribute("a&b<c>d\"e'f\tg\nh\ri"), "a&amp;b&lt;c&gt;d&quot;e'f&#9;g&#10;h&#13;i");
  EXPECT_EQ(xml::escapeAttribute("\x01|\x1F|\x7F"), "\xEF\xB7\x91|\xEF\xB7\xAF|&#127;");
  EXPECT_EQ(xml::escapeAttribute("\xC3\xA4\xFF\xE2\x82"), "\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_TRUE(xml::escapeAttribute(nullptr).isNull());
}

TEST(XmlDocument, saysWhereAndWhyATextIsRefused) {
  const struct {
    const char* text;
    const char* failure;
  } cases[] = {
      {"", "1:1 no element found"},
      {"<config>\n  <a>\n  </b></config>", "3:5 mismatched tag"},
      {"<config>\n\xC3\xA4<a x=1/></config>", "2:7 not well-formed (invalid token)"},
      {"<config a='1' a='2'/>", "1:15 duplicate attribute"},
      {"<config a='&other;'/>", "1:1 undefined entity"},
      {"<config a='&#1;'/>", "1:12 reference to invalid character number"},
      {"<config a='\xFF'/>", "1:12 not well-formed (invalid token)"},
      {"<config/><config/>", "1:10 junk after document element"},
      {"<?xml version='1.0' encoding='no-such'?><config/>", "1:31 unknown encoding"},
      {"\n<Config/>", "2:1 unexpected root element"},
      {"<!DOCTYPE config [<!ENTITY x SYSTEM 'file:///etc/passwd'>]><config a='&x;'/>",
       "1:18 document type declaration not allowed"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(failureOf(c.text), c.failure);
  }
}

TEST(XmlDocument, refusesHostileTextsAtTheCostOfAFewMegabytes) {
  constexpr std::size_t Million = 1000000;
  const struct {
    const char* what;
    std::string text;
    const char* message;
  } cases[] = {
      {"depth", "<config>" + repeat("<a>", Million), "elements nested too deeply"},
      {"elements", "<config>" + repeat("<a/>", Million), "too many elements"},
      {"attributes", "<config>" + repeat("<a b='' c='' d='' e='' f='' g='' h=''/>", 100000), "too many attributes"},
      {"one value", "<config a='" + std::string(8 * Million, 'x'), "too much text"},
      {"many values", "<config>" + repeat("<a b='" + std::string(1000, 'x') + "'/>", 10000), "too much text"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::ofstream("/proc/self/clear_refs") << 5;  // makes the peak what is resident now
    const long before = memoryKiB("VmRSS:");
    const std::string failure = failureOf(c.text);
    EXPECT_EQ(failure.substr(failure.find(' ') + 1), c.message);
    EXPECT_LT(memoryKiB("VmHWM:"), before + AllowedKiB);
  }
}

TEST(XmlDocument, takesWhatIsJustWithinTheLimits) {
  Document document;
  const std::size_t depth = Document::MaxDepth - 1;
  EXPECT_EQ(document.parse("<config>" + repeat("<a>", depth) + repeat("</a>", depth) + "</config>", "config"), 0);
  EXPECT_EQ(document.parse("<config>" + repeat("<a>", depth + 1), "config"), xml::TooDeep);
  EXPECT_EQ(document.parse("<config>" + repeat("<a/>", Document::MaxElements - 1) + "</config>", "config"), 0);
  EXPECT_EQ(document.root().childCount("a"), static_cast<int>(Document::MaxElements) - 1);
  EXPECT_EQ(document.parse("<config a='" + std::string(900000, 'x') + "'/>", "config"), 0);
  // Neither comments nor text count.
  EXPECT_EQ(document.parse("<config>" + repeat("<!-- comment -->text\n", 200000) + "</config>", "config"), 0);
}

}  // namespace
