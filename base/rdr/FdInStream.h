#pragma once

#include "base/rdr/BufferedNonBlockableInStream.h"

namespace rdr {

/// Reads a descriptor: a socket or a pipe.
///
/// Purpose:   non-blocking under the event loop; otherwise waits, up to a limit if one is set. Waiting works on a
///            descriptor that is itself non-blocking; on another one read(2) waits, and no limit applies.
/// Road:      BufferedInStream asks readBlock() for bytes when its window is used up; that calls read(2).
/// Ownership: closes the descriptor only if told to own it.
/// Failure:   EndOfStream "End of IO stream" when the peer has closed, plat::TimedOut "Timed out",
///            plat::SystemException "read".
class FdInStream : public BufferedNonBlockableInStream {
public:
  /// @param descriptor what to read, not owned. @param size bytes of the buffer, as for BufferedInStream.
  explicit FdInStream(int descriptor, int size = -1);
  /// Takes everything over; `other` is left with no descriptor.
  FdInStream(FdInStream&& other) noexcept;
  ~FdInStream() override;

  /// How long a waiting read may take, in milliseconds; negative for no limit, as at first.
  void setTimeout(int ms) noexcept { timeoutMs_ = ms; }
  /// From now on every read that needs the descriptor raises plat::TimedOut; what is buffered can still be read.
  void setTimedOut() noexcept { timedOut_ = true; }
  [[nodiscard]] bool timedOut() const noexcept { return timedOut_; }
  [[nodiscard]] int fd() const noexcept { return fd_; }
  /// Whether the destructor closes the descriptor.
  void setOwnFd(bool own) noexcept { ownFd_ = own; }

protected:
  int readBlock(std::uint8_t* dest, int len) override;

private:
  int timeoutMs_ = -1;
  int fd_;
  bool ownFd_ = false;
  bool timedOut_ = false;
};

}  // namespace rdr
