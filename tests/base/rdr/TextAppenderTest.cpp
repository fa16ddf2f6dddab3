#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/OutStreamFull.h"
#include "base/rdr/OutStreamV4.h"
#include "base/rdr/TextAppender.h"

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
  appender.appendText("abc");
  EXPECT_STREQ(text(out), "abc");
  appender.appendText("defghi", 3);
  appender.appendText("g", 3);
  EXPECT_STREQ(text(out), "abcdefg");
  appender.appendChars('-', 2);
  appender.appendChars('+', 0);
  EXPECT_STREQ(text(out), "abcdefg--");
  EXPECT_EQ(out.length(), 9U);
}

TEST(TextAppender, formatsTextsLongerThanTheirFormat) {
  rdr::MemOutStream out(1);
  rdr::TextAppender appender(out);
  const std::string longText(3000, 'y');
  appender.appendFormat("%d:%s", 12, longText.c_str());
  appender.appendFormat("%s", "");
  EXPECT_EQ(text(out), "12:" + longText);
  EXPECT_EQ(out.length(), 3003U);
}

TEST(TextAppender, encodesCharacters) {
  const struct {
    unsigned codePoint;
    const char* expected;
  } cases[] = {{0x7F, "\x7f\x7f"},
               {0x80, "\xc2\x80\xc2\x80"},
               {0x7FF, "\xdf\xbf\xdf\xbf"},
               {0x800, "\xe0\xa0\x80\xe0\xa0\x80"},
               {0xFFFF, "\xef\xbf\xbf\xef\xbf\xbf"},
               {0x1F600, "\xf0\x9f\x98\x80\xf0\x9f\x98\x80"},
               {0x10FFFF, "\xf4\x8f\xbf\xbf\xf4\x8f\xbf\xbf"},
               {0x1100000, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.codePoint);
    rdr::MemOutStream out(0);
    rdr::TextAppender(out).appendChars(c.codePoint, 2);
    EXPECT_STREQ(text(out), c.expected);
  }
  rdr::MemOutStream out;
  rdr::TextAppender(out).appendChars(0x10FFFFF, 1);
  EXPECT_EQ(out.length(), 4U);
}

TEST(TextAppender, refusesWhatTheStreamCannotHoldInOnePiece) {
  rdr::MemOutStream limited(-1, 10);
  EXPECT_THROW(rdr::TextAppender(limited).appendFormat("%s", "0123456789"), rdr::OutStreamFull);
  EXPECT_EQ(limited.length(), 0U);
  rdr::MemOutStream below;
  rdr::OutStreamV4 framed(&below);
  framed.startMsg();
  const std::string tooLong(40000, 'x');
  EXPECT_THROW(rdr::TextAppender(framed).appendFormat("%s", tooLong.c_str()), rdr::OutStreamFull);
}
