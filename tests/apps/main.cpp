// Where the programs under test lie, and who runs them.

#include <grp.h>
#include <sys/prctl.h>

#include "tests/apps/Child.h"
#include "tests/support/prelude.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t Nobody = 65534;

fs::path folder;
fs::path programs;

void require(bool done) {
  if (!done) {
    std::abort();
  }
}

void give(const fs::path& path) {
  require(chown(path.c_str(), Nobody, Nobody) == 0);
}

void becomeNobody() {
  require(setgroups(0, nullptr) == 0 && setgid(Nobody) == 0 && setuid(Nobody) == 0);
  prctl(PR_SET_DUMPABLE, 1);  // a changed user id clears it, and leak checking needs it
}

/// Run by root, copies the programs to a private folder and changes to an unprivileged account before anything is
/// launched: the helper takes root's home from the account database, and tests must not write there.
void setUp() {
  std::string pattern = (fs::temp_directory_path() / "kelfops-e2e-XXXXXX").string();
  require(mkdtemp(pattern.data()) != nullptr);
  folder = pattern;
  programs = KEL_BIN_DIR;
  if (geteuid() == 0) {
    programs = folder / "bin";
    fs::create_directory(programs);
    for (const char* name : {"kelfopshelper", "kelfops"}) {
      fs::copy_file(fs::path(KEL_BIN_DIR) / name, programs / name);
      give(programs / name);
    }
    give(programs);
    give(folder);
    becomeNobody();
  }
  fs::create_directory(folder / "home");
  setenv("HOME", (folder / "home").c_str(), 1);
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
  setUp();
  const int result = RUN_ALL_TESTS();
  fs::remove_all(folder);
  return result;
}
