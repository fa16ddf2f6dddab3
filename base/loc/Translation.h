#pragma once

namespace loc {

/// One text of a map in force, as it is handed out: raw, or with its "%%" collapsed once.
///
/// A key must be used in one way only. Guarded by the translation lock of loc::Localize.
class Translation final {
public:
  /// @param text a built-in one or kept by loc::Localize.
  explicit Translation(const char* text) noexcept : text_(text) {}

  /// The text to hand out; it lives as long as the process.
  /// @param raw true for a text that is passed to the formatter, false for one shown without arguments.
  /// A later use with the other value is a fatal assertion.
  const char* use(bool raw);

private:
  enum class State { Unset, Raw, Formatted };

  const char* text_;
  State state_ = State::Unset;
};

}  // namespace loc
