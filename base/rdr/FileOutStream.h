#pragma once

#include <cstdio>

#include "base/plat/file/FilePtr.h"
#include "base/rdr/BufferedNBOutStream.h"

namespace rdr {

/// Writes a file through a stdio stream, 16384 bytes at a time.
///
/// Ownership: as told to attach(); a file that was opened here is owned. A file held before gets what is pending and
///            is closed by the next.
/// Lifecycle: the destructor writes what is pending and swallows a failure: call flush() where that matters. That
///            writes to a file opened here; of a stream given to attach(), the stdio buffer is its owner's to flush.
/// Failure:   plat::StdlibException "writing to file failed".
class FileOutStream : public BufferedNBOutStream {
public:
  /// @param path null for no file yet. @param flags as for open().
  explicit FileOutStream(const char* path, int flags = 0);
  FileOutStream(std::FILE* stream, bool own);
  ~FileOutStream() override;

  /// Creates or truncates a file, or takes standard output for "-".
  /// @param flags as for plat::FilePtr, such as 1 to append. @throws plat::SystemExceptionFmt "Error opening \"%s\""
  void open(const char* path, int flags = 0);
  void attach(std::FILE* stream, bool own);

protected:
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override;
  /// Lets go of the file, closing it if owned; pending bytes are dropped.
  void detach();

private:
  plat::FilePtr file_;
};

}  // namespace rdr
