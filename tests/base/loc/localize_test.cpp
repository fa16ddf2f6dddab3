#include "base/loc/Localize.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/loc/BuiltInResource.h"
#include "base/loc/BuiltInTexts.h"
#include "base/loc/LocaleSetter.h"
#include "base/loc/OsLocale.h"
#include "base/loc/translate.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"

namespace {

/// Speaks English for one test, whatever the environment asks for, and gives that back as it was.
class LocaleTest : public testing::Test {
protected:
  LocaleTest() {
    if (const char* language = std::getenv("LANGUAGE")) {
      language_ = language;
    }
    localize.setSearchDirs({});
    plat::Configuration::global().set("Locale", "en", 10);
  }
  ~LocaleTest() override {
    localize.setExportLanguage(true);
    plat::Configuration::global().getParam("Locale").unsetParam(10, true);
    if (language_) {
      setenv("LANGUAGE", language_->c_str(), 1);
    } else {
      unsetenv("LANGUAGE");
    }
  }

  /// The text as a user of these locales sees it.
  static std::string textFor(const char* locales, const char* key) {
    const loc::LocaleSetter setter(locales);
    return loc::translate(key, nullptr, 0, true);
  }

  loc::Localize& localize = loc::Localize::instance();

private:
  std::optional<std::string> language_;
};

}  // namespace

TEST_F(LocaleTest, translatesFromTheBuiltInEnglish) {
  EXPECT_STREQ(loc::translate("plat_run_with_help", nullptr, 0, false), "Run with -help for usage.");
  EXPECT_STREQ(loc::translate("io_error_endpoint_badescape", nullptr, 0, false),
               "Invalid endpoint: incorrect % escape");
  EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), "Bad argument '%S'.");
  EXPECT_EQ(loc::tryTranslate("no_such_key", false), nullptr);
  EXPECT_STREQ(loc::translate("no_such_key", nullptr, 0, false), "no_such_key");
}

TEST_F(LocaleTest, putsTheChosenLocaleFirstAndEnglishLast) {
  unsetenv("LANGUAGE");
  test::RecordingDest log("Localize:rec:30");
  plat::Configuration::global().set("Locale", "de:xx", 10);
  EXPECT_EQ(loc::processOsLocale().name, loc::chooseOsLocale(localize.locales()).name);
  EXPECT_EQ(localize.locales(), (std::vector<std::string>{"de_DE", "xx", "en_US"}));
  EXPECT_STREQ(std::getenv("LANGUAGE"), "de_DE");
  EXPECT_EQ(loc::getLocaleList(), "de_DE:xx:en_US");
  plat::Configuration::global().set("Locale", "fr", 10);
  EXPECT_STREQ(std::getenv("LANGUAGE"), "fr_FR:de_DE");
  localize.setExportLanguage(false);
  log.clear();
  plat::Configuration::global().set("Locale", "es", 10);
  plat::Configuration::global().set("Locale", "es_ES", 10);
  EXPECT_STREQ(std::getenv("LANGUAGE"), "fr_FR:de_DE");
  const std::vector<std::string> lines = log.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "30 Localize: Locales es_ES:en_US"), 1);
}

TEST_F(LocaleTest, setsAThreadsTextsAndGivesThemBack) {
  localize.addBuiltIn("xx", "loc_test_only", "ikks");
  EXPECT_EQ(loc::tryTranslate("loc_test_only", false), nullptr);
  {
    const loc::LocaleSetter outer("xx");
    EXPECT_STREQ(loc::translate("loc_test_only", nullptr, 0, false), "ikks");
    EXPECT_EQ(loc::getLocaleList(), "xx");
    const loc::LocaleSetter inner;
    EXPECT_STREQ(inner.name(), outer.name());
    EXPECT_EQ(loc::LocaleSetter::current(), &inner);
  }
  EXPECT_EQ(loc::LocaleSetter::current(), nullptr);
  EXPECT_EQ(loc::tryTranslate("loc_test_only", false), nullptr);
}

TEST_F(LocaleTest, keepsTheFirstBuiltInTextAndTheLastStoredOne) {
  localize.addBuiltIn("en", "plat_usage_help", "too late");
  localize.addBuiltIn("xx", "loc_test_first", "first");
  localize.addBuiltIn("xx", "loc_test_first", "second");
  localize.storeString("xx", "loc_test_stored", "first");
  localize.storeString("xx", "loc_test_stored", "second");
  EXPECT_EQ(textFor("xx", "plat_usage_help"), "Provide [advanced] usage information.");
  EXPECT_EQ(textFor("xx", "loc_test_first"), "first");
  EXPECT_EQ(textFor("xx", "loc_test_stored"), "second");
}

TEST_F(LocaleTest, takesATableThatComesLateAndRefusesBadBytesInOne) {
  static constexpr loc::TextRow Late[] = {{"loc_test_late", "late", "spaet", "tarde", "tard", "atrasado"}};
  EXPECT_EQ(loc::tryTranslate("loc_test_late", true), nullptr);
  static const loc::BuiltInTexts late(Late);
  localize.update();
  EXPECT_STREQ(loc::translate("loc_test_late", nullptr, 0, true), "late");
  EXPECT_EQ(textFor("pt_PT", "loc_test_late"), "atrasado");
  EXPECT_DEATH(localize.addBuiltIn("xx", "loc_test_bad", "\xff"),
               "isValidUtf8\\(str\\).*base/loc/Localize.*Bad UTF-8 in loc_test_bad");
  static constexpr loc::TextRow Bad[] = {{"loc_test_bad", "\xff", "", "", "", ""}};
  const auto addBad = [this] {
    static const loc::BuiltInTexts bad(Bad);
    localize.update();
  };
  EXPECT_DEATH(addBad(), "Bad UTF-8 in loc_test_bad");
}

TEST_F(LocaleTest, readsStringFilesFolderByFolder) {
  const test::TempDir dir;
  const auto entry = [](const char* key, const char* text) {
    return std::string("msgid \"") + key + "\"\nmsgstr \"" + text + "\"\n\n";
  };
  dir.write("user/strings.de.po", entry("loc_test_file", "user") + entry("loc_test_user", "user's"));
  dir.write("machine/strings.de.po", entry("loc_test_file", "machine") + "junk\n");
  dir.write("user/strings.de_AT.po", entry("plat_run_with_help", "servus"));
  dir.write("user/strings.x1.po", entry("loc_test_file", "not looked for"));
  dir.write("user/strings.hr.po", entry("loc_test_file", "ahead") + std::string(262145, 'x') + "\n");
  dir.makeDir("user/strings.cs.po");
  test::RecordingDest log("Localize:rec:30");
  localize.setSearchDirs({dir / "user", dir / "machine", dir / "missing", dir / "user/strings.de.po"});
  log.clear();
  EXPECT_EQ(textFor("de_AT", "loc_test_file"), "machine");
  EXPECT_EQ(textFor("de", "loc_test_user"), "user's");
  EXPECT_EQ(textFor("de_AT:x1", "plat_run_with_help"), "servus");
  EXPECT_EQ(textFor("hr", "loc_test_file"), "ahead");
  EXPECT_EQ(textFor("x1:cs", "loc_test_file"), "loc_test_file");
  std::vector<std::string> lines;
  for (const std::string& line : log.lines()) {
    if (line.find("No OS support") == std::string::npos) {
      lines.push_back(line);
    }
  }
  const auto path = [&](const char* name) { return dir / name; };
  using testing::HasSubstr;
  EXPECT_THAT(lines, testing::ElementsAre("30 Localize: Loaded strings from " + path("user/strings.de_AT.po"),
                                          "30 Localize: Loaded strings from " + path("user/strings.de.po"),
                                          "0 Localize: " + path("machine/strings.de.po") + ":4 Bad command or string",
                                          "30 Localize: Loaded strings from " + path("machine/strings.de.po"),
                                          "0 Localize: Error loading strings from " + path("user/strings.hr.po") +
                                              ": [StringTooLongException] String exceeds maximum length",
                                          HasSubstr("Error loading strings from " + path("user/strings.cs.po") + ": "),
                                          "0 Localize: Missing translation for \"loc_test_file\""));
}

TEST_F(LocaleTest, readsTheProgramsOwnResource) {
  static const char text[] = "msgid \"loc_test_resource\"\nmsgstr \"own\"\n?\n";
  static const loc::BuiltInResource resource("strings.qq.po", text, sizeof text - 1);
  test::RecordingDest log("Localize:rec:0");
  EXPECT_EQ(textFor("qq", "loc_test_resource"), "own");
  EXPECT_THAT(log.lines(), testing::ElementsAre("0 Localize: built-in resource strings.qq.po:3 Bad command or string"));
}

TEST_F(LocaleTest, servesThreadsInTheirOwnLanguagesWhileTheProcessChangesIts) {
  localize.setExportLanguage(false);
  const auto serve = [](const char* locales, const char* expected) {
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(textFor(locales, "plat_bad_argument"), expected);
      EXPECT_THAT(loc::translate("io_error_endpoint_badescape", nullptr, 0, false), testing::HasSubstr("%"));
    }
  };
  std::thread german(serve, "de", "Falsches Argument '%S'.");
  std::thread portuguese(serve, "pt_PT", "Argumento incorreto '%S'.");
  for (int i = 0; i < 50; ++i) {
    plat::Configuration::global().set("Locale", i % 2 == 0 ? "fr" : "es", 10);
  }
  german.join();
  portuguese.join();
  EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), "El argumento '%S' no es correcto.");
}
