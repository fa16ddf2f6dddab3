#pragma once

#include <cstdint>
#include <cstdio>

#include "base/plat/Mutex.h"
#include "base/plat/String.h"
#include "base/plat/file/FilePtr.h"
#include "base/plat/log/LogDest.h"

namespace plat {

/// Writes log lines to a stream, or to a file that it opens with the first line. Serves `stderr` and `file`.
///
/// Purpose:   the line formats, with colours on a terminal. Where the file lies is LogDestFileMgr's business, how it is
///            opened and older ones are rotated and purged that of logFile.h.
/// Ownership: logInit() makes the two of a program and never destroys them.
/// Thread:    log() from any; everything under the mutex.
/// Failure:   ends in a line on stderr or in silence, never in whoever logs.
class LogDestFile final : public LogDest {
public:
  /// Writes to `stream`, not owned; with a null stream, to the file that setPath() names.
  LogDestFile(const char* name, std::FILE* stream);

  void log(int level, const char* source, const char* text) override;
  [[nodiscard]] bool isEnabled() const override;

  /// The file to write to; null for none. A different path closes the file that is open; the next line opens the new
  /// one.
  void setPath(const char* path);
  [[nodiscard]] String path() const;

  /// Opens the file anew if the path does not lead to the open one any more. For after a rotation by somebody else.
  void reopenIfReplaced();

  /// From this size in bytes on the file is closed for good; 0 or less for no limit. Gives a full file another chance.
  void setMaxFileSize(std::int64_t bytes);

  /// The text that opens every file from here on, wrapped at 79 columns; null for none. On the main thread.
  static void setHeader(const char* text);
  /// Whether descriptor 2 shall lead to each file that is opened from here on.
  static void setRedirectStderr(bool redirect) noexcept;

private:
  bool ensureOpen() noexcept;
  void openPath(const char* path);
  void openDefault(const char* failure);
  void writeLine(int level, const char* source, const char* text);
  void closeIfFull();
  void closeFile() noexcept;

  String ident_;     ///< name of the application
  String hostName_;  ///< up to its first dot; empty if unknown
  mutable Mutex mutex_;
  String path_;
  String timeBuffer_;
  FilePtr file_;
  bool full_ = false;  ///< the limit was reached and the file stays closed
  std::int64_t maxFileSize_ = 0;
  bool headerWritten_ = false;  ///< in the file that is open
  bool colour_ = false;         ///< decided once, for a given stream only
};

}  // namespace plat
