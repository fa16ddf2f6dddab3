#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/plat/NonCopyable.h"

namespace test {

/// A private folder on disk for one test: made empty below the system's folder for temporary files, gone at the end.
///
/// Ownership: a member of the fixture or a local of the test; everything below path() goes with it.
/// Lifecycle: the destructor first looks for temporary files ("x.tmp", "x(1).tmp", "x.tmp(1)") anywhere below path()
///            and fails the running test for each; then it removes the tree, also parts whose permissions were taken
///            away.
/// Names are relative to path(); they may hold slashes. Failures of the helpers throw std::runtime_error, so that a
/// broken set-up ends the test.
class TempDir : private plat::NonCopyable {
public:
  TempDir();
  ~TempDir();

  /// Absolute, free of links, without a trailing slash. The folder's mode is 0700.
  const std::string& path() const noexcept { return path_; }

  /// The full path of `name`; path() itself for an empty name.
  std::string operator/(std::string_view name) const;

  /// Makes or replaces the file, with any missing folder above it.
  void write(std::string_view name, std::string_view bytes) const;

  /// The whole contents of a file.
  std::string read(std::string_view name) const;

  /// Makes a folder, with any missing folder above it, and gives its full path.
  std::string makeDir(std::string_view name) const;

  /// Makes a symbolic link `name` that points to `target` as it is written.
  void link(std::string_view target, std::string_view name) const;

  /// The names in the folder `name` (the top by default), sorted by byte, without "." and "..".
  std::vector<std::string> list(std::string_view name = "") const;

  /// True if something has that name, be it a link that points nowhere.
  bool exists(std::string_view name) const;

private:
  std::string path_;
};

}  // namespace test
