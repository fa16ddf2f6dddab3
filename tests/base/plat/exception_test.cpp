#include "base/plat/Exception.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/assert.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/logging/logging.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

TEST(Exception, cutsLongTextsAtACharacter) {
  const std::string plain(300, 'x'), whole = std::string(253, 'x') + "\xC3\xA9", split = "x" + whole;
  EXPECT_EQ(Exception(plain.c_str()).message, std::string(255, 'x'));
  EXPECT_EQ(Exception("m", plain.c_str()).type, std::string(63, 'x'));
  EXPECT_EQ(Exception(whole.c_str()).message, whole);
  EXPECT_EQ(Exception(split.c_str()).message, std::string(254, 'x'));
  EXPECT_EQ(Exception(Formatted, "%s", split.c_str()).message, std::string(254, 'x'));
}

TEST(Exception, eachClassSetsItsTexts) {
  struct Case {
    Exception exception;
    const char *type, *message;
  };
  errno = EACCES;
  const Case cases[] = {{StdlibException("open %s", "x"), "System-13", "open x: Permission denied (13)"},
                        {SystemException("open", ENOENT), "System-2", "open: No such file or directory (2)"},
                        {SystemException(nullptr, 99999), "System-99999", "Unknown error (99999)"},
                        {ProtocolError("odd"), "ProtocolError", "Protocol error: odd"},
                        {ProtocolError("odd", false), "ProtocolError", "odd"},
                        {TimedOut(), "TimedOut", "Timed out"},
                        {BadUtf8(Formatted, "Bad UTF-8 string for %s", "x"), "", "Bad UTF-8 string for x"},
                        {AssertionFail("a > b", "/home/x/base/base/plat/y.d/File.cpp", 12), "AssertionFail",
                         "Assertion 'a > b' failed at base/plat/y.d/File:12"},
                        {AssertionFail("v", "libs/fops/path", 3, Formatted, "for %s", "z"), "AssertionFail",
                         "Assertion 'v' failed at libs/fops/path:3: for z"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_STREQ(c.exception.type, c.type);
    EXPECT_STREQ(c.exception.message, c.message);
  }
}

TEST(Exception, isShownWithItsTypeAndIsSuccessOnlyWithoutBothTexts) {
  char buffer[256];
  EXPECT_STREQ(formatException(buffer, Exception("text", "Kind")), "[Kind] text");
  EXPECT_STREQ(formatException(buffer, Exception("text")), "text");
  EXPECT_STREQ(formatException(buffer, Exception("", "Kind"), "nothing said"), "[Kind] nothing said");
  EXPECT_EQ(std::strlen(ExceptionText(Exception(std::string(255, 'x').c_str(), "Kind")).get()), 255U);
  EXPECT_TRUE(Exception(nullptr, nullptr).isEmpty());
  EXPECT_FALSE(Exception(nullptr, "NotFound").isEmpty());
}

TEST(Assertion, requireThrowsWithTheConditionsText) {
  const int value = 3;
  EXPECT_NO_THROW(PLAT_REQUIRE(value == 3));
  EXPECT_THAT(test::messageFrom<AssertionFail>([&] { PLAT_REQUIRE(value == 4); }),
              testing::MatchesRegex("Assertion 'value == 4' failed at base/plat/exception_test:[0-9]+"));
  EXPECT_EQ(test::messageFrom<AssertionFail>([&] { PLAT_REQUIRE_AS(value == 4, "x", "base/rdr/StateMachine", 77); }),
            "Assertion 'x' failed at base/rdr/StateMachine:77");
}

/// Prints what reaches the log on stderr, where death tests look.
class StderrDest : public LogDest {
public:
  StderrDest() : LogDest("exceptionTest") {}
  void log(int level, const char* source, const char* text) override {
    std::fprintf(stderr, "<%d %s %s>\n", level, source, text);
    if (failing) {
      PLAT_ASSERT(!"failed while failing");
    }
  }
  bool failing = false;
};

class AssertionDeath : public testing::Test {
protected:
  AssertionDeath() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    logOverride("Assertion:exceptionTest:100");
  }
  ~AssertionDeath() override { logOverride(nullptr); }
  StderrDest dest_;
};

TEST_F(AssertionDeath, reportsLogsAndFlushesBeforeTheEndAndAbortsIfThatFails) {
  const auto dieOf = [](const char* name) { PLAT_ASSERT_AS(false, name, "base/plat/x", 9); };
  setAssertFlushHook([] { std::fputs("flushed\n", stderr); });
  EXPECT_EXIT(dieOf("never"), testing::KilledBySignal(SIGABRT),
              "^Assertion 'never' failed at base/plat/x:9\n"
              "<0 Assertion Assertion 'never' failed at base/plat/x:9>\n"
              "<0 Assertion stacktrace:  1 .*>\n(.|\n)*flushed\n$");
  dest_.failing = true;
  EXPECT_EXIT(dieOf("x"), testing::KilledBySignal(SIGABRT),
              "^Assertion 'x' failed at base/plat/x:9\n<0 Assertion Assertion 'x' [^\n]*>\n$");
  dest_.failing = false;
  setAssertFlushHook([] { throw Exception("link is gone"); });
  EXPECT_EXIT(dieOf("x"), testing::KilledBySignal(SIGABRT), "stacktrace:[^\n]*\n$");
  setAssertFlushHook(nullptr);
}

TEST_F(AssertionDeath, warningsAreLoggedOnly) {
  testing::internal::CaptureStderr();
  warnException(ProtocolError("odd"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "<0 Assertion Warning: Protocol error: odd>\n");
}

TEST_F(AssertionDeath, badUtf8EndsTheProcessIfAsked) {
  ConfigParameter& asked = Configuration::global().getParam("_BadUtf8Assert");
  EXPECT_TRUE(asked.isAdvanced());
  asked.setParam("1", 10);
  EXPECT_EXIT(BadUtf8(Formatted, "Bad UTF-8 string for %s", "x"), testing::KilledBySignal(SIGABRT),
              "failed at base/plat/BadUtf8:[0-9]+: Bad UTF-8 string for x\n");
  asked.unsetParam(10, true);
}

}  // namespace
}  // namespace plat
