#pragma once

#include <cstdio>

#include "base/plat/file/FilePtr.h"
#include "base/rdr/BufferedInStream.h"

namespace rdr {

/// Reads a file through a stdio stream, 16800 bytes at a time.
///
/// Not rewindable: the buffer is used again at every refill.
/// Road:      fops::FileSender refills it by check(); BufferedInStream then calls readBlock(), which calls
///            plat::fileReadBytes().
/// Ownership: as told to attach(); a file that was opened here is owned. A file held before is closed by the next.
/// Failure:   EndOfStream "End of file"; plat::StdlibException "reading from file failed".
class FileInStream final : public BufferedInStream {
public:
  /// @param path null for no file yet. @param flags as for open().
  explicit FileInStream(const char* path, int flags = 0);
  FileInStream(std::FILE* stream, bool own);

  /// Opens a file, or standard input for "-". What was buffered of a file before is thrown away.
  /// @param flags as for plat::FilePtr. @throws plat::SystemExceptionFmt "Error opening \"%s\""
  void open(const char* path, int flags = 0);
  /// Reads from `stream` from now on, at the position where it stands.
  void attach(std::FILE* stream, bool own);

protected:
  int readBlock(std::uint8_t* dest, int len) override;

private:
  plat::FilePtr file_;
};

}  // namespace rdr
