#pragma once

#include <string>

namespace loc {

/// One text of a map in force, as it is handed out: raw, or with its "%%" collapsed once.
///
/// A key must be used in one way only. Guarded by the translation lock of loc::Localize.
class Translation final {
public:
  /// @param text lives in a string table, which outlives this object.
  explicit Translation(const char* text) noexcept : text_(text) {}

  /// The text to hand out.
  /// @param raw true for a text that is passed to the formatter, false for one shown without arguments.
  /// A later use with the other value is a fatal assertion.
  const char* use(bool raw);

private:
  enum class State { Unset, Raw, Formatted };

  const char* text_;
  std::string owned_;  ///< the text after collapsing, where that changed it
  State state_ = State::Unset;
};

}  // namespace loc
