#include "base/rdr/TextAppender.h"

#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/rdr/OutStreamFull.h"

namespace {

/// The stream as a terminated text, which it is after every append.
const char* text(const rdr::MemOutStream& out) {
  return reinterpret_cast<const char*>(out.data());
}

}  // namespace

TEST(TextAppender, keepsAnUncountedTerminator) {
  rdr::MemOutStream out(0);
  rdr::TextAppender appender(out);
  appender.appendText("");
  EXPECT_STREQ(text(out), "");
  appender.appendText("defghi", 3);
  appender.appendText("g", 3);
  appender.appendChars('-', 2);
  appender.appendChars('+', 0);
  EXPECT_STREQ(text(out), "defg--");
  const std::string longText(3000, 'y');
  appender.appendFormat("%d:%s", 12, longText.c_str());
  EXPECT_EQ(text(out), "defg--12:" + longText);
  EXPECT_EQ(out.length(), 3009U);
  rdr::MemOutStream limited(-1, 10);
  EXPECT_THROW(rdr::TextAppender(limited).appendFormat("%s", "0123456789"), rdr::OutStreamFull);
}

TEST(TextAppender, encodesCharacters) {
  rdr::MemOutStream out(0);
  rdr::TextAppender appender(out);
  for (const unsigned codePoint : {0x7FU, 0x7FFU, 0xFFFFU, 0x10FFFFU, 0x1100000U}) {
    appender.appendChars(codePoint, 1);
  }
  EXPECT_STREQ(text(out), "\x7f\xdf\xbf\xef\xbf\xbf\xf4\x8f\xbf\xbf");
}
