#pragma once

#include <string>

namespace loc {

/// One text of a string table: built in, and then not copied, or read from a file, and then owned.
class StoredText final {
public:
  explicit StoredText(const char* builtIn) noexcept : builtIn_(builtIn) {}
  explicit StoredText(std::string owned) : owned_(std::move(owned)) {}

  const char* get() const noexcept { return builtIn_ ? builtIn_ : owned_.c_str(); }

private:
  const char* builtIn_ = nullptr;
  std::string owned_;
};

}  // namespace loc
