#pragma once

#include <cstddef>

namespace loc {

/// One built-in text in every language: its key and the words. All live as long as the process and are never copied.
///
/// A table names each field and ends each row in a comma, so that a row reads as a key with its five texts below it:
///
///     {.key = "plat_usage_label",
///      .en = "Usage:",
///      .de = "Verwendung:",
///      .es = "Uso:",
///      .fr = "Utilisation :",
///      .pt = "Uso:"},
struct TextRow {
  const char* key;
  const char* en;
  const char* de;
  const char* es;
  const char* fr;
  const char* pt;
};

/// Adds a library's table of texts to the built-in ones.
///
/// Each library keeps one static object of this class beside its table (`texts.cpp`), so that its texts are known
/// before `main` runs.
class BuiltInTexts final {
public:
  template <std::size_t N>
  explicit BuiltInTexts(const TextRow (&rows)[N]) {
    add(rows, N);
  }

private:
  static void add(const TextRow* rows, std::size_t count);
};

}  // namespace loc
