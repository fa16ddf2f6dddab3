// The helper started as "-setuidhelper": what it refuses, and as whom it runs a program.

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "tests/apps/Child.h"
#include "tests/apps/Environment.h"

namespace {

constexpr uid_t Nobody = 65534;

/// A root's run of the program, or nothing. This suite gives root's rights up before its first test, so it happens
/// ahead of main; the test looks at what came of it.
struct RootRun {
  RootRun() {
    if (geteuid() == 0) {
      Child child({KEL_BIN_DIR "/kelfopshelper", "-setuidhelper", std::to_string(Nobody), "/bin/sh", "-c",
                   "grep ^Uid: /proc/self/status; echo $USER; exit 7"});
      result = child.wait();
      output = child.output();
      errors = child.errors();
    }
  }
  int result = -1;
  std::string output, errors;
};
const RootRun rootRun;

}  // namespace

TEST(Setuid, refusalsEndWithOneAndTheReason) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"65534"}, "setuidhelper: missing argument"},
      {{"x1", "/bin/true"}, "setuidhelper: bad user id 'x1'"},
      {{"4294967290", "/bin/true"}, "getpwuid(4294967290): account not found: No such file or directory (2)"},
      {{"0", "/bin/true"}, "setgid(): Operation not permitted"},
  };
  for (const auto& [words, line] : cases) {
    SCOPED_TRACE(line);
    std::vector<std::string> all = {environment::helper(), "-setuidhelper"};
    all.insert(all.end(), words.begin(), words.end());
    Child child(all);
    EXPECT_EQ(child.wait(), 1);
    const std::string errors = "\n" + child.errors();
    EXPECT_TRUE(errors.ends_with("\n" + line + "\n")) << errors;
    EXPECT_EQ(child.output(), "");
  }
}

TEST(Setuid, theProgramRunsInPlaceOfTheHelper) {
  if (rootRun.result == -1) {
    GTEST_SKIP() << "only root can become another user";
  }
  const passwd* const account = getpwuid(Nobody);
  ASSERT_NE(account, nullptr);
  EXPECT_EQ(rootRun.output, std::string("Uid:\t65534\t65534\t65534\t65534\n") + account->pw_name + "\n");
  EXPECT_EQ(rootRun.errors, "");
  EXPECT_EQ(rootRun.result, 7);
}
