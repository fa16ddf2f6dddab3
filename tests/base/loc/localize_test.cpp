#include "base/loc/Localize.h"

#include "base/loc/BuiltInResource.h"
#include "base/loc/BuiltInTexts.h"
#include "base/loc/LocaleSetter.h"
#include "base/loc/OsLocale.h"
#include "base/loc/translate.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "tests/support/prelude.h"

namespace {

void setLocale(const char* locales) {
  plat::Configuration::global().set("Locale", locales, 10);
}

/// Speaks English for one test, whatever the environment asks for, and leaves the environment alone.
class LocaleTest : public testing::Test {
protected:
  LocaleTest() {
    localize.setExportLanguage(false);
    localize.setSearchDirs({});
    setLocale("en");
  }
  ~LocaleTest() override { plat::Configuration::global().getParam("Locale").unsetParam(10, true); }

  /// The text as a user of these locales sees it.
  static std::string textFor(const char* locales, const char* key) {
    const loc::LocaleSetter setter(locales);
    return loc::translate(key, nullptr, 0, true);
  }

  loc::Localize& localize = loc::Localize::instance();
};

}  // namespace

TEST_F(LocaleTest, putsTheChosenLocaleFirstAndEnglishLast) {
  unsetenv("LANGUAGE");
  localize.setExportLanguage(true);
  test::RecordingDest log("Localize:rec:30");
  setLocale("de:xx");
  EXPECT_EQ(loc::processOsLocale().name, loc::chooseOsLocale(localize.locales()).name);
  EXPECT_EQ(localize.locales(), (std::vector<std::string>{"de_DE", "xx", "en_US"}));
  EXPECT_STREQ(std::getenv("LANGUAGE"), "de_DE");
  EXPECT_EQ(loc::getLocaleList(), "de_DE:xx:en_US");
  setLocale("fr");
  EXPECT_STREQ(std::getenv("LANGUAGE"), "fr_FR:de_DE");
  localize.setExportLanguage(false);
  log.clear();
  setLocale("es");
  setLocale("es_ES");
  EXPECT_STREQ(std::getenv("LANGUAGE"), "fr_FR:de_DE");
  const auto isTheChange = [](const std::string& line) { return line == "30 Localize: Locales es_ES:en_US"; };
  EXPECT_THAT(log.lines(), testing::Contains(testing::Truly(isTheChange)).Times(1));
}

TEST_F(LocaleTest, setsAThreadsTextsAndGivesThemBack) {
  localize.addBuiltIn("en", "plat_usage_help", "too late");
  for (const char* text : {"first", "second"}) {
    localize.addBuiltIn("xx", "loc_test_built_in", text);
    localize.storeString("xx", "loc_test_stored", text);
  }
  {
    const loc::LocaleSetter outer("xx");
    EXPECT_STREQ(loc::translate("plat_usage_help", nullptr, 0, true), "Provide [advanced] usage information.");
    EXPECT_STREQ(loc::translate("io_error_endpoint_badescape", nullptr, 0, false),
                 "Invalid endpoint: incorrect % escape");
    EXPECT_STREQ(loc::translate("loc_test_built_in", nullptr, 0, false), "first");
    EXPECT_STREQ(loc::translate("loc_test_stored", nullptr, 0, false), "second");
    EXPECT_EQ(loc::getLocaleList(), "xx");
    const loc::LocaleSetter inner;
    EXPECT_STREQ(inner.name(), outer.name());
    EXPECT_EQ(loc::LocaleSetter::current(), &inner);
  }
  EXPECT_EQ(loc::LocaleSetter::current(), nullptr);
  EXPECT_EQ(loc::tryTranslate("loc_test_built_in", false), nullptr);
  EXPECT_STREQ(loc::translate("loc_test_built_in", nullptr, 0, false), "loc_test_built_in");
}

TEST_F(LocaleTest, takesATableThatComesLateAndRefusesBadBytes) {
  static constexpr loc::TextRow Late[] = {{"loc_test_late", "late", "spaet", "tarde", "tard", "atrasado"}};
  EXPECT_EQ(loc::tryTranslate("loc_test_late", true), nullptr);
  static const loc::BuiltInTexts late(Late);
  localize.update();
  EXPECT_STREQ(loc::translate("loc_test_late", nullptr, 0, true), "late");
  EXPECT_EQ(textFor("pt_PT", "loc_test_late"), "atrasado");
  EXPECT_DEATH(localize.addBuiltIn("xx", "loc_test_bad", "\xff"),
               "isValidUtf8\\(str\\).*base/loc/Localize.*Bad UTF-8 in loc_test_bad");
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
  for (std::string line : log.lines()) {
    if (line.find("No OS support") == std::string::npos) {
      const std::size_t at = line.find(dir.path());
      lines.push_back(at == std::string::npos ? line : line.erase(at, dir.path().size()));
    }
  }
  using testing::StartsWith;
  EXPECT_THAT(lines, testing::ElementsAre("30 Localize: Loaded strings from /user/strings.de_AT.po",
                                          "30 Localize: Loaded strings from /user/strings.de.po",
                                          "0 Localize: /machine/strings.de.po:4 Bad command or string",
                                          "30 Localize: Loaded strings from /machine/strings.de.po",
                                          "0 Localize: Error loading strings from /user/strings.hr.po: "
                                          "[StringTooLongException] String exceeds maximum length",
                                          StartsWith("0 Localize: Error loading strings from /user/strings.cs.po: "),
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
  const auto serve = [](const char* locales, const char* expected) {
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(textFor(locales, "plat_bad_argument"), expected);
      EXPECT_THAT(loc::translate("io_error_endpoint_badescape", nullptr, 0, false), testing::HasSubstr("%"));
    }
  };
  std::thread german(serve, "de", "Falsches Argument '%S'.");
  std::thread portuguese(serve, "pt_PT", "Argumento incorreto '%S'.");
  for (int i = 0; i < 50; ++i) {
    setLocale(i % 2 == 0 ? "fr" : "es");
  }
  german.join();
  portuguese.join();
  EXPECT_STREQ(loc::translate("plat_bad_argument", nullptr, 0, true), "El argumento '%S' no es correcto.");
}
