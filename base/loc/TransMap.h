#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/loc/Translation.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/NonCopyable.h"

namespace loc {

/// The texts in force for the process or, while a loc::LocaleSetter asks for it, for one thread.
///
/// The process's map is made on first use and never destroyed. A thread's map is owned by its LocaleSetter, is the
/// thread's current one from construction to destruction, and must be destroyed in reverse order of construction.
class TransMap final : private plat::NonCopyable {
public:
  /// The current thread's map, or else the process's.
  static TransMap& current();
  static TransMap& process();

  /// Becomes the current thread's map.
  struct ForThread {};
  explicit TransMap(ForThread);
  ~TransMap();

  /// Fills the map for a list of normalised locales, earlier ones winning; cheap if nothing has changed.
  /// The caller holds the translation lock.
  void update(const std::vector<std::string>& locales);

  /// The text of a key, or null. The caller holds the translation lock.
  Translation* find(std::string_view key);

  /// The expanded list in force, best first.
  const std::vector<std::string>& locales() const noexcept { return locales_; }

private:
  friend class plat::NeverDestroyed<TransMap>;

  TransMap() = default;

  TransMap* previous_ = nullptr;
  std::map<std::string_view, Translation> translations_;  ///< keys and texts are those of the tables
  std::vector<std::string> locales_;
  bool isThreads_ = false;
};

}  // namespace loc
