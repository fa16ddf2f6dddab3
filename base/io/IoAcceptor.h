#pragma once

namespace io {

class Io;

/// Takes over new connections. Implemented by Ipc and MsgIpc, and by whatever waits for a connection to be made.
class IoAcceptor {
public:
  /// TAKES OWNERSHIP of `io`, also if it throws: a connection ends itself through Io::shutdown, so it travels as a
  /// plain pointer. Callers that hold it in a `unique_ptr` pass `release()`.
  virtual void accept(Io* io) = 0;

  virtual ~IoAcceptor() = default;
};

}  // namespace io
