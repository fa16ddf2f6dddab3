#pragma once

#include <cstdint>

#include "libs/fops/TransferId.h"

namespace plat {
class Exception;
}

namespace fops {

/// What the receiving end of file transfers calls on the sending end: the mirror of DataReceiver.
///
/// Implemented by FileSender (the local end of a download) and by FopsProto (which stands for the remote end of an
/// upload and turns each call into one message). Both live on the loop's thread; nobody owns through this interface.
class DataSender {
public:
  virtual ~DataSender() = default;

  /// Grants credit: send the file up to the byte position `position`, exclusive. Positions only move forward.
  virtual void dataReq(TransferId id, std::uint64_t position) = 0;

  /// The receiver gives the transfer up; of `error` only message and type are used.
  virtual void cancelByReceiver(TransferId id, const plat::Exception& error) = 0;

  /// The receiver has every byte, in its final place; both ends forget the id.
  virtual void complete(TransferId id);
};

}  // namespace fops
