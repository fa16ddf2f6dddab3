#pragma once

#include <cstdlib>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "tests/support/TempDir.h"

namespace fops {

/// Locales made for a test, since a machine may have none but "C". While it lives the system library looks for locales
/// here alone.
class TestLocales {
public:
  TestLocales() {
    ::setenv("LOCPATH", dir_.path().c_str(), 1);
#if defined(__SANITIZE_ADDRESS__)
    __lsan_disable();  // the C library never frees what it makes of LOCPATH
#endif
  }
  ~TestLocales() {
#if defined(__SANITIZE_ADDRESS__)
    __lsan_enable();
#endif
    ::unsetenv("LOCPATH");
  }
  TestLocales(const TestLocales&) = delete;
  TestLocales& operator=(const TestLocales&) = delete;

  /// @return false if the machine lacks the tool or the sources for it.
  bool make(const std::string& name, const std::string& charmap) {
    const std::string suffix = charmap == "UTF-8" ? ".UTF-8" : "";
    const std::string command =
        "localedef -c -i " + name + " -f " + charmap + " '" + dir_ / (name + suffix) + "' >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }

private:
  test::TempDir dir_;
};

}  // namespace fops
