

#include "base/os/info/AppInfo.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/log/LogDestMem.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/logParameters.h"
#include "base/plat/logging/logging.h"
#include "tests/support/prelude.h"

namespace {

using namespace plat;
using namespace test;

/// Checks in a fresh process: that the log has started cannot be undone, and another test may have started it here.
void inChild(void (*body)()) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT((LogDestMem::instance().discard(INT_MAX), body(), std::exit(testing::Test::HasFailure())),
              ExitedWithCode(0), "");
}

LogSrc alpha("TestAlpha");
LogSrc beta("TestBeta");

TEST(LogSetting, routesByPatternAndFollowsTheParameterUnlessOverridden) {
  RecordingDest rec, other(nullptr, "other"), limited(nullptr, "limited");
  limited.limit(30);
  for (const auto& [setting, alphaLevel, betaLevel, complaint] :
       {std::tuple("TestAlpha:rec:100,*:rec:10", 10, 10, ""),
        {",,testal*:REC:7,", 7, -1, ""},
        {"*:rec:5,*:other:50", 50, 50, ""},
        {"*:limited:100,TestAlpha:rec:60", 60, 30, ""},
        {"*::5", -1, -1, ""},
        {"*:nowhere:5", -1, -1, "No LogDest found: 'nowhere'\n"},
        {"*:rec", -1, -1, "Failed to parse log param element: '*:rec'\n"},
        {"*:rec:x,*:rec:4", 4, 4, "Failed to parse log param element: '*:rec:x'\n"}}) {
    testing::internal::CaptureStderr();
    logOverride(setting);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), complaint);
    EXPECT_EQ(std::pair(alpha.level(), beta.level()), std::pair(alphaLevel, betaLevel)) << setting;
  }

  logOverride("*:rec:1");
  logParameter().setParam("TestAlpha:rec:12", 10);
  EXPECT_EQ(alpha.level(), 1);
  logOverride(nullptr);
  EXPECT_EQ(alpha.level(), 12);
  logParameter().unsetParam(10, true);
  EXPECT_EQ(alpha.level(), -1);
}

TEST(LogSrc, deliversToEveryRouteThatAdmitsTheLevelEscapedAndCutAtTheEndOfACharacter) {
  RecordingDest rec, other(nullptr, "other"), off(nullptr, "off");
  off.enabled = false;
  logOverride("TestAlpha:rec:30,TestAlpha:other:100,TestAlpha:off:200");
  alpha.error("e%d", 1);
  alpha.info("i");
  alpha.debug("d");
  EXPECT_THAT(rec.lines(), ElementsAre("0 TestAlpha: e1", "30 TestAlpha: i"));
  EXPECT_THAT(other.lines(), ElementsAre("0 TestAlpha: e1", "30 TestAlpha: i", "100 TestAlpha: d"));
  EXPECT_THAT(off.lines(), IsEmpty());

  rec.clear();
  std::string text = "xx";
  while (text.size() < 5000) {
    text += "\xc3\xa9";
  }
  alpha.error("%s", text.c_str());
  alpha.error("%s", text.c_str() + 1);
  alpha.write(0, text.c_str());
  alpha.writeLines(5, "\none\n\ntwo\nthree");
  alpha.writeLines(5, nullptr);
  alpha.error("%s", "{|} a~b\tc\x7f\xc3\xa9\xe9");
  const std::string prefix = "0 TestAlpha: ";
  EXPECT_THAT(rec.lines(), ElementsAre(prefix + text.substr(0, 4094), prefix + text.substr(1, 4095), prefix + text,
                                       "5 TestAlpha: one", "5 TestAlpha: two", "5 TestAlpha: three",
                                       prefix + "{|} a~~b~^Ic~^?\xc3\xa9~M-i"));
}

TEST(LogSrc, keepsADestinationsFailureToItselfAndOnceStartedNeitherFormatsNorStoresWhatIsSuppressed) {
  inChild([] {
    struct : LogDest {
      using LogDest::LogDest;
      void log(int, const char*, const char*) override { throw Exception("no"); }
    } const failing("failing");
    alpha.error("stored");
    RecordingDest rec("*:rec:30,*:failing:30");
    EXPECT_EQ(alpha.level(), 30);
    alpha.info("kept");
    EXPECT_THAT(rec.lines(), ElementsAre("30 TestAlpha: kept"));

    logOverride("TestAlpha:rec:30");
    EXPECT_TRUE(alpha.enabled(INT_MAX));
    logStart();
    EXPECT_TRUE(alpha.enabled(INT_MIN) && alpha.enabled(30));
    EXPECT_FALSE(alpha.enabled(31) || beta.enabled(0));
    alpha.debug("%s", reinterpret_cast<const char*>(1));  // would crash if it were formatted
    beta.write(0, "dropped");
    EXPECT_THAT(rec.lines(), SizeIs(1));
  });
}

// Objects before their construction and after their destruction are used on purpose, so the sanitizer must not look.
#define UNSANITIZED __attribute__((no_sanitize("undefined")))

TEST(LogSrcDeathTest, tellsWhenItIsUsedBeforeItsConstructionAndWorksAfterItsDestruction) {
  const auto use = []() UNSANITIZED {
    alignas(LogSrc) static unsigned char storage[sizeof(LogSrc)];
    reinterpret_cast<LogSrc*>(storage)->write(30, "too early");
  };
  EXPECT_THAT(messageFrom<AssertionFail>(use), StartsWith("Assertion 'constructed' failed at base/plat/LogSrc:"));
  const auto logAtExit = [] {
    struct Late {
      LogSrc* source = nullptr;
      UNSANITIZED ~Late() { source->write(0, "famous last words"); }
    };
    static Late late;  // destroyed after the source, which is made after it
    static LogSrc source("TestLate");
    late.source = &source;
    logInit("*:stderr:10", nullptr, nullptr, false);
    std::exit(0);
  };
  EXPECT_EXIT(logAtExit(), ExitedWithCode(0), "TestLate: famous last words");
}

TEST(LogMemory, isReplayedToADestinationThatIsNamedForAllSourcesUntilTheLogStartsAndSaysIfItOverflowed) {
  inChild([] {
    for (int i = 1; i <= 503; ++i) {
      alpha.info("line %d", i);
    }
    RecordingDest full(nullptr, "full");
    LogDestMem::instance().replay(full, 100);
    LogDestMem::instance().discard(INT_MAX);
    EXPECT_EQ(full.lines().size(), 503u);
    EXPECT_EQ(full.lines().at(500), "30 TestAlpha: line 500");
    EXPECT_EQ(full.lines().at(501), "0 LogDestMem: Too many messages, discarding further ones");

    alpha.error("one");
    alpha.debug("two");
    beta.verbose("three");
    RecordingDest rec("TestAlpha:rec:200");
    rec.enabled = false;
    logOverride("*:rec:200");
    rec.enabled = true;
    logOverride("*:rec:100");
    alpha.verbose("four");
    logOverride("*:rec:110");  // what was replayed is gone, what was not is still there
    logApply();
    alpha.log(120, "stays");
    logStart();
    logOverride("*:rec:200");
    const std::string start = " LogDestMem: Start replaying stored messages";
    const std::string end = " LogDestMem: Finished replaying stored messages";
    EXPECT_THAT(rec.lines(), ElementsAre("100" + start, "0 TestAlpha: one", "100 TestAlpha: two", "100" + end,
                                         "110" + start, "110 TestBeta: three", "110 TestAlpha: four", "110" + end));
  });
}

TEST(LogInit, setsTheDefaults) {
  inChild([] {
    ::unsetenv("KEL_PROFILE_DIR");
    ::setenv("HOME", "/home/somebody", 1);
    os::AppInfo::setApp("tester");
    logInit(nullptr, nullptr, nullptr, false);
    EXPECT_STREQ(std::getenv("KEL_PROFILE_DIR"), "/home/somebody/.kel");
    EXPECT_STREQ(logParameter().value(), "*:stderr:10");
    EXPECT_STREQ(logDirParameter().value(), ::geteuid() == 0 ? "/var/log" : "$KEL_PROFILE_DIR");
    EXPECT_STREQ(logFileParameter().value(), "tester.log");
    EXPECT_FALSE(LogDest::find("file")->isEnabled());
    logInit("*:file:0", "/some/dir", "x.log", true);
    EXPECT_TRUE(LogDest::find("file")->isEnabled());
  });
}

}  // namespace
