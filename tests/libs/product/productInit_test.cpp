#include "libs/product/productInit.h"

#include <sstream>

#include <grp.h>
#include <pwd.h>

#include "base/loc/Localize.h"
#include "base/os/info/AppInfo.h"
#include "base/os/info/programPath.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/logging/LogDestFile.h"
#include "base/plat/logging/LogDestFileMgr.h"
#include "libs/product/ProductInfo.h"
#include "libs/product/VersionInfoUpdater.h"
#include "libs/product/directories.h"
#include "tests/support/prelude.h"

namespace {

namespace AppInfo = os::AppInfo;
using testing::ExitedWithCode;

/// Starts the product up in this process, which must be a child's, and tells on stderr what came of it.
[[noreturn]] void startUp(const std::string& home, const char* appName, bool loadConfig) {
  os::programPath();  // looked up while it can be reached for sure
  if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setresuid(65534, 65534, 65534) != 0)) {
    std::_Exit(2);
  }
  home.empty() ? unsetenv("HOME") : setenv("HOME", home.c_str(), 1);
  for (const char* const name : {"KEL_PROFILE_DIR", "KEL_PROFILE", "KEL_CONFIG_PROFILE"}) {
    unsetenv(name);
  }
  try {
    plat::productInit("/from/argv0", appName, nullptr, nullptr, true, loadConfig);
  } catch (const plat::Exception& failure) {
    std::fprintf(stderr, "failure=%s\n", failure.message);
    std::_Exit(1);
  }
  std::fprintf(stderr, "app=%s\ncompany=%s\nprofile=%s\nlog=%s\n", AppInfo::app(), AppInfo::company(),
               std::getenv("KEL_PROFILE_DIR"), plat::LogDestFileMgr::instance().dest().path().get());
  std::_Exit(0);
}

}  // namespace

TEST(ProductInit, loadsTheConfigurationOnlyWhenAsked) {
  if (::access(os::programDir().get(), X_OK) != 0) {
    GTEST_SKIP() << "the program's folder is out of reach";
  }
  const test::TempDir dir;
  dir.write(".kel/config.d/app", "LogFile=/chosen.log\n");
  for (const char* const name : {"", ".kel", ".kel/config.d", ".kel/config.d/app"}) {
    test::Unprivileged::give(dir / name);
  }
  EXPECT_EXIT(startUp(dir.path(), "app", true), ExitedWithCode(0), "log=/chosen.log\n");
  const std::string user = dir / ".kel";
  EXPECT_EXIT(startUp(dir.path(), nullptr, false), ExitedWithCode(0),
              "app=test_product\ncompany=Quenlar\nprofile=" + user + "\nlog=" + user + "/test_product.log\n");
  ASSERT_EQ(::chmod((dir / ".kel/config.d/app").c_str(), 0), 0);
  EXPECT_EXIT(startUp(dir.path(), "app", true), ExitedWithCode(1), "failure=Error reading .*/config.d/app: ");
}

TEST(ProductInit, findsAMissingHomeInThePasswordDatabase) {
  const passwd* const nobody = ::getpwuid(65534);
  if (::geteuid() != 0 || nobody == nullptr || ::access(nobody->pw_dir, F_OK) == 0) {
    GTEST_SKIP() << "needs root, and a nobody without a home, so that nothing is written";
  }
  EXPECT_EXIT(startUp("", "app", false), ExitedWithCode(1),
              std::string("failure=mkDir.") + nobody->pw_dir + "/.kel.: ");
}

TEST(Directories, needAHome) {
  unsetenv("HOME");
  EXPECT_THROW(qzutil::setDirectories("app", "/"), plat::Exception);
}

TEST(AppInfo, refusesToAnswerWhatIsNotSet) {
  EXPECT_STREQ(AppInfo::group(true), "");
  EXPECT_DEATH((void)AppInfo::group(), "emptyIfUnset || group");
  EXPECT_DEATH(AppInfo::setGroup(nullptr), "base/os/AppInfo");
  EXPECT_DEATH(AppInfo::setApp(nullptr), "base/os/AppInfo");
}

TEST(AppInfo, prefersTheKeyThenTheFixedNameThenTheApplication) {
  AppInfo::setApp("app");
  AppInfo::setDisplayName("Kel® Fops®");
  EXPECT_STREQ(AppInfo::getDisplayName().get(), "Kel® Fops®");
  EXPECT_STREQ(AppInfo::getPlainDisplayName().get(), "Kel Fops");
  AppInfo::setDisplayKey("no_such_key");
  EXPECT_STREQ(AppInfo::getDisplayName().get(), "no_such_key");
  AppInfo::setDisplayName(nullptr);  // takes the key back too
  EXPECT_STREQ(AppInfo::getDisplayName().get(), "app");
}

TEST(VersionInfoUpdater, wordsTheProductsTextsInTheLocalesLanguage) {
  AppInfo::setApp("app");
  AppInfo::setDisplayName("Two  blanks®");
  qzutil::setProductVersion("1.2.3 (r4)", "1.2.3.4");
  { const qzutil::VersionInfoUpdater updater; }
  const qzutil::ProductInfo info = qzutil::productInfo();
  { const qzutil::VersionInfoUpdater updater("7.8"); }
  AppInfo::setDisplayName(nullptr);
  EXPECT_THAT(info.versionLine.get(),
              testing::MatchesRegex("Two blanks® 1\\.2\\.3 \\(r4\\) [^ ]+ \\([A-Z][a-z][a-z] [0-9]+ [0-9]{4}\\)"));
  EXPECT_THAT(info.osLine.get(), testing::MatchesRegex("OS: ([^,]+, )?[^,]+, [^,]+"));
  EXPECT_THAT(info.aboutHtml.get(), testing::MatchesRegex("<div>[^<]+</div><div>[^<]+</div><div>[^<]+</div><div>.*"
                                                          "https://[^\"]+/1/[^\"]+\".*"));
  const std::string text = info.productInfo.get();
  EXPECT_THAT(text, testing::StartsWith("Two blanks(R) 1.2.3 (r4) "));
  EXPECT_THAT(text, testing::HasSubstr("\nCopyright (C) "));
  EXPECT_EQ(text.find("®"), std::string::npos);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(line.size() <= 79 || line.find(' ') == std::string::npos) << line;
  }
  EXPECT_THAT(qzutil::productInfo().productInfo.get(), testing::HasSubstr("/7.8/"));

  loc::Localize::instance().setSearchDirs({});  // hooks the texts on to the parameter, ahead of the updater
  const qzutil::VersionInfoUpdater updater;
  plat::StringParameter& locale = plat::Configuration::global().getStringParam("Locale");
  for (const auto& [name, words] : {std::pair("de_DE", "Alle Rechte vorbehalten"), std::pair("en_US", "All rights")}) {
    locale.setParam(name, 10);
    EXPECT_THAT(qzutil::productInfo().productInfo.get(), testing::HasSubstr(words));
    EXPECT_THAT(qzutil::productInfo().aboutHtml.get(), testing::HasSubstr(words));
  }
  locale.unsetParam(10, true);
  plat::LogDestFile::setHeader(nullptr);
}
