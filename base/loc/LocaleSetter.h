#pragma once

#include <memory>
#include <string>

#include <locale.h>

#include "base/loc/OsLocale.h"
#include "base/plat/NonCopyable.h"

namespace loc {

class TransMap;

/// Gives the calling thread a locale of its own for as long as the object lives: its texts, its collation, its codeset.
///
/// Ownership: a local variable. Thread: the one that made it. Lifecycle: setters nest and are destroyed in reverse
/// order; destroying one that is not the thread's current one is a fatal assertion.
class LocaleSetter final : private plat::NonCopyable {
public:
  /// @param localeList ":"-separated names, best first; null or empty inherits the enclosing setter's locale, or the
  ///   process's. A locale that the system library does not support leaves the thread's collation as it was.
  explicit LocaleSetter(const char* localeList = nullptr);
  ~LocaleSetter();

  /// The calling thread's innermost setter, or null.
  static const LocaleSetter* current() noexcept;

  /// The name that the system library knows the locale by.
  const char* name() const noexcept { return locale_.name.c_str(); }

  Codeset codeset() const noexcept { return locale_.codeset; }

private:
  friend std::string getLocaleList();

  OsLocale locale_;
  std::string requested_;
  LocaleSetter* previous_;
  std::unique_ptr<TransMap> transMap_;
  locale_t cLocale_{};  ///< what the thread used before; null if nothing was changed
};

/// What the innermost of the thread's setters that did not inherit was given, or else the process's list, joined with
/// ":".
std::string getLocaleList();

}  // namespace loc
