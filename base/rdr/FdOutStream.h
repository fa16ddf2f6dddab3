#pragma once

#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

/// Writes to a descriptor: a socket or a pipe.
///
/// Purpose:   waiting at first, with a time-out; lazy under the event loop, where the connection that owns the stream
///            learns of every write through Callback and sends the rest when there is room.
/// Road:      BufferedOutStream calls writeFromBuffer(), which calls write(2) and then io::FdIo::writeResult().
/// Ownership: closes the descriptor only if told to own it. The destructor sends what is taken without waiting.
/// Failure:   plat::TimedOut "Timed out"; plat::SystemException "write", unless errors are switched off: then they are
///            logged at debug level and look like a full descriptor.
class FdOutStream final : public BufferedLazyOutStream {
public:
  /// Learns what becomes of the writes. Implemented by io::FdIo. Called inside the stream's own calls; it may neither
  /// write to the stream nor destroy it.
  class Callback {
  public:
    /// After each write(2) that took bytes or would have had to wait. @param blocked the descriptor took nothing.
    virtual void writeResult(FdOutStream* stream, bool blocked) = 0;
    /// closeWrite() was called; if bytes are pending, it must be called again when none are.
    virtual void writeClosed(FdOutStream* stream) = 0;
    virtual ~Callback();
  };

  /// @param descriptor what to write to, not owned. @param ceiling as for BufferedOutStream.
  explicit FdOutStream(int descriptor, int ceiling = -1);
  ~FdOutStream() override;

  /// Shuts the socket's writing side down if nothing is pending; tells the callback in either case. Answers true.
  /// @throws plat::SystemException "shutdown(SHUT_WR)"
  bool closeWrite() override;

  /// @param observer may be null; not owned.
  void setCallback(Callback* observer) noexcept { callback_ = observer; }
  [[nodiscard]] int fd() const noexcept { return fd_; }
  /// Whether the destructor closes the descriptor.
  void setOwnFd(bool own) noexcept { ownFd_ = own; }

protected:
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override;

private:
  void waitUntilWritable();
  int writeFailed(int error, bool needWrite);

  int fd_;
  bool ownFd_ = false;
  Callback* callback_ = nullptr;
};

}  // namespace rdr
