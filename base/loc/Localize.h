#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/loc/PoParser.h"
#include "base/plat/Mutex.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/config/ParameterChangedCallback.h"

namespace loc {

struct TextRow;

/// Every text known, by locale and key, and the process's list of locales.
///
/// Purpose:   the tables that maps of texts (loc::TransMap) are made from. The libraries' built-in tables are only
///            noted when they are added, before main, and a locale's texts taken up when that locale is first asked
///            for.
/// Ownership: one instance, made on first use (a static table of built-in texts may be that), never destroyed. Texts
///            are never freed either, so that whoever was handed one may keep it; built-in ones are not copied.
/// Thread:    one recursive lock guards the tables and every map made from them; any thread may look texts up.
///            Folders, flags and the list of locales change on the main thread.
class Localize final : public plat::ParameterChangedCallback, private PoParser::Callback, private plat::NonCopyable {
public:
  /// A locale's texts by key.
  using Table = std::map<std::string_view, const char*>;

  static Localize& instance();

  /// Adds one built-in text; neither key nor text is copied. A key that is there already keeps its first text.
  /// A text that is not valid UTF-8 is a fatal assertion.
  void addBuiltIn(const char* locale, const char* key, const char* text);

  /// Adds a library's table, whose texts come in as by addBuiltIn() once they are needed. No row is copied.
  void addBuiltInTable(std::span<const TextRow> rows);

  /// Adds or replaces one text. Maps that hold an earlier text show it until they are made anew.
  void storeString(const char* locale, const char* key, const char* text) override;

  /// Replaces the folders in which string files are looked for, and works the list of locales out again. Files are
  /// read in the order of the folders, each replacing texts of the ones before.
  /// The first call also makes changes of the parameter `Locale` work the list out.
  void setSearchDirs(const std::vector<std::string>& dirs);

  /// Whether update() keeps `LANGUAGE` in the environment, and so for child processes, in step; true at first.
  /// A program whose threads look locales up while `Locale` changes turns it off: the C library reads the environment
  /// for that, and a change of the environment is not safe against readers.
  void setExportLanguage(bool on);

  /// Works out the process's locales from `Locale` or the environment, and its texts from these.
  void update();

  void parameterChanged(plat::ConfigParameter& parameter, int priority) override;

  /// The process's locales, best first.
  std::vector<std::string> locales();

  /// The texts of one locale, or null. The caller holds lock().
  const Table* table(const std::string& locale);

  /// Reads what has not been tried yet for these locales. The caller holds lock().
  /// @return whether anything was found.
  bool load(const std::vector<std::string>& locales);

  /// The one copy of `text` that lives as long as the process. The caller holds lock().
  const char* keep(std::string_view text);

  /// Guards the tables, every TransMap and every Translation.
  plat::Mutex& lock() noexcept { return mutex_; }

private:
  friend class plat::NeverDestroyed<Localize>;

  Localize() = default;

  bool takeBuiltIn(std::string_view locale);
  void takeSystemLocale();
  void exportToEnvironment() const;

  static constexpr std::size_t BuiltInLanguages = 5;

  plat::Mutex mutex_;
  std::map<std::string, Table, std::less<>> tables_;
  std::vector<std::string> locales_;
  std::vector<std::string> searchDirs_;
  std::set<std::string> loaded_;  ///< locales whose files have been tried
  std::vector<std::span<const TextRow>> builtIn_;
  std::array<std::size_t, BuiltInLanguages> taken_{};  ///< how many of builtIn_ each language's table has in it
  std::set<std::string, std::less<>> kept_;
  std::string lastLogged_;
  bool exportLanguage_ = true;
  bool hooked_ = false;
};

}  // namespace loc
