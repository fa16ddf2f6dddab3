#include "base/xml/escape.h"

#include <gtest/gtest.h>

TEST(EscapeAttribute, writesMarkupAndLineEndsAsReferences) {
  EXPECT_EQ(xml::escapeAttribute("a&b<c>d\"e'f\tg\nh\ri"), "a&amp;b&lt;c&gt;d&quot;e'f&#9;g&#10;h&#13;i");
  EXPECT_EQ(xml::escapeAttribute("\x01|\x1F|\x7F"), "\xEF\xB7\x91|\xEF\xB7\xAF|&#127;");
  EXPECT_EQ(xml::escapeAttribute("\xC3\xA4\xFF\xE2\x82"), "\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(xml::escapeAttribute(""), "");
  EXPECT_TRUE(xml::escapeAttribute(nullptr).isNull());
}
