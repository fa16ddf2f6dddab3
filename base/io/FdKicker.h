#pragma once

#include <cstdint>
#include <memory>

#include "base/io/FdHandler.h"

namespace rdr {
class FdInStream;
}  // namespace rdr

namespace io {

class FdKickerCallback;
class FdManager;

/// Wakes an event loop from another thread or from a signal handler: bytes through a pipe of its own.
///
/// Ownership: owns both ends of the pipe; observes the callback and the manager, which may die before it.
/// Thread:    made, called back and destroyed on the loop's thread; kick() from anywhere.
class FdKicker final : private FdHandler {
public:
  /// @throws plat::AssertionFail "fdMgr" on a thread without a manager; plat::SystemException if no pipe can be had
  explicit FdKicker(FdKickerCallback* callback);
  ~FdKicker() override;

  /// Sends one byte to the callback. Safe in a signal handler, where the caller preserves errno. Never waits: a full
  /// pipe drops the byte.
  void kick(std::uint8_t byte) noexcept;

  /// Whether a byte is there to be read.
  bool hasData();

  /// Throws away all bytes that are there.
  void drain();

private:
  void readable() override;
  void managerGone() override;

  FdKickerCallback* callback_;
  FdManager* fdMgr_ = nullptr;
  int writeFd_ = -1;
  bool ownWriteFd_ = true;
  std::unique_ptr<rdr::FdInStream> in_;
};

}  // namespace io
