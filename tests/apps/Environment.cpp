#include "tests/apps/Environment.h"

#include <cstdlib>
#include <filesystem>

#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace environment {

namespace {

namespace fs = std::filesystem;

constexpr uid_t Nobody = 65534;

fs::path folder;
fs::path programs;

void give(const fs::path& path) {
  if (chown(path.c_str(), Nobody, Nobody) != 0) {
    std::abort();
  }
}

void becomeNobody() {
  if (setgroups(0, nullptr) != 0 || setgid(Nobody) != 0 || setuid(Nobody) != 0) {
    std::abort();
  }
  prctl(PR_SET_DUMPABLE, 1);  // a changed user id clears it, and leak checking needs it
}

}  // namespace

void setUp() {
  std::string pattern = (fs::temp_directory_path() / "kelfops-e2e-XXXXXX").string();
  if (!mkdtemp(pattern.data())) {
    std::abort();
  }
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

void tearDown() {
  fs::remove_all(folder);
}

std::string helper() {
  return (programs / "kelfopshelper").string();
}
std::string kelfops() {
  return (programs / "kelfops").string();
}

}  // namespace environment
