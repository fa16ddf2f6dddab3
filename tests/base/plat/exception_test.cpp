#include "base/plat/Exception.h"

#include "base/plat/assert.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

TEST(Exception, setsTheTextsOfItsClassCutAtACharacterAndIsShownWithItsType) {
  errno = EACCES;
  const std::tuple<Exception, const char*, const char*> cases[] = {
      {StdlibException("open %s", "x"), "System-13", "open x: Permission denied (13)"},
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
  for (const auto& [exception, type, message] : cases) {
    EXPECT_STREQ(exception.type, type) << message;
    EXPECT_STREQ(exception.message, message);
  }

  const std::string whole = std::string(253, 'x') + "\xC3\xA9", split = "x" + whole;
  EXPECT_EQ(Exception("m", split.c_str()).type, std::string(63, 'x'));
  EXPECT_EQ(Exception(whole.c_str()).message, whole);
  EXPECT_EQ(Exception(Formatted, "%s", split.c_str()).message, std::string(254, 'x'));
  char buffer[256];
  EXPECT_STREQ(formatException(buffer, Exception(split.c_str())), std::string(254, 'x').c_str());
  EXPECT_STREQ(formatException(buffer, Exception(whole.c_str(), "Kind")), ("[Kind] " + std::string(248, 'x')).c_str());
  EXPECT_STREQ(formatException(buffer, Exception("", "Kind"), "nothing said"), "[Kind] nothing said");
  EXPECT_TRUE(Exception(nullptr, nullptr).isEmpty());
  EXPECT_FALSE(Exception(nullptr, "NotFound").isEmpty());
}

TEST(AssertionDeath, reportsLogsAndFlushesBeforeTheEndAndAbortsIfThatFails) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  /// What the log prints goes to stderr, where death tests look.
  struct StderrDest : LogDest {
    StderrDest() : LogDest("exceptionTest") {}
    void log(int, const char* source, const char* text) override {
      std::fprintf(stderr, "<%s %s>\n", source, text);
      PLAT_ASSERT(!failing);
    }
    bool failing = false;
  } dest;
  setAssertFlushHook([] { std::fputs("flushed\n", stderr); });
  logOverride("Assertion:exceptionTest:0");
  const auto dieOf = [](const char* name) { PLAT_ASSERT_AS(false, name, "base/plat/x", 9); };
  EXPECT_EXIT(dieOf("never"), KilledBySignal(SIGABRT),
              "^Assertion 'never' failed at base/plat/x:9\n"
              "<Assertion Assertion 'never' failed at base/plat/x:9>\n"
              "<Assertion stacktrace:  1 .*>\n(.|\n)*flushed\n$");
  dest.failing = true;
  EXPECT_EXIT(dieOf("x"), KilledBySignal(SIGABRT), "^Assertion 'x' [^\n]*\n<Assertion Assertion 'x' [^\n]*>\n$");
  dest.failing = false;
  setAssertFlushHook([] { throw Exception("link is gone"); });
  EXPECT_EXIT(dieOf("x"), KilledBySignal(SIGABRT), "stacktrace:[^\n]*\n$");
  setAssertFlushHook(nullptr);

  ConfigParameter& asked = Configuration::global().getParam("_BadUtf8Assert");
  asked.setParam("1", 10);
  EXPECT_EXIT(BadUtf8(Formatted, "Bad UTF-8 string for %s", "x"), KilledBySignal(SIGABRT),
              "failed at base/plat/BadUtf8:[0-9]+: Bad UTF-8 string for x\n");
  asked.unsetParam(10, true);

  testing::internal::CaptureStderr();
  warnException(ProtocolError("odd"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "<Assertion Warning: Protocol error: odd>\n") << "lives on";
  logOverride(nullptr);
}

}  // namespace
}  // namespace plat
