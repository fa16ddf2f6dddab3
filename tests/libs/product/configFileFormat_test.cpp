#include "libs/product/configFileFormat.h"

#include <string>

#include <gtest/gtest.h>

#include "base/plat/Exception.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/StringTooLongException.h"

namespace {

plat::ParameterMap parse(const std::string& text) {
  rdr::MemInStream in(text.data(), static_cast<int>(text.size()));
  return qzutil::readConfigLines(in);
}

std::string written(const char* name, const char* value) {
  rdr::MemOutStream out;
  qzutil::writeConfigLine(out, name, value);
  return {reinterpret_cast<const char*>(out.data()), out.length()};
}

}  // namespace

TEST(ConfigFileFormat, takesLinesApart) {
  const struct {
    const char* line;
    const char* name;
    const char* value;
  } cases[] = {
      {"Name=value", "Name", "value"},
      {" \t Name=value \t\v\f", "Name", "value"},
      {"Name = a = b", "Name ", " a = b"},
      {"Name=", "Name", ""},
      {"Name", "Name", nullptr},
      {"", "", nullptr},
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
      if (*c.line == '\0' && *end != '\n') {
        continue;  // the end of the file, no line at all
      }
      ASSERT_EQ(values.size(), 1u);
      EXPECT_EQ(values.begin()->first, c.name);
      EXPECT_EQ(values.begin()->second, c.value);
    }
  }
}

TEST(ConfigFileFormat, readsBackWhatItWrites) {
  for (const char* const value :
       {"", "plain", "a\nb", "\n", "end\r\n", "\\", "\\\\n", "C:\\new\\", "\\ x", " in front", "a=b", "ä\n\u20ac"}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(parse(written("Name", value)).at("Name"), value);
  }
  EXPECT_EQ(written("Name", nullptr), "Name\n");
  EXPECT_EQ(written("Name", "a\nb\rc\\d"), "Name=a\\nb\\rc\\\\d\n");
  EXPECT_EQ(parse(written("Name", "blanks at the end \t")).at("Name"), "blanks at the end");  // the form's limit
}

TEST(ConfigFileFormat, letsTheLastOfSeveralLinesCount) {
  const plat::ParameterMap values = parse("Name=1\nOTHER\nname=2\nother=3");
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
