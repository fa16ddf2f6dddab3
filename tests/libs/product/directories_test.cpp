#include "libs/product/directories.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "base/plat/Exception.h"

namespace {

/// The environment that the directories depend on, given back afterwards.
class DirectoriesTest : public testing::Test {
protected:
  DirectoriesTest() : home_(std::getenv("HOME") ? std::getenv("HOME") : "") { setenv("HOME", "/home/somebody", 1); }
  ~DirectoriesTest() override {
    setenv("HOME", home_.c_str(), 1);
    unsetenv("KEL_PROFILE");
    unsetenv("KEL_CONFIG_PROFILE");
  }

  std::string home_;
};

}  // namespace

TEST_F(DirectoriesTest, followTheHomeAndTheProfiles) {
  qzutil::setDirectories("app", "/opt/app/bin");
  const qzutil::Directories& dirs = qzutil::directories();
  EXPECT_STREQ(dirs.machine.get(), "/etc/kel");
  EXPECT_STREQ(dirs.profile.get(), "/home/somebody/.kel");
  EXPECT_STREQ(dirs.userConfigFile.get(), "/home/somebody/.kel/config.d/app");

  setenv("KEL_PROFILE", "a/b\n", 1);
  qzutil::setDirectories("app", "/opt/app/bin");
  EXPECT_STREQ(dirs.profile.get(), "/home/somebody/.kel/profiles/a-b-");
  EXPECT_STREQ(dirs.userConfigDir.get(), "/home/somebody/.kel/profiles/a-b-/config.d");

  setenv("KEL_CONFIG_PROFILE", "other", 1);
  qzutil::setDirectories("app", "/opt/app/bin");
  EXPECT_STREQ(dirs.profile.get(), "/home/somebody/.kel/profiles/a-b-");
  EXPECT_STREQ(dirs.configProfile.get(), "/home/somebody/.kel/profiles/other");
}

TEST_F(DirectoriesTest, needAHome) {
  unsetenv("HOME");
  EXPECT_THROW(qzutil::setDirectories("app", "/"), plat::Exception);
}

TEST(JoinDirectory, putsOneSlashInBetween) {
  EXPECT_STREQ(qzutil::joinDirectory("/a", "b").get(), "/a/b");
  EXPECT_STREQ(qzutil::joinDirectory("/", "b").get(), "/b");
}
