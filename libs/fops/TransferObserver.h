#pragma once

#include <cstdint>

#include "libs/fops/TransferId.h"

namespace plat {
class Exception;
}

namespace fops {

/// Learns how transfers get on. Implemented by programs that show progress or count results; the helper itself passes
/// none. FileSender and FileReceiver observe it and call it on the loop's thread, from inside the transfer operation
/// that it reports. It may begin and end other transfers from there, but not destroy its caller.
class TransferObserver {
public:
  /// @param position bytes of the file passed on so far.
  /// @param delta bytes added by the operation just done.
  virtual void transferProgress(TransferId id, std::uint64_t position, std::uint64_t delta) = 0;

  /// The transfer is over and its element gone.
  /// @param status 0 success (`error` is empty), 2 failure or cancel.
  virtual void transferDone(TransferId id, int status, const plat::Exception& error) = 0;

protected:
  ~TransferObserver() = default;  // never deleted through this interface
};

}  // namespace fops
