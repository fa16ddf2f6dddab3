#pragma once

#include <memory>

#include "base/io/IoAcceptor.h"
#include "base/io/IoHandler.h"
#include "base/plat/Exception.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/NullOutStream.h"

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace io {

/// The thin layer between one connection and the user of its bytes: a name for the logs, the two streams, and an output
/// that is there whether or not a connection is.
///
/// Purpose:   turns what the event layer reports into three callbacks. Any exception that the reader lets out ends the
///            link, and only the link: the event loop goes on.
/// Road:      FdIo calls ioReadable(), which calls MsgIpc::ipcReadable() and is the last to catch what comes out of
///            that.
/// Ownership: a member of its user (MsgIpc). Owns the attached connection, which it ends through Io::shutdown.
/// Thread:    the event loop's thread only.
/// Lifecycle: unattached, accept(), attached, then close(), detach(), the peer's end or a failure; and round again.
///            The destructor closes. The callback may close or detach from inside any call, but not destroy this
///            object.
class Ipc final : public IoAcceptor, private IoHandler, private plat::NonCopyable {
public:
  /// Learns what happens on the link. Implemented by MsgIpc.
  class Callback {
  public:
    /// Bytes or the end of the stream may be had. What this throws, other than rdr::BlockException, ends the link.
    virtual void ipcReadable(Ipc& ipc) = 0;
    /// The connection has gone; `ipc` is unattached. Once for each connection that ends by itself or by a failure,
    /// never for close() or detach().
    virtual void ipcClosed(Ipc& ipc);
    /// Called with what ipcReadable threw, while the link may still be writable; ipcClosed follows unless this closes.
    /// What these two throw then is logged.
    virtual void ipcError(Ipc& ipc, const plat::Exception& error) = 0;

  protected:
    ~Callback() = default;  // never deleted through this interface
  };

  /// @param name for log lines; copied. @param callback must outlive this object.
  /// @param blocking true for a user that reads by waiting: the connection then gets no handler and nothing is rewound.
  Ipc(const char* name, Callback* callback, bool blocking);

  /// Attaches a connection. Being attached already is a fatal assertion.
  void accept(Io* io) override;

  ~Ipc() override;

  /// Changes the mode, for the attached connection too.
  void setBlocking(bool blocking);
  bool blocking() const noexcept { return blocking_; }

  /// Gives the connection away as it is: without a handler, its streams blocking. Null if there is none.
  [[nodiscard]] std::unique_ptr<Io> detach() noexcept;

  /// Ends the connection without any callback. With setFlushOnClose, pending output is sent first, whatever the
  /// connection itself has done about it in losing its handler; a failure of that is logged.
  void close();

  void setFlushOnClose(bool flushOnClose) noexcept { flushOnClose_ = flushOnClose; }

  bool attached() const noexcept { return io_ != nullptr; }
  const char* name() const noexcept { return name_.orEmpty(); }

  /// The connection and its input; null while unattached.
  Io* io() const noexcept { return io_; }
  rdr::InStream* in() const noexcept { return in_; }

  /// Never null: while unattached a stream that drops everything.
  rdr::OutStream* out() const noexcept { return out_; }

  /// The source that the link and the channel above it log to.
  static plat::LogSrc& log() noexcept;

private:
  void ioReadable(Io& io) override;
  void ioClosed(Io& io) override;

  void fail(const plat::Exception& error);
  void attachHandler();
  void forgetConnection() noexcept;

  plat::String name_;
  Callback* callback_;
  Io* io_ = nullptr;  // owned; ends by shutdown()
  rdr::InStream* in_ = nullptr;
  rdr::OutStream* out_;
  rdr::NullOutStream nullOut_;
  bool blocking_;
  bool flushOnClose_ = false;
};

}  // namespace io
