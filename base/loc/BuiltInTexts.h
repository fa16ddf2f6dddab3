#pragma once

#include <cstddef>

namespace loc {

/// One built-in text: its key and the English words. Both live as long as the process and are never copied.
struct TextRow {
  const char* key;
  const char* en;
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
