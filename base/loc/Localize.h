#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/loc/StoredText.h"
#include "base/plat/Mutex.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/ParameterChangedCallback.h"

namespace loc {

/// Every text known, by locale and key, and the process's list of locales.
///
/// There is one instance, made on first use (a static table of built-in texts may be that), never destroyed.
/// One recursive lock guards the tables and every map made from them; any thread may look texts up.
class Localize final : public plat::ParameterChangedCallback, private plat::NonCopyable {
public:
  using Table = std::map<std::string, StoredText, std::less<>>;

  static Localize& instance();

  /// Adds one built-in text, which is not copied. A key that is there already keeps its first text.
  /// A text that is not valid UTF-8 is a fatal assertion.
  void addBuiltIn(const char* locale, const char* key, const char* text);

  /// Adds or replaces one text; both are copied.
  void storeString(const char* locale, const char* key, const char* text);

  /// Replaces the folders in which string files are looked for and works the list of locales out again.
  /// The first call also makes changes of the parameter `Locale` do so.
  void setSearchDirs(const std::vector<std::string>& dirs);

  /// Works out the process's locales from `Locale` or the environment, and its texts from these.
  void update();

  void parameterChanged(plat::ConfigParameter& parameter, int priority) override;

  /// The process's locales, best first.
  std::vector<std::string> locales();

  /// The texts of one locale, or null. The caller holds lock().
  const Table* table(const std::string& locale) const;

  /// Reads what has not been tried yet for these locales. The caller holds lock().
  /// @return whether anything was found.
  bool load(const std::vector<std::string>& locales);

  /// Guards the tables, every TransMap and every Translation.
  plat::Mutex& lock() noexcept { return mutex_; }

private:
  Localize() = default;

  void takeSystemLocale();
  void exportLanguage() const;

  plat::Mutex mutex_;
  std::map<std::string, Table, std::less<>> tables_;
  std::vector<std::string> locales_;
  std::vector<std::string> searchDirs_;
  std::set<std::string> loaded_;
  std::string lastLogged_;
  bool hooked_ = false;
};

}  // namespace loc
