#pragma once

#include <cstdint>

#include "libs/fops/TransferId.h"

namespace plat {
class Exception;
}

namespace fops {

/// What the sending end of file transfers calls on the receiving end: the mirror of DataSender.
///
/// Implemented by FileReceiver (the local end of an upload) and by FopsProto (which stands for the remote end of a
/// download and turns each call into one message). Both live on the loop's thread; nobody owns through this interface.
class DataReceiver {
public:
  virtual ~DataReceiver() = default;

  /// Bytes of the file, in order and without gaps.
  /// @param offset position of the first byte in the file.
  /// @param length bytes at `data`, 0 or more.
  /// @param data readable during the call only; while it lies in a buffer with an rdr::BlockLender, until that wants it
  ///        back.
  virtual void dataChunk(TransferId id, std::uint64_t offset, std::int32_t length, const std::uint8_t* data) = 0;

  /// The sender gives the transfer up; of `error` only message and type are used.
  virtual void cancelBySender(TransferId id, const plat::Exception& error) = 0;
};

}  // namespace fops
