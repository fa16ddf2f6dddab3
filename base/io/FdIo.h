#pragma once

#include "base/io/FdHandler.h"
#include "base/io/Io.h"
#include "base/plat/String.h"
#include "base/plat/time/Timer.h"
#include "base/rdr/FdOutStream.h"

namespace rdr {
class FdInStream;
}  // namespace rdr

namespace io {

class FdManager;

/// A connection on a descriptor.
///
/// Purpose:   turns readiness into calls on the handler, finishes lazy writes, and shuts down in good order.
/// Output:    after each write that moved something, the loop comes round to send the rest or to say ioWritable; while
///            the descriptor takes nothing, its write event is awaited, for at most `LazyFlushTimeout` seconds.
/// Road:      FdManager calls readable() and writable(), which call the IoHandler, here Ipc; rdr::FdOutStream reports
///            every write back to writeResult().
/// Ownership: owns its streams, and its descriptor if told so; observes handler and manager.
/// Thread:    that of the manager, which is the thread's current one when the first handler is attached.
/// Lifecycle: normal, then perhaps closing (the writing side goes once the buffer is empty), then shutting down.
/// DESTROYS ITSELF: shutdown() has the object deleted in a later turn, from a timer; without a manager at once. The
///            manager's end deletes it too if it is shutting down. Drop every pointer to it in IoHandler::ioClosed.
class FdIo : public Io, private plat::Timer::Callback, private rdr::FdOutStream::Callback, private FdHandler {
public:
  /// @param fd the descriptor, or negative for a derived class to attach() one later.
  /// @param ownFd close it at the end, also if this constructor throws.
  /// @param connecting a connect is under way: the first readiness to write tells that it has ended.
  /// @param inBufSize bytes; -1 for the stream's default. @param maxOutBufSize bytes; -1 for `MaxOutBufferSize` now.
  /// @param setNonBlocking switch the descriptor to non-blocking mode, by which it loses its other status flags.
  /// @throws plat::SystemException "setBlocking"
  FdIo(int fd, bool ownFd, bool connecting, int inBufSize = -1, int maxOutBufSize = -1, bool setNonBlocking = true);
  /// Takes the handler away first, and with it what is buffered goes out, waiting.
  ~FdIo() override;

  /// @throws plat::AssertionFail "fdMgr" if a handler is attached on a thread without a manager
  void setHandler(IoHandler* newHandler, bool wantRead) override;
  /// @throws plat::AssertionFail "!tellHandler" if there is nobody to tell, for want of a manager
  void shutdown(bool flush, bool tellHandler) override;
  void markReadable() override;
  const char* displayName() override;
  plat::String peerEndpoint() override;
  plat::String peerAddress() override;
  plat::String myEndpoint() override;
  void setTimeout(int ms) override;

  bool timerFired(plat::Timer& timer) override;
  void writeResult(rdr::FdOutStream* stream, bool blocked) override;
  /// Has the writing side shut down the next time that the buffer is found empty.
  virtual void closeAfterDrain();
  void readable() override;
  void writable() override;
  void setSocketError(int error) override;
  void managerGone() override;

  /// -1 while unattached.
  using FdHandler::fd;

  /// The descriptor's pending error, 0 for none; the first one found is kept.
  /// @throws plat::SystemException "getsockopt"
  int socketError();

protected:
  /// Gives an unattached connection its descriptor, with the constructor's meaning of the arguments.
  /// @throws plat::AssertionFail "fd < 0"; plat::SystemException "setBlocking"
  void attach(int newFd, int inBufSize = -1, int maxOutBufSize = -1, bool setNonBlocking = true);

  plat::String name_;  // what displayName() answers; null until asked, unless a derived class sets it

private:
  enum class State { Normal, Closing, ShuttingDown };

  void writeClosed(rdr::FdOutStream* stream) override;

  void updateInterest(bool read, bool write);
  void setStreamModes(bool lazy);
  void drained();
  void flushTimedOut();
  void tellClosed();
  void completeShutdown();
  rdr::FdInStream& fdIn() const noexcept;
  rdr::FdOutStream& fdOut() const noexcept;

  FdManager* fdMgr_ = nullptr;
  int socketError_ = 0;  // 0 until known
  IoHandler* handler_ = nullptr;
  plat::Timer flushTimer_{this};
  plat::Timer shutdownTimer_{this};
  bool readInterest_ = false;  // what the manager has been told
  bool writeInterest_ = false;
  State state_ = State::Normal;
};

}  // namespace io
