#pragma once

#include <string_view>

#include "base/plat/NonCopyable.h"

namespace loc {

/// A named block of bytes that a program carries in itself, such as a string file "strings.de.po".
///
/// Purpose:   the process-wide registry of such blocks; loc::Localize asks it for the string file of each locale ahead
///            of those on disk.
/// Ownership: a static object each, which registers itself; neither name nor bytes are copied, and both must live as
///            long as the process.
/// Thread:    made before other threads start; find() from any.
class BuiltInResource final : private plat::NonCopyable {
public:
  BuiltInResource(const char* name, const void* data, int size) noexcept;

  /// The block of that name, the one registered last if there are several, or null.
  static const BuiltInResource* find(std::string_view name) noexcept;

  const void* data() const noexcept { return data_; }
  /// Bytes.
  int size() const noexcept { return size_; }

private:
  const char* name_;
  const void* data_;
  int size_;
  const BuiltInResource* next_;
};

}  // namespace loc
