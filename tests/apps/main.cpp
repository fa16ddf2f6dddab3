// Where the programs under test lie, and who runs them.

#include <grp.h>
#include <sys/prctl.h>

#include "tests/apps/Child.h"

namespace {

namespace fs = std::filesystem;

fs::path programs;

/// Run by root, copies the programs to a private folder and changes to an unprivileged account before anything is
/// launched: the helper takes root's home from the account database, and tests must not write there.
void setUp(const test::TempDir& folder) {
  programs = KEL_BIN_DIR;
  if (geteuid() == 0) {
    programs = folder.makeDir("bin");
    for (const char* name : {"kelfopshelper", "kelfops"}) {
      fs::copy_file(fs::path(KEL_BIN_DIR) / name, programs / name);
      test::Unprivileged::give(programs / name);
    }
    test::Unprivileged::give(programs);
    test::Unprivileged::give(folder.path());
    constexpr uid_t Nobody = 65534;
    if (setgroups(0, nullptr) != 0 || setgid(Nobody) != 0 || setuid(Nobody) != 0) {
      std::abort();
    }
    prctl(PR_SET_DUMPABLE, 1);  // a changed user id clears it, and leak checking needs it
  }
  setenv("HOME", folder.makeDir("home").c_str(), 1);
  for (const char* variable : {"KEL_PROFILE", "KEL_CONFIG_PROFILE", "KEL_PROFILE_DIR", "LANGUAGE"}) {
    unsetenv(variable);
  }
  setenv("LC_ALL", "C.UTF-8", 1);
  umask(022);
}

}  // namespace

std::string helper() {
  return (programs / "kelfopshelper").string();
}
std::string kelfops() {
  return (programs / "kelfops").string();
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const test::TempDir folder;
  setUp(folder);
  return RUN_ALL_TESTS();
}
