#pragma once

#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>

#include <locale.h>

#include "base/plat/NonCopyable.h"
#include "tests/support/TempDir.h"

namespace test {

/// Locales of the C library made for one test program, since a machine may have no locale but "C". The tool `localedef`
/// makes each in about a second.
///
/// Lifecycle: as long as it lives, LOCPATH names the folder that they lie in. A copy of the program that a death test
/// starts again inherits that and makes nothing.
class TestLocales : private plat::NonCopyable {
public:
  struct Locale {
    const char* source;   ///< such as "de_DE"
    const char* charmap;  ///< such as "UTF-8"
    const char* name;     ///< what the C library will know it by
  };

  explicit TestLocales(std::initializer_list<Locale> locales) {
    if (!std::getenv("LOCPATH")) {
      dir_ = std::make_unique<TempDir>();
      ::setenv("LOCPATH", dir_->path().c_str(), 1);
    }
    for (const Locale& locale : locales) {
      complete_ = complete_ && (!dir_ || make(locale)) && isKnown(locale.name);
    }
  }
  ~TestLocales() {
    if (dir_) {
      ::unsetenv("LOCPATH");
    }
  }

  /// False where the machine lacks the tool or the sources for one of the locales.
  bool complete() const noexcept { return complete_; }

  /// Gives one of them a second name.
  void alias(const char* name, const char* second) const {
    if (dir_) {
      dir_->link(name, second);
    }
  }

private:
  bool make(const Locale& locale) const {
    const std::string command = std::string("localedef -c -i ") + locale.source + " -f " + locale.charmap + " '" +
                                (*dir_ / locale.name) + "' >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }

  static bool isKnown(const char* name) {
    const locale_t object = ::newlocale(LC_ALL_MASK, name, locale_t{});
    return object && (::freelocale(object), true);
  }

  std::unique_ptr<TempDir> dir_;  ///< null if LOCPATH was there before
  bool complete_ = true;
};

}  // namespace test
