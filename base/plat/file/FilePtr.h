#pragma once

#include <cstdio>

#include "base/plat/NonCopyable.h"

namespace plat {

/// Holder of a stdio stream, its own or somebody else's, or of none.
///
/// Ownership: a member or a local; closes the stream at the end if it owns it. A failure of that is logged.
/// Thread:    that of its owner.
class FilePtr : private NonCopyable {
public:
  enum Mode : int { Read = 0, Write = 1, ReadWrite = 2 };

  /// Bits for open(). A file that may be created is cut to nothing unless its bit says otherwise.
  enum Flags : int {
    Append = 1,    ///< Write: continue at the end
    Create = 2,    ///< ReadWrite: create if missing, keep what is there
    Truncate = 4,  ///< ReadWrite: create if missing, cut to nothing
    Private = 16,  ///< a new file gets the permission 0600, else 0664
    NoThrow = 32,  ///< if the file cannot be opened the holder stays empty, errno telling why
  };

  FilePtr() = default;
  ~FilePtr();

  /// Closes what was held and opens `path` close-on-exec. "-" means standard input (Read) or output (Write), not owned.
  /// @param mode a Mode. @param flags a sum of Flags.
  /// @throws SystemException "Error opening \"%s\"", unless NoThrow is set
  /// @throws Exception "Invalid mode for stdin/stdout" for "-" and ReadWrite
  /// @throws StdlibException "fclose" for what was held
  void open(const char* path, int mode, int flags = 0);

  /// Closes what was held, if owned, and holds `file` instead.
  /// @throws StdlibException "fclose" for what was held; `file` stands all the same
  void attach(std::FILE* file, bool own);

  /// Holds nothing from here on. @throws StdlibException "fclose"
  void close() { attach(nullptr, false); }

  /// @throws StdlibException "fflush"
  void flushFile();

  [[nodiscard]] std::FILE* get() const noexcept { return file_; }
  [[nodiscard]] bool isOpen() const noexcept { return file_ != nullptr; }
  [[nodiscard]] bool owned() const noexcept { return own_; }
  /// Gives the stream away without closing it.
  [[nodiscard]] std::FILE* release() noexcept;
  /// Whether the destructor logs that closing failed; true at first.
  void setReportCloseErrors(bool report) noexcept { reportCloseErrors_ = report; }

private:
  bool own_ = false;
  bool reportCloseErrors_ = true;
  std::FILE* file_ = nullptr;
};

}  // namespace plat
