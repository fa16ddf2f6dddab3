#pragma once

#include "base/os/unix/OpenArgs.h"
#include "base/rdr/BufferedNBOutStream.h"

namespace os {

/// Writes a file through its descriptor, a whole buffer of 16384 bytes at a time. A block as large as the buffer or
/// larger does not pass through it: what is buffered and the block go out in one call, as far as they make whole pages.
///
/// Ownership: owns what it has opened itself, otherwise as told.
/// Lifecycle: the destructor writes what is pending and swallows a failure: call flush() where that matters.
/// Failure:   plat::SystemException "write", also for EINTR, which does not come up with local files, and with EIO if
///            the system takes nothing of something, since going on might never end.
class FileFdOutStream : public rdr::BufferedNBOutStream {
public:
  FileFdOutStream(int descriptor, bool own);
  /// @throws plat::SystemException "fileOpenFd(%s)"
  FileFdOutStream(const char* path, OpenArgs openArgs);
  ~FileFdOutStream() override;

  void writeBytes(const void* data, int length) override;

  /// Ends the stream: writes what is pending and, if the descriptor is its own, closes it. Some file systems tell only
  /// then that the bytes have found no room. The stream takes nothing more.
  /// @throws plat::SystemException "write", "close"
  void flushAndClose();

  [[nodiscard]] int fd() const noexcept { return fd_; }

protected:
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override;
  int writeWithBlock(const std::uint8_t* pending, int pendingLength, const std::uint8_t* block, int length) override;

private:
  int fd_;
  bool ownFd_;
};

}  // namespace os
