#pragma once

namespace io {

class Io;

/// The user of a connection: learns from the event loop what can be done with it. Implemented by Ipc, and by whatever
/// speaks its own protocol on a connection.
///
/// From inside ioReadable and ioWritable the handler may write, attach another handler, call Io::shutdown, or destroy
/// the connection; in the last case it must not throw afterwards. What these two throw ends the connection.
/// Road: between FdIo, which calls it from the loop, and Ipc, which hands the news on to its callback.
class IoHandler {
public:
  /// Bytes or the end of the stream may be had. rdr::BlockException may be let out: the call comes again with more.
  virtual void ioReadable(Io& io) = 0;
  /// Everything written so far has left the buffer; also once after the handler has been attached.
  virtual void ioWritable(Io& io);
  /// The connection has finished shutting down and dies on return: it must be neither kept nor destroyed.
  virtual void ioClosed(Io& io);

  virtual ~IoHandler();
};

}  // namespace io
